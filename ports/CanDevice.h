#pragma once

#include <QMutex>
#include <QObject>
#include <QVariantMap>

#include <atomic>

namespace ky {
class ReadPace;
}

/// One raw channel of the kernel's CAN layer, opened by interface name ("can0").
///
/// Thread: readCan() blocks the thread that the object lives on; openCan(), writeCan() and
/// closeCan() are called from the thread of the owner meanwhile. What both sides touch, the
/// descriptor and the two flags, is atomic, and the error text is under a mutex.
/// closeCan() does not wake a read that is blocked: the loop leaves when that read returns, which
/// may be never. Closing and opening again keeps the loop, which goes on with the new descriptor.
/// Errors: nothing throws. After false, lastError() tells the call and the kernel's reason.
class Q_DECL_EXPORT CanDevice : public QObject
{
    Q_OBJECT

public:
    explicit CanDevice(QObject* parent = nullptr);
    ~CanDevice() override;

    /// Opens the interface named by "portName" (at most 15 bytes), closing an open one first.
    /// canName() stays as it is.
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

    bool isStop() const { return _isStop; }
    void setStop(bool isStop) { _isStop = isStop; }

    /// The descriptor, -1 when closed. Descriptor 0 counts as not open.
    int socketId() const { return _socketId; }
    void setSocketId(int socketId) { _socketId = socketId; }

    /// Whether the loop of readCan() runs.
    bool isReading() const { return _isReading; }

public slots:
    /// Reads frames until the stop flag is seen behind a read. A read that fails is logged, and
    /// the next follows at once. On a bus of 2000 frames a second and more a frame may wait for
    /// about a millisecond, so that several are taken at once.
    void readCan();

signals:
    /// One frame, in order of arrival: "portName", "frameType", "frameFormat", "frameId",
    /// "dataLength", "data", and "time", the local time to the millisecond.
    void sigReadyRead(const QVariantMap& map);

private:
    void closeSocket();
    bool failOpen(const char* text);
    bool bindTo(const QString& portName);
    bool isLeaving();
    void readFrame(ky::ReadPace& pace);
    void letFramesGather() const;

    mutable QMutex _errorMutex; // guards _lastError between the owner and the loop
    QString _lastError;
    std::atomic<int> _socketId{-1};
    std::atomic<bool> _isStop{false};
    std::atomic<bool> _isReading{false};
    QString _canName;
};
