#include "EchoService.h"
#include "ListenerTools.h"

#include <QElapsedTimer>

using ky::buildFrame;

/// Peers that read nothing, or next to nothing, against the patience of the service, which is 15 s.
class tst_SlowPeers : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }
    void patienceEndsAfterFifteenSeconds();
    void kickedClientThatReadsSlowlyGetsAllOfItsAnswers();
    void kickedClientThatGoesOnAskingGetsAllOfItsAnswers();
};

namespace {

constexpr int kLeastMs = 14200; // a timer of 15 s may be early by a twentieth
constexpr int kMostMs = 25000;

constexpr int kAnswerSize = 32 * 1024 * 1024;

/// A service with one client that reads nothing, and more bytes on their way to it than the
/// kernel takes.
class StuckService
{
public:
    StuckService()
    {
        server.setRelayObject(&_relay);
        server.startListen(0);
        client.prepare();
        client.keepLittle();
        client.connectTo(server.serverPort());
        client.send(buildFrame(2000, 1, {}, {}));
        serveUntil([this] { return !_relay.requests.empty(); }, 5000);
        handle = seenHandles(_relay).value(0, -1);
        server.sendDataToClient(handle, QByteArray(kAnswerSize, 'z'));
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

namespace {

int waitingInTheKernel(qintptr handle)
{
    int waiting = 0;
    ioctl(int(handle), SIOCOUTQ, &waiting);
    return waiting;
}

} // namespace

void tst_SlowPeers::kickedClientThatReadsSlowlyGetsAllOfItsAnswers()
{
    StuckService service;
    QVERIFY(isStuck(service.handle));
    // So little at a time that the kernel takes nothing new from the service for longer than its
    // patience lasts: it still has its own store to send.
    const int store = waitingInTheKernel(service.handle);
    const int taken = store + service.client.unread();
    const int sip = store / 100;
    int takenLater = 0;
    int received = 0;

    service.server.KickAllClients();
    const ClientThreads reader(1, [&](int) {
        for (int sips = 0; sips < 17; ++sips) {
            received += service.client.receive(sip).size();
            std::this_thread::sleep_for(std::chrono::seconds(1)); // 17 s: over the limit of 15
        }
        takenLater = received + service.client.unread() + waitingInTheKernel(service.handle);
        received += service.client.receive(kAnswerSize - received).size();
    });
    QVERIFY(serveUntil([&] { return reader.areDone(); }, 60000));

    QCOMPARE(takenLater, taken);
    QCOMPARE(received, kAnswerSize);
    QVERIFY(service.client.isEndedByPeer());
}

/// What it asks is not taken any more. A connection closed over unread bytes ends with a reset, by
/// which the kernel forgets what it still has to send.
void tst_SlowPeers::kickedClientThatGoesOnAskingGetsAllOfItsAnswers()
{
    StuckService service;
    QVERIFY(isStuck(service.handle));
    const QByteArray request = buildFrame(2000, 1, {}, {});
    int received = 0;

    service.server.KickAllClients();
    const ClientThreads client(1, [&](int) {
        // Until the kick has been carried out for certain.
        for (int asked = 0; asked < 20; ++asked) {
            service.client.send(request);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        constexpr int kPiece = 256 * 1024;
        for (int got = kPiece; got == kPiece && received < kAnswerSize; received += got) {
            service.client.send(request);
            got = service.client.receive(kPiece).size();
            // Slower than the service, so that at the end it is the kernel's store that is left.
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });
    QVERIFY(serveUntil([&] { return client.areDone(); }, 60000));

    QCOMPARE(received, kAnswerSize);
    QVERIFY(service.client.isEndedByPeer());
}

QTEST_GUILESS_MAIN(tst_SlowPeers)
#include "tst_SlowPeers.moc"
