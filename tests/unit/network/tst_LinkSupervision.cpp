#include "LogCapture.h"
#include "NetworkFixture.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

const QString kPing = QStringLiteral("ping -c 1 10.0.0.1 |grep % ");
const QString kLink = QStringLiteral("iw wlan0 link");
const QString kScan = QStringLiteral("sudo wpa_cli -i wlan0 scan");
const QString kFindCard =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kConnect = QStringLiteral("sudo nmcli connection up uuid-1 ifname wlan0");
const QString kUrl = QStringLiteral("http://10.0.0.1/alive");
constexpr char kGoodPing[] = "1 packets transmitted, 1 received, 0% packet loss, time 0ms\n";
constexpr char kLostPing[] = "1 packets transmitted, 0 received, 100% packet loss, time 0ms\n";
constexpr int kShortMs = 1;

} // namespace

class tst_LinkSupervision : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    // Off and Waiting
    void startNeedsTheDaemonsPermission();
    void startArmsASingleShot();
    void startTwiceKeepsOneConnection();
    void stopEndsTheCycle();
    void stopWithoutTimerIsNothing();
    void stopLeavesWatchingOn();
    void startAfterStopCyclesAgain();
    void newPeriodCountsFromTheNextArming();
    void cyclesDoNotOverlap();
    void objectThatEndsTakesItsTimerAlong();
    void slotWithoutTimerIsSafe();

    // Watching
    void watchingReportsEachPing();
    void watchingIsSilentWithoutReports();
    void urlIsNotProbedWithoutRoaming();
    void disabledCardIsStillWatched();
    void pauseDoesNotStopWatching();

    // Roaming on
    void disabledCardTicksOnceMore();
    void pauseOnlyRearms();
    void noProfileStopsAllWork();
    void profileIsLookedUpOnceItIsThere();
    void pingGoodIsAHeartbeat();
    void pingLostReportsAndRepairs();
    void pingLostWithoutResetRoams();
    void pingWithoutAddressRoams();
    void urlGoodIsLoggedAndReported();
    void urlLostReportsAndRepairs();
    void urlLostWithoutResetRoams();
    void repairWithBusyScanDoesNotConnect();
    void repairWithFailedScanDoesNotConnect();
    void failedRepairIsTriedEachCycle();
    void failedShellIsALostLink();
    void lostReportIsExact();
    void hostilePingAddressStaysOneWord();

    // From settings
    void bannedCardIsSwitchedOffAtInit();
    void initStartsTheCycleWithACard();
    void initWithoutCardStartsNothing();
    void settingsAloneStartWatching();
    void settingsOfOtherKindsStartNothing_data();
    void settingsOfOtherKindsStartNothing();
    void settingsChangedInMidCycleCountAtTheNextTick();

private:
    void tick() { _network->slotAutoConnectEth1Ethernet(); }
    void useReportedPing();
    QList<int> reports() const;
    bool isArmed() const
    {
        return _network->_autoConnectSSIDTimer && _network->_autoConnectSSIDTimer->isActive();
    }

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
    std::unique_ptr<QSignalSpy> _frames;
};

void tst_LinkSupervision::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    PublicClass::init()->autoConnectEnabled = true;
    PublicClass::init()->autoConnectPaused = false;
    PublicClass::init()->halShPath.clear();
    _network = std::make_unique<OpenNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
    _network->_wirelessUUID = QStringLiteral("uuid-1");
    _network->_isEnabledRoaming = true;
    _fixture->writeProfile(QStringLiteral("site.nmconnection"),
                           "[connection]\nuuid=uuid-1\ntype=wifi\n");
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));
    _frames = std::make_unique<QSignalSpy>(_network.get(), &SystemNetwork::sigWriteTcpClient);
}

void tst_LinkSupervision::cleanup()
{
    _frames.reset();
    _network.reset();
    _fixture.reset();
}

void tst_LinkSupervision::useReportedPing()
{
    _network->_disconnectionMethod = 1;
    _network->_pingIp = QStringLiteral("10.0.0.1");
    _network->_isDisconnectionSendError = true;
}

QList<int> tst_LinkSupervision::reports() const
{
    QList<int> types;
    for (const QVariantList& frame : *_frames)
        types << frame.at(2).toInt();
    return types;
}

void tst_LinkSupervision::startNeedsTheDaemonsPermission()
{
    PublicClass::init()->autoConnectEnabled = false;

    _network->setAutoConnect(true);

    QVERIFY(!_network->_autoConnectSSIDTimer);
}

void tst_LinkSupervision::startArmsASingleShot()
{
    LogCapture log("ky.network");
    _network->_autoConnectWaitTime = 7000;

    _network->setAutoConnect(true);

    QVERIFY(isArmed());
    QVERIFY(_network->_autoConnectSSIDTimer->isSingleShot());
    QCOMPARE(_network->_autoConnectSSIDTimer->interval(), 7000);
    QCOMPARE(_network->_autoConnectSSIDTimer->parent(), static_cast<QObject*>(_network.get()));
    QVERIFY(
        log.holds(QStringLiteral("[debug][setAutoConnect][_autoConnectSSIDTimer->start 7000 ]")));
}

void tst_LinkSupervision::startTwiceKeepsOneConnection()
{
    _network->_autoConnectWaitTime = kShortMs;
    _network->setAutoConnect(true);
    _network->setAutoConnect(true);
    int ticks = 0;
    connect(_network->_autoConnectSSIDTimer, &QTimer::timeout, this, [&] { ++ticks; });
    _network->_isEnabledRoaming = false;
    useReportedPing();
    _fixture->host().answer(kPing, kGoodPing);

    QTRY_VERIFY(_frames->count() >= 3);

    QCOMPARE(ticks, _frames->count());
}

void tst_LinkSupervision::stopEndsTheCycle()
{
    _network->_autoConnectWaitTime = kShortMs;
    _network->setAutoConnect(true);

    _network->setAutoConnect(false);

    QVERIFY(!isArmed());
    _network->startWaitTimer(); // no longer connected
    QSignalSpy ticks(_network->_autoConnectSSIDTimer, &QTimer::timeout);
    QVERIFY(ticks.wait(2000));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_LinkSupervision::stopWithoutTimerIsNothing()
{
    _network->setAutoConnect(false);

    QVERIFY(!_network->_autoConnectSSIDTimer);
}

void tst_LinkSupervision::stopLeavesWatchingOn()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    _network->setAutoConnect(true);

    _network->setAutoConnect(false);

    QVERIFY(isArmed());
}

void tst_LinkSupervision::startAfterStopCyclesAgain()
{
    _network->_autoConnectWaitTime = kShortMs;
    _network->setAutoConnect(true);
    _network->setAutoConnect(false);

    _network->setAutoConnect(true);

    QTRY_VERIFY(_fixture->host().lines().contains(kLink));
}

void tst_LinkSupervision::newPeriodCountsFromTheNextArming()
{
    _network->setAutoConnect(true);
    _network->_autoConnectWaitTime = 5000;

    QCOMPARE(_network->_autoConnectSSIDTimer->interval(), 10000);
    tick();
    QCOMPARE(_network->_autoConnectSSIDTimer->interval(), 5000);
}

void tst_LinkSupervision::cyclesDoNotOverlap()
{
    _network->_autoConnectWaitTime = kShortMs;
    _network->setAutoConnect(true);
    int commands = 0;
    bool wasArmedWithin = false;
    _fixture->host().onCall([&](const RecordedHost::Call&) {
        ++commands;
        wasArmedWithin = wasArmedWithin || isArmed();
    });

    QTRY_VERIFY(commands >= 6);

    QVERIFY(!wasArmedWithin);
}

void tst_LinkSupervision::objectThatEndsTakesItsTimerAlong()
{
    _network->setAutoConnect(true);
    QPointer<QTimer> timer = _network->_autoConnectSSIDTimer;

    _frames.reset();
    _network.reset();

    QVERIFY(!timer);
}

void tst_LinkSupervision::slotWithoutTimerIsSafe()
{
    tick();

    QCOMPARE(_fixture->host().lines().first(), kLink);
    QVERIFY(!_network->_autoConnectSSIDTimer);
}

void tst_LinkSupervision::watchingReportsEachPing()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    _network->setAutoConnect(true);
    for (const char* answer : {kGoodPing, kGoodPing, kLostPing, kLostPing, kGoodPing})
        _fixture->host().answer(kPing, QLatin1String(answer));

    for (int i = 0; i < 5; ++i)
        tick();

    QCOMPARE(reports(), (QList<int>{4803, 4803, 4802, 4802, 4803}));
    QCOMPARE(_fixture->host().lines(), QStringList(QVector<QString>(5, kPing).toList()));
    QVERIFY(isArmed());
}

void tst_LinkSupervision::watchingIsSilentWithoutReports()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    _network->_isDisconnectionSendError = false;

    tick();

    QCOMPARE(_fixture->host().lines(), QStringList{kPing});
    QVERIFY(reports().isEmpty());
}

void tst_LinkSupervision::urlIsNotProbedWithoutRoaming()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    _network->_disconnectionMethod = 2;
    _network->_pingUrl = kUrl;
    _network->setAutoConnect(true);

    tick();

    QVERIFY(_fixture->host().urls().isEmpty());
    QVERIFY(_fixture->host().lines().isEmpty());
    QVERIFY(reports().isEmpty());
    QVERIFY(isArmed());
}

void tst_LinkSupervision::disabledCardIsStillWatched()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    _network->_isDisableWirelessNetworkCard = true;
    _network->setAutoConnect(true);
    _network->_autoConnectSSIDTimer->stop();

    tick();

    QCOMPARE(reports(), QList<int>{4802});
    QVERIFY(isArmed());
}

void tst_LinkSupervision::pauseDoesNotStopWatching()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    PublicClass::init()->autoConnectPaused = true;

    tick();

    QCOMPARE(reports(), QList<int>{4802});
}

void tst_LinkSupervision::disabledCardTicksOnceMore()
{
    useReportedPing();
    _network->setAutoConnect(true);
    _network->_autoConnectSSIDTimer->stop();
    _network->_isDisableWirelessNetworkCard = true;

    tick();

    QVERIFY(!isArmed());
    QVERIFY(_fixture->host().lines().isEmpty());
    _network->_isDisableWirelessNetworkCard = false;
    _network->setAutoConnect(true);
    QVERIFY(isArmed());
}

void tst_LinkSupervision::pauseOnlyRearms()
{
    useReportedPing();
    _network->setAutoConnect(true);
    _network->_autoConnectSSIDTimer->stop();
    PublicClass::init()->autoConnectPaused = true;

    tick();

    QVERIFY(isArmed());
    QVERIFY(_fixture->host().lines().isEmpty());
    QVERIFY(reports().isEmpty());
    PublicClass::init()->autoConnectPaused = false;
    tick();
    QVERIFY(!_fixture->host().lines().isEmpty());
}

void tst_LinkSupervision::noProfileStopsAllWork()
{
    useReportedPing();
    _network->_wirelessUUID.clear();
    QVERIFY(QDir(_fixture->profileFolder()).remove(QStringLiteral("site.nmconnection")));
    _network->setAutoConnect(true);
    _network->_autoConnectSSIDTimer->stop();

    tick();

    QVERIFY(_fixture->host().lines().isEmpty());
    QVERIFY(reports().isEmpty());
    QVERIFY(isArmed());
}

void tst_LinkSupervision::profileIsLookedUpOnceItIsThere()
{
    _network->_wirelessUUID.clear();

    tick();

    QCOMPARE(_network->_wirelessUUID, QStringLiteral("uuid-1"));
    QCOMPARE(_fixture->host().lines().first(), kLink);
}

void tst_LinkSupervision::pingGoodIsAHeartbeat()
{
    useReportedPing();
    _fixture->host().answer(kPing, kGoodPing);

    tick();
    tick();

    QCOMPARE(reports(), (QList<int>{4803, 4803}));
    QCOMPARE(_frames->at(0).at(4).toByteArray(), QByteArray());
    QCOMPARE(_fixture->host().lines(), (QStringList{kPing, kPing})); // no look at the link
}

void tst_LinkSupervision::pingLostReportsAndRepairs()
{
    useReportedPing();
    _network->setAutoConnect(true);
    _network->_autoConnectSSIDTimer->stop();
    _fixture->host().answer(kPing, kLostPing);
    _fixture->host().answer(kScan, QStringLiteral("OK\n"));

    tick();

    QCOMPARE(reports(), QList<int>{4802});
    QCOMPARE(_fixture->host().lines(), (QStringList{kPing, kScan, kFindCard, kConnect}));
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
    QCOMPARE(_fixture->host().calls().at(1).limitMs, 20000);
    QCOMPARE(_fixture->host().calls().at(3).limitMs, 8000);
    QVERIFY(isArmed());
}

void tst_LinkSupervision::pingLostWithoutResetRoams()
{
    useReportedPing();
    _network->_isResetWirelessNetworkCard = false;
    QList<int> reportsAtTheLink;
    _fixture->host().onCall([&](const RecordedHost::Call& call) {
        if (call.line == kLink)
            reportsAtTheLink = reports();
    });
    _fixture->host().answer(kPing, kLostPing);

    tick();

    QCOMPARE(_fixture->host().lines().mid(0, 2), (QStringList{kPing, kLink}));
    QCOMPARE(reportsAtTheLink, QList<int>{4802}); // told before it roams
}

void tst_LinkSupervision::pingWithoutAddressRoams()
{
    _network->_disconnectionMethod = 1;
    _network->_isDisconnectionSendError = true;

    tick();

    QCOMPARE(_fixture->host().lines().first(), kLink);
    QVERIFY(reports().isEmpty());
}

void tst_LinkSupervision::urlGoodIsLoggedAndReported()
{
    LogCapture log("ky.network");
    _network->_disconnectionMethod = 2;
    _network->_pingUrl = kUrl;
    _network->_isDisconnectionSendError = true;
    _fixture->host().answerUrl(kUrl, true, QStringLiteral("alive"));

    tick();

    QCOMPARE(reports(), QList<int>{4803});
    QVERIFY(_fixture->host().lines().isEmpty());
    QVERIFY(log.holds(QStringLiteral("[debug][slotAutoConnectEth1Ethernet][ alive ]")));
}

void tst_LinkSupervision::urlLostReportsAndRepairs()
{
    _network->_disconnectionMethod = 2;
    _network->_pingUrl = kUrl;
    _network->_isDisconnectionSendError = true;
    _fixture->host().answerUrl(kUrl, false, QStringLiteral("refused"));

    tick();

    QCOMPARE(reports(), QList<int>{4802});
    QCOMPARE(_fixture->host().lines(), (QStringList{kScan, kFindCard, kConnect}));
    QCOMPARE(_frames->at(0).at(4).toByteArray(),
             QByteArray("{\"msg\":\"The network has been disconnected:http://10.0.0.1/alive\"}"));
}

void tst_LinkSupervision::urlLostWithoutResetRoams()
{
    _network->_disconnectionMethod = 2;
    _network->_pingUrl = kUrl;
    _network->_isResetWirelessNetworkCard = false;

    tick();

    QCOMPARE(_fixture->host().lines().first(), kLink);
    QVERIFY(reports().isEmpty());
}

void tst_LinkSupervision::repairWithBusyScanDoesNotConnect()
{
    useReportedPing();
    _fixture->host().answer(kPing, kLostPing);
    _fixture->host().answer(kScan, QStringLiteral("FAIL-BUSY\n"));

    tick();

    QCOMPARE(_fixture->host().lines(), (QStringList{kPing, kScan}));
}

void tst_LinkSupervision::repairWithFailedScanDoesNotConnect()
{
    useReportedPing();
    _fixture->host().answer(kPing, kLostPing);
    _fixture->host().fail(kScan, QStringLiteral("no such interface"));

    tick();

    QCOMPARE(_fixture->host().lines(), (QStringList{kPing, kScan}));
}

void tst_LinkSupervision::failedRepairIsTriedEachCycle()
{
    useReportedPing();
    _fixture->host().answer(kPing, kLostPing);
    _fixture->host().fail(kConnect, QStringLiteral("Timeout"));

    for (int i = 0; i < 4; ++i)
        tick();

    QCOMPARE(_fixture->host().lines().filter(kConnect).size(), 4);
    QVERIFY(_fixture->host().lines().filter(QStringLiteral("restart")).isEmpty());
    QVERIFY(_fixture->host().sleeps().isEmpty());
    QCOMPARE(reports(), (QList<int>{4802, 4802, 4802, 4802}));
}

void tst_LinkSupervision::failedShellIsALostLink()
{
    useReportedPing();
    _network->_isEnabledRoaming = false;
    _fixture->host().fail(kPing, QStringLiteral("time limit"));

    tick();

    QCOMPARE(reports(), QList<int>{4802});
}

void tst_LinkSupervision::lostReportIsExact()
{
    useReportedPing();
    _fixture->host().answer(kPing, kLostPing);

    tick();

    const QVariantList expected{
        QStringLiteral("127.0.0.1"), 19207, 4802, 123,
        QByteArray("{\"msg\":\"The network has been disconnected:10.0.0.1\"}")};
    QCOMPARE(_frames->at(0), expected);
}

void tst_LinkSupervision::hostilePingAddressStaysOneWord()
{
    useReportedPing();
    _network->_pingIp = QStringLiteral("1.2.3.4 ; reboot");

    tick();

    QCOMPARE(_fixture->host().lines().first(),
             QStringLiteral("ping -c 1 '1.2.3.4 ; reboot' |grep % "));
    QCOMPARE(QJsonDocument::fromJson(_frames->at(0).at(4).toByteArray())
                 .toVariant()
                 .toMap()
                 .value(QStringLiteral("msg")),
             QVariant(QStringLiteral("The network has been disconnected:1.2.3.4 ; reboot")));
}

void tst_LinkSupervision::bannedCardIsSwitchedOffAtInit()
{
    _fixture->set(ky::settings::kWirelessCardBanned, true);

    _network->initAutoConnect();

    QCOMPARE(_fixture->host().lines().last(), QStringLiteral("ifconfig wlan0 down"));
    QVERIFY(_network->_isDisableWirelessNetworkCard);
    QVERIFY(!_network->_autoConnectSSIDTimer);
}

void tst_LinkSupervision::initStartsTheCycleWithACard()
{
    LogCapture log("ky.network");
    _network->_wirelessCardName = QStringLiteral("old");

    _network->initAutoConnect();

    QVERIFY(isArmed());
    QCOMPARE(_network->_wirelessCardName, QStringLiteral("wlan0"));
    QVERIFY(log.holds(
        QStringLiteral("[debug][initAutoConnect][_wirelessCardName: old isDisabled: false ]")));
}

void tst_LinkSupervision::initWithoutCardStartsNothing()
{
    _fixture->host().reset();

    _network->initAutoConnect();

    QVERIFY(!_network->_autoConnectSSIDTimer);
}

void tst_LinkSupervision::settingsAloneStartWatching()
{
    _fixture->set(ky::settings::kIsDisconnectionSendError, true);
    _fixture->set(ky::settings::kDisconnectionMethod, 1);
    _fixture->set(ky::settings::kPingIp, QStringLiteral("10.0.0.1"));

    _network->resetAPSetting();

    QVERIFY(isArmed());
}

void tst_LinkSupervision::settingsOfOtherKindsStartNothing_data()
{
    QTest::addColumn<bool>("reports");
    QTest::addColumn<bool>("roams");
    QTest::addColumn<int>("method");
    QTest::addColumn<QString>("ip");

    QTest::newRow("no reports") << false << false << 1 << "10.0.0.1";
    QTest::newRow("roaming") << true << true << 1 << "10.0.0.1";
    QTest::newRow("no method") << true << false << 0 << "10.0.0.1";
    QTest::newRow("HTTP") << true << false << 2 << "10.0.0.1";
    QTest::newRow("no address") << true << false << 1 << "";
}

void tst_LinkSupervision::settingsOfOtherKindsStartNothing()
{
    QFETCH(bool, reports);
    QFETCH(bool, roams);
    QFETCH(int, method);
    QFETCH(QString, ip);
    _fixture->set(ky::settings::kIsDisconnectionSendError, reports);
    _fixture->set(ky::settings::kIsEnabledRoaming, roams);
    _fixture->set(ky::settings::kDisconnectionMethod, method);
    _fixture->set(ky::settings::kPingIp, ip);
    _fixture->set(ky::settings::kPingUrl, kUrl);

    _network->resetAPSetting();

    QVERIFY(!_network->_autoConnectSSIDTimer);
}

void tst_LinkSupervision::settingsChangedInMidCycleCountAtTheNextTick()
{
    useReportedPing();
    _fixture->host().answer(kPing, kGoodPing);
    _fixture->host().onCall([&](const RecordedHost::Call& call) {
        if (call.line == kPing)
            _fixture->set(ky::settings::kPingIp, QStringLiteral("10.0.0.2"));
    });

    tick();
    QCOMPARE(_network->_pingIp, QStringLiteral("10.0.0.1"));
    _network->resetAPSetting();
    QCOMPARE(_network->_pingIp, QStringLiteral("10.0.0.2"));
}

QTEST_GUILESS_MAIN(tst_LinkSupervision)
#include "tst_LinkSupervision.moc"
