#include "EchoService.h"
#include "ListenerTools.h"

#include <QAbstractEventDispatcher>

#include <memory>
#include <pthread.h>

using ky::buildFrame;

/// The process is out of descriptors, or of threads, or is given a descriptor that is none of its
/// kind: only the client concerned may notice.
class tst_ServiceLimits : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void descriptorsRunningOutOnlyTurnsNewClientsAway_data();
    void descriptorsRunningOutOnlyTurnsNewClientsAway();
    void listenerThatCouldNotAcceptGoesOnWhenItCan();
    void clientsAreServedWhileNoneCanBeAccepted();
    void listenerRestsWhileNoneCanBeAccepted();
    void clientThatGetsNoThreadIsEnded();
    void failedThreadsLeaveTheRoomForOthers();
    void descriptorThatCannotBeTakenStaysAnIdleEntry();
    void numberOfADeadEntryServesItsNextOwner();

private:
    int _threadsAtRest = 0;
};

namespace {

/// No thread can be made while this lives: none has an address space of that size.
class NoMoreThreads
{
public:
    NoMoreThreads()
    {
        pthread_getattr_default_np(&_before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, size_t(1) << 50);
        _isInForce = pthread_setattr_default_np(&huge) == 0;
        pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads()
    {
        pthread_setattr_default_np(&_before);
        pthread_attr_destroy(&_before);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;

    bool isInForce() const { return _isInForce; }

private:
    pthread_attr_t _before = {};
    bool _isInForce = false;
};

/// Asks with that number, and serves until the answer is there.
bool isAnswered(RawClient& client, EchoService& service, quint16 number)
{
    const qint64 before = service.requests;
    client.send(buildFrame(2000, number, {}, "text"));
    return serveUntil([&] { return service.requests > before; }, 5000) &&
           client.receiveFrame() == buildFrame(12000, number, {}, "text");
}

constexpr int kDeadNumber = 400; ///< not open, and none that the kernel gives soon

} // namespace

void tst_ServiceLimits::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    _threadsAtRest = threadCount();
}

void tst_ServiceLimits::init()
{
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_ServiceLimits::descriptorsRunningOutOnlyTurnsNewClientsAway_data()
{
    // The last descriptor may be wanted by an accept or by a thread that starts.
    QTest::addColumn<int>("spare");
    for (int spare = 40; spare < 48; ++spare)
        QTest::newRow(qPrintable(QString::number(spare))) << spare;
}

void tst_ServiceLimits::descriptorsRunningOutOnlyTurnsNewClientsAway()
{
    QFETCH(int, spare);
    EchoService service;
    RawClient first;
    QVERIFY(first.connectTo(service.port()));
    QVERIFY(isAnswered(first, service, 1));
    {
        // The clients' own descriptors are there beforehand: only the service runs out.
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 45; ++i) {
            clients.push_back(std::make_unique<RawClient>());
            QVERIFY(clients.back()->prepare());
        }
        const DescriptorLimit limit(limitThatLeaves(spare));
        // All of them wait in the backlog, so they are accepted before a thread of theirs has run.
        for (const auto& client : clients)
            client->connectTo(service.port());
        QTest::qWait(300); // accepted or turned away: neither is told of
        QVERIFY(isAnswered(first, service, 2));
    }

    QTRY_COMPARE(threadCount(), _threadsAtRest + 1);
    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    QVERIFY(isAnswered(next, service, 3));
}

void tst_ServiceLimits::listenerThatCouldNotAcceptGoesOnWhenItCan()
{
#if defined(__SANITIZE_ADDRESS__)
    QSKIP("the checks of the sanitizers open descriptors themselves");
#endif
    EchoService service;
    RawClient waiting;
    QVERIFY(waiting.prepare());
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    {
        const FullTable table(300);
        // Only the kernel has accepted it.
        QVERIFY(waiting.connectTo(service.port()));
        QTRY_VERIFY(!LogCapture::with("[warning][incomingConnection][accept:").isEmpty());
        QTest::qWait(300); // it tries again, in vain and without a word
    }
    QVERIFY(isAnswered(waiting, service, 1));
    const int warnings = LogCapture::with("[warning][incomingConnection][accept:").size();
    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    QVERIFY(isAnswered(next, service, 2));
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    // That is over and done with.
    QCOMPARE(LogCapture::with("[warning][incomingConnection][accept:").size(), warnings);
}

void tst_ServiceLimits::clientsAreServedWhileNoneCanBeAccepted()
{
#if defined(__SANITIZE_ADDRESS__)
    QSKIP("the checks of the sanitizers open descriptors themselves");
#endif
    EchoService service;
    RawClient first;
    QVERIFY(first.connectTo(service.port()));
    QVERIFY(isAnswered(first, service, 1));
    RawClient waiting;
    QVERIFY(waiting.prepare());
    {
        const FullTable table(300);
        QVERIFY(waiting.connectTo(service.port()));
        for (quint16 number = 2; number < 20; ++number)
            QVERIFY(isAnswered(first, service, number));
    }

    QVERIFY(isAnswered(waiting, service, 20));
}

void tst_ServiceLimits::listenerRestsWhileNoneCanBeAccepted()
{
#if defined(__SANITIZE_ADDRESS__)
    QSKIP("the checks of the sanitizers open descriptors themselves");
#endif
    EchoService service;
    RawClient first;
    QVERIFY(first.connectTo(service.port()));
    QVERIFY(isAnswered(first, service, 1));
    RawClient waiting;
    QVERIFY(waiting.prepare());
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    {
        const FullTable table(300);
        QVERIFY(waiting.connectTo(service.port()));
        QTRY_VERIFY(!LogCapture::with("[warning][incomingConnection][accept:").isEmpty());
        const QSignalSpy turns(QAbstractEventDispatcher::instance(),
                               &QAbstractEventDispatcher::awake);

        // Long enough for it to try again, and to fail again.
        QEventLoop loop;
        QTimer::singleShot(500, &loop, &QEventLoop::quit);
        loop.exec();

        QVERIFY2(turns.count() < 50, qPrintable(QString::number(turns.count())));
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    QVERIFY(isAnswered(waiting, service, 2));
    QVERIFY(isAnswered(first, service, 3));
}

void tst_ServiceLimits::clientThatGetsNoThreadIsEnded()
{
    EchoService service;
    RawClient first;
    QVERIFY(first.connectTo(service.port()));
    QVERIFY(isAnswered(first, service, 1));
    RawClient refused;
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    {
        const NoMoreThreads noThreads;
        QVERIFY(noThreads.isInForce());
        QVERIFY(refused.connectTo(service.port()));
        QTRY_VERIFY(!LogCapture::with("[no thread for another connection, handle:").isEmpty());
        QVERIFY(refused.isEndedByPeer());
        QVERIFY(isAnswered(first, service, 2));
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    QVERIFY(isAnswered(next, service, 3));
    QCOMPARE(threadCount(), _threadsAtRest + 2);
}

void tst_ServiceLimits::failedThreadsLeaveTheRoomForOthers()
{
    EchoService service;
    RawClient next;
    QVERIFY(next.prepare());
    {
        const NoMoreThreads noThreads;
        QVERIFY(noThreads.isInForce());
        const LogCapture log; // takes what Qt says of each
        for (int i = 0; i < 20; ++i) {
            RawClient refused;
            QVERIFY(refused.connectTo(service.port()));
            QVERIFY(service.server.waitForNewConnection(5000));
            QVERIFY(refused.isEndedByPeer());
        }
    }

    // The spare ones, the connection's and its thread's, and a few: not 20 more.
    const DescriptorLimit limit(limitThatLeaves(40));
    QVERIFY(next.connectTo(service.port()));
    QVERIFY(isAnswered(next, service, 1));
}

void tst_ServiceLimits::descriptorThatCannotBeTakenStaysAnIdleEntry()
{
    const LogCapture log; // takes what Qt says of it
    EchoService service;
    OpenServer server;
    QVERIFY(server.startListen(0));
    QVERIFY(!isOpen(kDeadNumber));

    server.incomingConnection(kDeadNumber);
    RawClient client;
    QVERIFY(client.connectTo(service.port()));
    QVERIFY(isAnswered(client, service, 1));

    // No end ever comes for it, so it stays; what is sent to it is lost.
    QVERIFY(server.sendDataToClient(kDeadNumber, "x"));
    QVERIFY(server.waitWrite2Client(kDeadNumber, "x"));
    QCOMPARE(server.getSocketPeerInfo(kDeadNumber).value("ip").toString(), QString());
    QVERIFY(server.abortClient(kDeadNumber));
    server.KickAllClients();
    QVERIFY(isAnswered(client, service, 2));
    QVERIFY(server.sendDataToClient(kDeadNumber, "x"));
    server.stopListen();
    QVERIFY(!server.sendDataToClient(kDeadNumber, "x"));
    QTRY_COMPARE(threadCount(), _threadsAtRest + 1);
}

void tst_ServiceLimits::numberOfADeadEntryServesItsNextOwner()
{
    const LogCapture log; // takes what Qt says of the first
    RelayRecorder relay;
    OpenServer server;
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    server.incomingConnection(kDeadNumber);
    int ends[2] = {};
    QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    QCOMPARE(dup2(ends[0], kDeadNumber), kDeadNumber);
    close(ends[0]);

    server.incomingConnection(kDeadNumber);

    const QByteArray request = buildFrame(2000, 1, {}, {});
    QCOMPARE(send(ends[1], request.constData(), size_t(request.size()), 0), ssize_t(16));
    QTRY_COMPARE(seenHandles(relay), QVector<qintptr>{kDeadNumber});
    close(ends[1]);
    QTRY_VERIFY(!server.sendDataToClient(kDeadNumber, "x"));
    QVERIFY(!isOpen(kDeadNumber));
}

QTEST_GUILESS_MAIN(tst_ServiceLimits)
#include "tst_ServiceLimits.moc"
