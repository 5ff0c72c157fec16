#include "EchoService.h"
#include "ListenerTools.h"
#include "TaskState.h"

#include "service/TcpSocket.h"

#include <memory>

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
    void sendToAPeerThatHasGoneIsRefusedWithAWarning();
    void listeningTwiceIsRefused();
    void portInUseIsRefused();
    void hundredClientsMakeHundredThreads();
    void kickDisconnectsEveryClientAndEntriesLeave();
    void kickedClientStillGetsWhatWasWritten();
    void kickEndsAClientThatKeepsAsking();
    void stopCutsEveryClientAndEndsTheirThreads();
    void stopDoesNotWaitForABusyConnection();
    void lateNoticesAfterStopMeetNothing();
    void stopLeavesTheCallsOfOthersAlone();
    void destructorUnderLoadLeavesNoThread();
    void clientsThatVanishInMidFrameLeaveNothing();
    void clientsThatVanishInMidAnswerLeaveNothing();
    void countsInTheLogFollowTheConnections();
    void listeningAndStoppingAreLogged();
    void waitingWriteTellsItsEndAndItsText();
    void bothWritesReachThePeer();
    void socketErrorIsLoggedAndLeavesTheConnection();
    void debugTextCarriesTheLastError();
    void abortEndsOneClientWithWhatWaits();
    void abortOfAnUnknownHandleIsRefused();

private:
    int _threadsAtRest = 0;
};

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
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));

    for (int i = 0; i < 2; ++i) {
        {
            RawClient client;
            QVERIFY(client.connectTo(service.port()));
            QTRY_COMPARE(LogCapture::with("[incomingConnection]").size(), i + 1);
        }
        QTRY_COMPARE(LogCapture::with("[disconnected:hand:").size(), i + 1);
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    const QString come = LogCapture::with("[incomingConnection]").last();
    const QString gone = LogCapture::with("[disconnected:hand:").last();
    const QString peer = LogCapture::with("[disconnected][handle:").last();
    QVERIFY2(come.endsWith(QStringLiteral("count: 0 ]")), qPrintable(come));
    QVERIFY2(gone.endsWith(QStringLiteral("count: 0 ]")), qPrintable(gone));
    QVERIFY2(peer.contains(QStringLiteral("][IP:127.0.0.1][port:")), qPrintable(peer));
}

void tst_HCTcpServer::sendToAnUnknownHandleIsRefusedWithItsText()
{
    HCTcpServer server(nullptr);
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));

    QVERIFY(!server.sendDataToClient(4711, "x"));

    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QCOMPARE(server.errorString(), QStringLiteral("[Tcpsocket[handle:4711] is null]"));
    QCOMPARE(LogCapture::last(),
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

void tst_HCTcpServer::sendToAPeerThatHasGoneIsRefusedWithAWarning()
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
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service=true"));
    client.close();
    QTRY_COMPARE(LogCapture::with("[disconnected:hand:").size(), 1);

    QVERIFY(!server.sendDataToClient(handle, "late"));
    const QString afterSend = LogCapture::last();
    server.setErrorString({});
    QVERIFY(!server.waitWrite2Client(handle, "later"));
    const QString afterWait = LogCapture::last();
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    const QString text = QStringLiteral("[Tcpsocket[handle:%1] is null]").arg(handle);
    QCOMPARE(afterSend, "[warning][sendDataToClient]" + text);
    QCOMPARE(afterWait, "[warning][waitWrite2Client]" + text);
    QCOMPARE(server.errorString(), text);
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
    const LogCapture log;
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
    QCOMPARE(threadWarnings(), 0);
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
    const LogCapture log;
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
    QCOMPARE(threadWarnings(), 0);
}

void tst_HCTcpServer::stopDoesNotWaitForABusyConnection()
{
    EchoService service;
    RawClient client;
    QVERIFY(client.connectTo(service.port()));
    // Holds up the thread of the connection, which is the one that logs a request.
    QSemaphore reached;
    QSemaphore gate;
    LogCapture log("ky.service");
    log.onLine([&](const QString& line) {
        if (line.contains(QStringLiteral("[Receive"))) {
            reached.release();
            gate.tryAcquire(1, 20000);
        }
    });
    client.send(buildFrame(2000, 1, {}, "x"));
    QTRY_COMPARE(reached.available(), 1);

    QElapsedTimer clock;
    clock.start();
    service.server.stopListen();
    const qint64 spent = clock.elapsed();

    QVERIFY2(threadCount() > _threadsAtRest, "the connection's thread is still held up");
    gate.release();
    QTRY_COMPARE(threadCount(), _threadsAtRest);
    QVERIFY2(spent < 10000, qPrintable(QString::number(spent)));
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
    QVERIFY(TaskState::waitUntilOthersSleep());
    service.server.stopListen();
    QCoreApplication::processEvents();

    QVERIFY(service.server.startListen(0));
    RawClient next;
    QVERIFY(next.connectTo(service.port()));
    next.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(service.requests, qint64(21));
}

namespace {

/// A listener with a slot of its own.
class CountingServer : public HCTcpServer
{
    Q_OBJECT

public:
    int calls = 0;

public slots:
    void slotCount() { ++calls; }
};

} // namespace

void tst_HCTcpServer::stopLeavesTheCallsOfOthersAlone()
{
    CountingServer server;
    QVERIFY(server.startListen(0));
    QMetaObject::invokeMethod(&server, "slotCount", Qt::QueuedConnection);
    QMetaObject::invokeMethod(
        &server, [&server] { server.slotCount(); }, Qt::QueuedConnection);

    server.stopListen();
    QCoreApplication::sendPostedEvents(&server);

    QCOMPARE(server.calls, 2);
}

void tst_HCTcpServer::destructorUnderLoadLeavesNoThread()
{
    const LogCapture log;
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
    QCOMPARE(threadWarnings(), 0);
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
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));
    RawClient first;
    RawClient second;

    QVERIFY(first.connectTo(service.port()));
    QTRY_COMPARE(LogCapture::with("[incomingConnection]").size(), 1);
    QVERIFY(second.connectTo(service.port()));
    QTRY_COMPARE(LogCapture::with("[incomingConnection]").size(), 2);
    first.close();
    QTRY_COMPARE(LogCapture::with("[disconnected:hand:").size(), 1);
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    const QStringList come = LogCapture::with("[incomingConnection]");
    QVERIFY2(come.at(0).endsWith(QStringLiteral("count: 0 ]")), qPrintable(come.at(0)));
    QVERIFY2(come.at(1).endsWith(QStringLiteral("count: 1 ]")), qPrintable(come.at(1)));
    const QString gone = LogCapture::with("[disconnected:hand:").at(0);
    QVERIFY2(gone.endsWith(QStringLiteral("count: 1 ]")), qPrintable(gone));
}

void tst_HCTcpServer::listeningAndStoppingAreLogged()
{
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.debug=true"));
    HCTcpServer server(nullptr);
    QVERIFY(server.startListen(0));
    server.stopListen();
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    QCOMPARE(LogCapture::lines().value(0),
             QStringLiteral("[debug][startListen][listen:0 is listenning now]"));
    QCOMPARE(LogCapture::lines().value(1),
             QStringLiteral("[debug][stopListen][_tcpSocketMap.keys.size: 0 ]"));
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
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));
    TcpSocket socket;
    socket.setIntptr(77);

    socket.slotError(QAbstractSocket::NetworkError);

    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QCOMPARE(LogCapture::last(), QStringLiteral("[warning][slotError][socket_id: 77 socketError: "
                                                "QAbstractSocket::NetworkError ]"));
}

void tst_HCTcpServer::debugTextCarriesTheLastError()
{
    QTcpServer taken;
    QVERIFY(taken.listen(QHostAddress::LocalHost));
    const quint16 port = taken.serverPort();
    taken.close();
    TcpSocket socket;

    socket.connectToHost(QHostAddress::LocalHost, port);

    QVERIFY(!socket.waitForConnected(5000));
    const QString text = socket.getSocketDebugStr();
    QVERIFY2(text.endsWith(QStringLiteral(" Tcp:Connection refused")), qPrintable(text));
}

void tst_HCTcpServer::abortEndsOneClientWithWhatWaits()
{
    RelayRecorder relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient cut;
    RawClient other;
    QVERIFY(cut.connectTo(server.serverPort()));
    cut.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    QVERIFY(other.connectTo(server.serverPort()));
    other.send(buildFrame(2000, 2, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(2));
    const qintptr handle = relay.requests[0].handle;
    const int size = 64 * 1024 * 1024;

    server.sendDataToClient(handle, QByteArray(size, 'z'));
    QVERIFY(server.abortClient(handle));
    QVERIFY(isClosedSoon(handle));
    QTRY_VERIFY(!server.sendDataToClient(handle, "x"));

    QVERIFY(cut.receive(size).size() < size);
    other.send(buildFrame(2000, 3, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(3));
    QVERIFY(server.sendDataToClient(relay.requests[2].handle, "still here"));
    QCOMPARE(other.receive(10), QByteArray("still here"));
    QCOMPARE(threadCount(), _threadsAtRest + 1);
}

void tst_HCTcpServer::abortOfAnUnknownHandleIsRefused()
{
    HCTcpServer server(nullptr);
    const LogCapture log;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.service.warning=true"));

    QVERIFY(!server.abortClient(4711));

    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QCOMPARE(server.errorString(), QStringLiteral("[Tcpsocket[handle:4711] is null]"));
    QCOMPARE(LogCapture::last(),
             QStringLiteral("[warning][abortClient][Tcpsocket[handle:4711] is null]"));
}

QTEST_GUILESS_MAIN(tst_HCTcpServer)
#include "tst_HCTcpServer.moc"
