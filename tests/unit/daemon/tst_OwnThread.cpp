#include "TaskState.h"

#include "daemon/OwnThread.h"

#include <QSemaphore>
#include <QTest>

#include <unistd.h>

class tst_OwnThread : public QObject
{
    Q_OBJECT

private slots:
    void runsWorkInOrderInItsThread();
    void endDropsWhatHasNotBegun();
    void destructorDropsWhatHasNotBegun();
};

void tst_OwnThread::runsWorkInOrderInItsThread()
{
    ky::OwnThread thread("worker");
    QStringList seen;

    for (int i = 0; i < 3; ++i)
        thread.post([&, i] { seen << QString::number(i); });
    thread.call([&] { seen << QThread::currentThread()->objectName(); });

    QCOMPARE(seen, (QStringList{"0", "1", "2", "worker"}));
}

void tst_OwnThread::endDropsWhatHasNotBegun()
{
    ky::OwnThread thread("worker");
    QSemaphore begun;
    QSemaphore release;
    QStringList seen;
    thread.post([&] {
        begun.release();
        release.acquire();
        seen << "in progress";
    });
    for (int i = 0; i < 100; ++i)
        thread.post([&] { seen << "waiting"; });
    begun.acquire();
    QScopedPointer<QThread> opener(QThread::create([&] {
        TaskState::waitUntilAsleep(getpid()); // in end()
        release.release();
    }));
    opener->start();

    thread.end([&] { seen << "end"; });
    thread.post([&] { seen << "too late"; });
    thread.call([] {});
    opener->wait();

    QCOMPARE(seen, (QStringList{"in progress", "end"}));
}

void tst_OwnThread::destructorDropsWhatHasNotBegun()
{
    QSemaphore begun;
    QSemaphore release;
    int count = 0;
    QScopedPointer<QThread> opener(QThread::create([&] {
        TaskState::waitUntilAsleep(getpid()); // in the destructor
        release.release();
    }));
    {
        ky::OwnThread thread("worker");
        thread.post([&] {
            begun.release();
            release.acquire();
        });
        for (int i = 0; i < 100; ++i)
            thread.post([&] { ++count; });
        begun.acquire();
        opener->start();
    }
    opener->wait();

    QCOMPARE(count, 0);
}

QTEST_GUILESS_MAIN(tst_OwnThread)
#include "tst_OwnThread.moc"
