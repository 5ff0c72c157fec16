#include "NetworkFixture.h"

#include <QFileInfo>
#include <QTest>

#include <dlfcn.h>

namespace {

bool hasInterfaces = true;

const QString kUuid = QStringLiteral("c2bc1749-8ea3-4333-ab40-9cde81f563ad");
const QString kFindCard =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kWpaStatus = QStringLiteral("sudo wpa_cli -i wlan0 status ");
const QString kShowActive = QStringLiteral("nmcli connection show --active");
const QString kModify =
    QStringLiteral("nmcli connection modify '%1' ipv4.addresses 10.0.0.7/24  ipv4.gateway "
                   "10.0.0.1 ipv4.method manual")
        .arg(kUuid);
const QString kModifyWithoutGateway =
    QStringLiteral("nmcli connection modify '%1' ipv4.addresses 10.0.0.7/24  ipv4.method manual")
        .arg(kUuid);
const QString kToDhcp = QStringLiteral("nmcli connection modify '%1' ipv4.method auto").arg(kUuid);
const QString kBringUp = QStringLiteral("sudo nmcli connection up '%1' ifname wlan0").arg(kUuid);
const QString kReload = QStringLiteral("sudo nmcli connection reload");
const QString kReserved =
    QStringLiteral("[192.168.192.xxx] network segment has been used internally");
const QString kNotConnected = QStringLiteral(
    "The wireless network is not connected: possible reasons 1. Not connected to the wireless "
    "network 2. The wireless network card is disabled");
const QString kAdd =
    QStringLiteral("nmcli connection add type ethernet con-name \"static-AlxWired-IP\" ifname eth0 "
                   "ipv4.addresses 10.0.0.7/24  ipv4.gateway 10.0.0.1 ipv4.method manual");
const QString kConnectEth0 = QStringLiteral("nmcli device connect eth0");
const QString kConnectWlan0 = QStringLiteral("nmcli device connect wlan0");
const QString kShowEth0 = QStringLiteral("nmcli connection show | grep eth0");
const QString kShowSite = QStringLiteral("nmcli connection show | grep 'site'");
const QString kJoin = QStringLiteral("nmcli device wifi connect 'site' password 'secret12' ");
constexpr char kActivated[] = "Connection successfully activated (D-Bus active path: /x/24)\n";

QVariantMap request(const QVariantMap& changes = {})
{
    QVariantMap map{{QStringLiteral("ip"), QStringLiteral("10.0.0.7")},
                    {QStringLiteral("mask"), QStringLiteral("255.255.255.0")},
                    {QStringLiteral("gateway"), QStringLiteral("10.0.0.1")},
                    {QStringLiteral("dhcp"), false}};
    for (auto change = changes.begin(); change != changes.end(); ++change)
        map.insert(change.key(), change.value());
    return map;
}

QVariantMap changed(const char* key, const QVariant& value)
{
    return request({{QLatin1String(key), value}});
}

QByteArray profile(const char* method, const char* address = nullptr)
{
    QByteArray content = "[connection]\nid=site\nuuid=" + kUuid.toUtf8() +
                         "\ntype=wifi\n\n[wifi-security]\npsk=a,b;c\n\n[ipv4]\n";
    if (address)
        content += QByteArray("address1=") + address + '\n';
    return content + "method=" + method + "\n\n[proxy]\n";
}

} // namespace

// Stands in front of the real one: no machine that runs tests is without interfaces.
QList<QNetworkInterface> QNetworkInterface::allInterfaces()
{
    if (!hasInterfaces)
        return {};
    using AllInterfaces = QList<QNetworkInterface> (*)();
    static const auto real = reinterpret_cast<AllInterfaces>(
        dlsym(RTLD_NEXT, "_ZN17QNetworkInterface13allInterfacesEv"));
    return real();
}

class tst_Addressing : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    // The Wi-Fi connection in use
    void wifiGetsItsAddressInOrder();
    void wifiWithoutGateway();
    void wifiOfThreeDotsTakesThemAsGateway();
    void wifiToDhcpValidatesNothing();
    void wifiOnDhcpAskedForDhcpIsRefused();
    void wifiRequestsThatAreRefused_data();
    void wifiRequestsThatAreRefused();
    void reservedIsRefusedBeforeAnythingRuns_data();
    void reservedIsRefusedBeforeAnythingRuns();
    void wifiWithoutConnectionIsRefused();
    void wifiWithoutProfileFileIsRefused();
    void wifiModifyThatFailsEndsThere();
    void wifiBringUpNeedsItsWords_data();
    void wifiBringUpNeedsItsWords();
    void wifiStaleAddressGoesBeforeBringUp();
    void hostileAddressReachesTheToolAsOneWord();

    // The wired card
    void wiredIsRebuiltInOrder();
    void wiredWithoutGateway_data();
    void wiredWithoutGateway();
    void wiredOnDhcpIgnoresAddressAndMask();
    void wiredWithoutCardIsRefused();
    void wiredRefusedHasLostItsProfiles_data();
    void wiredRefusedHasLostItsProfiles();
    void wiredAddThatFailsEndsThere_data();
    void wiredAddThatFailsEndsThere();
    void wiredConnectNeedsItsWords();
    void wiredStaleAddressGoesBeforeConnecting();

    // A Wi-Fi by name
    void namedWifiInOrder();
    void namedWifiIsStored();
    void namedWifiIsAttemptedBeforeItsAddressIsLookedAt();
    void namedWifiOnDhcpStillGetsAManualAddress();
    void namedWifiThatIsRefused_data();
    void namedWifiThatIsRefused();
    void namedWifiWithoutUuidIsRefused();
    void namedWifiThatFailsIsNotStored_data();
    void namedWifiThatFailsIsNotStored();
    void namedWifiStaleAddressGoesBeforeConnecting();

    // The internal card
    void internalCardTakesThePrefixAsGateway();
    void internalCardValidatesNothing();
    void internalAddThatFailsEndsThere();
    void internalBringUpNeedsItsWords();
    void factoryAddressWithoutStoredMacIsNone();
    void factoryAddressSendsAnEmptyRequestWithoutTheCard();
    void factoryAddressSendsAnEmptyRequestWithoutInterfaces();

    // Stale addresses
    void dhcpStatusIsReadFromTheFile();
    void dhcpStatusIsReadInTheFolderOfProfilesAlone();
    void staleAddressIsRemovedAndNothingElse();
    void staleAddressWithoutAddressChangesNothing();
    void manualAddressStays();
    void missingFolderIsNothing();
    void hiddenProfileIsCleaned();
    void failedReloadIsTheLastError();

private:
    void connectWlan0(const QByteArray& content = profile("manual"));
    QStringList lines() const { return _fixture->host().lines(); }
    int limitOf(const QString& line) const;

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_Addressing::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _network = std::make_unique<OpenNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
    _network->_aLXB10NetworkCardName = QStringLiteral("eth0");
    RecordedHost& host = _fixture->host();
    host.answer(kFindCard, QStringLiteral("wlan0\n"));
    for (const QString& line :
         {kBringUp, kAdd, kConnectEth0, kConnectWlan0,
          QStringLiteral("sudo nmcli connection up 'static-LocalWired-IP' ifname eth1"), kJoin})
        host.answer(line, QLatin1String(kActivated));
}

void tst_Addressing::cleanup()
{
    _network.reset();
    _fixture.reset();
}

void tst_Addressing::connectWlan0(const QByteArray& content)
{
    RecordedHost& host = _fixture->host();
    host.answer(kWpaStatus, QStringLiteral("wpa_state=COMPLETED\n"));
    host.answer(kShowActive,
                QStringLiteral("NAME  UUID  TYPE  DEVICE \nsite  %1  wifi  wlan0 \n").arg(kUuid));
    _fixture->writeProfile(QStringLiteral("site.nmconnection"), content);
}

int tst_Addressing::limitOf(const QString& line) const
{
    for (const RecordedHost::Call& call : _fixture->host().calls()) {
        if (call.line == line)
            return call.limitMs;
    }
    return -1;
}

void tst_Addressing::wifiGetsItsAddressInOrder()
{
    connectWlan0();

    QVERIFY(_network->setIPconfig(request()));

    QCOMPARE(lines(), (QStringList{kFindCard, kWpaStatus, kShowActive, kModify,
                                   QStringLiteral("sleep 3"), kBringUp}));
    QCOMPARE(limitOf(kModify), 30000);
    QCOMPARE(limitOf(kBringUp), 30000);
}

void tst_Addressing::wifiWithoutGateway()
{
    connectWlan0();

    QVERIFY(_network->setIPconfig(changed("gateway", QString())));

    QVERIFY(lines().contains(kModifyWithoutGateway));
}

void tst_Addressing::wifiOfThreeDotsTakesThemAsGateway()
{
    connectWlan0();

    QVERIFY(_network->setIPconfig(changed("gateway", QStringLiteral("..."))));

    QVERIFY(lines().contains(
        QString(kModify).replace(QStringLiteral("10.0.0.1 "), QStringLiteral("... "))));
}

void tst_Addressing::wifiToDhcpValidatesNothing()
{
    connectWlan0();

    QVERIFY(_network->setIPconfig({{QStringLiteral("dhcp"), true},
                                   {QStringLiteral("ip"), QStringLiteral("nonsense")},
                                   {QStringLiteral("mask"), QStringLiteral("255.0.255.0")}}));

    QCOMPARE(lines().mid(3), (QStringList{kToDhcp, QStringLiteral("sleep 3"), kBringUp}));
    QCOMPARE(limitOf(kToDhcp), 30000);
}

void tst_Addressing::wifiOnDhcpAskedForDhcpIsRefused()
{
    connectWlan0(profile("auto"));

    QVERIFY(!_network->setIPconfig(changed("dhcp", true)));

    QCOMPARE(_network->getLastError(), QStringLiteral("DHCP is enabled on the interface"));
    QCOMPARE(lines(), (QStringList{kFindCard, kWpaStatus, kShowActive}));
}

void tst_Addressing::wifiRequestsThatAreRefused_data()
{
    QTest::addColumn<QVariantMap>("map");
    QTest::addColumn<QString>("error");
    const QString badIp = QStringLiteral("Invalid IP");
    const QString badMask = QStringLiteral("Invalid subnet mask");

    QTest::newRow("no address") << changed("ip", QString()) << badIp;
    QTest::newRow("address of words") << changed("ip", QStringLiteral("reboot")) << badIp;
    QTest::newRow("number too high") << changed("ip", QStringLiteral("10.0.0.256")) << badIp;
    QTest::newRow("very long") << changed("ip", QString(10000, QLatin1Char('1'))) << badIp;
    QTest::newRow("address is a list") << changed("ip", QVariantList{1, 2}) << badIp;
    QTest::newRow("no mask") << changed("mask", QString()) << badMask;
    QTest::newRow("mask with a hole") << changed("mask", QStringLiteral("255.0.255.0")) << badMask;
    QTest::newRow("mask is a length") << changed("mask", QStringLiteral("24")) << badMask;
    QTest::newRow("mask is a map") << changed("mask", QVariantMap()) << badMask;
    QTest::newRow("nothing") << QVariantMap() << badIp;
}

void tst_Addressing::wifiRequestsThatAreRefused()
{
    QFETCH(QVariantMap, map);
    connectWlan0();

    QVERIFY(!_network->setIPconfig(map));

    QTEST(_network->getLastError(), "error");
    QCOMPARE(lines(), (QStringList{kFindCard, kWpaStatus, kShowActive}));
}

void tst_Addressing::reservedIsRefusedBeforeAnythingRuns_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<bool>("dhcp");

    QTest::newRow("manual") << "192.168.192.7" << false;
    QTest::newRow("on DHCP, where it is not used") << "192.168.192.7" << true;
    QTest::newRow("within another text") << "10.192.168.192.1" << false;
}

void tst_Addressing::reservedIsRefusedBeforeAnythingRuns()
{
    QFETCH(QString, ip);
    QFETCH(bool, dhcp);
    connectWlan0();
    QVariantMap map = request({{QStringLiteral("ip"), ip},
                               {QStringLiteral("dhcp"), dhcp},
                               {QStringLiteral("ssid"), QString()}});

    QVERIFY(!_network->setIPconfig(map));
    QCOMPARE(_network->getLastError(), kReserved);
    _network->setLastError({});
    QVERIFY(!_network->setAlxIPconfig(map));
    QCOMPARE(_network->getLastError(), kReserved);
    _network->setLastError({});
    QVERIFY(!_network->setSSIDIPConfig(map));
    QCOMPARE(_network->getLastError(), kReserved);

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->profiles().size(), 1);
}

void tst_Addressing::wifiWithoutConnectionIsRefused()
{
    _fixture->host().answer(kWpaStatus, QStringLiteral("wpa_state=DISCONNECTED\n"));

    QVERIFY(!_network->setIPconfig(request()));

    QCOMPARE(lines(), (QStringList{kFindCard, kWpaStatus}));
}

void tst_Addressing::wifiWithoutProfileFileIsRefused()
{
    connectWlan0("[connection]\nuuid=another\n");

    QVERIFY(!_network->setIPconfig(request()));

    QCOMPARE(_network->getLastError(), kNotConnected);
    QCOMPARE(lines().size(), 3);
}

void tst_Addressing::wifiModifyThatFailsEndsThere()
{
    connectWlan0();
    const QString words =
        QStringLiteral("Error: failed to modify ipv4.gateway: invalid gateway address '...'.\n");
    _fixture->host().fail(kModify, words);

    QVERIFY(!_network->setIPconfig(request()));

    QCOMPARE(_network->getLastError(), words);
    QCOMPARE(lines().last(), kModify);
}

void tst_Addressing::wifiBringUpNeedsItsWords_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");
    QTest::addColumn<bool>("isDone");

    QTest::newRow("English") << NetworkFixture::capture("nmcli/bring-up-static.c.out") << true
                             << true;
    QTest::newRow("Chinese") << NetworkFixture::capture("nmcli/bring-up-static.zh.out") << true
                             << true;
    QTest::newRow("another language") << "Verbindung wurde erfolgreich aktiviert" << true << false;
    QTest::newRow("nothing") << "" << true << false;
    QTest::newRow("failed") << "Error: Timeout expired" << false << false;
}

void tst_Addressing::wifiBringUpNeedsItsWords()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    QFETCH(bool, isDone);
    _fixture->host().reset();
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));
    connectWlan0();
    _fixture->host().answer(kBringUp, output, hasRun);

    QCOMPARE(_network->setIPconfig(request()), isDone);

    QCOMPARE(_network->getLastError(), isDone ? QString() : output);
}

void tst_Addressing::wifiStaleAddressGoesBeforeBringUp()
{
    connectWlan0(profile("manual", "10.0.0.7/24,10.0.0.1"));
    _fixture->host().onCall([&](const RecordedHost::Call& call) {
        if (call.line == kToDhcp) // NetworkManager leaves the address in the file
            _fixture->writeProfile(QStringLiteral("site.nmconnection"),
                                   profile("auto", "10.0.0.7/24,10.0.0.1"));
    });

    QVERIFY(_network->setIPconfig(changed("dhcp", true)));

    QCOMPARE(lines().mid(3), (QStringList{kToDhcp, QStringLiteral("sleep 3"), kReload, kBringUp}));
    QCOMPARE(_fixture->read(_fixture->profileFolder() + QStringLiteral("/site.nmconnection")),
             profile("auto"));
}

// inet_aton takes what stands before the blank and lets the rest pass.
void tst_Addressing::hostileAddressReachesTheToolAsOneWord()
{
    connectWlan0();

    QVERIFY(_network->setIPconfig(changed("ip", QStringLiteral("1.2.3.4 ; reboot"))));

    QCOMPARE(lines().at(3), QStringLiteral("nmcli connection modify '%1' ipv4.addresses "
                                           "'1.2.3.4 ; reboot'/24  ipv4.gateway 10.0.0.1 "
                                           "ipv4.method manual")
                                .arg(kUuid));
}

void tst_Addressing::wiredIsRebuiltInOrder()
{
    _fixture->writeProfile(QStringLiteral("old.nmconnection"),
                           "[connection]\ninterface-name=eth0\n");

    QVERIFY(_network->setAlxIPconfig(request()));

    QCOMPARE(lines(),
             (QStringList{kReload, kShowEth0, kAdd, QStringLiteral("sleep 1"), kConnectEth0}));
    QCOMPARE(limitOf(kAdd), 20000);
    QCOMPARE(limitOf(kConnectEth0), 20000);
    QVERIFY(_fixture->profiles().isEmpty());
}

void tst_Addressing::wiredWithoutGateway_data()
{
    QTest::addColumn<QString>("gateway");

    QTest::newRow("empty") << "";
    QTest::newRow("three dots") << "...";
    QTest::newRow("three dots between blanks") << " ... ";
}

void tst_Addressing::wiredWithoutGateway()
{
    QFETCH(QString, gateway);
    const QString add =
        QStringLiteral("nmcli connection add type ethernet con-name \"static-AlxWired-IP\" ifname "
                       "eth0 ipv4.addresses 10.0.0.7/24  ipv4.method manual");
    _fixture->host().answer(add, QLatin1String(kActivated));

    QVERIFY(_network->setAlxIPconfig(changed("gateway", gateway)));

    QVERIFY(lines().contains(add));
}

void tst_Addressing::wiredOnDhcpIgnoresAddressAndMask()
{
    const QString add = QStringLiteral("nmcli connection add type ethernet con-name "
                                       "\"static-AlxWired-IP\" ifname eth0 ipv4.method auto");
    _fixture->host().answer(add, QLatin1String(kActivated));

    QVERIFY(_network->setAlxIPconfig({{QStringLiteral("dhcp"), true},
                                      {QStringLiteral("ip"), QStringLiteral("nonsense")},
                                      {QStringLiteral("mask"), QStringLiteral("255.0.255.0")}}));

    QVERIFY(lines().contains(add));
    QCOMPARE(_network->getLastError(), QStringLiteral("wrong subnet mask:255.0.255.0"));
}

void tst_Addressing::wiredWithoutCardIsRefused()
{
    _network->_aLXB10NetworkCardName.clear();

    QVERIFY(!_network->setAlxIPconfig(request()));

    QCOMPARE(_network->getLastError(), QStringLiteral("Wired network card does not exist"));
    QVERIFY(lines().isEmpty());
}

void tst_Addressing::wiredRefusedHasLostItsProfiles_data()
{
    QTest::addColumn<QVariantMap>("map");
    QTest::addColumn<QString>("error");

    QTest::newRow("address") << changed("ip", QStringLiteral("10.0.0.300"))
                             << "Wrong IP:10.0.0.300";
    QTest::newRow("mask with a hole")
        << changed("mask", QStringLiteral("255.0.255.0")) << "wrong subnet mask:255.0.255.0";
    QTest::newRow("nothing") << QVariantMap() << "Wrong IP:";
    QTest::newRow("both") << request({{QStringLiteral("ip"), QStringLiteral("x")},
                                      {QStringLiteral("mask"), QStringLiteral("y")}})
                          << "Wrong IP:x";
}

void tst_Addressing::wiredRefusedHasLostItsProfiles()
{
    QFETCH(QVariantMap, map);
    _fixture->writeProfile(QStringLiteral("old.nmconnection"),
                           "[connection]\ninterface-name=eth0\n");

    QVERIFY(!_network->setAlxIPconfig(map));

    QTEST(_network->getLastError(), "error");
    QVERIFY(_fixture->profiles().isEmpty());
    QCOMPARE(lines(), (QStringList{kReload, kShowEth0}));
}

void tst_Addressing::wiredAddThatFailsEndsThere_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");

    QTest::newRow("failed") << "Error: Failed to add" << false;
    QTest::newRow("no word of success") << "Warning: x" << true;
}

void tst_Addressing::wiredAddThatFailsEndsThere()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    _fixture->host().reset();
    _fixture->host().answer(kAdd, output, hasRun);

    QVERIFY(!_network->setAlxIPconfig(request()));

    QCOMPARE(_network->getLastError(), output);
    QCOMPARE(lines(), (QStringList{kShowEth0, kAdd}));
}

void tst_Addressing::wiredConnectNeedsItsWords()
{
    _fixture->host().reset();
    _fixture->host().answer(kAdd, NetworkFixture::capture("nmcli/wired-add-with-gateway.zh.out"));
    _fixture->host().answer(kConnectEth0,
                            NetworkFixture::capture("nmcli/wired-device-connect-good.zh.out"));
    _fixture->host().answer(kConnectEth0, QStringLiteral("no carrier"));

    QVERIFY(_network->setAlxIPconfig(request()));
    QVERIFY(!_network->setAlxIPconfig(request()));

    QCOMPARE(_network->getLastError(), QStringLiteral("no carrier"));
}

void tst_Addressing::wiredStaleAddressGoesBeforeConnecting()
{
    _fixture->host().onCall([&](const RecordedHost::Call& call) {
        if (call.line.startsWith(QLatin1String("nmcli connection add")))
            _fixture->writeProfile(QStringLiteral("wired"), profile("auto", "10.0.0.7/24"));
    });

    _network->setAlxIPconfig(request());

    QCOMPARE(lines(),
             (QStringList{kShowEth0, kAdd, QStringLiteral("sleep 1"), kReload, kConnectEth0}));
    QCOMPARE(_fixture->read(_fixture->profileFolder() + QStringLiteral("/wired")), profile("auto"));
}

void tst_Addressing::namedWifiInOrder()
{
    const QString showWifi = QStringLiteral("nmcli connection show | grep wifi");
    _fixture->host().answer(kShowSite, QStringLiteral("site  %1  wifi  wlan0 \n").arg(kUuid));

    QVERIFY(_network->setSSIDIPConfig(
        request({{QStringLiteral("ssid"), QStringLiteral("site")},
                 {QStringLiteral("passwd"), QStringLiteral("secret12")}})));

    QCOMPARE(lines(), (QStringList{showWifi, kJoin,
                                   QStringLiteral("nmcli connection modify 'site' "
                                                  "connection.autoconnect yes"),
                                   kFindCard, kShowSite, kModify, kConnectWlan0}));
    QCOMPARE(limitOf(kModify), 20000);
    QCOMPARE(limitOf(kConnectWlan0), 20000);
    QVERIFY(_fixture->host().sleeps().isEmpty());
}

void tst_Addressing::namedWifiIsStored()
{
    _fixture->host().answer(kShowSite, QStringLiteral("site  %1  wifi  wlan0 \n").arg(kUuid));

    QVERIFY(
        _network->setSSIDIPConfig(request({{QStringLiteral("ssid"), QStringLiteral("site")},
                                           {QStringLiteral("passwd"), QStringLiteral("secret12")},
                                           {QStringLiteral("nonBroadcast"), true}})));

    QCOMPARE(PublicClass::init()->wifiSsid, QStringLiteral("site"));
    QCOMPARE(PublicClass::init()->wifiPassword, QStringLiteral("secret12"));
    QCOMPARE(PublicClass::init()->wifiNonBroadcast, true);
    QCOMPARE(_fixture->setting("Network/wifiSSID").toString(), QStringLiteral("site"));
    QCOMPARE(_fixture->setting("Network/wifiPasswd").toString(), QStringLiteral("secret12"));
    QCOMPARE(_fixture->setting("Network/wifiNonBroadcast").toBool(), true);
}

void tst_Addressing::namedWifiIsAttemptedBeforeItsAddressIsLookedAt()
{
    QVERIFY(
        !_network->setSSIDIPConfig(request({{QStringLiteral("ssid"), QStringLiteral("site")},
                                            {QStringLiteral("passwd"), QStringLiteral("secret12")},
                                            {QStringLiteral("ip"), QStringLiteral("x")}})));

    QVERIFY(lines().contains(kJoin));
    QVERIFY(!lines().contains(kFindCard));
    QCOMPARE(_network->getLastError(), QStringLiteral("Wrong IP:x"));
}

void tst_Addressing::namedWifiOnDhcpStillGetsAManualAddress()
{
    const QString modify =
        QStringLiteral("nmcli connection modify '%1' ipv4.addresses 10.0.0.7/  ipv4.method manual")
            .arg(kUuid);
    _fixture->host().answer(kShowSite, QStringLiteral("site  %1  wifi  wlan0 \n").arg(kUuid));

    QVERIFY(
        _network->setSSIDIPConfig(request({{QStringLiteral("ssid"), QStringLiteral("site")},
                                           {QStringLiteral("dhcp"), true},
                                           {QStringLiteral("mask"), QString()},
                                           {QStringLiteral("gateway"), QStringLiteral("...")}})));

    QVERIFY(lines().contains(modify));
}

void tst_Addressing::namedWifiThatIsRefused_data()
{
    QTest::addColumn<QVariantMap>("map");
    QTest::addColumn<QString>("error");

    QTest::newRow("no name") << changed("ssid", QString()) << "Query SSID is empty";
    QTest::newRow("no name at all") << request() << "Query SSID is empty";
    QTest::newRow("mask with a hole")
        << request({{QStringLiteral("ssid"), QStringLiteral("site")},
                    {QStringLiteral("mask"), QStringLiteral("0.255.0.0")}})
        << "wrong subnet mask:0.255.0.0";
}

void tst_Addressing::namedWifiThatIsRefused()
{
    QFETCH(QVariantMap, map);

    QVERIFY(!_network->setSSIDIPConfig(map));

    QTEST(_network->getLastError(), "error");
    QVERIFY(!lines().contains(kConnectWlan0));
}

void tst_Addressing::namedWifiWithoutUuidIsRefused()
{
    QVERIFY(
        !_network->setSSIDIPConfig(request({{QStringLiteral("ssid"), QStringLiteral("site")}})));

    QCOMPARE(lines().last(), kShowSite);
}

void tst_Addressing::namedWifiThatFailsIsNotStored_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<bool>("isRun"); // runs, and says nothing of success
    QTest::addColumn<QString>("last");

    QTest::newRow("finding the card") << kFindCard << false << kFindCard;
    QTest::newRow("finding the profile") << kShowSite << false << kShowSite;
    QTest::newRow("modify") << kModify << false << kModify;
    QTest::newRow("connect") << kConnectWlan0 << false << kConnectWlan0;
    QTest::newRow("connect without its words") << kConnectWlan0 << true << kConnectWlan0;
}

void tst_Addressing::namedWifiThatFailsIsNotStored()
{
    QFETCH(QString, failing);
    QFETCH(bool, isRun);
    PublicClass::init()->wifiSsid = QStringLiteral("old");
    RecordedHost& host = _fixture->host();
    host.reset();
    const QMap<QString, QString> good{
        {kFindCard, QStringLiteral("wlan0\n")},
        {kShowSite, QStringLiteral("site  %1  wifi  wlan0 \n").arg(kUuid)},
        {kConnectWlan0, QLatin1String(kActivated)}};
    for (auto answer = good.begin(); answer != good.end(); ++answer) {
        if (answer.key() != failing)
            host.answer(answer.key(), answer.value());
    }
    if (isRun)
        host.answer(failing, QStringLiteral("tool's words"));
    else
        host.fail(failing, QStringLiteral("tool's words"));

    QVERIFY(
        !_network->setSSIDIPConfig(request({{QStringLiteral("ssid"), QStringLiteral("site")}})));

    QTEST(lines().last(), "last");
    QCOMPARE(_network->getLastError(), QStringLiteral("tool's words"));
    QCOMPARE(PublicClass::init()->wifiSsid, QStringLiteral("old"));
    QVERIFY(!_fixture->setting("Network/wifiSSID").isValid());
}

void tst_Addressing::namedWifiStaleAddressGoesBeforeConnecting()
{
    _fixture->host().answer(kShowSite, QStringLiteral("site  %1  wifi  wlan0 \n").arg(kUuid));
    _fixture->host().onCall([&](const RecordedHost::Call& call) {
        if (call.line == kModify) // another profile: the one in hand is manual now
            _fixture->writeProfile(QStringLiteral("other"), profile("auto", "10.0.0.7/24"));
    });

    QVERIFY(_network->setSSIDIPConfig(
        request({{QStringLiteral("ssid"), QStringLiteral("site")},
                 {QStringLiteral("passwd"), QStringLiteral("secret12")}})));

    QCOMPARE(lines().mid(lines().indexOf(kModify)), (QStringList{kModify, kReload, kConnectWlan0}));
    QCOMPARE(_fixture->read(_fixture->profileFolder() + QStringLiteral("/other")), profile("auto"));
}

void tst_Addressing::internalCardTakesThePrefixAsGateway()
{
    QVERIFY(_network->setWiredNetworkIPconfig(
        {{QStringLiteral("name"), QStringLiteral("eth1")},
         {QStringLiteral("ip"), QStringLiteral("192.168.192.5")},
         {QStringLiteral("mask"), QStringLiteral("255.255.255.0")},
         {QStringLiteral("gateway"), QStringLiteral("192.168.192.1")}}));

    QCOMPARE(lines(),
             (QStringList{
                 QStringLiteral("nmcli connection delete 'static-LocalWired-IP'"),
                 QStringLiteral("nmcli connection add type ethernet con-name "
                                "'static-LocalWired-IP' ifname eth1 ipv4.addresses "
                                "192.168.192.5/24  ipv4.gateway 24 ipv4.method manual"),
                 QStringLiteral("sudo nmcli connection up 'static-LocalWired-IP' ifname eth1")}));
    for (const RecordedHost::Call& call : _fixture->host().calls())
        QCOMPARE(call.limitMs, 20000);
}

void tst_Addressing::internalCardValidatesNothing()
{
    _network->setWiredNetworkIPconfig({{QStringLiteral("name"), QStringLiteral("eth1")},
                                       {QStringLiteral("ip"), QStringLiteral("x; reboot")},
                                       {QStringLiteral("mask"), QStringLiteral("y")}});

    QVERIFY(lines().at(1).contains(QLatin1String(" ipv4.addresses 'x; reboot'/  ")));
}

void tst_Addressing::internalAddThatFailsEndsThere()
{
    _fixture->host().answerOthers(
        {NetworkFixture::capture("nmcli/internal-add-gateway-is-prefix.c.err"), false});

    QVERIFY(!_network->setWiredNetworkIPconfig(
        {{QStringLiteral("name"), QStringLiteral("eth1")},
         {QStringLiteral("ip"), QStringLiteral("192.168.192.5")},
         {QStringLiteral("mask"), QStringLiteral("255.255.255.0")}}));

    QCOMPARE(lines().size(), 2); // the delete that failed before is passed over
    QCOMPARE(_network->getLastError(),
             NetworkFixture::capture("nmcli/internal-add-gateway-is-prefix.c.err"));
}

void tst_Addressing::internalBringUpNeedsItsWords()
{
    QVERIFY(!_network->setWiredNetworkIPconfig({{QStringLiteral("name"), QStringLiteral("eth9")}}));

    QCOMPARE(lines().size(), 3);
}

void tst_Addressing::factoryAddressWithoutStoredMacIsNone()
{
    QVERIFY(!_network->initFactorySettingsIP());

    QVERIFY(lines().isEmpty());
}

// The mac is stored beside the program and belongs to no card here.
void tst_Addressing::factoryAddressSendsAnEmptyRequestWithoutTheCard()
{
    _network->_wiredNetInfo.insert(QStringLiteral("Mac"), QStringLiteral("02:FF:FF:FF:FF:FF"));
    const QString stored =
        QCoreApplication::applicationDirPath() + QStringLiteral("/appInfo/setting/macName.txt");
    QDir().mkpath(QFileInfo(stored).absolutePath());

    QVERIFY(_network->initFactorySettingsIP());
    QFile::remove(stored);

    QCOMPARE(
        lines().mid(0, 2),
        (QStringList{QStringLiteral("nmcli connection delete 'static-LocalWired-IP'"),
                     QStringLiteral("nmcli connection add type ethernet con-name "
                                    "'static-LocalWired-IP' ifname  ipv4.addresses /  ipv4.gateway "
                                    " ipv4.method manual")}));
}

void tst_Addressing::factoryAddressSendsAnEmptyRequestWithoutInterfaces()
{
    _network->_wiredNetInfo.insert(QStringLiteral("Mac"), QStringLiteral("02:FF:FF:FF:FF:FF"));
    const QString stored =
        QCoreApplication::applicationDirPath() + QStringLiteral("/appInfo/setting/macName.txt");
    QDir().mkpath(QFileInfo(stored).absolutePath());
    hasInterfaces = false;

    const bool isMapEmpty = _network->getNetworkWifiMap().isEmpty();
    const bool isDone = _network->initFactorySettingsIP();
    hasInterfaces = true;
    QFile::remove(stored);

    QVERIFY(isMapEmpty);
    QVERIFY(isDone);
    QCOMPARE(
        lines(),
        (QStringList{QStringLiteral("nmcli connection delete 'static-LocalWired-IP'"),
                     QStringLiteral("nmcli connection add type ethernet con-name "
                                    "'static-LocalWired-IP' ifname  ipv4.addresses /  ipv4.gateway "
                                    " ipv4.method manual"),
                     QStringLiteral("sudo nmcli connection up 'static-LocalWired-IP' ifname ")}));
}

void tst_Addressing::dhcpStatusIsReadFromTheFile()
{
    _fixture->writeProfile(QStringLiteral("a"), profile("auto"));
    _fixture->writeProfile(QStringLiteral("b"), profile("manual"));

    QVERIFY(_network->getLinuxDhcpStatus(QStringLiteral("a")));
    QVERIFY(!_network->getLinuxDhcpStatus(QStringLiteral("b")));
    QVERIFY(!_network->getLinuxDhcpStatus(QStringLiteral("missing")));
    QVERIFY(!_network->getLinuxDhcpStatus(QString()));
}

void tst_Addressing::dhcpStatusIsReadInTheFolderOfProfilesAlone()
{
    QVERIFY(QDir(_fixture->profileFolder()).mkdir(QStringLiteral("below")));
    _fixture->writeProfile(QStringLiteral("below/a"), profile("auto"));
    _fixture->write(_fixture->profileFolder() + QStringLiteral("/../outside"), profile("auto"));

    QVERIFY(!_network->getLinuxDhcpStatus(QStringLiteral("../outside")));
    QVERIFY(!_network->getLinuxDhcpStatus(QStringLiteral("below/a")));
    QVERIFY(!_network->getLinuxDhcpStatus(QStringLiteral(".")));
    QVERIFY(!_network->getLinuxDhcpStatus(QStringLiteral("..")));
}

void tst_Addressing::staleAddressIsRemovedAndNothingElse()
{
    const QString path = _fixture->profileFolder() + QStringLiteral("/site.nmconnection");
    _fixture->writeProfile(QStringLiteral("site.nmconnection"), profile("auto", "10.0.0.7/24"));
    _fixture->writeProfile(QStringLiteral("other.nmconnection"),
                           profile("auto", "10.0.0.9/24,10.0.0.1"));
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);

    _network->checkDHCP();

    QCOMPARE(_fixture->read(path), profile("auto"));
    QCOMPARE(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther),
             QFile::Permissions());
    QCOMPARE(lines(), QStringList{kReload}); // once for both
    QCOMPARE(limitOf(kReload), 30000);
}

void tst_Addressing::staleAddressWithoutAddressChangesNothing()
{
    _fixture->writeProfile(QStringLiteral("a"), profile("auto"));
    _fixture->writeProfile(QStringLiteral("b"), profile("auto", ""));

    _network->checkDHCP();

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->read(_fixture->profileFolder() + QStringLiteral("/b")), profile("auto", ""));
}

void tst_Addressing::manualAddressStays()
{
    _fixture->writeProfile(QStringLiteral("a"), profile("manual", "10.0.0.7/24"));

    _network->checkDHCP();

    QVERIFY(lines().isEmpty());
}

void tst_Addressing::missingFolderIsNothing()
{
    QVERIFY(QDir(_fixture->profileFolder()).removeRecursively());

    _network->checkDHCP();

    QVERIFY(lines().isEmpty());
}

void tst_Addressing::hiddenProfileIsCleaned()
{
    _fixture->writeProfile(QStringLiteral(".hidden"), profile("auto", "10.0.0.7/24"));

    _network->checkDHCP();

    QCOMPARE(lines(), QStringList{kReload});
}

void tst_Addressing::failedReloadIsTheLastError()
{
    _fixture->writeProfile(QStringLiteral("a"), profile("auto", "10.0.0.7/24"));
    _fixture->host().fail(kReload, QStringLiteral("not running"));

    _network->checkDHCP();

    QCOMPARE(_network->getLastError(), QStringLiteral("not running"));
}

QTEST_GUILESS_MAIN(tst_Addressing)
#include "tst_Addressing.moc"
