#include "ports/CanDevice.h"

#include "ports/CanFrame.h"
#include "ports/PortsLog.h"
#include "ports/ReadPace.h"

#include <QDateTime>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

// A bus without a partner takes no frame at all: a write must not wait for one for ever.
constexpr timeval kWriteLimit = {1, 0};

// The kernel drops the frames that a full receive queue has no room for and tells nobody. Its
// usual queue lasts some 30 ms of a full bus, less than a busy host may keep the loop waiting; this
// one lasts for a second, and a privileged process gets it whatever the host allows the others.
constexpr int kReceiveBytes = 4 * 1024 * 1024;

constexpr char kSocketError[] = "Socket error: %1";
constexpr char kIoctlError[] = "IOCTL error: %1";
constexpr char kBindError[] = "Bind error: %1";

constexpr char kReadCan[] = "readCan"; // as the log names it

/// The local time as "yyyy-MM-dd hh:mm:ss.zzz". At thousands of frames a second, nearly all of its
/// cost would be the date: that is worked out once a second.
QString receptionTime()
{
    thread_local qint64 lastSecond = -1;
    thread_local QString secondText;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    if (now / 1000 != lastSecond) {
        lastSecond = now / 1000;
        secondText =
            QDateTime::fromMSecsSinceEpoch(now).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss."));
    }
    return secondText + QString::number(1000 + now % 1000).midRef(1);
}

/// A queue that does not grow is no reason not to open: what there is, is used.
void enlargeReceiveQueue(int fd)
{
    const int size = kReceiveBytes;
    if (::setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size) != 0)
        ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

QString kernelReason()
{
    return QString::fromLocal8Bit(strerror(errno));
}

} // namespace

CanDevice::CanDevice(QObject* parent)
    : QObject(parent)
{}

CanDevice::~CanDevice()
{
    blockSignals(true);
    closeCan({});
}

QString CanDevice::lastError() const
{
    const QMutexLocker locker(&_errorMutex);
    return _lastError;
}

void CanDevice::setLastError(const QString& text)
{
    KY_WARNING << text;
    const QMutexLocker locker(&_errorMutex);
    _lastError = text;
}

void CanDevice::closeSocket()
{
    // First out of sight: the loop must not read from a number that somebody else gets next.
    ::close(_socketId.exchange(-1));
}

bool CanDevice::openCan(const QVariantMap& map)
{
    if (_socketId > 0)
        closeSocket();
    if (map.isEmpty()) {
        setLastError(QStringLiteral("Map is empty"));
        return false;
    }
    const QString portName = map.value(QStringLiteral("portName")).toString();
    KY_DEBUG << "portName:" << portName;
    _socketId = ::socket(AF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW);
    if (_socketId < 0)
        return failOpen(kSocketError);
    if (!bindTo(portName))
        return false;
    _isStop = false;
    KY_DEBUG << "_socketId" << _socketId.load();
    return true;
}

bool CanDevice::bindTo(const QString& portName)
{
    const QByteArray name = portName.toUtf8();
    if (name.size() >= IFNAMSIZ || name.contains('\0')) {
        closeSocket();
        setLastError(QStringLiteral("Interface name [%1]: more than 15 bytes, or a zero byte")
                         .arg(portName));
        return false;
    }
    ifreq request = {};
    memcpy(request.ifr_name, name.constData(), size_t(name.size()));
    ::fcntl(_socketId, F_SETFL, 0);
    ::setsockopt(_socketId, SOL_SOCKET, SO_SNDTIMEO, &kWriteLimit, sizeof kWriteLimit);
    enlargeReceiveQueue(_socketId);
    if (::ioctl(_socketId, SIOCGIFINDEX, &request) < 0)
        return failOpen(kIoctlError);
    sockaddr_can address = {};
    address.can_family = AF_CAN;
    address.can_ifindex = request.ifr_ifindex;
    // Up to the identifiers of transport protocols, which a raw socket does not have.
    constexpr socklen_t kAddressSize = 16;
    if (::bind(_socketId, reinterpret_cast<const sockaddr*>(&address), kAddressSize) < 0)
        return failOpen(kBindError);
    return true;
}

bool CanDevice::failOpen(const char* text)
{
    const QString reason = kernelReason();
    if (_socketId >= 0)
        closeSocket();
    setLastError(QString::fromLatin1(text).arg(reason));
    return false;
}

bool CanDevice::writeCan(const QVariantMap& map)
{
    KY_DEBUG << "map:" << map;
    if (map.isEmpty()) {
        setLastError(QStringLiteral("Map is empty"));
        return false;
    }
    QString error;
    const auto frame = ky::buildCanFrame(map, ky::LengthFallback::DataSize, &error);
    if (!frame) {
        setLastError(error);
        return false;
    }
    const int fd = _socketId;
    const ssize_t size = ::write(fd, &*frame, ky::kCanFrameSize);
    if (size == ky::kCanFrameSize)
        return true;
    const QString reason = kernelReason();
    setLastError(QStringLiteral("Write error[socketId:%1  ret:%2]:%3")
                     .arg(QString::number(fd), QString::number(size), reason));
    return false;
}

void CanDevice::closeCan(const QVariantMap& /*map*/)
{
    _isStop = true;
    if (_socketId < 1)
        return;
    closeSocket();
}

void CanDevice::readCan()
{
    if (_socketId < 0) {
        setLastError(QStringLiteral("socketId < 0"));
        return;
    }
    KY_DEBUG << "readCan:" << _socketId.load() << "_isStop:" << (_isStop ? "true" : "false");
    ky::ReadPace pace;
    do {
        while (!_isStop) {
            _isReading = true;
            readFrame(pace);
        }
    } while (!isLeaving());
}

/// Says that the loop has ended, unless the owner has opened again meanwhile: whoever clears the
/// stop flag and then still sees isReading() relies on the loop to go on.
bool CanDevice::isLeaving()
{
    _isReading = false;
    return _isStop;
}

void CanDevice::readFrame(ky::ReadPace& pace)
{
    can_frame frame = {};
    const ssize_t size = ::read(_socketId, &frame, ky::kCanFrameSize);
    const int reason = errno;
    if (_isStop)
        return; // closed meanwhile: what came is dropped
    switch (ky::judgeCanRead(size)) {
    case ky::CanRead::Failed:
        KY_WARNING_AS(kReadCan)
            << QStringLiteral("Read error:%1").arg(QString::fromLocal8Bit(strerror(reason)));
        return;
    case ky::CanRead::Incomplete:
        KY_WARNING_AS(kReadCan) << "Incomplete CAN frame received";
        return;
    case ky::CanRead::Frame:
        break;
    }
    QVariantMap map = ky::canFrameMap(frame);
    map.insert(map.constEnd(), QStringLiteral("portName"), _canName);
    map.insert(map.constEnd(), QStringLiteral("time"), receptionTime());
    KY_DEBUG_AS(kReadCan) << "Received CAN frame:" << map;
    emit sigReadyRead(map);
    pace.frameReadAt(std::chrono::steady_clock::now());
    if (pace.isBusy())
        letFramesGather();
}

/// A pause instead of a wait for the very next frame, which would wake this thread and the one that
/// the frame goes to for each single one. What waits already is taken without it.
void CanDevice::letFramesGather() const
{
    pollfd waiting = {_socketId, POLLIN, 0};
    if (::poll(&waiting, 1, 0) == 0)
        std::this_thread::sleep_for(ky::ReadPace::kGathering);
}
