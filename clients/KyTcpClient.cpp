#include "clients/KyTcpClient.h"

#include "clients/ClientsLog.h"
#include "clients/Texts.h"
#include "host/PublicClass.h"
#include "wire/FrameHead.h"
#include "wire/FrameWriter.h"
#include "wire/StreamBuffer.h"

#include <QNetworkProxy>
#include <QTcpSocket>

#include <new>

namespace {

constexpr int kWaitMs = 5000;

/// Content is a map or a list. Peers know the text of no other value, so that counts as absent.
QByteArray contentText(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash:
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
    case QMetaType::QJsonObject:
    case QMetaType::QJsonArray:
        return PublicClass::init()->qVariantToByteArray(value, QJsonDocument::Compact);
    default:
        return {};
    }
}

} // namespace

KyTcpClient::KyTcpClient(QObject* parent)
    : QObject(parent)
{}

KyTcpClient::~KyTcpClient() = default;

bool KyTcpClient::sendData(const QVariantMap& map)
{
    const QString ip = map.value(QStringLiteral("ip")).toString();
    const auto port = quint16(map.value(QStringLiteral("port")).toInt());
    try {
        return exchange(map, ip, port);
    } catch (const std::bad_alloc&) {
        KY_WARNING << "[no memory for the exchange with" << ip << port << "]";
        _lastMessage.clear();
        return false;
    }
}

bool KyTcpClient::exchange(const QVariantMap& map, const QString& ip, quint16 port)
{
    const auto type = quint16(map.value(QStringLiteral("type")).toInt());
    const auto number = quint16(map.value(QStringLiteral("number")).toInt());
    const QByteArray body = contentText(map.value(QStringLiteral("jsonData")));

    QTcpSocket socket;
    socket.setProxy(QNetworkProxy::NoProxy);
    socket.connectToHost(ip, port, QIODevice::ReadWrite);
    if (!socket.waitForConnected(kWaitMs)) {
        KY_LOG_WARNING_AS(kyClientsLog, "sendData")
            << "[!!!!!connect socket: timeout" << ip << port << "]";
        return false;
    }
    if (body == "{}" || body == "[]") {
        KY_LOG_DEBUG_AS(kyClientsLog, "sendData") << "[data error:" << body << "]";
        return false;
    }
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    socket.write(ky::buildFrame(type, number, QByteArray(), body));
    socket.flush();
    socket.waitForBytesWritten(kWaitMs);
    emit sigSendWebSocketData(QStringLiteral("vlx-client-onTcpConnected"), map);
    // This wait uses up the first arrival: a whole answer stays in the socket until the next one
    // has run out.
    socket.waitForReadyRead(kWaitMs);
    _lastMessage.clear();
    return receiveAnswer(socket);
}

/// As long as the answer goes on: only one that has stalled for a wait is given up.
bool KyTcpClient::receiveAnswer(QTcpSocket& socket)
{
    while (socket.waitForReadyRead(kWaitMs)) {
        const QByteArray b = socket.readAll();
        if (b.isEmpty())
            break;
        const int result = resolveTcpReadData(b);
        if (result == 0)
            return true;
        if (result < 0) {
            KY_LOG_WARNING_AS(kyClientsLog, "sendData")
                << "[无法解析包1:" << b << "_lastMessage:" << _lastMessage << "]";
            return false;
        }
    }
    return receiveLast(socket);
}

bool KyTcpClient::receiveLast(QTcpSocket& socket)
{
    const QByteArray b = socket.readAll();
    if (b.isEmpty()) {
        KY_LOG_WARNING_AS(kyClientsLog, "sendData") << "[b.isEmpty()]";
        return false;
    }
    const int result = resolveTcpReadData(b);
    if (result < 0) {
        KY_LOG_WARNING_AS(kyClientsLog, "sendData")
            << "[无法解析包2:" << b << "_lastMessage:" << _lastMessage << "]";
        return false;
    }
    // An answer that is still not whole counts as a success of the call.
    if (result > 0)
        KY_LOG_WARNING_AS(kyClientsLog, "sendData") << "[!!!!!!!!"
                                                    << "_lastMessage:" << _lastMessage << "]";
    return true;
}

int KyTcpClient::resolveTcpReadData(const QByteArray& b)
{
    try {
        if (ky::appendWithin(_lastMessage, b))
            return takeFrame();
    } catch (const std::bad_alloc&) {
        // As below: there is no room for this answer, or for the text that is made of it.
    }
    _lastMessage.clear();
    return -1;
}

int KyTcpClient::takeFrame()
{
    if (!dropNoise())
        return -1;
    if (_lastMessage.size() < ky::kHeaderSize)
        return 1;
    const ky::FrameHead head = ky::readFrameHead(_lastMessage.constData());
    if (head.dataSize > quint32(_lastMessage.size() - ky::kHeaderSize))
        return 1;
    const QByteArray body = _lastMessage.mid(ky::kHeaderSize, int(head.dataSize));
    const QVariantMap map{
        {QStringLiteral("headHex"),
         QString::fromLatin1(_lastMessage.left(ky::kHeaderSize).toHex())},
        {QStringLiteral("sendCommand"), int(head.revCommand)},
        {QStringLiteral("number"), int(head.number)},
        {QStringLiteral("data"), ky::textUpToZero(body)},
        {QStringLiteral("jsonData"), QString()},
        {QStringLiteral("revCommand"), int(head.type)},
    };
    _lastMessage.remove(0, ky::kHeaderSize + int(head.dataSize));
    emit sigSendWebSocketData(QStringLiteral("vlx-client-message"), map);
    return 0;
}

/// Drops what stands in front of the first sync byte, with a warning for each byte. False when
/// nothing is left.
bool KyTcpClient::dropNoise()
{
    const int start = _lastMessage.indexOf(ky::kSync);
    const int count = start < 0 ? _lastMessage.size() : start;
    for (int i = 0; i < count && kyClientsLog().isWarningEnabled(); ++i)
        KY_LOG_WARNING_AS(kyClientsLog, "resolveTcpReadData") << "Network packet loss";
    _lastMessage.remove(0, count);
    return !_lastMessage.isEmpty();
}
