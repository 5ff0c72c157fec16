#include "daemon/FrameCourier.h"

#include "daemon/DaemonLog.h"

namespace ky {

FrameCourier::FrameCourier(Delivery deliver)
    : _deliver(std::move(deliver))
    , _thread(QThread::create([this] { run(); }))
{
    _thread->setObjectName(QStringLiteral("courier"));
    _thread->start();
}

FrameCourier::~FrameCourier()
{
    {
        const QMutexLocker locker(&_mutex);
        _isEnding = true;
    }
    _hasWork.wakeAll();
    // Ends the event loop in which a delivery waits for its answer.
    _thread->quit();
    _thread->wait();
    delete _thread;
}

void FrameCourier::post(const Parcel& parcel)
{
    bool isFull = false;
    {
        const QMutexLocker locker(&_mutex);
        isFull = _waiting.size() >= kMaxWaiting;
        if (isFull)
            _waiting.dequeue();
        _waiting.enqueue(parcel);
    }
    _hasWork.wakeOne();
    if (isFull)
        KY_WARNING << "too many frames wait for their peers, the oldest is dropped";
}

bool FrameCourier::takeNext(Parcel* parcel)
{
    QMutexLocker locker(&_mutex);
    while (_waiting.isEmpty() && !_isEnding)
        _hasWork.wait(&_mutex);
    if (_isEnding)
        return false;
    *parcel = _waiting.dequeue();
    return true;
}

void FrameCourier::run()
{
    Parcel parcel;
    while (takeNext(&parcel)) {
        const QString problem = _deliver(parcel);
        if (!problem.isEmpty())
            KY_WARNING << QStringLiteral("frame [%1] to [%2:%3]: %4")
                              .arg(QString::number(parcel.command), parcel.ip,
                                   QString::number(parcel.port), problem);
    }
}

} // namespace ky
