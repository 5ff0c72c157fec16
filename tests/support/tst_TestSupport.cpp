#include "LogCapture.h"
#include "TaskState.h"

#include <QSemaphore>
#include <QTest>

#include <atomic>
#include <csignal>
#include <thread>
#include <unistd.h>

Q_LOGGING_CATEGORY(oneLog, "ky.one")
Q_LOGGING_CATEGORY(otherLog, "ky.other")

/// What tests rely on.
class tst_TestSupport : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }

    void captureHearsWhatTheRulesLetThrough();
    void captureTurnsItsCategoryOnAndOffAgain();
    void captureHearsNothingBelowItsLevel();
    void captureHearsAllThreads();
    void threadThatWaitsIsAsleep();
    void threadThatRunsIsNotAsleep();
    void heldSignalIsPending();
};

void tst_TestSupport::captureHearsWhatTheRulesLetThrough()
{
    const LogCapture log;
    qCWarning(oneLog) << "off";
    qWarning("on");

    QCOMPARE(log.lines(), QStringList{"on"});
}

void tst_TestSupport::captureTurnsItsCategoryOnAndOffAgain()
{
    {
        const LogCapture log("ky.one");
        qCDebug(oneLog) << "heard";
        qCDebug(otherLog) << "not heard";

        QCOMPARE(log.lines(), QStringList{"heard"});
        QCOMPARE(log.of("ky.one"), QStringList{"heard"});
    }
    QVERIFY(!oneLog().isDebugEnabled() && !oneLog().isWarningEnabled());
}

void tst_TestSupport::captureHearsNothingBelowItsLevel()
{
    const LogCapture log("ky.", QtWarningMsg);
    qCDebug(oneLog) << "debug";
    qCInfo(oneLog) << "info";
    qCWarning(otherLog) << "warning";
    qCCritical(otherLog) << "critical";

    QCOMPARE(log.lines(), (QStringList{"warning", "critical"}));
    QCOMPARE(log.ofType(QtWarningMsg), QStringList{"warning"});
}

void tst_TestSupport::captureHearsAllThreads()
{
    const LogCapture log;
    QStringList heard;
    LogCapture::onLine([&heard](const QString& line) { heard << line; });

    std::thread([] { qWarning("from there"); }).join();

    QCOMPARE(log.last(), QStringLiteral("from there"));
    QCOMPARE(heard, QStringList{"from there"});
}

void tst_TestSupport::threadThatWaitsIsAsleep()
{
    QSemaphore gate;
    std::thread waiting([&gate] { gate.acquire(); });

    const bool isAsleep = TaskState::waitUntilOthersSleep();
    gate.release();
    waiting.join();

    QVERIFY(isAsleep);
}

void tst_TestSupport::threadThatRunsIsNotAsleep()
{
    std::atomic<pid_t> thread{0};
    std::atomic<bool> isOver{false};
    std::thread busy([&] {
        thread = gettid();
        while (!isOver)
            continue;
    });
    while (thread == 0)
        std::this_thread::yield();

    const bool isAsleep = TaskState::waitUntilAsleep(thread, 20);
    const bool areAllAsleep = TaskState::waitUntilOthersSleep(20);
    isOver = true;
    busy.join();

    QVERIFY(!isAsleep);
    QVERIFY(!areAllAsleep);
}

void tst_TestSupport::heldSignalIsPending()
{
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGUSR1);
    QCOMPARE(pthread_sigmask(SIG_BLOCK, &held, nullptr), 0);
    QVERIFY(!TaskState::isSignalPending(getpid(), SIGUSR1));

    pthread_kill(pthread_self(), SIGUSR1); // not for the watchdog of Qt Test, which would take it

    QVERIFY(TaskState::isSignalPending(getpid(), SIGUSR1));
    QVERIFY(!TaskState::isSignalPending(getpid(), SIGUSR2));
    int taken = 0;
    sigwait(&held, &taken);
    QVERIFY(!TaskState::isSignalPending(getpid(), SIGUSR1));
}

QTEST_GUILESS_MAIN(tst_TestSupport)
#include "tst_TestSupport.moc"
