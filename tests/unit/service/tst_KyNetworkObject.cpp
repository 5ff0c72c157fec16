#include "EchoService.h"
#include "FreePort.h"
#include "ListenerTools.h"
#include "TaskState.h"

#include "host/PublicClass.h"
#include "service/FernoProClass.h"
#include "service/KyNetworkObject.h"
#include "service/WifiShare.h"
#include "wire/FrameWriter.h"

#include <QNetworkProxy>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <thread>
#include <unistd.h>

using ky::buildFrame;

class tst_KyNetworkObject : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void relayObjectOwnsTheFrontAndReceivesRequests();
    void frontMadeInABaseClassCallsTheSlotOfTheDerived();
    void threadCountIsNoLimit();
    void listensOnThePortOfItsSettings();
    void settingsWithoutASectionAreRefused();
    void missingSettingsFileIsRefused();
    void portsOutside1To32767AreRefused_data();
    void portsOutside1To32767AreRefused();
    void highestPortIsAccepted();
    void portOfTheSettingsIsCutTo16Bits();
    void refusalsAreSilent();
    void startAndStopAreLogged();
    void acceptsWithoutAnApplicationProxy();
    void threadCountsOutside1To64AreRefused_data();
    void threadCountsOutside1To64AreRefused();
    void threadCountOfTheSettingsIsCutTo8Bits_data();
    void threadCountOfTheSettingsIsCutTo8Bits();
    void secondCallStopsTheService();
    void badPortLeavesAListeningServerAlone();
    void portInUseWarnsWithTheStoredText();
    void restartedServiceServesAgain();
    void failedSendSetsTheLastError();
    void waitingWriteBlocksUntilThePeerReads();
    void abortEndsTheClientOfTheHandle();
    void processWideStorageIsThereAtLoad();
    void releasedStorageIsNull();

private:
    std::unique_ptr<QTemporaryDir> _dir;
    int _threadsAtRest = 0;
};

void tst_KyNetworkObject::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    _threadsAtRest = threadCount();
}

void tst_KyNetworkObject::init()
{
    _dir = std::make_unique<QTemporaryDir>();
    PublicClass::init()->settingsFile = _dir->filePath("settings.ini");
}

/// Connections end in their own threads, behind the front that forgot them.
void tst_KyNetworkObject::cleanup()
{
    QTRY_COMPARE(threadCount(), _threadsAtRest);
}

void tst_KyNetworkObject::relayObjectOwnsTheFrontAndReceivesRequests()
{
    RelayRecorder relay;
    auto* front = new KyNetworkObject(&relay);
    const quint16 port = freePort();
    QVERIFY(front->listenTcp(port, 1, 0, true));
    RawClient client;
    QVERIFY(client.connectTo(port));

    client.send(buildFrame(2000, 3, {}, "data"));

    QTRY_COMPARE(relay.requests.size(), size_t(1));
    QCOMPARE(front->parent(), &relay);
    QVERIFY(front->sendDataToClient(relay.requests[0].handle, "raw answer"));
    QCOMPARE(client.receive(10), QByteArray("raw answer"));
    QCOMPARE(front->getSocketPeerInfo(relay.requests[0].handle).value("ip").toString(),
             QStringLiteral("127.0.0.1"));
}

namespace {

/// Makes its front while it is no more than a base class, as a family of daemons may.
class BaseRelay : public QObject
{
    Q_OBJECT

public:
    BaseRelay()
        : front(new KyNetworkObject(this))
    {}

    KyNetworkObject* front;
    int baseCalls = 0;

public slots:
    void slotRevInterface(QString, qintptr, quint16, quint16, QByteArray, QVariant) { ++baseCalls; }
};

class DerivedRelay : public BaseRelay
{
    Q_OBJECT

public:
    int calls = 0;

public slots:
    void slotRevInterface(QString, qintptr, quint16, quint16, QByteArray, QVariant) { ++calls; }
};

} // namespace

void tst_KyNetworkObject::frontMadeInABaseClassCallsTheSlotOfTheDerived()
{
    DerivedRelay relay;
    const quint16 port = freePort();
    QVERIFY(relay.front->listenTcp(port, 1, 0, true));
    RawClient client;
    QVERIFY(client.connectTo(port));

    client.send(buildFrame(2000, 3, {}, "data"));

    QTRY_COMPARE(relay.calls + relay.baseCalls, 1);
    QCOMPARE(relay.calls, 1);
}

void tst_KyNetworkObject::threadCountIsNoLimit()
{
    constexpr int kClients = 100;
    RelayRecorder relay;
    KyNetworkObject front(&relay);
    const quint16 port = freePort();
    QVERIFY(front.listenTcp(port, 1, 0, true));
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.push_back(std::make_unique<RawClient>());
        QVERIFY(clients.back()->connectTo(port));
        clients.back()->send(buildFrame(2000, quint16(i), {}, {}));
        if (i % 20 == 19)
            QTRY_COMPARE(relay.requests.size(), size_t(i + 1));
    }

    QCOMPARE(threadCount(), _threadsAtRest + kClients);
    for (const auto& request : relay.requests)
        QVERIFY(front.sendDataToClient(request.handle, QByteArray(1, char(request.number))));
    for (int i = 0; i < kClients; ++i)
        QCOMPARE(clients[size_t(i)]->receive(1), QByteArray(1, char(i)));
}

void tst_KyNetworkObject::listensOnThePortOfItsSettings()
{
    const quint16 port = freePort();
    QSettings settings(PublicClass::init()->settingsFile, QSettings::IniFormat);
    settings.setValue("Server7/port", port);
    settings.setValue("Server7/threadCount", 4);
    settings.sync();
    QObject relay;
    KyNetworkObject front(&relay);
    front.setServerId(7);

    QVERIFY(front.startTcpListenning());

    QCOMPARE(front.serverId(), quint8(7));
    QVERIFY(front.isTcpListening());
    RawClient client;
    QVERIFY(client.connectTo(port));
}

void tst_KyNetworkObject::settingsWithoutASectionAreRefused()
{
    QSettings settings(PublicClass::init()->settingsFile, QSettings::IniFormat);
    settings.setValue("Server1/port", 19208);
    settings.sync();
    QObject relay;
    KyNetworkObject front(&relay);
    front.setServerId(2);

    QVERIFY(!front.startTcpListenning());

    QVERIFY(!front.isTcpListening());
    QCOMPARE(front.getLastError(), QString());
}

void tst_KyNetworkObject::missingSettingsFileIsRefused()
{
    QObject relay;
    KyNetworkObject front(&relay);

    QVERIFY(!front.startTcpListenning());
}

void tst_KyNetworkObject::portsOutside1To32767AreRefused_data()
{
    QTest::addColumn<int>("port");
    for (int port : {0, 32768, 40000, 65535})
        QTest::newRow(qPrintable(QString::number(port))) << port;
}

void tst_KyNetworkObject::portsOutside1To32767AreRefused()
{
    QFETCH(int, port);
    QObject relay;
    KyNetworkObject front(&relay);

    QVERIFY(!front.listenTcp(quint16(port), 1, 0, true));
    QVERIFY(!front.isTcpListening());
}

void tst_KyNetworkObject::highestPortIsAccepted()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::AnyIPv4, 32767))
        QSKIP("port 32767 of this machine is in use");
    probe.close();
    QObject relay;
    KyNetworkObject front(&relay);

    QVERIFY(front.listenTcp(32767, 1, 0, true));
}

void tst_KyNetworkObject::portOfTheSettingsIsCutTo16Bits()
{
    const quint16 port = freePort();
    QSettings settings(PublicClass::init()->settingsFile, QSettings::IniFormat);
    settings.setValue("Server0/port", 65536 + port);
    settings.setValue("Server0/threadCount", 1);
    settings.sync();
    QObject relay;
    KyNetworkObject front(&relay);

    QVERIFY(front.startTcpListenning());

    RawClient client;
    QVERIFY(client.connectTo(port));
}

void tst_KyNetworkObject::refusalsAreSilent()
{
    QObject relay;
    KyNetworkObject front(&relay);
    const LogCapture log("ky.service");

    const bool isListening = front.startTcpListenning() || front.listenTcp(40000, 1, 0, true) ||
                             front.listenTcp(freePort(), 0, 0, true);

    QVERIFY(!isListening);
    QCOMPARE(log.lines(), QStringList());
}

void tst_KyNetworkObject::startAndStopAreLogged()
{
    QObject relay;
    KyNetworkObject front(&relay);
    const quint16 port = freePort();
    const LogCapture log("ky.service");

    front.listenTcp(port, 3, 9, true);
    front.listenTcp(port, 3, 9, true);

    const QString start = QStringLiteral("[debug][listenTcp][starting listenning : port: %1 ]");
    const QString values = QStringLiteral("port:%1 threadCount: 3  dataSize：9]").arg(port);
    QCOMPARE(log.lines(), (QStringList{start.arg(port), "[debug][listenTcp][Tcp " + values,
                                       "[debug][listenTcp][Stop listenn Tcp " + values}));
}

void tst_KyNetworkObject::acceptsWithoutAnApplicationProxy()
{
    const quint16 port = freePort();
    QNetworkProxy::setApplicationProxy(
        QNetworkProxy(QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), 1));
    QObject relay;
    KyNetworkObject front(&relay);

    const bool isListening = front.listenTcp(port, 1, 0, true);

    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    QVERIFY(isListening);
    RawClient client;
    QVERIFY(client.connectTo(port));
}

void tst_KyNetworkObject::threadCountsOutside1To64AreRefused_data()
{
    QTest::addColumn<int>("threadCount");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("0") << 0 << false;
    QTest::newRow("1") << 1 << true;
    QTest::newRow("64") << 64 << true;
    QTest::newRow("65") << 65 << false;
    QTest::newRow("255") << 255 << false;
}

void tst_KyNetworkObject::threadCountsOutside1To64AreRefused()
{
    QFETCH(int, threadCount);
    QFETCH(bool, isTaken);
    QObject relay;
    KyNetworkObject front(&relay);

    QCOMPARE(front.listenTcp(freePort(), quint8(threadCount), 0, true), isTaken);
    QCOMPARE(front.isTcpListening(), isTaken);
}

void tst_KyNetworkObject::threadCountOfTheSettingsIsCutTo8Bits_data()
{
    QTest::addColumn<int>("threadCount");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("257 is 1") << 257 << true;
    QTest::newRow("256 is 0") << 256 << false;
}

void tst_KyNetworkObject::threadCountOfTheSettingsIsCutTo8Bits()
{
    QFETCH(int, threadCount);
    QFETCH(bool, isTaken);
    QSettings settings(PublicClass::init()->settingsFile, QSettings::IniFormat);
    settings.setValue("Server0/port", freePort());
    settings.setValue("Server0/threadCount", threadCount);
    settings.sync();
    QObject relay;
    KyNetworkObject front(&relay);

    QCOMPARE(front.startTcpListenning(), isTaken);
}

void tst_KyNetworkObject::secondCallStopsTheService()
{
    RelayRecorder relay;
    KyNetworkObject front(&relay);
    const quint16 port = freePort();
    QVERIFY(front.listenTcp(port, 1, 0, true));
    RawClient client;
    QVERIFY(client.connectTo(port));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));

    QVERIFY(front.listenTcp(port, 1, 0, true));

    QVERIFY(!front.isTcpListening());
    QVERIFY(client.isEndedByPeer());
    QTRY_VERIFY(!front.sendDataToClient(relay.requests[0].handle, "x"));
}

void tst_KyNetworkObject::badPortLeavesAListeningServerAlone()
{
    QObject relay;
    KyNetworkObject front(&relay);
    QVERIFY(front.listenTcp(freePort(), 1, 0, true));

    QVERIFY(!front.listenTcp(0, 1, 0, true));
    QVERIFY(!front.listenTcp(1, 65, 0, true));

    QVERIFY(front.isTcpListening());
}

void tst_KyNetworkObject::portInUseWarnsWithTheStoredText()
{
    QObject relay;
    KyNetworkObject first(&relay);
    const quint16 port = freePort();
    QVERIFY(first.listenTcp(port, 1, 0, true));
    KyNetworkObject second(&relay);
    QVERIFY(!second.sendDataToClient(99, "x"));
    const LogCapture log("ky.service", QtWarningMsg);

    const bool isListening = second.listenTcp(port, 1, 0, true);

    QVERIFY(!isListening);
    QCOMPARE(log.last(),
             QStringLiteral("[warning][listenTcp][Error: [Tcpsocket[handle:99] is null] ]"));
}

void tst_KyNetworkObject::restartedServiceServesAgain()
{
    RelayRecorder relay;
    KyNetworkObject front(&relay);
    const quint16 port = freePort();
    for (int round = 0; round < 3; ++round) {
        QVERIFY(front.listenTcp(port, 1, 0, true));
        RawClient client;
        QVERIFY(client.connectTo(port));
        client.send(buildFrame(2000, 1, {}, {}));
        QTRY_COMPARE(relay.requests.size(), size_t(round + 1));
        QVERIFY(front.listenTcp(port, 1, 0, true));
        QVERIFY(client.isEndedByPeer());
    }
}

void tst_KyNetworkObject::failedSendSetsTheLastError()
{
    QObject relay;
    KyNetworkObject front(&relay);

    QVERIFY(!front.sendDataToClient(12, "x"));
    QCOMPARE(front.getLastError(), QStringLiteral("[Tcpsocket[handle:12] is null]"));
    QVERIFY(!front.waitWrite2Client(13, "x"));
    QCOMPARE(front.getLastError(), QStringLiteral("[Tcpsocket[handle:13] is null]"));
    QVERIFY(!front.abortClient(14));
    QCOMPARE(front.getLastError(), QStringLiteral("[Tcpsocket[handle:14] is null]"));
}

void tst_KyNetworkObject::waitingWriteBlocksUntilThePeerReads()
{
    RelayRecorder relay;
    auto* front = new KyNetworkObject(&relay);
    const quint16 port = freePort();
    QVERIFY(front->listenTcp(port, 1, 0, true));
    RawClient client;
    QVERIFY(client.connectTo(port));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));
    const qintptr handle = relay.requests[0].handle;
    // More than the kernel holds for a peer that does not read, and no room left.
    const QByteArray filling(16 * 1024 * 1024, 'f');
    const QByteArray message(8 * 1024 * 1024, 'm');
    front->sendDataToClient(handle, filling);
    QVERIFY(isStuck(handle));
    std::atomic<bool> isReading{false};
    QByteArray received;

    std::thread reader([&] {
        TaskState::waitUntilAsleep(getpid()); // in the write
        isReading = true;
        received = client.receive(filling.size() + message.size());
    });
    const bool isWritten = front->waitWrite2Client(handle, message);
    const bool hasWaited = isReading;
    reader.join();

    QVERIFY(isWritten);
    QVERIFY(hasWaited);
    QVERIFY(received == filling + message);
}

void tst_KyNetworkObject::abortEndsTheClientOfTheHandle()
{
    RelayRecorder relay;
    auto* front = new KyNetworkObject(&relay);
    const quint16 port = freePort();
    QVERIFY(front->listenTcp(port, 1, 0, true));
    RawClient client;
    QVERIFY(client.connectTo(port));
    client.send(buildFrame(2000, 1, {}, {}));
    QTRY_COMPARE(relay.requests.size(), size_t(1));

    QVERIFY(front->abortClient(relay.requests[0].handle));

    QVERIFY(client.isEndedByPeer());
}

void tst_KyNetworkObject::processWideStorageIsThereAtLoad()
{
    QVERIFY(FernoProClass::init());
    QCOMPARE(FernoProClass::init(), FernoProClass::getThis());
    QCOMPARE(FernoProClass::init(), FernoProClass::pFernoProClass);
    QCOMPARE(FernoProClass::init()->value, qint64(1));
    QVERIFY(FernoProClass::init()->firstMap.isEmpty());
    QCOMPARE(WifiShare::_lastError, QString());
}

void tst_KyNetworkObject::releasedStorageIsNull()
{
    FernoProClass::releaseThis();
    FernoProClass::releaseThis();

    QVERIFY(!FernoProClass::init());
    QVERIFY(!FernoProClass::getThis());
}

QTEST_GUILESS_MAIN(tst_KyNetworkObject)
#include "tst_KyNetworkObject.moc"
