#include "ports/SocketCan.h"

#include "ports/CanFrameMap.h"
#include "ports/PortsLog.h"

#include <QHostAddress>
#include <QTcpSocket>

#include <cerrno>
#include <cstring>

namespace {

constexpr char kReadCan[] = "readCan"; // as the log names it

/// A socket that refuses in its own words what is no address. Qt would bind it to any interface.
class Carrier : public QTcpSocket
{
public:
    using QTcpSocket::QTcpSocket;

    bool bindTo(const QHostAddress& address)
    {
        if (!address.isNull())
            return bind(address, 0, DefaultForPlatform);
        setSocketError(SocketAddressNotAvailableError);
        setErrorString(QStringLiteral("Not an IP address"));
        return false;
    }
};

} // namespace

SocketCan::SocketCan(QObject* parent)
    : QObject(parent)
    , _tcpSocket(new Carrier(this))
{
    Q_UNUSED(_flag)
    connect(_tcpSocket, &QTcpSocket::readyRead, this, &SocketCan::readCan);
}

SocketCan::~SocketCan()
{
    _tcpSocket->blockSignals(true);
    _tcpSocket->abort();
    delete _tcpSocket;
}

bool SocketCan::openCan(const QVariantMap& map)
{
    if (map.isEmpty()) {
        setLastError(QStringLiteral("QVariantMap is empty"));
        return false;
    }
    const QString portName = map.value(QStringLiteral("portName")).toString();
    KY_DEBUG << "portName:" << portName;
    if (isBoundOrOpen()) {
        KY_DEBUG << "Socket is already open";
        return true;
    }
    QMetaObject::invokeMethod(
        this, [this, portName] { bindTo(portName); }, Qt::QueuedConnection);
    return true;
}

/// A bind alone leaves a QTcpSocket closed as a device, and a second bind would fail.
bool SocketCan::isBoundOrOpen() const
{
    return _tcpSocket->isOpen() || _tcpSocket->state() == QAbstractSocket::BoundState;
}

void SocketCan::bindTo(const QString& portName)
{
    if (isBoundOrOpen())
        return; // two requests before the first bind
    if (!static_cast<Carrier*>(_tcpSocket)->bindTo(QHostAddress(portName))) {
        setLastError(
            QStringLiteral("Bind CAN[%1] failed: %2").arg(portName, _tcpSocket->errorString()));
        return;
    }
    KY_DEBUG_AS("openCan") << "Successfully bound to CAN interface: " << portName;
}

bool SocketCan::writeCan(const QVariantMap& map)
{
    if (map.isEmpty()) {
        setLastError(QStringLiteral("QVariantMap is empty"));
        return false;
    }
    const auto frame = ky::buildCanFrame(map, ky::LengthFallback::FullFrame, &_lastError);
    if (!frame)
        return false;
    qint64 size = 0;
    if (_tcpSocket->state() == QAbstractSocket::ConnectedState) {
        size = _tcpSocket->write(reinterpret_cast<const char*>(&*frame), ky::kCanFrameSize);
    } else {
        KY_DEBUG << "Socket is not connected";
        setLastError(QStringLiteral("Socket is not connected"));
    }
    KY_DEBUG << "Write size:" << size << "state:" << _tcpSocket->state();
    return true;
}

void SocketCan::closeCan(const QVariantMap& /*map*/)
{
    _tcpSocket->abort();
}

void SocketCan::readCan()
{
    connect(
        _tcpSocket, &QTcpSocket::readyRead, _tcpSocket, [this] { readFrame(); },
        Qt::DirectConnection);
}

void SocketCan::readFrame()
{
    const QByteArray bytes = _tcpSocket->readAll();
    switch (ky::judgeCanRead(bytes.size())) {
    case ky::CanRead::Failed:
        KY_WARNING_AS(kReadCan)
            << QStringLiteral("Read error:%1").arg(QString::fromLocal8Bit(strerror(errno)));
        return;
    case ky::CanRead::Incomplete:
        KY_WARNING_AS(kReadCan) << "Incomplete CAN frame received";
        return;
    case ky::CanRead::Frame:
        break;
    }
    CanFrame frame = {};
    memcpy(&frame, bytes.constData(), ky::kCanFrameSize); // what follows in `bytes` is dropped
    const QVariantMap map = ky::canFrameMap(frame);
    KY_DEBUG_AS(kReadCan) << "Received CAN frame:" << map;
    emit sigReadyRead(map);
}
