#include "EchoService.h"
#include "ListenerTools.h"

#include <functional>
#include <memory>

using ky::buildFrame;

/// The kernel hands out a number again as soon as it is closed, while the end of the connection
/// that had it is still queued here. waitForNewConnection() accepts without serving that queue.
class tst_DescriptorReuse : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void closedNumberServesTheNextClient();
    void lateAnswerReachesTheNextOwnerOfTheNumber();
    void waitingWriteToAConnectionInTeardownReturns();
    void clientThatLeavesWhileItWaitsLeavesNothing();
    void answersToTheFormerOwnerMissTheNext();
    void closedListenerEndsWhoWaits();
    void listenerThatWasOffEndsWhoWaits();
    void relayMayRunTheEventLoopMeanwhile();
    void relayMayStopTheListenerMeanwhile();
    void relayMayDeleteTheListenerMeanwhile();

private:
    int _threadsAtRest = 0;
};

namespace {

/// Does with each request what the test says.
class ActingRelay : public QObject
{
    Q_OBJECT

public:
    std::function<void()> act;
    int requests = 0;
    qintptr handle = -1;

public slots:
    void slotRevInterface(QString, qintptr from, quint16, quint16, QByteArray, QVariant)
    {
        handle = from;
        ++requests;
        if (act)
            act();
    }
};

/// Connects and asks once; the handle of the connection, or -1.
template <typename Relay>
qintptr introduce(RawClient& client, HCTcpServer& server, const Relay& relay)
{
    const int before = relay.requests;
    client.prepareFarAway();
    client.connectTo(server.serverPort());
    client.send(buildFrame(2000, 1, {}, {}));
    return serveUntil([&] { return relay.requests > before; }, 5000) ? relay.handle : -1;
}

/// A listener with one client, and a second client that will get the number of the first.
struct Scene
{
    bool open()
    {
        server.setRelayObject(&relay);
        if (!server.startListen(0) || !second.prepareFarAway())
            return false;
        handle = introduce(first, server, relay);
        return handle >= 0;
    }

    ActingRelay relay;
    HCTcpServer server{nullptr};
    RawClient first;
    RawClient second;
    qintptr handle = -1;
};

/// Connects, and accepts without an event served. True if the client has that number now.
bool acceptAs(qintptr handle, RawClient& client, HCTcpServer& server)
{
    return !isOpen(handle) && client.connectTo(server.serverPort()) &&
           server.waitForNewConnection(5000) && isOpen(handle);
}

/// Leaves in good order. Its end is queued here, behind what it asked.
bool leave(RawClient& client, qintptr handle)
{
    client.close();
    return isClosedSoon(handle);
}

/// A request and the end of its connection are both still queued here when this returns.
bool askAndLeave(RawClient& client, qintptr handle)
{
    return client.send(buildFrame(2000, 2, {}, {})) && leave(client, handle);
}

/// Lets a connection in that lines up behind the end of its number's former owner: once in turn,
/// and once more when that end had not been told yet.
void letIn()
{
    for (int pass = 0; pass < 3; ++pass)
        QCoreApplication::processEvents();
}

bool isServed(RawClient& client, qintptr handle, HCTcpServer& server)
{
    return server.sendDataToClient(handle, "hello") && client.receive(5) == "hello";
}

} // namespace

void tst_DescriptorReuse::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    _threadsAtRest = threadCount();
}

void tst_DescriptorReuse::init()
{
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_DescriptorReuse::closedNumberServesTheNextClient()
{
    Scene scene;
    QVERIFY(scene.open());
    scene.first.reset();
    QVERIFY(isClosedSoon(scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    scene.second.send(buildFrame(2000, 2, {}, {}));
    QTRY_COMPARE(scene.relay.requests, 2);
    QCoreApplication::processEvents();

    QCOMPARE(scene.relay.handle, scene.handle);
    QVERIFY(isServed(scene.second, scene.handle, scene.server));
}

void tst_DescriptorReuse::lateAnswerReachesTheNextOwnerOfTheNumber()
{
    Scene scene;
    QVERIFY(scene.open());
    scene.first.reset();
    QVERIFY(isClosedSoon(scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    letIn();

    // The daemon cannot tell the two apart: the handle is all that it has.
    QVERIFY(scene.server.sendDataToClient(scene.handle, "answer to the first"));

    QCOMPARE(scene.second.receive(19), QByteArray("answer to the first"));
}

void tst_DescriptorReuse::waitingWriteToAConnectionInTeardownReturns()
{
    ActingRelay relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    relay.act = [&] { server.waitWrite2Client(relay.handle, "answer"); };
    QVERIFY(server.startListen(0));
    RawClient first;
    RawClient second;
    QVERIFY(second.prepareFarAway());
    const qintptr handle = introduce(first, server, relay);
    QCOMPARE(first.receive(6), QByteArray("answer"));

    QVERIFY(askAndLeave(first, handle));
    QVERIFY(acceptAs(handle, second, server));
    letIn();

    QCOMPARE(relay.requests, 2);
    QVERIFY(isServed(second, handle, server));
}

void tst_DescriptorReuse::clientThatLeavesWhileItWaitsLeavesNothing()
{
    Scene scene;
    QVERIFY(scene.open());

    QVERIFY(leave(scene.first, scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    scene.second.reset();
    letIn();

    QTRY_VERIFY(!scene.server.sendDataToClient(scene.handle, "x"));
    QVERIFY(!isOpen(scene.handle));
    QTRY_COMPARE(threadCount(), _threadsAtRest);
    RawClient third;
    QCOMPARE(introduce(third, scene.server, scene.relay), scene.handle);
    QVERIFY(isServed(third, scene.handle, scene.server));
}

void tst_DescriptorReuse::answersToTheFormerOwnerMissTheNext()
{
    ActingRelay relay;
    HCTcpServer server(nullptr);
    server.setRelayObject(&relay);
    QVERIFY(server.startListen(0));
    RawClient first;
    RawClient other;
    RawClient second;
    QVERIFY(second.prepareFarAway());
    const qintptr handle = introduce(first, server, relay);
    const qintptr otherHandle = introduce(other, server, relay);
    QVERIFY(handle < otherHandle); // the kernel gives the lower one first
    relay.act = [&] { server.sendDataToClient(relay.handle, "stale"); };

    QVERIFY(askAndLeave(other, otherHandle));
    QVERIFY(askAndLeave(first, handle));
    QVERIFY(acceptAs(handle, second, server));
    letIn();

    QCOMPARE(relay.requests, 4);
    QVERIFY(isServed(second, handle, server)); // "hello" is the first that it gets
    QTRY_VERIFY(!server.sendDataToClient(otherHandle, "x"));
}

void tst_DescriptorReuse::closedListenerEndsWhoWaits()
{
    Scene scene;
    QVERIFY(scene.open());

    QVERIFY(leave(scene.first, scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    scene.server.close();
    letIn();

    QVERIFY(scene.second.isEndedByPeer());
    QVERIFY(!isOpen(scene.handle));
    QVERIFY(!scene.server.sendDataToClient(scene.handle, "x"));
}

void tst_DescriptorReuse::listenerThatWasOffEndsWhoWaits()
{
    Scene scene;
    QVERIFY(scene.open());

    QVERIFY(leave(scene.first, scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    scene.server.KickAllClients();
    scene.server.close();
    QVERIFY(scene.server.startListen(0));
    letIn();

    QVERIFY(scene.second.isEndedByPeer());
    QTRY_VERIFY(!scene.server.sendDataToClient(scene.handle, "x"));
    QVERIFY(!isOpen(scene.handle));
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_DescriptorReuse::relayMayRunTheEventLoopMeanwhile()
{
    Scene scene;
    QVERIFY(scene.open());
    scene.relay.act = &letIn;

    QVERIFY(askAndLeave(scene.first, scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    letIn();

    QCOMPARE(scene.relay.requests, 2);
    QVERIFY(isServed(scene.second, scene.handle, scene.server));
    QVERIFY(leave(scene.second, scene.handle));
    QTRY_VERIFY(!scene.server.sendDataToClient(scene.handle, "x"));
}

void tst_DescriptorReuse::relayMayStopTheListenerMeanwhile()
{
    Scene scene;
    QVERIFY(scene.open());
    scene.relay.act = [&] { scene.server.stopListen(); };

    QVERIFY(askAndLeave(scene.first, scene.handle));
    QVERIFY(acceptAs(scene.handle, scene.second, scene.server));
    letIn();

    QCOMPARE(scene.relay.requests, 2);
    QVERIFY(!scene.server.isListening());
    QVERIFY(scene.second.isEndedByPeer());
    QVERIFY(!isOpen(scene.handle));
    QVERIFY(!scene.server.sendDataToClient(scene.handle, "x"));
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_DescriptorReuse::relayMayDeleteTheListenerMeanwhile()
{
    ActingRelay relay;
    auto server = std::make_unique<HCTcpServer>(nullptr);
    server->setRelayObject(&relay);
    QVERIFY(server->startListen(0));
    RawClient first;
    RawClient second;
    QVERIFY(second.prepareFarAway());
    const qintptr handle = introduce(first, *server, relay);
    relay.act = [&] { server.reset(); };

    QVERIFY(askAndLeave(first, handle));
    QVERIFY(acceptAs(handle, second, *server));
    letIn();

    QCOMPARE(relay.requests, 2);
    QVERIFY(!server);
    QVERIFY(second.isEndedByPeer());
    QVERIFY(!isOpen(handle));
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

QTEST_GUILESS_MAIN(tst_DescriptorReuse)
#include "tst_DescriptorReuse.moc"
