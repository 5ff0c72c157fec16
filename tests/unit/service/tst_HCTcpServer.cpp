#include "EchoService.h"
#include "RawClient.h"
#include "RelayRecorder.h"

#include "service/TcpSocket.h"

#include <fcntl.h>
#include <memory>
#include <sys/resource.h>

using ky::buildFrame;

class tst_HCTcpServer : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void answersAClientByItsHandle();
    void peerInfoHoldsAddressPortAndName();
    void clientThatGoesAtOnceLeavesNoEntry();
    void logsCountsWhenAClientComesAndGoes();
    void sendToAnUnknownHandleIsRefusedWithItsText();
    void waitingWriteToAnUnknownHandleIsRefused();
    void waitingWriteReturnsWhenTheBytesHaveGone();
    void sendToAPeerWhoseEndIsStillQueuedIsTaken();
    void listeningTwiceIsRefused();
    void portInUseIsRefused();
    void hundredClientsMakeHundredThreads();
    void kickDisconnectsEveryClientAndEntriesLeave();
    void kickedClientStillGetsWhatWasWritten();
    void kickEndsAClientThatKeepsAsking();
    void stopCutsEveryClientAndEndsTheirThreads();
    void lateNoticesAfterStopMeetNothing();
    void destructorUnderLoadLeavesNoThread();
    void closedNumberServesTheNextClient();
    void clientsThatVanishInMidFrameLeaveNothing();
    void clientsThatVanishInMidAnswerLeaveNothing();
    void countsInTheLogFollowTheConnections();
    void listeningAndStoppingAreLogged();
    void lateAnswerReachesTheNextOwnerOfTheNumber();
    void waitingWriteToAConnectionInTeardownReturns();
    void descriptorsRunningOutOnlyTurnsNewClientsAway_data();
    void descriptorsRunningOutOnlyTurnsNewClientsAway();
    void waitingWriteTellsItsEndAndItsText();
    void bothWritesReachThePeer();
    void socketErrorIsLoggedAndLeavesTheConnection();

private:
    int _threadsAtRest = 0;
};

namespace {

QStringList logged;

void keepLog(QtMsgType, const QMessageLogContext&, const QString& text)
{
    static QMutex mutex;
    const QMutexLocker locker(&mutex);
    logged << text;
}

int warningsOfQt()
{
    return logged.filter(QStringLiteral("notifier")).size() +
           logged.filter(QStringLiteral("another thread")).size() +
           logged.filter(QStringLiteral("QThread")).size();
}

class LogKeeper
{
public:
    LogKeeper()
    {
        logged.clear();
        _before = qInstallMessageHandler(keepLog);
    }
    ~LogKeeper() { qInstallMessageHandler(_before); }

private:
    QtMessageHandler _before;
};

class OpenServer : public HCTcpServer
{
public:
    OpenServer()
        : HCTcpServer(nullptr)
    {}
    using HCTcpServer::incomingConnection;
};

bool isClosedSoon(qintptr handle)
{
    const QDeadlineTimer limit(5000);
    while (fcntl(int(handle), F_GETFD) != -1 && !limit.hasExpired())
        std::this_thread::yield();
    return fcntl(int(handle), F_GETFD) == -1;
}

/// The limit under which this process can open just so many more descriptors.
rlim_t limitThatLeaves(int free)
{
    int fd = 0;
    for (; free > 0; ++fd) {
        if (fcntl(fd, F_GETFD) == -1)
            --free;
    }
    return rlim_t(fd);
}

/// A number far from those that the test is about.
int moveAway(int fd)
{
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, 500);
    close(fd);
    return moved;
}

/// Connects the client to a listener of its own and moves the accepted end to `number`.
void giveNumberTo(RawClient& client, int number)
{
    const int listener = moveAway(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(listener, reinterpret_cast<sockaddr*>(&address), size);
    listen(listener, 1);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    client.connectTo(ntohs(address.sin_port));
    const int accepted = moveAway(accept(listener, nullptr, nullptr));
    QCOMPARE(dup2(accepted, number), number);
    close(accepted);
    close(listener);
}

/// Lets a connection in that lines up behind the end of its number's former owner: once in turn,
/// and once more when that end had not been told yet.
void letIn()
{
    for (int pass = 0; pass < 3; ++pass)
        QCoreApplication::processEvents();
}

QVector<qintptr> seenHandles(const RelayRecorder& relay)
{
    QVector<qintptr> handles;
    for (const auto& request : relay.requests)
        handles << request.handle;
    return handles;
}

} // namespace

void tst_HCTcpServer::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    _threadsAtRest = threadCount();
}

void tst_HCTcpServer::init()
{
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_HCTcpServer::answersAClientByItsHandle()
{
    EchoService service;
    QByteArray answer;

    const ClientThreads clients(1, [&](int) {
        RawClient client;
        client.connectTo(service.port());
        client.send(buildFrame(2000, 7, "{}", "hello"));
        answer = client.receiveFrame();
    });

    QTRY_VERIFY(clients.areDone());
    QCOMPARE(answer, buildFrame(12000, 7, {}, "hello"));
}

void tst_HCTcpServer::peerInfoHoldsAddressPortAndName()
{
    RelayRecorder relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient client;
    QVERIFY(client.connectTo(server.serverPort(), 9));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));

    const QVariantMap peer = server.getSocketPeerInfo(relay.requests[0].handle);

    QCOMPARE(peer.keys(), QStringList({"ip", "name", "port"}));
    QCOMPARE(peer.value("ip").toString(), QStringLiteral("127.0.0.9"));
    QVERIFY(peer.value("port").toInt() > 0);
}

void tst_HCTcpServer::clientThatGoesAtOnceLeavesNoEntry()
{
    EchoService service;

    for (int i = 0; i < 20; ++i) {
        RawClient client;
        QVERIFY(client.connectTo(service.port()));
        if (i % 2)
            client.reset();
    }

    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_HCTcpServer::logsCountsWhenAClientComesAndGoes()
{
    EchoService service;
    const LogKeeper keeper;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));

    for (int i = 0; i < 2; ++i) {
        {
            RawClient client;
            QVERIFY(client.connectTo(service.port()));
            QTRY_COMPARE(logged.filter(QStringLiteral("[incomingConnection]")).size(), i + 1);
        }
        QTRY_COMPARE(logged.filter(QStringLiteral("[disconnected:hand:")).size(), i + 1);
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    const QString come = logged.filter(QStringLiteral("[incomingConnection]")).last();
    const QString gone = logged.filter(QStringLiteral("[disconnected:hand:")).last();
    const QString peer = logged.filter(QStringLiteral("[disconnected][handle:")).last();
    QVERIFY2(come.endsWith(QStringLiteral("count: 0 ]")), qPrintable(come));
    QVERIFY2(gone.endsWith(QStringLiteral("count: 0 ]")), qPrintable(gone));
    QVERIFY2(peer.contains(QStringLiteral("][IP:127.0.0.1][port:")), qPrintable(peer));
}

void tst_HCTcpServer::sendToAnUnknownHandleIsRefusedWithItsText()
{
    HCTcpServer server(nullptr);
    const LogKeeper keeper;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));

    QVERIFY(!server.sendDataToClient(4711, "x"));

    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QCOMPARE(server.errorString(), QStringLiteral("[Tcpsocket[handle:4711] is null]"));
    QCOMPARE(logged.last(),
             QStringLiteral("[warning][sendDataToClient][Tcpsocket[handle:4711] is null]"));
}

void tst_HCTcpServer::waitingWriteToAnUnknownHandleIsRefused()
{
    HCTcpServer server(nullptr);

    QVERIFY(!server.waitWrite2Client(4711, "x"));

    QCOMPARE(server.errorString(), QStringLiteral("[Tcpsocket[handle:4711] is null]"));
}

void tst_HCTcpServer::waitingWriteReturnsWhenTheBytesHaveGone()
{
    RelayRecorder relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient client;
    QVERIFY(client.connectTo(server.serverPort()));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    const QByteArray large(8 * 1024 * 1024, 'z');
    QByteArray received;
    std::thread reader([&] { received = client.receive(large.size()); });

    const bool isWritten = server.waitWrite2Client(relay.requests[0].handle, large);

    reader.join();
    QVERIFY(isWritten);
    QCOMPARE(received, large);
}

void tst_HCTcpServer::sendToAPeerWhoseEndIsStillQueuedIsTaken()
{
    RelayRecorder relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient client;
    QVERIFY(client.connectTo(server.serverPort()));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    const qintptr handle = relay.requests[0].handle;

    client.reset();
    // The socket's own thread closes the descriptor; this thread has served no event meanwhile.
    QVERIFY(isClosedSoon(handle));
    const bool isTaken = server.sendDataToClient(handle, "late");
    QTRY_VERIFY(!server.sendDataToClient(handle, "later"));

    QVERIFY(isTaken);
}

void tst_HCTcpServer::listeningTwiceIsRefused()
{
    HCTcpServer server(nullptr);
    QVERIFY(server.startListen(0));

    QVERIFY(!server.startListen(0));

    QCOMPARE(server.errorString(), QStringLiteral("已在监听"));
    QVERIFY(server.isListening());
}

void tst_HCTcpServer::portInUseIsRefused()
{
    HCTcpServer first(nullptr);
    QVERIFY(first.startListen(0));
    HCTcpServer second(nullptr);

    QVERIFY(!second.startListen(first.serverPort()));

    QCOMPARE(second.errorString(), QStringLiteral("listen:[%1]is fail").arg(first.serverPort()));
    QVERIFY(!second.isListening());
}

void tst_HCTcpServer::hundredClientsMakeHundredThreads()
{
    EchoService service;
    std::vector<std::unique_ptr<RawClient>> clients;

    for (int i = 0; i < 100; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->connectTo(service.port()));
        if (i % 20 == 19)
            QTRY_COMPARE(threadCount(), _threadsAtRest + i + 1);
    }
    QCOMPARE(threadCount(), _threadsAtRest + 100);

    clients.clear();
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_HCTcpServer::kickDisconnectsEveryClientAndEntriesLeave()
{
    const LogKeeper keeper;
    RelayRecorder relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 10; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->connectTo(server.serverPort()));
        clients.back()->send(buildFrame(2000, 1, {}, {}));
    }
    QTRY_COMPARE(relay.requests.size(), size_t(10));

    server.KickAllClients();

    for (const auto& client : clients)
        QVERIFY(client->isEndedByPeer());
    for (qintptr handle : seenHandles(relay))
        QTRY_VERIFY(!server.sendDataToClient(handle, "x"));
    QCOMPARE(warningsOfQt(), 0);
}

void tst_HCTcpServer::kickedClientStillGetsWhatWasWritten()
{
    RelayRecorder relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient client;
    QVERIFY(client.connectTo(server.serverPort()));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    const QByteArray large(16 * 1024 * 1024, 'z');

    server.sendDataToClient(relay.requests[0].handle, large);
    server.KickAllClients();

    QCOMPARE(client.receive(large.size()).size(), large.size());
    QVERIFY(client.isEndedByPeer());
}

void tst_HCTcpServer::kickEndsAClientThatKeepsAsking()
{
    EchoService service;
    std::atomic<int> ended{0};
    std::atomic<int> asking{0};

    const ClientThreads clients(4, [&](int) {
        RawClient client;
        client.connectTo(service.port());
        const QByteArray request = buildFrame(2000, 1, {}, QByteArray(1000, 'r'));
        while (client.send(request) && !client.receiveFrame().isEmpty())
            ++asking;
        ++ended;
    });
    QTRY_VERIFY(asking > 100);
    service.server.KickAllClients();

    QTRY_COMPARE(ended.load(), 4);
    QTRY_VERIFY(clients.areDone());
}

void tst_HCTcpServer::stopCutsEveryClientAndEndsTheirThreads()
{
    const LogKeeper keeper;
    EchoService service;
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 10; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->connectTo(service.port()));
        clients.back()->send(buildFrame(2000, 1, {}, {}));
    }
    QTRY_COMPARE(service.requests, qint64(10));

    service.server.stopListen();

    QVERIFY(!service.server.isListening());
    for (const auto& client : clients)
        QVERIFY(client->isEndedByPeer());
    QTRY_COMPARE(threadCount(), _threadsAtRest);
    QCOMPARE(warningsOfQt(), 0);
}

void tst_HCTcpServer::lateNoticesAfterStopMeetNothing()
{
    EchoService service;
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->connectTo(service.port()));
        clients.back()->send(buildFrame(2000, 1, {}, {}));
    }
    QTRY_COMPARE(service.requests, qint64(20));

    // Their ends are queued here by the time the listener stops.
    for (const auto& client : clients)
        client->reset();
    QThread::msleep(20);
    service.server.stopListen();
    QCoreApplication::processEvents();

    QVERIFY(service.server.startListen(0));
    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    next.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(service.requests, qint64(21));
}

void tst_HCTcpServer::destructorUnderLoadLeavesNoThread()
{
    const LogKeeper keeper;
    std::atomic<int> ended{0};
    auto service = std::make_unique<EchoService>();
    const quint16 port = service->port();

    ClientThreads clients(8, [&](int) {
        RawClient client;
        client.connectTo(port);
        const QByteArray request = buildFrame(2000, 1, {}, QByteArray(2000, 'r'));
        while (client.send(request) && !client.receiveFrame().isEmpty()) {
        }
        ++ended;
    });
    QTRY_VERIFY(service->requests > 1000);
    service.reset();

    QTRY_COMPARE(ended.load(), 8);
    QTRY_COMPARE(threadCount(), _threadsAtRest);
    QCOMPARE(warningsOfQt(), 0);
}

void tst_HCTcpServer::closedNumberServesTheNextClient()
{
    RelayRecorder relay;
    OpenServer server;
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient first;
    QVERIFY(first.connectTo(server.serverPort()));
    first.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    const qintptr handle = relay.requests[0].handle;

    first.reset();
    QVERIFY(isClosedSoon(handle));
    // The end of the first connection is queued; its number now serves another connection.
    RawClient second;
    giveNumberTo(second, int(handle));
    QVERIFY(fcntl(int(handle), F_GETFD) != -1);
    server.incomingConnection(handle);
    second.send(buildFrame(2000, 2, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(2));
    QCoreApplication::processEvents();

    QVERIFY(server.sendDataToClient(handle, buildFrame(12000, 2, {}, "two")));
    QCOMPARE(second.receiveFrame(), buildFrame(12000, 2, {}, "two"));
}

void tst_HCTcpServer::clientsThatVanishInMidFrameLeaveNothing()
{
    EchoService service;
    const QByteArray frame = buildFrame(2000, 1, "{\"a\":1}", QByteArray(1000, 'x'));

    for (int cut = 1; cut < frame.size(); cut += 37) {
        RawClient client;
        QVERIFY(client.connectTo(service.port()));
        client.send(frame.left(cut));
        if (cut % 2)
            client.reset();
    }

    QTRY_COMPARE(threadCount(), _threadsAtRest);
    QCOMPARE(service.requests, qint64(0));
}

void tst_HCTcpServer::clientsThatVanishInMidAnswerLeaveNothing()
{
    EchoService service;

    const ClientThreads clients(4, [&](int i) {
        for (int n = 0; n < 10; ++n) {
            RawClient client;
            client.connectTo(service.port());
            client.send(buildFrame(2000, 1, {}, QByteArray(4 * 1024 * 1024, 'x')));
            client.receive(1 + n * 1000);
            if ((i + n) % 2)
                client.reset();
        }
    });

    QVERIFY(serveUntil([&] { return clients.areDone(); }, 60000));
    QCOMPARE(service.requests, qint64(40));
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_HCTcpServer::countsInTheLogFollowTheConnections()
{
    EchoService service;
    const LogKeeper keeper;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));
    RawClient first;
    RawClient second;

    QVERIFY(first.connectTo(service.port()));
    QTRY_COMPARE(logged.filter(QStringLiteral("[incomingConnection]")).size(), 1);
    QVERIFY(second.connectTo(service.port()));
    QTRY_COMPARE(logged.filter(QStringLiteral("[incomingConnection]")).size(), 2);
    first.close();
    QTRY_COMPARE(logged.filter(QStringLiteral("[disconnected:hand:")).size(), 1);
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    const QStringList come = logged.filter(QStringLiteral("[incomingConnection]"));
    QVERIFY2(come.at(0).endsWith(QStringLiteral("count: 0 ]")), qPrintable(come.at(0)));
    QVERIFY2(come.at(1).endsWith(QStringLiteral("count: 1 ]")), qPrintable(come.at(1)));
    const QString gone = logged.filter(QStringLiteral("[disconnected:hand:")).at(0);
    QVERIFY2(gone.endsWith(QStringLiteral("count: 1 ]")), qPrintable(gone));
}

void tst_HCTcpServer::listeningAndStoppingAreLogged()
{
    const LogKeeper keeper;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));
    HCTcpServer server(nullptr);
    QVERIFY(server.startListen(0));
    server.stopListen();
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    QCOMPARE(logged.value(0), QStringLiteral("[debug][startListen][listen:0 is listenning now]"));
    QCOMPARE(logged.value(1), QStringLiteral("[debug][stopListen][_tcpSocketMap.keys.size: 0 ]"));
}

void tst_HCTcpServer::lateAnswerReachesTheNextOwnerOfTheNumber()
{
    RelayRecorder relay;
    OpenServer server;
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient first;
    QVERIFY(first.connectTo(server.serverPort()));
    first.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    const qintptr handle = relay.requests[0].handle;
    first.reset();
    QVERIFY(isClosedSoon(handle));
    RawClient second;
    giveNumberTo(second, int(handle));
    server.incomingConnection(handle);
    letIn();

    // The daemon cannot tell the two apart: the handle is all that it has.
    QVERIFY(server.sendDataToClient(relay.requests[0].handle, "answer to the first"));

    QCOMPARE(second.receive(19), QByteArray("answer to the first"));
}

namespace {

/// Answers by waiting until the bytes have gone.
class WaitingRelay : public QObject
{
    Q_OBJECT

public:
    explicit WaitingRelay(HCTcpServer& server)
        : _server(server)
    {}
    int answered = 0;
    qintptr handle = -1;

public slots:
    void slotRevInterface(QString, qintptr from, quint16, quint16, QByteArray, QVariant)
    {
        handle = from;
        _server.waitWrite2Client(handle, "answer");
        ++answered;
    }

private:
    HCTcpServer& _server;
};

} // namespace

void tst_HCTcpServer::waitingWriteToAConnectionInTeardownReturns()
{
    OpenServer server;
    WaitingRelay relay(server);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient first;
    QVERIFY(first.connectTo(server.serverPort()));
    first.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.answered, 1);
    QCOMPARE(first.receive(6), QByteArray("answer"));
    const qintptr handle = relay.handle;

    // A request and the end of its connection are both still queued here when the number comes
    // back.
    first.send(buildFrame(2000, 2, {}, {}));
    QThread::msleep(50);
    first.reset();
    QVERIFY(isClosedSoon(handle));
    RawClient second;
    giveNumberTo(second, int(handle));
    server.incomingConnection(handle);
    letIn();

    QCOMPARE(relay.answered, 2);
    QVERIFY(server.sendDataToClient(handle, "hello"));
    QCOMPARE(second.receive(5), QByteArray("hello"));
}

void tst_HCTcpServer::descriptorsRunningOutOnlyTurnsNewClientsAway_data()
{
    // The last descriptor may be wanted by an accept or by a thread that starts.
    QTest::addColumn<int>("spare");
    for (int spare = 40; spare < 48; ++spare)
        QTest::newRow(qPrintable(QString::number(spare))) << spare;
}

void tst_HCTcpServer::descriptorsRunningOutOnlyTurnsNewClientsAway()
{
    QFETCH(int, spare);
    EchoService service;
    RawClient first;
    QVERIFY(first.connectTo(service.port()));
    first.send(buildFrame(2000, 1, {}, "first"));
    QTRY_COMPARE(service.requests, qint64(1));
    QCOMPARE(first.receiveFrame(), buildFrame(12000, 1, {}, "first"));
    rlimit before = {};
    getrlimit(RLIMIT_NOFILE, &before);
    {
        // The clients' own descriptors are there beforehand: only the service runs out.
        std::vector<std::unique_ptr<RawClient>> clients;
        for (int i = 0; i < 45; ++i) {
            clients.push_back(std::make_unique<RawClient>());
            QVERIFY(clients.back()->prepare());
        }
        const rlimit tight = {limitThatLeaves(spare), before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &tight);
        // All of them wait in the backlog, so they are accepted before a thread of theirs has run.
        for (const auto& client : clients)
            client->connectTo(service.port());
        QTest::qWait(300);
        first.send(buildFrame(2000, 2, {}, "still served"));
        QTRY_COMPARE(service.requests, qint64(2));
        QCOMPARE(first.receiveFrame(), buildFrame(12000, 2, {}, "still served"));
    }
    setrlimit(RLIMIT_NOFILE, &before);

    QTest::qWait(500);
    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    next.send(buildFrame(2000, 3, {}, "next"));
    QTRY_COMPARE(service.requests, qint64(3));
    QCOMPARE(next.receiveFrame(), buildFrame(12000, 3, {}, "next"));
}

void tst_HCTcpServer::waitingWriteTellsItsEndAndItsText()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    TcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    QVERIFY(socket.waitForConnected(5000));
    QSignalSpy finished(&socket, &TcpSocket::sigFinished);

    socket.slotWaitWrite("short");

    // flush() has left nothing to wait for, which reads like a time-out.
    QCOMPARE(finished.count(), 1);
    QCOMPARE(socket.errorString(), QStringLiteral("waitForBytesWritten:timeout:15s"));
}

void tst_HCTcpServer::bothWritesReachThePeer()
{
    QTcpServer listener;
    QVERIFY(listener.listen(QHostAddress::LocalHost));
    TcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, listener.serverPort());
    QVERIFY(socket.waitForConnected(5000));
    QVERIFY(listener.waitForNewConnection(5000));
    QTcpSocket* peer = listener.nextPendingConnection();

    socket.write2Client("to client,");
    socket.write2Server("to server");

    QTRY_COMPARE(peer->bytesAvailable(), qint64(19));
    QCOMPARE(peer->readAll(), QByteArray("to client,to server"));
    QVERIFY(
        QRegularExpression(QStringLiteral("^ Local:127.0.0.1:\\d+ Server:127.0.0.1:%1 Tcp:none$")
                               .arg(listener.serverPort()))
            .match(socket.getSocketDebugStr())
            .hasMatch());
}

void tst_HCTcpServer::socketErrorIsLoggedAndLeavesTheConnection()
{
    const LogKeeper keeper;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    TcpSocket socket;
    socket.setIntptr(77);

    socket.slotError(QAbstractSocket::NetworkError);

    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QCOMPARE(logged.last(), QStringLiteral("[warning][slotError][socket_id: 77 socketError: "
                                           "QAbstractSocket::NetworkError ]"));
}

QTEST_GUILESS_MAIN(tst_HCTcpServer)
#include "tst_HCTcpServer.moc"
