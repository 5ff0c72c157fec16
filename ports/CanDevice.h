#pragma once

#include <QMutex>
#include <QObject>
#include <QVariantMap>

#include <memory>

namespace ky {
class CanDescriptor;
struct Descriptor;
} // namespace ky

/// One raw channel of the kernel's CAN layer, opened by interface name ("can0").
///
/// Thread: readCan() blocks the thread that the object lives on; openCan(), writeCan() and
/// closeCan() are called from the thread of the owner meanwhile. What both sides touch, the
/// descriptor with the two flags and the error text, is under a mutex each.
/// closeCan() does not wake a read that is blocked: the loop leaves when that read returns, which
/// may be never. Opening again keeps the loop and takes it out of that read: it goes on with the
/// new descriptor at once. The process gets a closed number back when the loop has left it.
/// Errors: nothing throws. After false, lastError() tells the call and the kernel's reason.
class Q_DECL_EXPORT CanDevice : public QObject
{
    Q_OBJECT

public:
    explicit CanDevice(QObject* parent = nullptr);
    ~CanDevice() override;

    /// Opens the interface named by "portName" (at most 15 bytes), closing an open one first.
    /// canName() stays as it is. After false the port is closed, and a loop that runs waits for the
    /// next openCan() or closeCan().
    bool openCan(const QVariantMap& map);

    /// Sends one frame: "frameType" (1 extended), "frameFormat" (1 remote), "frameId",
    /// "dataLength", "data" of at most 8 bytes. The length code is "dataLength" where the number
    /// of data bytes is a multiple of 8 and "dataLength" is above 0, otherwise the number of data
    /// bytes. Waits while the socket takes no frame, for a second where openCan() made it, and
    /// fails then.
    bool writeCan(const QVariantMap& map);

    /// Tells the loop to stop and closes the descriptor. The map is not looked at.
    void closeCan(const QVariantMap& map);

    QString lastError() const;
    /// Also logs the text as a warning.
    void setLastError(const QString& text);

    /// The name under which frames are reported. Set before the loop runs.
    QString canName() const { return _canName; }
    void setCanName(const QString& name) { _canName = name; }

    bool isStop() const;
    void setStop(bool isStop);

    /// The descriptor, -1 when closed. Descriptor 0 counts as not open.
    int socketId() const;
    /// Takes a descriptor over: closing the port closes it. The one before is left open to whoever
    /// calls this, and a loop that waits for a frame of it goes on waiting. Not to be called with
    /// the number of a port that has been closed: it is no longer the caller's to give, and the
    /// loop may close it at any time.
    void setSocketId(int socketId);

    /// Whether the loop of readCan() runs.
    bool isReading() const;

public slots:
    /// Reads frames until the stop flag is seen behind a read. A read that fails is logged, and
    /// the next follows at once; without a descriptor, as soon as there is one again. On a bus of
    /// 2000 frames a second and more a frame may wait for about a millisecond, so that several are
    /// taken at once.
    void readCan();

signals:
    /// One frame, in order of arrival: "portName", "frameType", "frameFormat", "frameId",
    /// "dataLength", "data", and "time", the local time to the millisecond.
    void sigReadyRead(const QVariantMap& map);

private:
    bool failOpen(const char* text);
    bool bindTo(const QString& portName, int fd);
    bool readFrame(const ky::Descriptor& socket);

    mutable QMutex _errorMutex; // guards _lastError between the owner and the loop
    QString _lastError;
    const std::unique_ptr<ky::CanDescriptor> _descriptor; // shared by the owner and the loop
    QString _canName;
};
