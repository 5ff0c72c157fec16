#include "host/BaseObject.h"
#include "host/BaseThread.h"

#include <QDeadlineTimer>
#include <QSignalSpy>
#include <QTest>

class tst_BaseClasses : public QObject
{
    Q_OBJECT

private slots:
    void lastErrorStartsEmptyAndIsReplaced();
    void objectBelongsToItsParent();
    void flagAndResultStartClear();
    void stopEndsAThreadThatPollsTheFlag();
    void stopInterruptsAThreadThatIgnoresTheFlag();
    void stopEndsAThreadWithAnEventLoop();
    void stopBeforeTheEventLoopRunsIsNotLost();
    void stopOfAThreadThatNeverRanReturns();
    void stopTwiceReturns();
    void threadRunsAgainWhenTheFlagIsCleared();
    void stopCanBeOverridden();
};

namespace {

class PollingThread : public BaseThread
{
public:
    using BaseThread::BaseThread;

protected:
    void run() override
    {
        while (!isNeedStop())
            msleep(1);
        setResult(result() + 1);
    }
};

/// Ends when it is interrupted, and by itself after 10 s.
class InterruptibleThread : public BaseThread
{
protected:
    void run() override
    {
        const QDeadlineTimer limit(10000);
        while (!isInterruptionRequested() && !limit.hasExpired())
            msleep(1);
        setResult(limit.hasExpired() ? -1 : 1);
    }
};

class NotifiedThread : public PollingThread
{
public:
    using PollingThread::PollingThread;
    void stopThread() override
    {
        wasAsked = true;
        BaseThread::stopThread();
    }
    bool wasAsked = false;
};

} // namespace

void tst_BaseClasses::lastErrorStartsEmptyAndIsReplaced()
{
    BaseObject object;
    QVERIFY(object.getLastError().isEmpty());

    object.setLastError(QStringLiteral("第一"));
    object.setLastError(QStringLiteral("Error: 连接失败"));

    QCOMPARE(object.getLastError(), QStringLiteral("Error: 连接失败"));
}

void tst_BaseClasses::objectBelongsToItsParent()
{
    auto* parent = new QObject;
    QSignalSpy gone(new BaseObject(parent), &QObject::destroyed);

    delete parent;

    QCOMPARE(gone.count(), 1);
}

void tst_BaseClasses::flagAndResultStartClear()
{
    PollingThread thread;

    QVERIFY(!thread.isNeedStop());
    QCOMPARE(thread.result(), 0);
}

void tst_BaseClasses::stopEndsAThreadThatPollsTheFlag()
{
    PollingThread thread;
    thread.start();
    QVERIFY(thread.isRunning());

    thread.stopThread();

    QVERIFY(thread.isFinished());
    QVERIFY(thread.isNeedStop());
    QCOMPARE(thread.result(), 1);
}

void tst_BaseClasses::stopInterruptsAThreadThatIgnoresTheFlag()
{
    InterruptibleThread thread;
    thread.start();

    thread.stopThread();

    QVERIFY(thread.isFinished());
    QCOMPARE(thread.result(), 1);
}

void tst_BaseClasses::stopEndsAThreadWithAnEventLoop()
{
    BaseThread thread;
    QSignalSpy started(&thread, &QThread::started);
    thread.start();
    QTRY_COMPARE(started.count(), 1);

    thread.stopThread();

    QVERIFY(thread.isFinished());
}

void tst_BaseClasses::stopBeforeTheEventLoopRunsIsNotLost()
{
    for (int i = 0; i < 50; ++i) {
        BaseThread thread;
        thread.start();
        thread.stopThread();
        QVERIFY(thread.isFinished());
    }
}

void tst_BaseClasses::stopOfAThreadThatNeverRanReturns()
{
    PollingThread thread;

    thread.stopThread();

    QVERIFY(!thread.isRunning());
}

void tst_BaseClasses::stopTwiceReturns()
{
    PollingThread thread;
    thread.start();

    thread.stopThread();
    thread.stopThread();

    QCOMPARE(thread.result(), 1);
}

void tst_BaseClasses::threadRunsAgainWhenTheFlagIsCleared()
{
    PollingThread thread;
    thread.start();
    thread.stopThread();

    thread.setNeedStop(false);
    thread.start();
    thread.stopThread();

    QCOMPARE(thread.result(), 2);
}

void tst_BaseClasses::stopCanBeOverridden()
{
    NotifiedThread thread;
    thread.start();

    static_cast<BaseThread&>(thread).stopThread();

    QVERIFY(thread.wasAsked);
    QVERIFY(thread.isFinished());
}

QTEST_GUILESS_MAIN(tst_BaseClasses)
#include "tst_BaseClasses.moc"
