#include "support/HostLimits.h"
#include "time/NTPPackage.h"
#include "time/NtpSettings.h"
#include "time/SystemNTP.h"
#include "time/TimeLog.h"

#include <QEventLoop>
#include <QNetworkProxy>
#include <QTimer>
#include <QUdpSocket>

namespace {

constexpr int kConnectLimitMs = ky::limits::kTimeServerMs;
constexpr int kPacketSize = 48;
constexpr int kShortestReply = 8;

/// All that is pending; each datagram replaces the one before.
QByteArray readLastDatagram(QUdpSocket& socket)
{
    QByteArray datagram;
    do {
        datagram.resize(int(qMax<qint64>(0, socket.pendingDatagramSize())));
        socket.readDatagram(datagram.data(), datagram.size());
    } while (socket.hasPendingDatagrams());
    return datagram;
}

} // namespace

bool SystemNTP::ntpTime(const QString& url, unsigned short port, unsigned int interval)
{
    _udpErrorString.clear();
    _isClockSet = false;
    if (_ntpUdpSocket)
        _ntpUdpSocket->abort();
    else
        createSocket();
    _ntpTimeServerUrl = url;
    _ntpTimePort = port;
    _timeSyncInterval = interval;
    _ntpUdpSocket->connectToHost(_ntpTimeServerUrl, port, QIODevice::ReadWrite,
                                 QAbstractSocket::AnyIPProtocol);
    // Begins by resolving the name, which blocks as long as the resolver likes.
    if (!_ntpUdpSocket->waitForConnected(kConnectLimitMs)) {
        _udpErrorString = QStringLiteral("Connected time out");
        setLastError(_udpErrorString);
        return false;
    }
    restartTimer();
    return true;
}

void SystemNTP::createSocket()
{
    _ntpUdpSocket = new QUdpSocket(this);
    _ntpUdpSocket->setProxy(QNetworkProxy(QNetworkProxy::NoProxy, QString(), 0));
    connect(_ntpUdpSocket, &QUdpSocket::connected, this, &SystemNTP::connectsucess);
    connect(_ntpUdpSocket, &QUdpSocket::errorOccurred, this, &SystemNTP::slotNtpError);
    connect(_ntpUdpSocket, &QUdpSocket::readyRead, this, &SystemNTP::readingDataGrams);
}

/// Made at construction, or later if the platform script has vanished since.
QTimer* SystemNTP::syncTimer()
{
    if (_ntpSyncTimer)
        return _ntpSyncTimer;
    _ntpSyncTimer = new QTimer(this);
    connect(this, &SystemNTP::sigNtpTimeout, this,
            [this] { ntpTime(_ntpTimeServerUrl, _ntpTimePort, _timeSyncInterval); });
    connect(_ntpSyncTimer, &QTimer::timeout, this, [this] { emit sigNtpTimeout(); });
    return _ntpSyncTimer;
}

void SystemNTP::restartTimer()
{
    syncTimer()->stop();
    if (_timeSyncInterval == 0)
        return;
    syncTimer()->start(ky::syncPeriodMs(_timeSyncInterval));
    KY_LOG_DEBUG_AS(kyTimeLog, "ntpTime")
        << "[_ntpSyncTimer.start:" << qint64(_timeSyncInterval) * 60 << "s]";
}

/// One exchange, and the event loop until it is over. An exchange can end before ntpTime()
/// returns, when the kernel refuses to send: nothing is left to wait for then.
bool SystemNTP::synchronise(const QString& url, unsigned short port, unsigned int interval)
{
    QEventLoop loop;
    bool isOver = false;
    connect(this, &SystemNTP::sigSetTimeFinished, &loop, [&loop, &isOver] {
        isOver = true;
        loop.quit();
    });
    if (!ntpTime(url, port, interval))
        return false;
    if (!isOver)
        loop.exec();
    return true;
}

bool SystemNTP::isClockSet() const
{
    return _isClockSet;
}

void SystemNTP::connectsucess()
{
    if (!_ntpUdpSocket)
        return; // called by hand, before the first exchange
    NTPPackage request;
    QByteArray packet = request.toByteArray();
    _originBytes = request.originBytes;
    // The packet is short when its timestamp was cut at a zero byte; the datagram never is.
    packet = packet.leftJustified(kPacketSize, '\0');
    _ntpUdpSocket->flush();
    _ntpUdpSocket->write(packet.constData(), kPacketSize);
    _ntpUdpSocket->flush();
}

void SystemNTP::slotNtpError(QAbstractSocket::SocketError error)
{
    if (!_ntpUdpSocket)
        return; // called by hand, before the first exchange
    _udpErrorString = _ntpUdpSocket->errorString();
    KY_WARNING << "[error:" << error << "]";
    emit sigSetTimeFinished();
}

void SystemNTP::readingDataGrams()
{
    if (!_ntpUdpSocket)
        return; // called by hand, before the first exchange
    const QByteArray reply = readLastDatagram(*_ntpUdpSocket);
    _ntpUdpSocket->disconnectFromHost();
    _ntpUdpSocket->close();
    if (reply.size() < kShortestReply) {
        KY_WARNING << "[error ntp string:" << reply.toHex() << "]";
        emit sigSetTimeFinished();
        return;
    }
    NTPPackage package;
    package.parseByByteArray(reply);
    if (!package.checkByOriginTimestamp(_originBytes)) {
        KY_WARNING << "[无效的对时服务器返回:" << reply.toHex() << "]";
        emit sigSetTimeFinished();
        return;
    }
    _offsetMs = package.calcOffset();
    KY_INFO << "[offset:" << _offsetMs << "ms]";
    QDateTime now;
    now.setMSecsSinceEpoch(QDateTime::currentMSecsSinceEpoch() + _offsetMs);
    _isClockSet = setSystemTime(now, true);
    emit sigSetTimeFinished();
}
