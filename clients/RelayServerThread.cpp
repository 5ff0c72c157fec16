#include "clients/RelayServerThread.h"

#include "clients/ClientsLog.h"
#include "clients/RelayPump.h"
#include "service/TcpSocket.h"

#include <memory>
#include <utility>

#include <unistd.h>

namespace {

constexpr int kConnectLimitMs = 5000;

} // namespace

RelayServerThread::RelayServerThread(QObject* parent)
    : BaseThread(parent)
{}

RelayServerThread::~RelayServerThread()
{
    RelayServerThread::stopThread();
}

void RelayServerThread::transaction(const QString& ip, quint16 port, qintptr handle)
{
    bool isRelaying = true;
    {
        const QMutexLocker locker(&_mutex);
        _ip = ip;
        _port = port;
        _handle = handle;
        std::swap(isRelaying, _isRelaying);
    }
    setNeedStop(false);
    if (isRelaying)
        return;
    wait(); // the thread may still be ending, and takes no new client
    start(QThread::InheritPriority);
    if (!isRunning() && endRelay())
        ::close(int(handle));
}

/// Whether there was one to end.
bool RelayServerThread::endRelay()
{
    const QMutexLocker locker(&_mutex);
    return std::exchange(_isRelaying, false);
}

void RelayServerThread::stopThread()
{
    setNeedStop(true);
    quit();
    wait();
}

void RelayServerThread::run()
{
    const QString serverIp = ip();
    const quint16 serverPort = port();
    const qintptr clientHandle = handle();

    auto clientSocket = std::make_unique<TcpSocket>();
    clientSocket->setSocketDescriptor(clientHandle, QAbstractSocket::ConnectedState,
                                      QIODevice::ReadWrite);
    clientSocket->setIntptr(clientHandle);
    clientSocket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    auto serverSocket = std::make_unique<TcpSocket>();
    serverSocket->connectToHost(serverIp, serverPort, QIODevice::ReadWrite);
    if (serverSocket->waitForConnected(kConnectLimitMs))
        ky::RelayPump(*clientSocket, *serverSocket, serverIp, serverPort).run(*this);
    else
        KY_WARNING << "[!!!!!connect socket: timeout" << serverIp << serverPort << "]";

    // From here on the next client is waited for by transaction(), which starts the thread again.
    endRelay();
    KY_DEBUG << "[thread finished]";
    clientSocket.reset();
    serverSocket.reset();
}

QString RelayServerThread::ip() const
{
    const QMutexLocker locker(&_mutex);
    return _ip;
}

quint16 RelayServerThread::port() const
{
    const QMutexLocker locker(&_mutex);
    return _port;
}

qintptr RelayServerThread::handle() const
{
    const QMutexLocker locker(&_mutex);
    return _handle;
}
