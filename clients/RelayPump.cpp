#include "clients/RelayPump.h"

#include "clients/ClientsLog.h"
#include "host/BaseThread.h"
#include "host/PublicClass.h"
#include "service/TcpSocket.h"

#define RELAY_DEBUG KY_LOG_DEBUG_AS(kyClientsLog, "run")
#define RELAY_WARNING KY_LOG_WARNING_AS(kyClientsLog, "run")

namespace ky {

namespace {

constexpr int kPollMs = 50;
constexpr int kSilentWaitMs = 3000;
constexpr int kPassMs = 10;
constexpr int kReconnectLimitMs = 4000;
constexpr int kReconnectPauseMs = 1000;
constexpr int kIdlePasses = 30; ///< of about 110 ms each: three seconds

bool isConnected(const TcpSocket& socket)
{
    return socket.state() == QAbstractSocket::ConnectedState;
}

} // namespace

RelayPump::RelayPump(TcpSocket& client, TcpSocket& server, const QString& ip, quint16 port)
    : _client(client)
    , _server(server)
    , _ip(ip)
    , _port(port)
{
    _server.setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

void RelayPump::run(const BaseThread& thread)
{
    while (!thread.isNeedStop()) {
        _client.waitForReadyRead(kPollMs);
        if (!isConnected(_client)) {
            RELAY_WARNING << "[客户端断开了:" << _ip << _idleCount << "]";
            return;
        }
        const bool goesOn = _isPumping ? copy() : takeFirstMessage();
        if (!goesOn)
            return;
    }
}

/// False when the client has kept silent for two waits. Bytes that make whole frames have been
/// taken by the connection itself before this looks, and count as silence.
bool RelayPump::takeFirstMessage()
{
    const QByteArray b = _client.readAll();
    RELAY_DEBUG << "["
                << "false"
                << "b:" << b.size() << "]";
    if (!b.isEmpty()) {
        // Only told, not judged: the server decides whether this is a user it knows.
        const QVariantMap map = PublicClass::init()->getJsonVariant(b).toMap();
        RELAY_DEBUG << "[usr:" << map.value(QStringLiteral("userName")).toString()
                    << map.value(QStringLiteral("password")).toString() << "]";
        _server.write2Server(b);
        _isPumping = _isConnected;
        return true;
    }
    QThread::msleep(kSilentWaitMs);
    if (!_isWaitAuth) {
        _isWaitAuth = true;
        return true;
    }
    RELAY_DEBUG << "[isWaitAuth:"
                << "true"
                << "]";
    return false;
}

/// One pass in both directions. False when the client has been silent for too long.
bool RelayPump::copy()
{
    const QByteArray b = _client.readAll();
    if (b.isEmpty()) {
        ++_idleCount;
    } else {
        RELAY_DEBUG << "[b:" << b.size() << "]";
        _server.write2Server(b);
        _idleCount = 1;
    }
    if (_idleCount > kIdlePasses) {
        RELAY_WARNING << "[3s没有数据则踢掉:" << _client.intptr() << "]";
        return false;
    }
    _server.waitForReadyRead(kPollMs);
    if (isConnected(_server))
        copyFromServer();
    else
        reconnect();
    return true;
}

void RelayPump::copyFromServer()
{
    const QByteArray b = _server.readAll();
    if (!b.isEmpty())
        _client.write2Client(b);
    QThread::msleep(kPassMs);
}

void RelayPump::reconnect()
{
    RELAY_WARNING
        << QStringLiteral("[服务器已断开%1:%2 :正在尝试重新连接]").arg(_ip, QString::number(_port));
    if (_server.waitForConnected(kReconnectLimitMs)) {
        _isPumping = true;
        return;
    }
    RELAY_WARNING << QStringLiteral("[服务器已断开%1:%2 :重新连接失败:%3]")
                         .arg(_ip, QString::number(_port), _server.errorString());
    _server.connectToHost(_ip, _port, QIODevice::ReadWrite);
    QThread::msleep(kReconnectPauseMs);
}

} // namespace ky
