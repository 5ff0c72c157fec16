#include "service/KyNetworkObject.h"

#include "host/PublicClass.h"
#include "service/HCTcpServer.h"
#include "service/ServiceLog.h"

#include <QHostAddress>
#include <QNetworkProxy>
#include <QSettings>

namespace {

constexpr int kMaxThreadCount = 64;

} // namespace

KyNetworkObject::KyNetworkObject(QObject* parent)
    : BaseObject(parent)
    , _tcpServer(new HCTcpServer(this))
{
    _tcpServer->setRelayObject(parent);
    _tcpServer->setProxy(QNetworkProxy(QNetworkProxy::NoProxy));
}

KyNetworkObject::~KyNetworkObject()
{
    _tcpServer->deleteLater();
}

quint8 KyNetworkObject::serverId() const
{
    return _serverId;
}

void KyNetworkObject::setServerId(const quint8& serverId)
{
    _serverId = serverId;
}

bool KyNetworkObject::isTcpListening()
{
    return _tcpServer->isListening();
}

bool KyNetworkObject::startTcpListenning()
{
    const QSettings settings(PublicClass::init()->settingsFile, QSettings::IniFormat);
    const auto read = [&](const char* key) {
        return settings.value(QString::fromLatin1(key).arg(_serverId)).toUInt();
    };
    return listenTcp(quint16(read("Server%1/port")), quint8(read("Server%1/threadCount")),
                     quint16(read("Server%1/payload")), true);
}

bool KyNetworkObject::listenTcp(quint16 port, quint8 threadCount, quint16 payload, bool flag)
{
    Q_UNUSED(flag)
    const bool wasListening = isTcpListening();
    // Taken as a signed number: 32768 and above are refused like 0.
    if (qint16(port) <= 0)
        return false;
    if (threadCount < 1 || threadCount > kMaxThreadCount)
        return false;
    if (wasListening) {
        KY_DEBUG << QStringLiteral("[Stop listenn Tcp port:%1 threadCount: %2  dataSize：%3]")
                        .arg(port)
                        .arg(threadCount)
                        .arg(payload);
        _tcpServer->KickAllClients();
        _tcpServer->close();
        return true;
    }
    KY_DEBUG << "[starting listenning : port:" << port << "]";
    if (!_tcpServer->listen(QHostAddress::AnyIPv4, port)) {
        // The text that the server class has stored, not the reason of listen().
        KY_WARNING << "[Error:" << _tcpServer->errorString() << "]";
        return false;
    }
    KY_DEBUG << QStringLiteral("[Tcp port:%1 threadCount: %2  dataSize：%3]")
                    .arg(port)
                    .arg(threadCount)
                    .arg(payload);
    return true;
}

bool KyNetworkObject::keepError(bool isSent)
{
    if (!isSent)
        setLastError(_tcpServer->errorString());
    return isSent;
}

bool KyNetworkObject::sendDataToClient(qintptr handle, const QByteArray& data)
{
    return keepError(_tcpServer->sendDataToClient(handle, data));
}

bool KyNetworkObject::waitWrite2Client(qintptr handle, const QByteArray& data)
{
    return keepError(_tcpServer->waitWrite2Client(handle, data));
}

bool KyNetworkObject::abortClient(qintptr handle)
{
    return keepError(_tcpServer->abortClient(handle));
}

QVariantMap KyNetworkObject::getSocketPeerInfo(qintptr handle)
{
    return _tcpServer->getSocketPeerInfo(handle);
}
