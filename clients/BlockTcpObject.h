#pragma once

#include <QEventLoop>
#include <QMutex>
#include <QObject>
#include <QVariantMap>

#include <atomic>

class BlockThreadTcp;
class QThread;
class QTimer;

/// A request to a peer with the answer as a return value. Owns a worker (BlockThreadTcp) with a
/// thread and a connection of its own.
///
/// Thread: that which made the object. sendData() blocks its caller for at most `waitTimeout`
/// milliseconds and serves the events of the thread meanwhile, so other code runs in between. A
/// second sendData() from there is refused with "Event loop is running" until the first one has
/// returned: slots of sigFinished() run inside it. Not to be destroyed from inside such a call.
/// Destruction waits for the worker, which may be connecting: up to 6 s.
/// Errors: false and lastError(). An error reported by the peer is a true: see "err_msg" and
/// "ret_code" of receiveMap().
class Q_DECL_EXPORT BlockTcpObject : public QObject
{
    Q_OBJECT

public:
    explicit BlockTcpObject(QObject* parent = nullptr);
    ~BlockTcpObject() override;

    /// Says where to send. No connection is made before the first sendData().
    void init(const QString& ip, int port);

    /// One exchange: command by number or name, data area, number of the request, JSON area (see
    /// BlockThreadTcp::getSendData). The reply is in receiveMap() and receiveData(). After a
    /// time-out the worker goes on; what it still receives belongs to nobody, but its end may
    /// come into a later call and end that early.
    bool sendData(const QVariant& commandVar, const QVariant& byteVar, int number,
                  const QVariant& jsonVar);
    /// Ends the worker, its thread and the connection. Every later sendData() fails.
    void releaseThis();

    /// The worker, for what this class does not carry across: payload size, JSON area of a reply.
    /// Null after releaseThis().
    BlockThreadTcp* worker() const;

    QString lastError() const;
    void setLastError(const QString& text);
    /// The worker's result map; "ret_code" 404 and "msg" are added after a socket error and after a
    /// time-out of the call.
    QVariantMap receiveMap() const;
    void setReceiveMap(const QVariantMap& map);
    QByteArray receiveData() const;
    void setReceiveData(const QByteArray& data);
    bool isOk() const;
    void setIsOk(bool isOk);
    /// Milliseconds for one exchange, connecting included; 15000 unless set.
    int waitTimeout() const;
    void setWaitTimeout(int limitMs);

signals:
    /// Bytes of the frame, then percent: see BlockThreadTcp::slotBytesWritten.
    void sigWriteProgress(qint64 value, qint64 max);
    void sigReadProgress(quint64 value, quint64 max);
    void sigDisconnected();
    /// Emit it to close the connection.
    void sigDisConnectTcp();
    void sigFinished();
    void sigSendData(const QVariant& commandVar, const QVariant& byteVar, int number,
                     const QVariant& jsonVar);

protected:
    /// Takes progress from the worker as soon as somebody listens, and not before: each value
    /// crosses the threads as an event, and the first wakes the caller long before its answer.
    void connectNotify(const QMetaMethod& signal) override;

private:
    /// What ended a wait. The first one counts, whatever comes before the call returns.
    enum class End
    {
        None,
        Worker,
        Timeout
    };

    /// The calls of the owner's thread. Each request that is given to the worker has a number.
    struct Exchange
    {
        bool isInCall = false; ///< from the entry of sendData() to its return
        End end = End::None;   ///< of the last wait; None until that has ended
        quint64 sent = 0;      ///< number of the last request
        quint64 settled = 0;   ///< the worker's ends of requests up to here are stale
    };

    /// The same requests as the worker meets them; its thread's own.
    struct Work
    {
        quint64 taken = 0; ///< number of the request that was begun last
        bool isBeginning = false;
        int heldEnds = 0; ///< told while it was begun
    };

    void slotTimeout();
    void takeResult();
    void passOnRequest(const QVariant& commandVar, const QVariant& byteVar, int number,
                       const QVariant& jsonVar);
    void begin(quint64 request, const QVariant& commandVar, const QVariant& byteVar, int number,
               const QVariant& jsonVar);
    void passOnEnd();

    BlockThreadTcp* _worker; ///< lives in _thread and goes with it
    QTimer* _timer;
    QString _lastError;
    QVariantMap _receiveMap;
    QByteArray _receiveData;
    QEventLoop _eventLoop;
    bool _isOk = false;
    QThread* _thread;
    int _waitTimeout = 15000;
    QMutex _mutex; ///< kept as a member; nothing takes it

    QObject _inbox; ///< receives the worker's signals, queued, and passes them on
    Exchange _exchange;
    Work _work;
    std::atomic<bool> _isWriteWatched{false};
    std::atomic<bool> _isReadWatched{false};
};
