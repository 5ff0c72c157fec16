#include "EchoService.h"
#include "ListenerTools.h"

#include <QElapsedTimer>

using ky::buildFrame;

/// Peers that read nothing, for as long as the service has patience: 15 s, all at the same time.
class tst_SlowPeers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }
    void patienceEndsAfterFifteenSeconds();
};

namespace {

constexpr int kLeastMs = 14200; // a timer of 15 s may be early by a twentieth
constexpr int kMostMs = 25000;

/// A service with one client that reads nothing, and more bytes on their way to it than the
/// kernel takes.
class StuckService
{
public:
    StuckService()
    {
        server.setRelayObject(&_relay);
        server.startListen(0);
        client.connectTo(server.serverPort());
        client.send(buildFrame(2000, 1, {}, {}));
        serveUntil([this] { return !_relay.requests.empty(); }, 5000);
        handle = seenHandles(_relay).value(0, -1);
        server.sendDataToClient(handle, QByteArray(32 * 1024 * 1024, 'z'));
    }

    RawClient client;
    qintptr handle = -1;

private:
    RelayRecorder _relay;

public:
    HCTcpServer server{nullptr};
};

/// Tells when a descriptor is closed, while the thread of the test is blocked.
class CloseWatch
{
public:
    explicit CloseWatch(qintptr handle)
    {
        _clock.start();
        _thread = std::thread([this, handle] {
            while (isOpen(handle) && _clock.elapsed() < 2 * kMostMs)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            _closedMs = _clock.elapsed();
        });
    }
    ~CloseWatch() { _thread.join(); }
    qint64 closedMs() const { return _closedMs; }

private:
    QElapsedTimer _clock;
    std::atomic<qint64> _closedMs{-1};
    std::thread _thread;
};

} // namespace

void tst_SlowPeers::patienceEndsAfterFifteenSeconds()
{
    StuckService kicking;
    StuckService writing;
    QVERIFY(isStuck(kicking.handle) && isStuck(writing.handle));
    const int threads = threadCount();
    QElapsedTimer clock;
    clock.start();
    const CloseWatch watch(kicking.handle);

    kicking.server.KickAllClients();
    const bool isWritten = writing.server.waitWrite2Client(writing.handle, "one more");
    const qint64 writtenMs = clock.elapsed();
    QVERIFY(serveUntil([&] { return watch.closedMs() >= 0; }, kMostMs));

    // The writer is not told that its bytes still wait.
    QVERIFY(isWritten);
    QVERIFY2(writtenMs >= kLeastMs && writtenMs < kMostMs, qPrintable(QString::number(writtenMs)));
    // The kicked client is cut, with the answers that still wait.
    QVERIFY2(watch.closedMs() >= kLeastMs && watch.closedMs() < kMostMs,
             qPrintable(QString::number(watch.closedMs())));
    QTRY_VERIFY(!kicking.server.sendDataToClient(kicking.handle, "x"));
    QVERIFY(writing.server.sendDataToClient(writing.handle, "x"));
    QTRY_COMPARE(threadCount(), threads - 1);
}

QTEST_GUILESS_MAIN(tst_SlowPeers)
#include "tst_SlowPeers.moc"
