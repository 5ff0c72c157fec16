#include "LogCapture.h"
#include "NetworkFixture.h"

#include "network/decisions/InternalCard.h"

#include <QFile>
#include <QTest>
#include <QTimer>

namespace {

const QString kWpaStatus = QStringLiteral("sudo wpa_cli -i wlan0 status ");
const QString kShowActive = QStringLiteral("nmcli connection show --active");
const QString kShowWifi = QStringLiteral("nmcli connection show | grep wifi");
const QString kUp = QStringLiteral("ifconfig wlan0 up");
const QString kDown = QStringLiteral("ifconfig wlan0 down");
const QString kRestart = QStringLiteral("service network-manager restart");
const QString kUuid = QStringLiteral("c2bc1749-8ea3-4333-ab40-9cde81f563ad");
const QString kStartFile = QStringLiteral("appInfo/setting/wiredNetworkCard.json");
constexpr char kInternalIp[] = "192.168.192.5";

QVariantMap card(const char* name, const char* ip)
{
    return {{QStringLiteral("name"), QLatin1String(name)},
            {QStringLiteral("ip"), QLatin1String(ip)}};
}

} // namespace

class tst_CardSwitching : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void offByToolsInOrder();
    void offWithoutConnectionTakesNoneDown();
    void offGoesOnAfterAFailedDown();
    void offThatFailsLeavesTheCycleOn();
    void offLeavesTheReportsFlowing();
    void onByToolsInOrder();
    void onThatFails_data();
    void onThatFails();
    void scriptBans();
    void scriptSwitchesOn();
    void scriptWithoutTheFunctionIsPassedOver();
    void scriptThatFailsCountsAsNoFunction();
    void scriptThatFailsToBanIsFalse();
    void scriptIsAskedAtEachSwitch();
    void hostileCardNameStaysOneWord();

    void changedWiredCardIsStored();
    void changedWirelessCardIsStored();
    void changedIsTrueAndStoredWhenSwitchingFails();
    void changedOfAnotherKindDoesNothing();

    void deviceTableIsRead();
    void deviceTableThatIsNone_data();
    void deviceTableThatIsNone();

    void startFileServesWhenItIsReadBack();
    void startFileHoldsWiredCardsOnly();
    void storedCardWithoutNameOrMacIsNone_data();
    void storedCardWithoutNameOrMacIsNone();
    void lastStoredCardCounts();
    void withoutAddressAndFileThereIsNothing();
    void unreadableFileIsNothing_data();
    void unreadableFileIsNothing();
    void storedCardIsPutBackOnItsAddress();
    void storedCardsWithoutTheAddressGiveANamelessRequest();

private:
    void useScript(const QString& functions);
    void connectWlan0();
    bool isArmed() const { return _network->_autoConnectSSIDTimer->isActive(); }
    QString script() const { return _fixture->path(QStringLiteral("hal.sh")); }
    QStringList lines() const { return _fixture->host().lines(); }

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_CardSwitching::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    PublicClass::init()->autoConnectEnabled = true;
    PublicClass::init()->halShPath.clear();
    _network = std::make_unique<OpenNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
    _network->_aLXB10NetworkCardName = QStringLiteral("eth0");
    _network->setAutoConnect(true);
}

void tst_CardSwitching::cleanup()
{
    PublicClass::init()->halShPath.clear();
    _network.reset();
    _fixture.reset();
}

void tst_CardSwitching::useScript(const QString& functions)
{
    _fixture->write(script(), "#!/bin/sh\n");
    QFile::setPermissions(script(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    PublicClass::init()->halShPath = script();
    _fixture->host().answer(QStringLiteral("sudo %1 function").arg(script()), functions);
}

void tst_CardSwitching::connectWlan0()
{
    _fixture->host().answer(kWpaStatus, NetworkFixture::capture("wpa_cli/status-connected.c.out"));
    _fixture->host().answer(
        kShowActive,
        QStringLiteral("NAME      UUID  TYPE  DEVICE \nRobotNet  %1  wifi  wlan0 \n").arg(kUuid));
}

void tst_CardSwitching::offByToolsInOrder()
{
    connectWlan0();
    _fixture->writeProfile(QStringLiteral("RobotNet.nmconnection"),
                           "[connection]\nuuid=" + kUuid.toUtf8() + "\ntype=wifi\n");

    QVERIFY(_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QCOMPARE(lines(), (QStringList{kWpaStatus, kShowActive,
                                   QStringLiteral("sudo nmcli connection down '%1'").arg(kUuid),
                                   kShowWifi, kDown}));
    QCOMPARE(_fixture->host().calls().at(2).limitMs, 20000);
    QCOMPARE(_fixture->host().calls().at(4).limitMs, 20000);
    QVERIFY(_fixture->profiles().isEmpty());
    QVERIFY(!isArmed());
}

void tst_CardSwitching::offWithoutConnectionTakesNoneDown()
{
    _fixture->host().answer(kWpaStatus, QStringLiteral("wpa_state=DISCONNECTED\n"));

    QVERIFY(_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QCOMPARE(lines(), (QStringList{kWpaStatus, kShowWifi, kDown}));
}

void tst_CardSwitching::offGoesOnAfterAFailedDown()
{
    connectWlan0();
    _fixture->host().fail(QStringLiteral("sudo nmcli connection down '%1'").arg(kUuid),
                          QStringLiteral("not active"));
    _fixture->host().fail(kShowWifi, QStringLiteral("no NetworkManager"));

    QVERIFY(_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QCOMPARE(lines().last(), kDown);
}

void tst_CardSwitching::offThatFailsLeavesTheCycleOn()
{
    _fixture->host().fail(kDown, QStringLiteral("SIOCSIFFLAGS: Operation not permitted"));

    QVERIFY(!_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QCOMPARE(_network->getLastError(), QStringLiteral("SIOCSIFFLAGS: Operation not permitted"));
    QVERIFY(isArmed());
}

void tst_CardSwitching::offLeavesTheReportsFlowing()
{
    _network->_isDisconnectionSendError = true;
    _network->_disconnectionMethod = 1;
    _network->_pingIp = QStringLiteral("10.0.0.1");

    QVERIFY(_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QVERIFY(isArmed());
}

void tst_CardSwitching::onByToolsInOrder()
{
    _network->_autoConnectSSIDTimer->stop();

    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));

    QCOMPARE(lines(), (QStringList{kUp, kRestart}));
    for (const RecordedHost::Call& call : _fixture->host().calls())
        QCOMPARE(call.limitMs, 20000);
    QVERIFY(isArmed());
}

void tst_CardSwitching::onThatFails_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("commands");

    QTest::newRow("up") << kUp << 1;
    QTest::newRow("restart") << kRestart << 2;
}

void tst_CardSwitching::onThatFails()
{
    QFETCH(QString, failing);
    QFETCH(int, commands);
    _network->_autoConnectSSIDTimer->stop();
    _fixture->host().fail(failing, QStringLiteral("tool's words"));

    QVERIFY(!_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));

    QCOMPARE(lines().size(), commands);
    QCOMPARE(_network->getLastError(), QStringLiteral("tool's words"));
    QVERIFY(!isArmed());
}

void tst_CardSwitching::scriptBans()
{
    LogCapture log("ky.network");
    useScript(QStringLiteral("audio wireless time\n"));
    const QString ban = QStringLiteral("sudo %1 wireless ban wlan0").arg(script());
    _fixture->host().answer(ban, QStringLiteral("done"));

    QVERIFY(_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QCOMPARE(lines(), (QStringList{QStringLiteral("sudo %1 function").arg(script()), ban}));
    for (const RecordedHost::Call& call : _fixture->host().calls())
        QCOMPARE(call.limitMs, 20000);
    QCOMPARE(log.lines(),
             (QStringList{QStringLiteral("[debug][setWirelessCardStatus]audio wireless time\n"),
                          QStringLiteral("[debug][setWirelessCardStatus]ban : done")}));
    QVERIFY(!isArmed());
}

void tst_CardSwitching::scriptSwitchesOn()
{
    LogCapture log("ky.network");
    useScript(QStringLiteral("wireless"));
    _network->_autoConnectSSIDTimer->stop();

    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));

    QCOMPARE(lines().last(), QStringLiteral("sudo %1 wireless on wlan0").arg(script()));
    QVERIFY(log.holds(QStringLiteral("[debug][setWirelessCardStatus]on : ")));
    QVERIFY(isArmed());
}

void tst_CardSwitching::scriptWithoutTheFunctionIsPassedOver()
{
    useScript(QStringLiteral("audio time\n"));

    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));

    QCOMPARE(lines(),
             (QStringList{QStringLiteral("sudo %1 function").arg(script()), kUp, kRestart}));
}

void tst_CardSwitching::scriptThatFailsCountsAsNoFunction()
{
    useScript(QString());
    _fixture->host().reset();
    _fixture->host().fail(QStringLiteral("sudo %1 function").arg(script()),
                          QStringLiteral("wireless is broken"));

    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));

    QCOMPARE(_network->getLastError(), QStringLiteral("wireless is broken"));
    QCOMPARE(lines().mid(1), (QStringList{kUp, kRestart}));
}

void tst_CardSwitching::scriptThatFailsToBanIsFalse()
{
    useScript(QStringLiteral("wireless"));
    _fixture->host().fail(QStringLiteral("sudo %1 wireless ban wlan0").arg(script()),
                          QStringLiteral("no"));

    QVERIFY(!_network->setWirelessCardStatus(true, QStringLiteral("wlan0")));

    QCOMPARE(_network->getLastError(), QStringLiteral("no"));
    QCOMPARE(lines().size(), 2);
    QVERIFY(isArmed());
}

void tst_CardSwitching::scriptIsAskedAtEachSwitch()
{
    useScript(QStringLiteral("wireless"));
    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));
    QVERIFY(QFile::remove(script()));

    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0")));

    QCOMPARE(lines().mid(2), (QStringList{kUp, kRestart}));
}

void tst_CardSwitching::hostileCardNameStaysOneWord()
{
    QVERIFY(_network->setWirelessCardStatus(false, QStringLiteral("wlan0; reboot")));

    QCOMPARE(lines().first(), QStringLiteral("ifconfig 'wlan0; reboot' up"));
}

void tst_CardSwitching::changedWiredCardIsStored()
{
    QVERIFY(_network->changedNetworkCardStatus(0, true));

    QCOMPARE(lines().last(), QStringLiteral("ifconfig eth0 down"));
    QCOMPARE(_fixture->setting(ky::settings::kWiredCardBanned).toBool(), true);
    QVERIFY(!_network->_isDisableWirelessNetworkCard);
    QVERIFY(!_fixture->setting(ky::settings::kWirelessCardBanned).isValid());
}

void tst_CardSwitching::changedWirelessCardIsStored()
{
    LogCapture log("ky.network");

    QVERIFY(_network->changedNetworkCardStatus(1, true));
    QVERIFY(_network->_isDisableWirelessNetworkCard);
    QCOMPARE(_fixture->setting(ky::settings::kWirelessCardBanned).toBool(), true);
    QVERIFY(_network->changedNetworkCardStatus(1, false));

    QVERIFY(!_network->_isDisableWirelessNetworkCard);
    QCOMPARE(_fixture->setting(ky::settings::kWirelessCardBanned).toBool(), false);
    QVERIFY(
        log.holds(QStringLiteral("[debug][changedNetworkCardStatus][_wirelessCardName: wlan0")));
}

void tst_CardSwitching::changedIsTrueAndStoredWhenSwitchingFails()
{
    _fixture->host().answerOthers({QStringLiteral("broken"), false});

    QVERIFY(_network->changedNetworkCardStatus(1, true));
    QVERIFY(_network->changedNetworkCardStatus(0, true));

    QCOMPARE(_fixture->setting(ky::settings::kWirelessCardBanned).toBool(), true);
    QCOMPARE(_fixture->setting(ky::settings::kWiredCardBanned).toBool(), true);
}

void tst_CardSwitching::changedOfAnotherKindDoesNothing()
{
    QVERIFY(_network->changedNetworkCardStatus(2, true));
    QVERIFY(_network->changedNetworkCardStatus(-1, true));

    QVERIFY(lines().isEmpty());
    QVERIFY(!QFile::exists(QLatin1String(ky::settings::kFile)));
}

void tst_CardSwitching::deviceTableIsRead()
{
    const QString line = QStringLiteral("nmcli device status");
    _fixture->host().answer(line, NetworkFixture::capture("nmcli/device-status-connected.c.out"));
    QList<QVariantMap> list{{{QStringLiteral("before"), 1}}};

    QVERIFY(_network->getConnectedStatus(list));

    QCOMPARE(list.size(), 11); // appended
    QCOMPARE(list.last().keys(),
             (QStringList{QStringLiteral("connection"), QStringLiteral("device"),
                          QStringLiteral("state"), QStringLiteral("type")}));
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
}

void tst_CardSwitching::deviceTableThatIsNone_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");
    QTest::addColumn<QString>("error");

    QTest::newRow("failed") << "no NetworkManager" << false << "no NetworkManager";
    QTest::newRow("empty") << "" << true << "Network card not connected";
    QTest::newRow("one line") << "DEVICE TYPE" << true << "Network card not connected";
}

void tst_CardSwitching::deviceTableThatIsNone()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    _fixture->host().answer(QStringLiteral("nmcli device status"), output, hasRun);
    QList<QVariantMap> list;

    QVERIFY(!_network->getConnectedStatus(list));

    QTEST(_network->getLastError(), "error");
    QVERIFY(list.isEmpty());
}

void tst_CardSwitching::startFileServesWhenItIsReadBack()
{
    const QMap<QString, QVariantMap> cards{
        {QStringLiteral("02:00:00:00:00:01"), card("eth0", "10.0.0.7")},
        {QStringLiteral("02:00:00:00:00:02"), card("eth1", kInternalIp)},
        {QStringLiteral("02:00:00:00:00:03"), card("wlan0", "10.0.0.8")}};
    QVERIFY(PublicClass::init()->writeJsonFile(
        kStartFile, ky::wiredCardRecords(cards, QStringLiteral("wlan0")), QJsonDocument::Indented));

    const auto stored =
        ky::storedInternalCard(PublicClass::init()->getJsonVariant(kStartFile).toList());

    QVERIFY(stored);
    QCOMPARE(stored->name, QStringLiteral("eth1"));
    QCOMPARE(stored->mac, QStringLiteral("02:00:00:00:00:02"));
    const auto live = ky::findInternalCard(cards);
    QCOMPARE(live->mac, stored->mac);
    QCOMPARE(live->name, stored->name);
}

void tst_CardSwitching::startFileHoldsWiredCardsOnly()
{
    const QVariantList records =
        ky::wiredCardRecords({{QStringLiteral("02:01"), card("eth0", "10.0.0.7")},
                              {QStringLiteral("02:02"), card("wlan0", "10.0.0.8")}},
                             QStringLiteral("wlan0"));

    QCOMPARE(records.size(), 1);
    const QVariantMap expected{{QStringLiteral("name"), QStringLiteral("eth0")},
                               {QStringLiteral("ip"), QStringLiteral("10.0.0.7")},
                               {QStringLiteral("mac"), QStringLiteral("02:01")},
                               {QStringLiteral("networkCardType"), 0}};
    QCOMPARE(records.at(0).toMap(), expected);
}

void tst_CardSwitching::storedCardWithoutNameOrMacIsNone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("mac");

    QTest::newRow("no name") << ""
                             << "02:01";
    QTest::newRow("no mac") << "eth1"
                            << "";
}

void tst_CardSwitching::storedCardWithoutNameOrMacIsNone()
{
    QFETCH(QString, name);
    QFETCH(QString, mac);
    const QVariantMap record{{QStringLiteral("ip"), QLatin1String(kInternalIp)},
                             {QStringLiteral("name"), name},
                             {QStringLiteral("mac"), mac}};
    QVERIFY(PublicClass::init()->writeJsonFile(kStartFile, QVariantList{record},
                                               QJsonDocument::Indented));

    QVERIFY(!_network->activateNetworkCard());
    QVERIFY(lines().isEmpty());
}

void tst_CardSwitching::lastStoredCardCounts()
{
    QVariantMap first = card("eth1", kInternalIp);
    first.insert(QStringLiteral("mac"), QStringLiteral("02:01"));
    QVariantMap last = card("eth2", kInternalIp);
    last.insert(QStringLiteral("mac"), QStringLiteral("02:02"));

    QCOMPARE(ky::storedInternalCard({first, last, card("eth3", "10.0.0.1")})->name,
             QStringLiteral("eth2"));
}

void tst_CardSwitching::withoutAddressAndFileThereIsNothing()
{
    _network->_wiredMacName = QStringLiteral("old");

    QVERIFY(!_network->activateNetworkCard());

    QCOMPARE(_network->_wiredMacName, QString());
    QVERIFY(lines().isEmpty());
    QVERIFY(!QFile::exists(kStartFile));
}

void tst_CardSwitching::unreadableFileIsNothing_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("damaged") << QByteArray("[{\"name\":");
    QTest::newRow("empty list") << QByteArray("[]");
    QTest::newRow("map") << QByteArray("{\"ip\":\"192.168.192.5\"}");
}

void tst_CardSwitching::unreadableFileIsNothing()
{
    QFETCH(QByteArray, content);
    _fixture->write(_fixture->path(kStartFile), content);

    QVERIFY(!_network->activateNetworkCard());

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->read(kStartFile), content);
}

void tst_CardSwitching::storedCardIsPutBackOnItsAddress()
{
    const QByteArray content = "[{\"name\":\"eth0\",\"ip\":\"10.0.0.7\",\"mac\":\"02:01\"},"
                               "{\"name\":\"eth1\",\"ip\":\"192.168.192.5\",\"mac\":\"02:02\"}]";
    _fixture->write(_fixture->path(kStartFile), content);

    QVERIFY(_network->activateNetworkCard());

    QCOMPARE(lines(),
             (QStringList{
                 QStringLiteral("nmcli connection delete 'static-LocalWired-IP'"),
                 QStringLiteral("nmcli connection add type ethernet con-name "
                                "'static-LocalWired-IP' ifname eth1 ipv4.addresses "
                                "192.168.192.5/24  ipv4.gateway 24 ipv4.method manual"),
                 QStringLiteral("sudo nmcli connection up 'static-LocalWired-IP' ifname eth1")}));
    QCOMPARE(_network->_wiredMacName, QStringLiteral("02:02"));
    QCOMPARE(_fixture->read(kStartFile), content);
}

void tst_CardSwitching::storedCardsWithoutTheAddressGiveANamelessRequest()
{
    _fixture->write(_fixture->path(kStartFile), "[{\"name\":\"eth0\",\"ip\":\"10.0.0.7\"}]");

    QVERIFY(_network->activateNetworkCard());

    QVERIFY(lines().at(1).contains(QLatin1String("ifname  ipv4.addresses 192.168.192.5/24  ")));
    QCOMPARE(_network->_wiredMacName, QString());
}

QTEST_GUILESS_MAIN(tst_CardSwitching)
#include "tst_CardSwitching.moc"
