// The relay thread as it is: on connections of the service, which take what they can read. The
// cases wait for seconds by rule and run at the same time, once, in initTestCase().
#include "clients/RelayServerThread.h"

#include "LogCapture.h"
#include "Peer.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QtTest>

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <future>
#include <thread>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");

struct Outcome
{
    qint64 ms = 0;
    bool hasEnded = false;
    bool wasClosed = false; ///< the client's end saw the end of the connection
    QByteArray forwarded;   ///< what reached the server
};

/// The two ends of an accepted connection.
struct Pair
{
    Pair()
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            qFatal("no socket pair");
    }
    ~Pair() { ::close(ends[0]); }
    void write(const QByteArray& bytes) const
    {
        QCOMPARE(::send(ends[0], bytes.constData(), size_t(bytes.size()), MSG_NOSIGNAL),
                 ssize_t(bytes.size()));
    }
    bool isClosed() const
    {
        // Bytes that the other end had not read turn its end into a reset.
        char byte;
        const ssize_t count = ::recv(ends[0], &byte, 1, MSG_DONTWAIT);
        return count == 0 || (count < 0 && errno == ECONNRESET);
    }

    int ends[2]; ///< ours, and the one that is handed over
};

Outcome relay(const QByteArray& message, quint16 serverPort = 0)
{
    Outcome outcome;
    Peer server([&outcome](Connection& connection) { outcome.forwarded = connection.readToEnd(); });
    Pair client;
    if (!message.isEmpty())
        client.write(message);
    RelayServerThread thread(nullptr);
    QElapsedTimer timer;
    timer.start();
    thread.transaction(kLoopback, serverPort ? serverPort : server.port(), client.ends[1]);
    outcome.hasEnded = thread.wait(15000);
    outcome.ms = timer.elapsed();
    outcome.wasClosed = client.isClosed();
    return outcome;
}

QString about(const Outcome& outcome)
{
    return QStringLiteral("%1 ms, ended %2, closed %3")
        .arg(outcome.ms)
        .arg(outcome.hasEnded)
        .arg(outcome.wasClosed);
}

} // namespace

class tst_RelayServerThread : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void silentClientIsDroppedBehindTwoWaits();
    void framesAreTakenByTheConnectionItself();
    void noiseIsTakenByTheConnectionItself();
    void refusedServerDropsTheClient();
    void unreachableServerDropsTheClient();
    void defaultsAreTheServiceOfThisMachine();
    void clientThatGoesEndsTheThread();
    void runningRelayStaysAsItIs();
    void stoppedThreadStartsAgain();
    void badDescriptorEndsTheThread();
    void clientHandedToAnEndingThreadIsRelayed();
    void clientWithoutAThreadIsClosed();

private:
    Outcome _silent;
    Outcome _frame;
    Outcome _noise;
    Outcome _unreachable;
    QStringList _lines;
};

void tst_RelayServerThread::initTestCase()
{
    LogCapture log;
    SilentAddress nowhere;
    const auto start = [](const QByteArray& message, quint16 port = 0) {
        return std::async(std::launch::async, relay, message, port);
    };
    auto silent = start({});
    auto frame = start(rawFrame(2000, 1, quint16(2000 - 10000), 0, "data"));
    auto noise = start("{\"userName\":\"me\"}");
    auto unreachable = start("hello", nowhere.port());
    _silent = silent.get();
    _frame = frame.get();
    _noise = noise.get();
    _unreachable = unreachable.get();
    _lines = log.take();
}

void tst_RelayServerThread::silentClientIsDroppedBehindTwoWaits()
{
    QVERIFY2(_silent.hasEnded && _silent.wasClosed, qPrintable(about(_silent)));
    QVERIFY2(_silent.ms >= 6000 && _silent.ms < 9000, qPrintable(about(_silent)));
    QVERIFY(_silent.forwarded.isEmpty());
    // Every relay of this run but the unreachable one ended so.
    QCOMPARE(_lines.filter("[debug][run][isWaitAuth: true ]").size(), 3);
    QCOMPARE(_lines.filter("[debug][run][ false b: 0 ]").size(), 6);
    QCOMPARE(_lines.filter("[debug][run][thread finished]").size(), 4);
}

void tst_RelayServerThread::framesAreTakenByTheConnectionItself()
{
    QVERIFY2(_frame.ms >= 6000, qPrintable(about(_frame)));
    QVERIFY(_frame.forwarded.isEmpty());
    QCOMPARE(_lines.filter("[QMetaObject::invokeMethod: fail]").size(), 1);
}

void tst_RelayServerThread::noiseIsTakenByTheConnectionItself()
{
    QVERIFY2(_noise.ms >= 6000, qPrintable(about(_noise)));
    QVERIFY(_noise.forwarded.isEmpty());
    QCOMPARE(_lines.filter("[Network packet loss:").size(), 17);
}

void tst_RelayServerThread::refusedServerDropsTheClient()
{
    const quint16 port = refusedPort();
    LogCapture log;

    const Outcome outcome = relay("hello", port);

    QVERIFY2(outcome.hasEnded && outcome.wasClosed && outcome.ms < 3000,
             qPrintable(about(outcome)));
    QCOMPARE(
        log.with("[!!!!!connect socket: timeout"),
        QStringList(QStringLiteral("[warning][run][!!!!!connect socket: timeout 127.0.0.1 %1 ]")
                        .arg(port)));
}

void tst_RelayServerThread::unreachableServerDropsTheClient()
{
    QVERIFY2(_unreachable.hasEnded && _unreachable.wasClosed, qPrintable(about(_unreachable)));
    QVERIFY2(_unreachable.ms >= 4900 && _unreachable.ms < 8000, qPrintable(about(_unreachable)));
}

void tst_RelayServerThread::defaultsAreTheServiceOfThisMachine()
{
    const RelayServerThread thread(nullptr);
    QCOMPARE(thread.ip(), kLoopback);
    QCOMPARE(thread.port(), quint16(19208));
    QCOMPARE(thread.handle(), qintptr(0));
}

void tst_RelayServerThread::clientThatGoesEndsTheThread()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    LogCapture log;
    RelayServerThread thread(nullptr);
    {
        const Pair client;
        thread.transaction(kLoopback, server.port(), client.ends[1]);
    }

    QVERIFY(thread.wait(6000));

    QCOMPARE(log.with("[warning][run][客户端断开了: 127.0.0.1 0 ]").size(), 1);
}

void tst_RelayServerThread::runningRelayStaysAsItIs()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    Peer other([](Connection& connection) { connection.waitForEnd(); });
    const Pair client;
    RelayServerThread thread(nullptr);
    thread.transaction(kLoopback, server.port(), client.ends[1]);
    QTRY_COMPARE(server.connections(), 1);

    thread.transaction(QStringLiteral("127.0.0.2"), other.port(), 99);

    QCOMPARE(thread.ip(), QStringLiteral("127.0.0.2"));
    QCOMPARE(thread.port(), other.port());
    QCOMPARE(thread.handle(), qintptr(99));
    QVERIFY(thread.isRunning());
    QElapsedTimer timer;
    timer.start();
    thread.stopThread();
    QVERIFY(timer.elapsed() < 4500);
    QCOMPARE(other.connections(), 0);
    QVERIFY(client.isClosed());
}

void tst_RelayServerThread::stoppedThreadStartsAgain()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    RelayServerThread thread(nullptr);
    for (int i = 1; i <= 2; ++i) {
        const Pair client;
        thread.transaction(kLoopback, server.port(), client.ends[1]);
        QTRY_COMPARE(server.connections(), i);
        QVERIFY(!thread.isNeedStop());
        thread.stopThread();
        QVERIFY(!thread.isRunning());
        QVERIFY(client.isClosed());
    }
}

void tst_RelayServerThread::badDescriptorEndsTheThread()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    RelayServerThread thread(nullptr);

    thread.transaction(kLoopback, server.port(), 999999);

    QVERIFY(thread.wait(5000));
}

void tst_RelayServerThread::clientHandedToAnEndingThreadIsRelayed()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    const Pair first;
    const Pair second;
    RelayServerThread thread(nullptr);
    LogCapture log;
    std::atomic<bool> isFirst{true};
    QSemaphore isEnding;
    QSemaphore isHandedOver;
    log.onLine([&](const QString& line) {
        if (!line.contains("[thread finished]") || !isFirst.exchange(false))
            return;
        // Stays in run() until the client is being handed over and that has returned, or waits for
        // the end.
        isEnding.release();
        const QDeadlineTimer limit(20000);
        while (thread.handle() != second.ends[1] && !limit.hasExpired())
            std::this_thread::yield();
        isHandedOver.tryAcquire(1, 300);
    });
    thread.transaction(kLoopback, refusedPort(), first.ends[1]);
    QVERIFY(isEnding.tryAcquire(1, 8000));
    QVERIFY(thread.isRunning());

    thread.transaction(kLoopback, server.port(), second.ends[1]);
    isHandedOver.release();

    QTRY_COMPARE(server.connections(), 1);
    QVERIFY(first.isClosed());
    QVERIFY(!second.isClosed());
    thread.stopThread();
    QVERIFY(second.isClosed());
}

void tst_RelayServerThread::clientWithoutAThreadIsClosed()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    RelayServerThread thread(nullptr);
    // Less than a thread can have: none is started.
    thread.setStackSize(1);
    const Pair refused;

    thread.transaction(kLoopback, server.port(), refused.ends[1]);

    QVERIFY(!thread.isRunning());
    QVERIFY(refused.isClosed());
    thread.setStackSize(0);
    const Pair next;
    thread.transaction(kLoopback, server.port(), next.ends[1]);
    QTRY_COMPARE(server.connections(), 1);
    thread.stopThread();
    QVERIFY(next.isClosed());
}

QTEST_GUILESS_MAIN(tst_RelayServerThread)
#include "tst_RelayServerThread.moc"
