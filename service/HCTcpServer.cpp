#include "service/HCTcpServer.h"

#include "service/DescriptorRoom.h"
#include "service/RetiredThreads.h"
#include "service/ServiceLog.h"
#include "service/TcpSocket.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <atomic>
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
    socket->disconnectFromHost();
    if (socket->state() != QAbstractSocket::UnconnectedState)
        QTimer::singleShot(kKickLimitMs, socket, [socket] { socket->abort(); });
}

} // namespace

HCTcpServer::HCTcpServer(QObject* parent)
    : QTcpServer(parent)
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
    for (TcpSocket* socket : sockets) {
        QObject::disconnect(socket, &TcpSocket::disconnected, this, &HCTcpServer::slotDisconnected);
        // After this no thread touches the relay object, which may be on its way out.
        socket->setRelayObj(nullptr);
        ky::retireConnection(socket);
    }
    // Notices that were queued before name connections that are no longer in the map.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    _staleNotices.clear();
    close();
    KY_DEBUG << "[_tcpSocketMap.keys.size:" << _tcpSocketMap.size() << "]";
    _tcpSocketMap = {};
}

void HCTcpServer::KickAllClients()
{
    for (TcpSocket* socket : qAsConst(_tcpSocketMap))
        QMetaObject::invokeMethod(
            socket, [socket] { endConnection(socket); }, Qt::QueuedConnection);
}

/// The kernel hands out a number again as soon as it is closed, while the notice of the old
/// connection's end is still queued here. The old connection is ended now, in the ordinary way, and
/// its notice is passed over when it comes. Only the relay object's calls are delivered ahead of
/// their turn: a notice that overtook the requests in front of it would free a number whose next
/// owner then got their answers.
///
/// False when the server has been stopped or deleted meanwhile: such a call may do so, or run an
/// event loop in which the notice comes.
bool HCTcpServer::settleFormerOwner(qintptr handle)
{
    TcpSocket* former = _tcpSocketMap.value(handle);
    if (!former)
        return true;
    former->thread()->quit();
    former->thread()->wait();
    const bool isNoticeQueued = former->_isEndAnnounced;
    const bool wasListening = isListening();
    const QPointer<HCTcpServer> self(this);
    // Requests of the old connection that still wait would be answered to the new one.
    if (_relayObject)
        QCoreApplication::sendPostedEvents(_relayObject, QEvent::MetaCall);
    if (!self || isListening() != wasListening)
        return false;
    if (_tcpSocketMap.value(handle) == former) {
        tearDown(handle);
        if (isNoticeQueued)
            ++_staleNotices[handle];
    }
    return true;
}

/// Whether this notice is that of a connection which settleFormerOwner() has ended already. Notices
/// of one number come in the order of its owners.
bool HCTcpServer::takeStaleNotice(qintptr handle)
{
    const auto stale = _staleNotices.find(handle);
    if (stale == _staleNotices.end())
        return false;
    if (--*stale == 0)
        _staleNotices.erase(stale);
    return true;
}

/// A server that runs out of descriptors stops accepting by itself and for good.
void HCTcpServer::resumeLater(QAbstractSocket::SocketError error)
{
    KY_WARNING << "[accept:" << error << "]";
    QTimer::singleShot(kAcceptAgainMs, this, [this] { resumeAccepting(); });
}

void HCTcpServer::forget(qintptr handle)
{
    TcpSocket* socket = _tcpSocketMap.take(handle);
    delete socket->thread();
    delete socket;
}

void HCTcpServer::incomingConnection(qintptr handle)
{
    if (!settleFormerOwner(handle)) {
        ::close(int(handle));
        return;
    }
    if (!ky::hasRoomForDescriptors(kSpareDescriptors + startingThreads)) {
        KY_WARNING << "[no descriptors left for another connection, handle:" << handle << "]";
        ::close(int(handle));
        return;
    }
    KY_DEBUG << "[handle:" << handle << "count:" << _tcpSocketMap.size() << "]";
    auto* socket = new TcpSocket;
    socket->setRelayObj(_relayObject);
    auto* thread = new QThread;
    socket->setThread(thread);
    socket->setSocketDescriptor(handle, QAbstractSocket::ConnectedState, QIODevice::ReadWrite);
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket->setIntptr(handle);
    connect(socket, &TcpSocket::disconnected, this, &HCTcpServer::slotDisconnected);
    _tcpSocketMap.insert(handle, socket);
    socket->updatePeerInfo();
    socket->moveToThread(thread);
    ++startingThreads;
    connect(
        thread, &QThread::started, thread, [] { --startingThreads; }, Qt::DirectConnection);
    thread->start(QThread::InheritPriority);
    if (!thread->isRunning()) {
        --startingThreads;
        KY_WARNING << "[no thread for another connection, handle:" << handle << "]";
        forget(handle);
    }
}

void HCTcpServer::slotDisconnected(qintptr handle)
{
    if (!takeStaleNotice(handle))
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
