#include "ports/CanDevice.h"

#include "ports/CanDescriptor.h"
#include "ports/CanFrameMap.h"
#include "ports/PortsLog.h"
#include "ports/ReadPace.h"

#include <QDateTime>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
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
    , _descriptor(std::make_unique<ky::CanDescriptor>())
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

bool CanDevice::isStop() const
{
    return _descriptor->isStop();
}

void CanDevice::setStop(bool isStop)
{
    _descriptor->setStop(isStop);
}

int CanDevice::socketId() const
{
    return _descriptor->number();
}

void CanDevice::setSocketId(int socketId)
{
    _descriptor->setNumber(socketId);
}

bool CanDevice::isReading() const
{
    return _descriptor->isReading();
}

bool CanDevice::openCan(const QVariantMap& map)
{
    if (socketId() > 0)
        _descriptor->close();
    if (map.isEmpty()) {
        setLastError(QStringLiteral("Map is empty"));
        return false;
    }
    const QString portName = map.value(QStringLiteral("portName")).toString();
    KY_DEBUG << "portName:" << portName;
    setSocketId(-1);
    // The loop gets it bound or not at all: unbound, it would bring nothing.
    auto socket =
        std::make_shared<ky::Descriptor>(::socket(AF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW));
    if (socket->number < 0)
        return failOpen(kSocketError);
    if (!bindTo(portName, socket->number))
        return false;
    _descriptor->open(std::move(socket));
    KY_DEBUG << "_socketId" << socketId();
    return true;
}

bool CanDevice::bindTo(const QString& portName, int fd)
{
    const QByteArray name = portName.toUtf8();
    if (name.size() >= IFNAMSIZ || name.contains('\0')) {
        setLastError(QStringLiteral("Interface name [%1]: more than 15 bytes, or a zero byte")
                         .arg(portName));
        return false;
    }
    ifreq request = {};
    memcpy(request.ifr_name, name.constData(), size_t(name.size()));
    ::fcntl(fd, F_SETFL, 0);
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &kWriteLimit, sizeof kWriteLimit);
    enlargeReceiveQueue(fd);
    if (::ioctl(fd, SIOCGIFINDEX, &request) < 0)
        return failOpen(kIoctlError);
    sockaddr_can address = {};
    address.can_family = AF_CAN;
    address.can_ifindex = request.ifr_ifindex;
    // Up to the identifiers of transport protocols, which a raw socket does not have.
    constexpr socklen_t kAddressSize = 16;
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), kAddressSize) < 0)
        return failOpen(kBindError);
    return true;
}

bool CanDevice::failOpen(const char* text)
{
    setLastError(QString::fromLatin1(text).arg(kernelReason()));
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
    const ky::HeldDescriptor socket = _descriptor->hold();
    const ssize_t size = ::write(socket->number, &*frame, ky::kCanFrameSize);
    if (size == ky::kCanFrameSize)
        return true;
    const QString reason = kernelReason();
    setLastError(QStringLiteral("Write error[socketId:%1  ret:%2]:%3")
                     .arg(QString::number(socket->number), QString::number(size), reason));
    return false;
}

void CanDevice::closeCan(const QVariantMap& /*map*/)
{
    setStop(true);
    if (socketId() < 1)
        return;
    _descriptor->close();
}

void CanDevice::readCan()
{
    if (socketId() < 0) {
        setLastError(QStringLiteral("socketId < 0"));
        return;
    }
    KY_DEBUG << "readCan:" << socketId() << "_isStop:" << (isStop() ? "true" : "false");
    ky::ReadPace pace;
    bool hasPaused = false;
    while (const ky::HeldDescriptor socket = _descriptor->nextToRead()) {
        if (socket->number < 0) {
            readFrame(*socket); // says so in the kernel's words
            _descriptor->waitForDescriptor();
            continue;
        }
        // On a busy bus a pause instead of a wait for the very next frame, which would wake this
        // thread and the one that the frame goes to for each single one. What waits already is
        // taken without it.
        const bool mayPause = pace.isBusy() && !hasPaused;
        const auto found = _descriptor->wait(*socket, mayPause ? 0 : -1);
        hasPaused = found == ky::CanDescriptor::Wait::Nothing;
        if (hasPaused)
            std::this_thread::sleep_for(ky::ReadPace::kGathering);
        else if (found == ky::CanDescriptor::Wait::Readable && readFrame(*socket))
            pace.frameReadAt(std::chrono::steady_clock::now());
    }
}

/// False if there is no frame to report.
bool CanDevice::readFrame(const ky::Descriptor& socket)
{
    CanFrame frame = {};
    const ssize_t size = ::read(socket.number, &frame, ky::kCanFrameSize);
    const int reason = errno;
    if (isStop())
        return false; // closed meanwhile: what came is dropped
    switch (ky::judgeCanRead(size)) {
    case ky::CanRead::Failed:
        KY_WARNING_AS(kReadCan)
            << QStringLiteral("Read error:%1").arg(QString::fromLocal8Bit(strerror(reason)));
        return false;
    case ky::CanRead::Incomplete:
        KY_WARNING_AS(kReadCan) << "Incomplete CAN frame received";
        return false;
    case ky::CanRead::Frame:
        break;
    }
    QVariantMap map = ky::canFrameMap(frame);
    map.insert(map.constEnd(), QStringLiteral("portName"), _canName);
    map.insert(map.constEnd(), QStringLiteral("time"), receptionTime());
    KY_DEBUG_AS(kReadCan) << "Received CAN frame:" << map;
    emit sigReadyRead(map);
    return true;
}
