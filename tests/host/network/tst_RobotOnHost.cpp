#include "SimulatedHost.h"

#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "support/HostPaths.h"
#include "support/KeyFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QNetworkInterface>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString kAp1 = QStringLiteral("02:00:00:00:01:00"); // 5180 MHz
const QString kAp5 = QStringLiteral("02:00:00:00:05:00"); // 5745 MHz
const QString kAp2 = QStringLiteral("02:00:00:00:02:00"); // 2412 MHz
const QString kGateway = QStringLiteral("10.77.0.1");
const QString kProfile =
    QLatin1String(ky::paths::kNetworkManagerProfiles) + QStringLiteral("/RobotNet.nmconnection");
constexpr char kInternalIp[] = "192.168.192.5";
constexpr char kStartFile[] = "appInfo/setting/wiredNetworkCard.json";

void write(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qUtf8Printable(path));
}

class OpenNetwork : public SystemNetwork
{
public:
    using SystemNetwork::_disconnectionMethod;
    using SystemNetwork::_isDisconnectionSendError;
    using SystemNetwork::_isEnabledRoaming;
    using SystemNetwork::_isSwitchOnlyTo5G;
    using SystemNetwork::_pingIp;
    using SystemNetwork::_wiredMacName;
    using SystemNetwork::_wirelessCardName;
};

} // namespace

/// Roaming, supervision, addressing and the hotspot on the simulated host.
class tst_RobotOnHost : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void weakLinkRoamsToTheBest5G();
    void only5GIsUsedIfSetSo();
    void atTheFloorAnyGainIsTaken();
    void goodLinkIsLeftAlone();
    void busyScanIsLeftToTheNextCycle();
    void hangingToolHoldsUpOneCycleOnly();
    void lostLinkIsReportedAndRepaired();
    void lostApIsRejoinedWithoutProbe();
    void listsAndStatus();

    void wifiAddressIsSetAndReleased();
    void wiredAddressIsSet();
    void hostileAddressIsRefusedByTheTool();
    void hotspotOpensAndCloses();
    void switchingTheCardOffRemovesItsProfile();
    void internalCardIsRecordedAndFoundAgain();
    void factoryAddressGoesToTheRecordedCard();
    void reportNamesBothCards();

    // Board 6, whose hotspot is hostapd on a separate interface
    void runningHotspotIsNotStartedAgain();
    void stoppingTakesTheInterfaceDownAndReturnsFalse();

private:
    void useHostapdBoard();
    void join();
    QString bssid();
    void tick() { _network->slotAutoConnectEth1Ethernet(); }
    void switchSite(bool isOn);
    QList<int> reports() const;

    QTemporaryDir _home;
    std::unique_ptr<SimulatedHost> _host;
    std::unique_ptr<OpenNetwork> _network;
    std::unique_ptr<QSignalSpy> _frames;
};

void tst_RobotOnHost::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    QVERIFY(QDir::setCurrent(_home.path()));
    PublicClass::init()->hardwareType = -1;
    PublicClass::init()->autoConnectEnabled = false;
    _host = std::make_unique<SimulatedHost>(SimulatedHost::OfThisProcess);
}

void tst_RobotOnHost::init()
{
    _host->reset();
    PublicClass::init()->hardwareType = -1;
    _host->set(QStringLiteral("autoconnectMs"), QStringLiteral("-1"));
    QDir(QStringLiteral("appInfo")).removeRecursively();
    _network = std::make_unique<OpenNetwork>();
    _network->_isEnabledRoaming = true;
    _frames = std::make_unique<QSignalSpy>(_network.get(), &SystemNetwork::sigWriteTcpClient);
}

void tst_RobotOnHost::cleanup()
{
    _frames.reset();
    _network.reset();
}

void tst_RobotOnHost::join()
{
    QVERIFY2(
        _network->connectWindowWifi(QStringLiteral("RobotNet"), QStringLiteral("robotpass"), false),
        qPrintable(_network->getLastError()));
    QCOMPARE(bssid(), kAp1);
    _host->clearLines();
}

QString tst_RobotOnHost::bssid()
{
    QVariantMap link;
    _network->getIwconfig(QStringLiteral("wlan0"), link);
    return link.value(QStringLiteral("bssid")).toString();
}

void tst_RobotOnHost::switchSite(bool isOn)
{
    for (const char* name : {"ap1.on", "ap2.on", "ap5.on"})
        _host->set(QLatin1String(name), isOn ? QStringLiteral("true") : QStringLiteral("false"));
}

QList<int> tst_RobotOnHost::reports() const
{
    QList<int> types;
    for (const QVariantList& frame : *_frames)
        types << frame.at(2).toInt();
    return types;
}

void tst_RobotOnHost::weakLinkRoamsToTheBest5G()
{
    join();
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-80"));

    tick(); // 5 GHz at -65 wins over 2.4 GHz at -55

    QCOMPARE(bssid(), kAp5);
}

void tst_RobotOnHost::only5GIsUsedIfSetSo()
{
    join();
    _network->_isSwitchOnlyTo5G = true;
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-70"));
    _host->set(QStringLiteral("ap5.level"), QStringLiteral("-69"));

    tick();
    QCOMPARE(bssid(), kAp1);
    _network->_isSwitchOnlyTo5G = false;
    tick();
    QCOMPARE(bssid(), kAp2);
}

void tst_RobotOnHost::atTheFloorAnyGainIsTaken()
{
    join();
    _host->set(QStringLiteral("ap2.on"), QStringLiteral("false"));
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-84"));
    _host->set(QStringLiteral("ap5.level"), QStringLiteral("-83"));

    tick();
    QCOMPARE(bssid(), kAp1);
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-85"));
    _host->set(QStringLiteral("ap5.level"), QStringLiteral("-84"));
    tick();
    QCOMPARE(bssid(), kAp5);
}

void tst_RobotOnHost::goodLinkIsLeftAlone()
{
    join();
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-65"));
    _host->set(QStringLiteral("ap5.level"), QStringLiteral("-30"));

    tick();

    QCOMPARE(_host->lines(), QStringList{QStringLiteral("iw wlan0 link")});
}

void tst_RobotOnHost::busyScanIsLeftToTheNextCycle()
{
    join();
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-80"));
    _host->addFault(QStringLiteral("wpa_cli"), QStringLiteral("busy"),
                    {QStringLiteral("--match"), QStringLiteral("scan"), QStringLiteral("--times"),
                     QStringLiteral("1")});

    tick();
    QCOMPARE(bssid(), kAp1);
    tick();
    QCOMPARE(bssid(), kAp5);
}

void tst_RobotOnHost::hangingToolHoldsUpOneCycleOnly()
{
    join();
    _host->set(QStringLiteral("ap1.level"), QStringLiteral("-80"));
    _host->addFault(QStringLiteral("iw"), QStringLiteral("hang"),
                    {QStringLiteral("--times"), QStringLiteral("1")});
    QElapsedTimer timer;
    timer.start();

    tick(); // 4 s for the link, then a scan and the stored profile

    QVERIFY(timer.elapsed() >= 4000);
    QVERIFY(timer.elapsed() < 15000);
    _host->clearFaults();
    tick();
    QVERIFY(!bssid().isEmpty());
}

void tst_RobotOnHost::lostLinkIsReportedAndRepaired()
{
    join();
    _network->_disconnectionMethod = 1;
    _network->_pingIp = kGateway;
    _network->_isDisconnectionSendError = true;

    tick();
    switchSite(false);
    tick();
    tick();
    switchSite(true);
    tick(); // the probe still fails, then the link is repaired
    tick();

    QCOMPARE(reports(), (QList<int>{4803, 4802, 4802, 4802, 4803}));
    QVERIFY(!bssid().isEmpty());
}

void tst_RobotOnHost::lostApIsRejoinedWithoutProbe()
{
    join();
    switchSite(false);
    tick();
    QCOMPARE(bssid(), QString());
    switchSite(true);

    tick();

    QVERIFY(!bssid().isEmpty());
    QVERIFY(reports().isEmpty());
}

void tst_RobotOnHost::listsAndStatus()
{
    join();

    const QVariantList aps = _network->getApList();
    QCOMPARE(aps.size(), 3);
    int inUse = 0;
    for (const QVariant& ap : aps)
        inUse += ap.toMap().value(QStringLiteral("status")).toInt() == 1;
    QCOMPARE(inUse, 1);
    QVariantMap display;
    QVERIFY(_network->getWinApiWifiList(display));
    QCOMPARE(display.value(QStringLiteral("current_wifi")).toString(), QStringLiteral("RobotNet"));
    QVERIFY(display.value(QStringLiteral("wifi_list")).toList().size() >= 7);
}

void tst_RobotOnHost::wifiAddressIsSetAndReleased()
{
    join();

    QVERIFY2(_network->setIPconfig({{QStringLiteral("ip"), QStringLiteral("10.77.0.50")},
                                    {QStringLiteral("mask"), QStringLiteral("255.255.255.0")},
                                    {QStringLiteral("gateway"), kGateway}}),
             qPrintable(_network->getLastError()));
    QVERIFY(ky::KeyFile::read(kProfile)
                .value("ipv4", "address1")
                .startsWith(QLatin1String("10.77.0.50/24")));
    QVariantMap card;
    QVERIFY(_network->getWifiCardInfo(card));
    QCOMPARE(card.value(QStringLiteral("ip")).toString(), QStringLiteral("10.77.0.50"));
    QCOMPARE(card.value(QStringLiteral("dhcp")).toBool(), false);

    QVERIFY2(_network->setIPconfig({{QStringLiteral("dhcp"), true}}),
             qPrintable(_network->getLastError()));
    QCOMPARE(ky::KeyFile::read(kProfile).value("ipv4", "address1"), QString()); // not left
    QVERIFY(!_network->setIPconfig({{QStringLiteral("dhcp"), true}}));
    QCOMPARE(_network->getLastError(), QStringLiteral("DHCP is enabled on the interface"));
}

void tst_RobotOnHost::wiredAddressIsSet()
{
    _network->changedNetworkCardStatus(9, true); // no such kind of card: does nothing
    QVariantMap before;
    _network->getAlxCardInfo(before);
    // The last wired card of the interface table.
    QCOMPARE(before.value(QStringLiteral("name")).toString(), QStringLiteral("eth1"));

    QVERIFY2(_network->setAlxIPconfig({{QStringLiteral("ip"), QStringLiteral("192.168.60.9")},
                                       {QStringLiteral("mask"), QStringLiteral("255.255.255.0")},
                                       {QStringLiteral("gateway"), QStringLiteral("...")}}),
             qPrintable(_network->getLastError()));

    QVariantMap info;
    QVERIFY(_network->getAlxCardInfo(info));
    QCOMPARE(info.value(QStringLiteral("ip")).toString(), QStringLiteral("192.168.60.9"));
    QVERIFY(!_network->getNetworkManagerFileInfo(QStringLiteral("static-AlxWired-IP")).isEmpty());
}

void tst_RobotOnHost::hostileAddressIsRefusedByTheTool()
{
    join();
    const QString hostile = QStringLiteral("1.2.3.4 ; touch hacked; $(touch hacked)");

    QVERIFY(!_network->setIPconfig({{QStringLiteral("ip"), hostile},
                                    {QStringLiteral("mask"), QStringLiteral("255.255.255.0")}}));

    QVERIFY(_network->getLastError().contains(QLatin1String("ipv4")));
    QVERIFY(!QFile::exists(QStringLiteral("hacked")));
}

void tst_RobotOnHost::hotspotOpensAndCloses()
{
    const QVariantMap request{{QStringLiteral("ssid"), QStringLiteral("robot 7; $(reboot)")},
                              {QStringLiteral("passwd"), QStringLiteral("secret12")}};
    QVERIFY(!_network->startHotspot(request)); // nothing to delete yet
    _host->run(QStringLiteral("nmcli connection add type wifi con-name MyHostspot ifname wlan0 "
                              "ssid x autoconnect no"));

    QVERIFY2(_network->startHotspot(request), qPrintable(_network->getLastError()));
    QCOMPARE(_host->get(QStringLiteral("wlan0.profile")).trimmed(),
             _network->getNetworkManagerFileInfo(QStringLiteral("MyHostspot"))
                 .value(QStringLiteral("uuid"))
                 .toString());
    QVERIFY(!_network->isHostspot()); // always
    QVERIFY(_network->stopHotspot());
    QVERIFY(!_network->stopHotspot());
    QVERIFY(_network->getLastError().contains(QLatin1String("MyHostspot")));
    QVERIFY(!_network->fixHotspot());
}

void tst_RobotOnHost::switchingTheCardOffRemovesItsProfile()
{
    join();

    QVERIFY(_network->changedNetworkCardStatus(1, true));

    QVERIFY(!QFile::exists(kProfile));
    QVERIFY(_host->lines().contains(QStringLiteral("ifconfig wlan0 down")));
    _host->clearLines();
    tick();
    QVERIFY(_host->lines().isEmpty());
}

void tst_RobotOnHost::internalCardIsRecordedAndFoundAgain()
{
    _host->run(QStringLiteral("nmcli connection add type ethernet con-name internal ifname eth1 "
                              "ipv4.addresses 192.168.192.5/24 ipv4.method manual; "
                              "nmcli connection up internal"));

    QVERIFY(_network->activateNetworkCard());
    const QString mac = _network->_wiredMacName;
    QCOMPARE(mac, QNetworkInterface::interfaceFromName(QStringLiteral("eth1")).hardwareAddress());
    QVERIFY(QFile::exists(QLatin1String(kStartFile)));
    QVERIFY(_network->activateNetworkCard()); // found, and the file exists already

    _host->run(QStringLiteral("nmcli connection down internal"));
    _host->clearLines();
    QVERIFY(_network->activateNetworkCard()); // from the file

    QCOMPARE(_network->_wiredMacName, mac);
    QCOMPARE(_host->lines().filter(QStringLiteral("ifname eth1")).size(), 1);
    QVERIFY(_host->lines().at(1).contains(QLatin1String(kInternalIp)));
}

void tst_RobotOnHost::factoryAddressGoesToTheRecordedCard()
{
    QDir().mkpath(QCoreApplication::applicationDirPath() + QStringLiteral("/appInfo/setting"));
    _host->run(QStringLiteral("nmcli connection add type ethernet con-name internal ifname eth1 "
                              "ipv4.addresses 192.168.192.5/24 ipv4.method manual; "
                              "nmcli connection up internal"));
    QVariantMap card;
    QVERIFY(_network->getWiredNetworkCard(card));
    QCOMPARE(card.value(QStringLiteral("ip")).toString(), QLatin1String(kInternalIp));
    _host->clearLines();

    QVERIFY(_network->initFactorySettingsIP());

    QVERIFY(_host->lines().contains(
        QStringLiteral("nmcli connection add type ethernet con-name static-LocalWired-IP ifname "
                       "eth1 ipv4.addresses 192.168.192.5/24 ipv4.gateway 24 ipv4.method manual")));
}

void tst_RobotOnHost::reportNamesBothCards()
{
    join();

    _network->updateHalyard6950Data();

    const QVariantMap report =
        PublicClass::init()->getJsonVariant(_frames->at(0).at(4).toByteArray()).toMap();
    QCOMPARE(report.value(QStringLiteral("ssid")).toString(), QStringLiteral("RobotNet"));
    QCOMPARE(report.value(QStringLiteral("ap_mac")).toString(), kAp1);
    QCOMPARE(report.value(QStringLiteral("rssi")).toInt(), -45);
    QCOMPARE(report.value(QStringLiteral("mac")).toString(), QStringLiteral("020000000000"));
    QCOMPARE(report.value(QStringLiteral("connection_status")).toInt(), 1);
}

// eth1 of the default scene, under the name of the interface on that board.
void tst_RobotOnHost::useHostapdBoard()
{
    QByteArray scene = _host->run(QStringLiteral("hostsim scene")).output;
    QVERIFY(scene.contains("\"eth1\""));
    scene.replace("\"eth1\"", "\"wlsp1s1\"");
    const QString file = _home.filePath(QStringLiteral("board6.json"));
    write(file, scene);
    _host->reset(file);
    PublicClass::init()->hardwareType = 6;
    PublicClass::init()->applicationDir = _home.path();
    write(_home.filePath(QStringLiteral("appInfo/backupFile/hostapd.conf")), "ssid=old\n");
}

void tst_RobotOnHost::runningHotspotIsNotStartedAgain()
{
    useHostapdBoard();
    QVERIFY(
        _network->isNetworkInterfaceFlag(QStringLiteral("wlsp1s1"), QNetworkInterface::IsRunning));

    QVERIFY(!_network->startHotspot({{QStringLiteral("ssid"), QStringLiteral("new")},
                                     {QStringLiteral("passwd"), QStringLiteral("secret12")}}));

    QCOMPARE(_network->getLastError(), QStringLiteral("The hotspot has been activated"));
    QVERIFY(_host->lines().isEmpty());
    QFile conf(_home.filePath(QStringLiteral("appInfo/backupFile/hostapd.conf")));
    QVERIFY(conf.open(QIODevice::ReadOnly));
    QCOMPARE(conf.readAll(), QByteArray("ssid=old\n"));
}

void tst_RobotOnHost::stoppingTakesTheInterfaceDownAndReturnsFalse()
{
    useHostapdBoard();
    _network->setLastError(QStringLiteral("before"));

    QVERIFY(!_network->stopHotspot());

    QCOMPARE(_host->lines(), QStringList{QStringLiteral("sudo ifconfig wlsp1s1 down")});
    QCOMPARE(_network->getLastError(), QString()); // what the command printed
    QVERIFY(!_network->stopHotspot());
    QCOMPARE(_network->getLastError(), QStringLiteral("Hotspot not turned on"));
    QCOMPARE(_host->lines().size(), 1);
}

QTEST_GUILESS_MAIN(tst_RobotOnHost)
#include "tst_RobotOnHost.moc"
