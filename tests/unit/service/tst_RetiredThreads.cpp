#include "TaskState.h"

#include "service/HCTcpServer.h"
#include "service/RetiredThreads.h"
#include "service/TcpSocket.h"

#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QProcess>
#include <QSemaphore>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

std::atomic<bool> hasDispatcherGone{false};
std::atomic<bool> isWokenAfterItsEnd{false};

/// Looks for posted events all the time and needs no waking. Who posts from another thread is held
/// up before the wake-up, as by the scheduler, so that the event may be handled meanwhile.
class RestlessDispatcher : public QAbstractEventDispatcher
{
public:
    ~RestlessDispatcher() override { hasDispatcherGone = true; }
    bool processEvents(QEventLoop::ProcessEventsFlags) override
    {
        QCoreApplication::sendPostedEvents();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    }
    void wakeUp() override
    {
        if (QThread::currentThread() == thread())
            return;
        // From here on this object may be gone. Nothing tells when it is not: a fixed time.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (hasDispatcherGone)
            isWokenAfterItsEnd = true;
    }
    bool hasPendingEvents() override { return true; }
    void registerSocketNotifier(QSocketNotifier*) override {}
    void unregisterSocketNotifier(QSocketNotifier*) override {}
    void registerTimer(int, int, Qt::TimerType, QObject*) override {}
    bool unregisterTimer(int) override { return true; }
    bool unregisterTimers(QObject*) override { return true; }
    QList<TimerInfo> registeredTimers(QObject*) const override { return {}; }
    int remainingTime(int) override { return -1; }
    void interrupt() override {}
    void flush() override {}
};

} // namespace

class tst_RetiredThreads : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void threadIsNotWokenAfterItsEnd();
    void connectionEndsInItsOwnThread();
    void answersQueuedBeforeTheStopGoOut();
    void endOfTheProcessWaitsOnceForAllThatAreStuck();
};

void tst_RetiredThreads::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
}

void tst_RetiredThreads::threadIsNotWokenAfterItsEnd()
{
    auto* socket = new TcpSocket;
    auto* thread = new QThread;
    thread->setEventDispatcher(new RestlessDispatcher);
    socket->setThread(thread);
    socket->moveToThread(thread);
    thread->start();

    ky::retireConnection(socket);

    QTRY_VERIFY(hasDispatcherGone);
    QVERIFY(!isWokenAfterItsEnd);
}

void tst_RetiredThreads::connectionEndsInItsOwnThread()
{
    int ends[2];
    QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    auto* socket = new TcpSocket;
    auto* thread = new QThread;
    QVERIFY(socket->setSocketDescriptor(ends[0]));
    socket->setThread(thread);
    std::atomic<const QThread*> endedIn{nullptr};
    connect(
        socket, &QObject::destroyed, thread, [&endedIn] { endedIn = QThread::currentThread(); },
        Qt::DirectConnection);
    socket->moveToThread(thread);
    const QThread* const expected = thread;
    thread->start();

    ky::retireConnection(socket);

    char byte = 0;
    QCOMPARE(read(ends[1], &byte, 1), ssize_t(0));
    close(ends[1]);
    QTRY_VERIFY(endedIn);
    QCOMPARE(endedIn.load(), expected);
}

void tst_RetiredThreads::answersQueuedBeforeTheStopGoOut()
{
    class OpenServer : public HCTcpServer
    {
    public:
        using HCTcpServer::incomingConnection;
    };

    for (int i = 0; i < 100; ++i) {
        OpenServer server;
        QVERIFY(server.startListen(0));
        int ends[2];
        QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        server.incomingConnection(ends[0]);
        if (i % 2 != 0) // otherwise the thread has not begun yet
            QVERIFY(TaskState::waitUntilOthersSleep());
        QVERIFY(server.sendDataToClient(ends[0], "answer"));
        server.stopListen();

        char bytes[16];
        QCOMPARE(read(ends[1], bytes, sizeof bytes), ssize_t(6));
        QCOMPARE(read(ends[1], bytes, sizeof bytes), ssize_t(0));
        close(ends[1]);
    }
}

namespace {

constexpr char kEndStuck[] = "end-stuck";

/// A process of its own, with connections whose threads never come back: it prints how long the end
/// of its application object takes.
int endStuck(int argc, char** argv)
{
    QElapsedTimer clock;
    {
        const QCoreApplication application(argc, argv);
        for (int i = 0; i < 4; ++i) {
            auto* socket = new TcpSocket;
            auto* thread = new QThread;
            socket->setThread(thread);
            socket->moveToThread(thread);
            QMetaObject::invokeMethod(
                socket, [] { QSemaphore().acquire(); }, Qt::QueuedConnection);
            thread->start();
            ky::retireConnection(socket);
        }
        clock.start();
    }
    std::printf("%d", int(clock.elapsed()));
    std::fflush(stdout);
    _exit(0);
}

} // namespace

void tst_RetiredThreads::endOfTheProcessWaitsOnceForAllThatAreStuck()
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(kEndStuck)});
    QVERIFY(process.waitForFinished(30000));

    bool isNumber = false;
    const int spentMs = process.readAllStandardOutput().toInt(&isNumber);

    QVERIFY(isNumber);
    // About two seconds, be it one thread or many.
    QVERIFY2(spentMs >= 1900 && spentMs < 5000, qPrintable(QString::number(spentMs)));
}

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // as the daemon does; its event loop ends at once when told to
    if (argc == 2 && qstrcmp(argv[1], kEndStuck) == 0)
        return endStuck(argc, argv);
    QCoreApplication application(argc, argv);
    tst_RetiredThreads test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_RetiredThreads.moc"
