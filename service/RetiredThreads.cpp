#include "service/RetiredThreads.h"

#include "service/ServiceLog.h"
#include "service/TcpSocket.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMutex>
#include <QSemaphore>
#include <QThread>
#include <QVector>

#include <memory>

namespace ky {

namespace {

constexpr int kWaitAtExitMs = 2000;

QMutex& retiredMutex()
{
    static QMutex mutex;
    return mutex;
}

QVector<QThread*>& retiredThreads()
{
    static QVector<QThread*> threads;
    return threads;
}

void clearFinished()
{
    auto& threads = retiredThreads();
    for (int i = threads.size() - 1; i >= 0; --i) {
        if (threads.at(i)->isFinished())
            delete threads.takeAt(i);
    }
}

/// A thread that still runs while static objects go would use them after their end.
void waitAtExit()
{
    const QMutexLocker locker(&retiredMutex());
    const QDeadlineTimer limit(kWaitAtExitMs); // for all of them
    for (QThread* thread : qAsConst(retiredThreads()))
        thread->wait(limit);
    clearFinished();
}

void remember(QThread* thread)
{
    static bool isRegistered = false;
    const QMutexLocker locker(&retiredMutex());
    if (!isRegistered)
        qAddPostRoutine(waitAtExit);
    isRegistered = true;
    clearFinished();
    retiredThreads().append(thread);
}

} // namespace

void retireConnection(TcpSocket* socket)
{
    QThread* thread = socket->thread();
    if (thread->isFinished()) {
        delete thread;
        delete socket;
        return;
    }
    remember(thread);
    // To post wakes the other thread at its very end. One that was awake and ended at what was
    // posted would be woken after it has gone, so it ends only when the posting is over.
    const auto posted = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(
        socket,
        [socket, thread, posted] {
            socket->abort();
            socket->deleteLater();
            posted->acquire();
            thread->quit();
        },
        Qt::QueuedConnection);
    posted->release();
}

} // namespace ky
