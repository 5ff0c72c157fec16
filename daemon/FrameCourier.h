#pragma once

#include <QByteArray>
#include <QMutex>
#include <QQueue>
#include <QString>
#include <QThread>
#include <QWaitCondition>

#include <functional>

namespace ky {

/// One frame on its way to a peer.
struct Parcel
{
    QString ip;
    int port = 0;
    int command = 0;
    int number = 0;
    QByteArray data;
};

/// Delivers the frames that the library asks the daemon to send, one after the other on a thread
/// of its own, so that a slow or dead peer never blocks anyone else. A frame is delivered once;
/// one that cannot be delivered is logged and dropped.
///
/// Thread: post() from any. The destructor drops what waits and ends with the delivery in hand.
class FrameCourier
{
public:
    /// Brings one parcel to its peer, blocking; empty on success, else why not. Runs in the
    /// courier's thread, which ends an event loop that waits in it when the courier ends.
    using Delivery = std::function<QString(const Parcel&)>;

    explicit FrameCourier(Delivery deliver);
    ~FrameCourier();
    FrameCourier(const FrameCourier&) = delete;
    FrameCourier& operator=(const FrameCourier&) = delete;

    /// Queues a frame. With kMaxWaiting frames waiting, the oldest of them is dropped.
    void post(const Parcel& parcel);

    static constexpr int kMaxWaiting = 1000;

private:
    bool takeNext(Parcel* parcel);
    void run();

    Delivery _deliver;
    QMutex _mutex; ///< guards the queue and the flag, between post() and the courier's thread
    QWaitCondition _hasWork;
    QQueue<Parcel> _waiting;
    bool _isEnding = false;
    QThread* _thread;
};

} // namespace ky
