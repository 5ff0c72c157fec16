#include "SimulatedHost.h"

#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "support/HostPaths.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString kFolder = QLatin1String(ky::paths::kNetworkManagerProfiles);

/// Names of the keyfiles of Wi-Fi profiles.
QStringList wifiProfiles()
{
    QStringList names;
    const QDir folder(kFolder);
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly) && file.readAll().contains("\ntype=wifi\n"))
            names << name;
    }
    return names;
}

QVariantMap request(const QVariantMap& wifi)
{
    return {{QStringLiteral("interface"), QStringLiteral("connectWifi")},
            {QStringLiteral("connectWifi"), wifi}};
}

QVariantMap certificate(const char* name)
{
    return {{QStringLiteral("fileName"), QString::fromLatin1(name)},
            {QStringLiteral("base64"), QStringLiteral("LS0tLS1CRUdJTg==")}};
}

class OpenNetwork : public SystemNetwork
{
public:
    using SystemNetwork::_networkCardNames;
    using SystemNetwork::_networkCards;
};

bool isChinese()
{
    return qgetenv("LANG").startsWith("zh");
}

} // namespace

/// The library on a simulated host, from creating a profile to the address of the card. Runs once
/// in English and once in Chinese.
class tst_WifiOnHost : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void joinsAProtectedNetwork();
    void wrongPasswordIsReportedInTheToolsWords();
    void nextAttemptRemovesTheProfileOfAFailedOne_data();
    void nextAttemptRemovesTheProfileOfAFailedOne();
    void joiningAgainLeavesOneProfile();
    void joinsAChineseName();
    void joinsAnOpenNetworkByTheShortForm();
    void unknownNetworkIsReportedInTheToolsWords();
    void hiddenNetworkIsNotFoundByItsName();
    void hiddenNetworkIsJoinedAfterAScanForItsName();
    void joinsAHiddenNetworkWithAFixedAddress();
    void joinsByIdentityAndPassword();
    void joinsByCertificate();
    void cardsShowTheirAddresses();
    void cardOfNetworkManagerIsConnected();
    void unknownDeviceIsReportedInTheToolsWords();
    void profilesOfACardAreForgotten();
    void profileIsGoneFromTheToolsTableToo();
    void profileOfNetplanHasNoKeyfile();
    void emptyUuidBringsUpAnyProfileOfTheCard();
    void onlyAWiredCardConnectsWithoutAProfile();
    void networkOutOfReachEndsAtTheLimit();
    void interfaceWithoutHardwareAddressIsNoCard();
    void hangingToolIsKilledAtItsLimit();
    void missingToolIsReported();
    void garbageFromAToolIsNoSuccess();
    void wiredCardCannotBeDisabledPermanently();
    void failedListMeansNoWirelessCard();

private:
    QString error() const { return _network->getLastError(); }
    QVariant cardEntry(const char* key);

    QTemporaryDir _home;
    std::unique_ptr<SimulatedHost> _host;
    std::unique_ptr<SystemNetwork> _network;
};

void tst_WifiOnHost::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.network=false"));
    QDir::setCurrent(_home.path());
    PublicClass::init()->hardwareType = -2;
    PublicClass::init()->settingsFile = _home.filePath(QStringLiteral("main.ini"));
    PublicClass::init()->writeIni(PublicClass::init()->settingsFile,
                                  QStringLiteral("AppInfo/networkBackup"),
                                  _home.filePath(QStringLiteral("backup")));
    _host = std::make_unique<SimulatedHost>(SimulatedHost::OfThisProcess);
}

void tst_WifiOnHost::init()
{
    _host->reset();
    _network = std::make_unique<SystemNetwork>();
}

void tst_WifiOnHost::cleanup()
{
    _network.reset();
}

QVariant tst_WifiOnHost::cardEntry(const char* key)
{
    QVariantMap info;
    _network->getNetworkCardInfo(QStringLiteral("wlan0"), info);
    return info.value(QLatin1String(key));
}

void tst_WifiOnHost::joinsAProtectedNetwork()
{
    QVERIFY2(_network->connectWindowWifi("RobotNet", "robotpass", false), qPrintable(error()));

    QString ssid;
    QVERIFY2(_network->getConnectedWifiSSID(ssid), qPrintable(error()));
    QCOMPARE(ssid, QStringLiteral("RobotNet"));
    QVariantMap card;
    QVERIFY(_network->getWifiCardInfo(card));
    QCOMPARE(card.value(QStringLiteral("ip")), QVariant(QStringLiteral("10.77.0.162")));
    QCOMPARE(card.value(QStringLiteral("mask")), QVariant(QStringLiteral("255.255.255.0")));
    QCOMPARE(card.value(QStringLiteral("gateway")), QVariant(QStringLiteral("10.77.0.1")));
    QCOMPARE(card.value(QStringLiteral("dhcp")), QVariant(true));
    const QVariantMap profile = _network->getNetworkManagerFileInfo("RobotNet");
    QCOMPARE(_network->getWifiPassword(profile.value(QStringLiteral("fileName")).toString()),
             QStringLiteral("robotpass"));
    QCOMPARE(_network->getCurrentWifiUUid(), profile.value(QStringLiteral("uuid")).toString());
}

void tst_WifiOnHost::wrongPasswordIsReportedInTheToolsWords()
{
    QVERIFY(!_network->connectWindowWifi("RobotNet", "wrong-one", false));

    QVERIFY2(error().contains(isChinese() ? QStringLiteral(u"密钥")
                                          : QStringLiteral("Secrets were required")),
             qPrintable(error()));
    // NetworkManager keeps a profile that failed to come up.
    QCOMPARE(wifiProfiles().size(), 1);
    QCOMPARE(cardEntry("dhcp"), QVariant(QStringLiteral("Not Found")));
}

void tst_WifiOnHost::nextAttemptRemovesTheProfileOfAFailedOne_data()
{
    QTest::addColumn<QString>("password");

    QTest::newRow("wrong") << "wrong-one";
    QTest::newRow("too short") << "abcd";
    QTest::newRow("none") << "";
}

void tst_WifiOnHost::nextAttemptRemovesTheProfileOfAFailedOne()
{
    QFETCH(QString, password);
    QVERIFY(!_network->connectWindowWifi("RobotNet", password, false));
    QCOMPARE(wifiProfiles(), QStringList{QStringLiteral("RobotNet.nmconnection")});

    QVERIFY2(_network->connectWindowWifi("OpenNet", "", false), qPrintable(error()));

    QCOMPARE(wifiProfiles(), QStringList{QStringLiteral("OpenNet.nmconnection")});
    QVERIFY(!_host->run("nmcli connection show").output.contains("RobotNet"));
}

void tst_WifiOnHost::joiningAgainLeavesOneProfile()
{
    QVERIFY(_network->connectWindowWifi("OpenNet", "", false));
    QVERIFY(_network->connectWindowWifi("RobotNet", "robotpass", false));

    QCOMPARE(wifiProfiles(), QStringList{QStringLiteral("RobotNet.nmconnection")});
    QVERIFY2(_network->connectWifi(15000, false), qPrintable(error()));
}

void tst_WifiOnHost::joinsAChineseName()
{
    const QString name = QStringLiteral(u"机器人网络");

    QVERIFY2(_network->connectWindowWifi(name, "robotpass", false), qPrintable(error()));

    QString ssid;
    QVERIFY2(_network->getConnectedWifiSSID(ssid), qPrintable(error()));
    QCOMPARE(ssid, name);
    QString uuid;
    QVERIFY(_network->getUuidBySsid(name, uuid));
    QCOMPARE(uuid, _network->getCurrentWifiUUid());
}

void tst_WifiOnHost::joinsAnOpenNetworkByTheShortForm()
{
    QVERIFY2(_network->connectWindowWifi2("OpenNet", "", false), qPrintable(error()));

    QCOMPARE(cardEntry("GENERAL.CONNECTION:"), QVariant(QStringLiteral("OpenNet")));
}

void tst_WifiOnHost::unknownNetworkIsReportedInTheToolsWords()
{
    QVERIFY(!_network->connectWindowWifi("NoSuchNet", "robotpass", false));

    QVERIFY2(error().contains(QStringLiteral("NoSuchNet")), qPrintable(error()));
}

void tst_WifiOnHost::hiddenNetworkIsNotFoundByItsName()
{
    // Nobody has scanned for the name yet.
    QVERIFY(!_network->connectWindowWifi("HiddenNet", "robotpass", true));

    QVERIFY2(error().contains(QStringLiteral("HiddenNet")), qPrintable(error()));
}

void tst_WifiOnHost::hiddenNetworkIsJoinedAfterAScanForItsName()
{
    QCOMPARE(_host->run("nmcli device wifi rescan ssid HiddenNet").status, 0);

    QVERIFY2(_network->connectWindowWifi("HiddenNet", "robotpass", true), qPrintable(error()));

    QCOMPARE(cardEntry("GENERAL.CONNECTION:"), QVariant(QStringLiteral("HiddenNet")));
}

void tst_WifiOnHost::joinsAHiddenNetworkWithAFixedAddress()
{
    const QVariantMap wifi{{QStringLiteral("ssid"), QStringLiteral("HiddenNet")},
                           {QStringLiteral("password"), QStringLiteral("robotpass")},
                           {QStringLiteral("nonBroadcast"), true},
                           {QStringLiteral("ipv4.addresses"), QStringLiteral("10.77.0.50/24")},
                           {QStringLiteral("ipv4.gateway"), QStringLiteral("10.77.0.1")}};

    QVERIFY2(_network->runIwconfig(request(wifi)), qPrintable(error()));

    QCOMPARE(cardEntry("ip"), QVariant(QStringLiteral("10.77.0.50")));
    QCOMPARE(cardEntry("dhcp"), QVariant(false));
}

void tst_WifiOnHost::joinsByIdentityAndPassword()
{
    const QVariantMap wifi{{QStringLiteral("ssid"), QStringLiteral("EntNet")},
                           {QStringLiteral("verification"), true},
                           {QStringLiteral("dhcp"), true},
                           {QStringLiteral("802-1x.eap"), QStringLiteral("peap")},
                           {QStringLiteral("wifi-sec.key-mgmt"), QStringLiteral("wpa-eap")},
                           {QStringLiteral("802-1x.phase2-auth"), QStringLiteral("mschapv2")},
                           {QStringLiteral("802-1x.identity"), QStringLiteral("robot")},
                           {QStringLiteral("802-1x.password"), QStringLiteral("robotpass")},
                           {QStringLiteral("802-1x.ca-cert"), certificate("ca.pem")}};

    QVERIFY2(_network->runIwconfig(request(wifi)), qPrintable(error()));

    QVERIFY(QFile::exists(_home.filePath(QStringLiteral("backup/ca.pem"))));
    QCOMPARE(cardEntry("GENERAL.CONNECTION:"), QVariant(QStringLiteral("EntNet")));
}

void tst_WifiOnHost::joinsByCertificate()
{
    const QVariantMap wifi{
        {QStringLiteral("ssid"), QStringLiteral("EntNet")},
        {QStringLiteral("verification"), true},
        {QStringLiteral("dhcp"), true},
        {QStringLiteral("802-1x.eap"), QStringLiteral("tls")},
        {QStringLiteral("wifi-sec.key-mgmt"), QStringLiteral("wpa-eap")},
        {QStringLiteral("802-1x.identity"), QStringLiteral("robot")},
        {QStringLiteral("802-1x.private-key-password"), QStringLiteral("keypass")},
        {QStringLiteral("802-1x.ca-cert"), certificate("ca.pem")},
        {QStringLiteral("802-1x.client-cert"), certificate("robot.pem")},
        {QStringLiteral("802-1x.private-key"), certificate("robot.key")}};

    QVERIFY2(_network->runIwconfig(request(wifi)), qPrintable(error()));

    QCOMPARE(cardEntry("GENERAL.CONNECTION:"), QVariant(QStringLiteral("EntNet")));
}

void tst_WifiOnHost::cardsShowTheirAddresses()
{
    QVERIFY2(_network->connectDeviceCard("eth1"), qPrintable(error()));

    QVariantMap wired;
    QVERIFY(_network->getNetInfo("eth1", wired));
    QCOMPARE(wired.value(QStringLiteral("ip")), QVariant(QStringLiteral("192.168.55.15")));
    QCOMPARE(wired.value(QStringLiteral("Mac")), QVariant(QStringLiteral("52:54:00:AB:CD:11")));
    QStringList names;
    const QVariantList interfaces = _network->getAllInterfaces();
    for (const QVariant& interface : interfaces)
        names << interface.toMap().value(QStringLiteral("name")).toString();
    for (const char* name : {"lo", "eth0", "eth1", "wlan0"})
        QVERIFY2(names.contains(QLatin1String(name)), qPrintable(names.join(u' ')));
}

void tst_WifiOnHost::cardOfNetworkManagerIsConnected()
{
    QVERIFY2(_network->connectDeviceCard("eth1"), qPrintable(error()));

    QString uuid;
    QVERIFY2(_network->getActiveUUID("eth1", uuid), qPrintable(error()));
    QVERIFY(!_network->getNetworkManagerSSIDFileNameBy(uuid).isEmpty());
}

void tst_WifiOnHost::unknownDeviceIsReportedInTheToolsWords()
{
    QVERIFY(!_network->connectDeviceCard("nosuch0"));

    QVERIFY2(error().contains(QStringLiteral("nosuch0")), qPrintable(error()));
}

void tst_WifiOnHost::profilesOfACardAreForgotten()
{
    QVERIFY(_network->connectDeviceCard("eth1"));
    QVERIFY(_network->connectWindowWifi("RobotNet", "robotpass", false));

    _network->deleteConnections("eth1");

    QString uuid;
    QVERIFY(!_network->getActiveUUID("eth1", uuid));
    QCOMPARE(wifiProfiles().size(), 1);
}

// The library deletes the keyfile first, without the tool, which then removes what it still lists.
void tst_WifiOnHost::profileIsGoneFromTheToolsTableToo()
{
    QVERIFY(_network->connectWindowWifi("RobotNet", "robotpass", false));
    const QString uuid = _network->getCurrentWifiUUid();
    _host->clearLines();

    _network->deleteByConnectionType("wifi");

    QVERIFY(wifiProfiles().isEmpty());
    QCOMPARE(_host->lines(), (QStringList{QStringLiteral("nmcli connection show"),
                                          QStringLiteral("nmcli connection delete ") + uuid}));
    QCOMPARE(_host->calls().last().status, 0);
    QVERIFY(!_host->run("nmcli connection show").output.contains("wifi"));
}

void tst_WifiOnHost::profileOfNetplanHasNoKeyfile()
{
    QCOMPARE(_host
                 ->run("printf 'network:\\n  version: 2\\n  renderer: NetworkManager\\n"
                       "  ethernets:\\n    eth0:\\n      dhcp4: true\\n'"
                       " >/etc/netplan/00-test.yaml; chmod 600 /etc/netplan/*; netplan apply")
                 .status,
             0);
    QString uuid;

    QVERIFY2(_network->getActiveUUID("eth0", uuid), qPrintable(error()));

    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(uuid), QString());
    QVERIFY(_network->getNetworkManagerFileInfo("netplan-eth0").isEmpty());
    QVariantMap card;
    QVERIFY(_network->getNetInfo("eth0", card));
    QCOMPARE(card.value(QStringLiteral("GENERAL.CONNECTION:")).toString(),
             QStringLiteral("netplan-eth0"));
    QVERIFY(!card.contains(QStringLiteral("dhcp")));
}

void tst_WifiOnHost::emptyUuidBringsUpAnyProfileOfTheCard()
{
    QVERIFY(!_network->connectWifi(15000, false));
    QVERIFY2(error().contains("wlan0"), qPrintable(error()));
    // The library does not look for profiles below /run; the tool does.
    QVERIFY(_network->connectWindowWifi("RobotNet", "robotpass", false));
    QCOMPARE(_host
                 ->run("mkdir -p /run/NetworkManager/system-connections; "
                       "mv /etc/NetworkManager/system-connections/RobotNet.nmconnection "
                       "/run/NetworkManager/system-connections; nmcli connection reload")
                 .status,
             0);
    QCOMPARE(_network->getCurrentWifiUUid(), QString());

    QVERIFY2(_network->connectWifi(15000, false), qPrintable(error()));

    QVERIFY(_host->lines().contains(QStringLiteral("sudo nmcli connection up ifname wlan0")));
}

void tst_WifiOnHost::onlyAWiredCardConnectsWithoutAProfile()
{
    QVERIFY(!_network->connectDeviceCard("wlan0"));
    QVERIFY2(error().contains("'wireless' setting is required"), qPrintable(error()));

    QVERIFY2(_network->connectDeviceCard("eth0"), qPrintable(error()));
    QVERIFY(!_network->getNetworkManagerFileInfo("eth0").isEmpty());
}

// By itself the tool would fail after 26 s.
void tst_WifiOnHost::networkOutOfReachEndsAtTheLimit()
{
    QVERIFY(_network->connectWindowWifi("RobotNet", "robotpass", false));
    for (const char* name : {"ap1.on", "ap2.on", "ap5.on"})
        _host->set(name, "false");
    _host->set("pace", "1");

    QVERIFY(!_network->connectWifi(400, false));

    QVERIFY2(error().contains(QStringLiteral("400")), qPrintable(error()));
    _host->set("pace", "0");
    QVERIFY(!_network->connectWifi(15000, false));
    QVERIFY2(error().contains("The Wi-Fi network could not be found") || isChinese(),
             qPrintable(error()));
}

// CAN channels have none.
void tst_WifiOnHost::interfaceWithoutHardwareAddressIsNoCard()
{
    OpenNetwork network;

    network.getAllNetworkCards();
    const QMap<QString, QString> names = network.getNetworkWifiMap();

    QCOMPARE(network._networkCards.size(), 4);
    QVERIFY(!network._networkCards.contains(QString()));
    for (const QVariantMap& card : qAsConst(network._networkCards))
        QVERIFY(!card.value(QStringLiteral("name")).toString().startsWith(QLatin1String("can")));
    // The list of names keeps the last of them, under the empty address.
    QCOMPARE(names.value(QString()), QStringLiteral("can1"));
    QCOMPARE(network._networkCardNames.first(), QStringLiteral("can1"));
    QCOMPARE(network._networkCardNames.size(), 5);
}

void tst_WifiOnHost::hangingToolIsKilledAtItsLimit()
{
    QVERIFY(_network->connectWindowWifi("RobotNet", "robotpass", false));
    _host->addFault("nmcli", "hang");

    QVERIFY(!_network->connectWifi(300, false));

    QVERIFY2(error().contains(QStringLiteral("300")), qPrintable(error()));
}

void tst_WifiOnHost::missingToolIsReported()
{
    _host->addFault("nmcli", "missing");

    QVERIFY(!_network->connectDeviceCard("eth1"));

    QVERIFY2(error().contains(QStringLiteral("nmcli")), qPrintable(error()));
}

void tst_WifiOnHost::garbageFromAToolIsNoSuccess()
{
    _host->addFault("nmcli", "garbage");

    QVERIFY(!_network->connectDeviceCard("eth1"));
    QVariantMap card;
    QVERIFY(_network->getNetInfo("eth1", card));

    QVERIFY(!card.contains(QStringLiteral("dhcp")));
}

void tst_WifiOnHost::wiredCardCannotBeDisabledPermanently()
{
    QVERIFY(!_network->setPermanentlyDisabled(1, true));

    QCOMPARE(error(), QStringLiteral(
                          "Permanent disabling of wired network cards is currently not supported"));
}

void tst_WifiOnHost::failedListMeansNoWirelessCard()
{
    _host->addFault("ifconfig", "fail");
    QString name;

    QVERIFY(!_network->getWirelessCardName(name));

    QCOMPARE(error(), QStringLiteral("Wireless card not found: It may have been disabled"));
}

QTEST_GUILESS_MAIN(tst_WifiOnHost)
#include "tst_WifiOnHost.moc"
