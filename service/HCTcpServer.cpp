#include "service/HCTcpServer.h"

#include "service/AcceptWatch.h"
#include "service/DescriptorRoom.h"
#include "service/OrderlyEnd.h"
#include "service/RetiredThreads.h"
#include "service/ServiceLog.h"
#include "service/TcpSocket.h"

#include <QHostAddress>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int kKickLimitMs = 15000;
constexpr int kAcceptAgainMs = 200;
/// For the files and sockets that the rest of the process opens meanwhile.
constexpr int kSpareDescriptors = 32;

/// Threads of connections of this process, of whatever server, that have been started and have not
/// opened the descriptor yet by which they are woken. Qt ends the process when one finds none left.
std::atomic<int> startingThreads{0};

/// Ends a connection in its own thread. Requests that still arrive are not taken any more: their
/// answers would keep the connection open for as long as the peer goes on asking.
void endConnection(TcpSocket* socket)
{
    QObject::disconnect(socket, &QIODevice::readyRead, socket, &TcpSocket::slotReadyRead);
    ky::endWhenAllIsTaken(socket, kKickLimitMs);
}

} // namespace

HCTcpServer::HCTcpServer(QObject* parent)
    : QTcpServer(parent)
    , _notices(new QObject(this))
    , _acceptWatch(new ky::AcceptWatch(this))
{
    connect(this, &QTcpServer::acceptError, this, &HCTcpServer::resumeLater);
}

HCTcpServer::~HCTcpServer()
{
    stopListen();
}

void HCTcpServer::setRelayObject(QObject* relayObject)
{
    _relayObject = relayObject;
}

QString HCTcpServer::errorString() const
{
    return _errorString;
}

void HCTcpServer::setErrorString(const QString& errorString)
{
    _errorString = errorString;
}

bool HCTcpServer::startListen(quint16 port)
{
    if (isListening()) {
        setErrorString(QStringLiteral("已在监听"));
        return false;
    }
    if (!listen(QHostAddress::AnyIPv4, port)) {
        setErrorString(QStringLiteral("listen:[%1]is fail").arg(port));
        return false;
    }
    KY_DEBUG << QStringLiteral("[listen:%1 is listenning now]").arg(port);
    return true;
}

void HCTcpServer::stopListen()
{
    const QMap<qintptr, TcpSocket*> sockets = _tcpSocketMap;
    // While both ends exist: Qt leaks a connection whose two ends are destroyed at the same time.
    for (TcpSocket* socket : sockets)
        QObject::disconnect(socket, nullptr, _notices, nullptr);
    // Notices that are queued already go with their receiver: they name connections that will no
    // longer be in the map.
    delete _notices;
    _notices = new QObject(this);
    for (TcpSocket* socket : sockets) {
        // After this no thread touches the relay object, which may be on its way out.
        socket->setRelayObj(nullptr);
        ky::retireConnection(socket);
    }
    for (const qintptr handle : qAsConst(_waitingHandles))
        ::close(int(handle));
    _waitingHandles.clear();
    close();
    KY_DEBUG << "[_tcpSocketMap.keys.size:" << _tcpSocketMap.size() << "]";
    _tcpSocketMap = {};
}

void HCTcpServer::KickAllClients()
{
    for (TcpSocket* socket : qAsConst(_tcpSocketMap))
        QMetaObject::invokeMethod(
            socket, [socket] { endConnection(socket); }, Qt::QueuedConnection);
    // Those that wait for their number keep it until their turn comes.
    for (const qintptr handle : qAsConst(_waitingHandles))
        ::shutdown(int(handle), SHUT_RDWR);
}

/// A server that runs out of descriptors stops accepting by itself and for good.
void HCTcpServer::resumeLater(QAbstractSocket::SocketError error)
{
    KY_WARNING_AS("incomingConnection") << "[accept:" << error << "]";
    QTimer::singleShot(kAcceptAgainMs, this, &HCTcpServer::resume);
}

/// Qt keeps the first error of a listening socket and would stop at every client from now on, so
/// it gets the same socket, with the clients that wait there, as a new one.
void HCTcpServer::resume()
{
    if (!isListening())
        return;
    const int listener = fcntl(int(socketDescriptor()), F_DUPFD_CLOEXEC, 0);
    if (listener < 0) {
        QTimer::singleShot(kAcceptAgainMs, this, &HCTcpServer::resume);
        return;
    }
    close();
    if (!setSocketDescriptor(listener)) {
        KY_WARNING_AS("incomingConnection") << "[listen:" << QTcpServer::errorString() << "]";
        ::close(listener);
    }
}

void HCTcpServer::forget(qintptr handle)
{
    TcpSocket* socket = _tcpSocketMap.take(handle);
    delete socket->thread();
    delete socket;
}

/// The kernel hands out a number again as soon as it is closed, while requests of its former owner
/// and the notice of its end are still queued here. The new connection lines up behind them, so
/// that all happens in the ordinary order, and none is mistaken for the other.
void HCTcpServer::incomingConnection(qintptr handle)
{
    _acceptWatch->noteAccepted();
    if (!_tcpSocketMap.contains(handle)) {
        enterConnection(handle);
        return;
    }
    _waitingHandles.insert(handle);
    QMetaObject::invokeMethod(
        _notices, [this, handle] { enterWaiting(handle, Turn::First); }, Qt::QueuedConnection);
}

void HCTcpServer::enterWaiting(qintptr handle, Turn turn)
{
    if (TcpSocket* former = _tcpSocketMap.value(handle)) {
        former->thread()->quit();
        former->thread()->wait();
        // With the thread gone its notice is in the queue, if there is to be one.
        if (former->_isEndAnnounced && turn == Turn::First) {
            QMetaObject::invokeMethod(
                _notices, [this, handle] { enterWaiting(handle, Turn::Last); },
                Qt::QueuedConnection);
            return;
        }
        tearDown(handle);
    }
    _waitingHandles.remove(handle);
    if (isListening())
        enterConnection(handle);
    else
        ::close(int(handle));
}

void HCTcpServer::enterConnection(qintptr handle)
{
    if (!ky::hasRoomForDescriptors(kSpareDescriptors + startingThreads)) {
        KY_WARNING_AS("incomingConnection")
            << "[no descriptors left for another connection, handle:" << handle << "]";
        ::close(int(handle));
        return;
    }
    KY_DEBUG_AS("incomingConnection")
        << "[handle:" << handle << "count:" << _tcpSocketMap.size() << "]";
    auto* socket = new TcpSocket;
    // Looks its slot up now: a relay object may have made its front in its base class's
    // constructor.
    socket->setRelayObj(_relayObject);
    auto* thread = new QThread;
    socket->setThread(thread);
    socket->setSocketDescriptor(handle, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket->setIntptr(handle);
    connect(socket, &TcpSocket::disconnected, _notices,
            [this](qintptr ended) { slotDisconnected(ended); });
    _tcpSocketMap.insert(handle, socket);
    socket->updatePeerInfo();
    socket->moveToThread(thread);
    ++startingThreads;
    connect(
        thread, &QThread::started, thread, [] { --startingThreads; }, Qt::DirectConnection);
    thread->start(QThread::InheritPriority);
    if (!thread->isRunning()) {
        --startingThreads;
        KY_WARNING_AS("incomingConnection")
            << "[no thread for another connection, handle:" << handle << "]";
        forget(handle);
    }
}

void HCTcpServer::slotDisconnected(qintptr handle)
{
    tearDown(handle);
}

void HCTcpServer::tearDown(qintptr handle)
{
    TcpSocket* socket = _tcpSocketMap.value(handle);
    const QVariantMap peer = socket->peerInfo();
    KY_DEBUG_AS("slotDisconnected")
        << QStringLiteral("[disconnected][handle:%1][IP:%2][port:%3][name:%4]")
               .arg(QString::number(handle), peer.value(QStringLiteral("ip")).toString(),
                    peer.value(QStringLiteral("port")).toString(),
                    peer.value(QStringLiteral("name")).toString());
    QThread* thread = socket->thread();
    thread->quit();
    thread->wait();
    delete thread;
    _tcpSocketMap.remove(handle);
    delete socket;
    KY_DEBUG_AS("slotDisconnected")
        << "[disconnected:hand:" << handle << "count:" << _tcpSocketMap.size() << "]";
}

TcpSocket* HCTcpServer::socketOf(qintptr handle, const char* operation)
{
    TcpSocket* socket = _tcpSocketMap.value(handle);
    if (!socket) {
        const QString text = QStringLiteral("[Tcpsocket[handle:%1] is null]").arg(handle);
        KY_WARNING_AS(operation) << text;
        setErrorString(text);
    }
    return socket;
}

bool HCTcpServer::sendDataToClient(qintptr handle, const QByteArray& data)
{
    TcpSocket* socket = socketOf(handle, __func__);
    if (!socket)
        return false;
    socket->write2Client(data);
    return true;
}

bool HCTcpServer::waitWrite2Client(qintptr handle, const QByteArray& data)
{
    TcpSocket* socket = socketOf(handle, __func__);
    if (!socket)
        return false;
    // A connection that is being torn down has no thread left to wait for; its bytes are lost.
    if (socket->thread()->isFinished())
        return true;
    if (socket->waitWrite2Client(data))
        return true;
    const QString text = socket->errorString();
    KY_WARNING << text;
    setErrorString(text);
    return false;
}

bool HCTcpServer::abortClient(qintptr handle)
{
    TcpSocket* socket = socketOf(handle, __func__);
    if (!socket)
        return false;
    QMetaObject::invokeMethod(
        socket, [socket] { socket->abort(); }, Qt::QueuedConnection);
    return true;
}

QVariantMap HCTcpServer::getSocketPeerInfo(qintptr handle)
{
    return _tcpSocketMap.value(handle)->peerInfo();
}
