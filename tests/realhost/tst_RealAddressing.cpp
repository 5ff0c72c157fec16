#include "Site.h"

#include "network/SystemNetwork.h"

#include <QtTest>

using site::Robot;

/// Addresses, profiles and cards, against NetworkManager.
class tst_RealAddressing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init() { site::reset(); }

    void wifiTakesAStaticAddressAndGoesBackToDhcp();
    void joinsAndAddressesByNetworkName();
    void wiredCardTakesAStaticAddress();
    void wiredCardTakesDhcp();
    void reservedSegmentIsRefused();
    void internalAddressIsRefusedByTheToolForItsGateway();
    void sysctlSwitchesIpv6Off();
    void cardIsSwitchedOffAndOn();
    void cardsAreReportedAsTheToolsDo();
    void pingTellsReachableFromNot();
};

void tst_RealAddressing::wifiTakesAStaticAddressAndGoesBackToDhcp()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));

    QVERIFY2(robot->setIPconfig({{"ip", "10.77.0.33"},
                                 {"mask", "255.255.255.0"},
                                 {"gateway", site::kRouter},
                                 {"dhcp", false}}),
             qPrintable(robot->getLastError()));
    QCOMPARE(site::addressOf("wlan0"), QStringLiteral("10.77.0.33/24"));
    QVERIFY(site::canReachRouter());

    QVERIFY2(robot->setIPconfig({{"dhcp", true}}), qPrintable(robot->getLastError()));
    QVERIFY(site::waitUntil(
        [] {
            const QString address = site::addressOf("wlan0");
            return address.startsWith("10.77.0.") && !address.startsWith("10.77.0.33");
        },
        20000));
    QVERIFY(!robot->setIPconfig({{"dhcp", true}}));
    QCOMPARE(robot->getLastError(), QStringLiteral("DHCP is enabled on the interface"));
}

void tst_RealAddressing::joinsAndAddressesByNetworkName()
{
    Robot robot;

    QVERIFY2(robot->setSSIDIPConfig({{"ssid", "RobotSite"},
                                     {"passwd", site::kKey},
                                     {"ip", "10.77.0.34"},
                                     {"mask", "255.255.255.0"},
                                     {"gateway", site::kRouter},
                                     {"dhcp", false}}),
             qPrintable(robot->getLastError()));

    QVERIFY(site::waitUntil([] { return site::addressOf("wlan0") == "10.77.0.34/24"; }, 20000));
    QCOMPARE(site::linkedSsid(), QStringLiteral("RobotSite"));
}

void tst_RealAddressing::wiredCardTakesAStaticAddress()
{
    Robot robot;

    QVERIFY2(
        robot->setAlxIPconfig(
            {{"ip", "10.88.0.5"}, {"mask", "255.255.0.0"}, {"gateway", "..."}, {"dhcp", false}}),
        qPrintable(robot->getLastError()));

    QCOMPARE(site::addressOf("eth0"), QStringLiteral("10.88.0.5/16"));
    QCOMPARE(site::profilesOfType("802-3-ethernet"), QStringList{"static-AlxWired-IP"});
}

void tst_RealAddressing::wiredCardTakesDhcp()
{
    Robot robot;

    QVERIFY2(robot->setAlxIPconfig({{"dhcp", true}}), qPrintable(robot->getLastError()));

    QVERIFY(site::waitUntil([] { return site::addressOf("eth0").startsWith("10.0.2."); }, 20000));
}

void tst_RealAddressing::reservedSegmentIsRefused()
{
    Robot robot;

    QVERIFY(!robot->setAlxIPconfig({{"ip", "192.168.192.9"}, {"mask", "255.255.255.0"}}));

    QCOMPARE(robot->getLastError(),
             QStringLiteral("[192.168.192.xxx] network segment has been used internally"));
}

void tst_RealAddressing::internalAddressIsRefusedByTheToolForItsGateway()
{
    Robot robot;

    // The line gives the prefix length as the gateway, which this NetworkManager does not take.
    QVERIFY(!robot->setWiredNetworkIPconfig({{"name", "eth1"},
                                             {"ip", "192.168.192.5"},
                                             {"mask", "255.255.255.0"},
                                             {"gateway", "192.168.192.1"}}));

    QVERIFY2(robot->getLastError().contains("static-LocalWired-IP"),
             qPrintable(robot->getLastError()));
    QVERIFY(site::addressOf("eth1").isEmpty());
}

void tst_RealAddressing::sysctlSwitchesIpv6Off()
{
    site::run("sysctl -w net.ipv6.conf.all.disable_ipv6=0");

    Robot robot;

    QCOMPARE(site::run("sysctl -n net.ipv6.conf.all.disable_ipv6").trimmed(), QStringLiteral("1"));
}

void tst_RealAddressing::cardIsSwitchedOffAndOn()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));

    QVERIFY2(robot->setWirelessCardStatus(true, "wlan0"), qPrintable(robot->getLastError()));
    QVERIFY(!site::run("ip link show wlan0").contains(",UP"));
    QCOMPARE(site::profilesOfType("802-11-wireless"), QStringList());

    const bool isOn = robot->setWirelessCardStatus(false, "wlan0");
    const QString error = robot->getLastError();
    QVERIFY(site::run("ip link show wlan0").contains("UP"));
    // "service network-manager restart": the unit's name on this release is NetworkManager.
    QVERIFY2(!isOn && error.contains("network-manager"), qPrintable(error));
}

void tst_RealAddressing::cardsAreReportedAsTheToolsDo()
{
    Robot robot;
    QVERIFY2(robot->setAlxIPconfig({{"ip", "10.88.0.6"},
                                    {"mask", "255.255.255.0"},
                                    {"gateway", "10.88.0.1"},
                                    {"dhcp", false}}),
             qPrintable(robot->getLastError()));
    QVariantMap info;

    QVERIFY2(robot->getNetworkCardInfo("eth0", info), qPrintable(robot->getLastError()));

    const QString mac = site::run("cat /sys/class/net/eth0/address").trimmed();
    QCOMPARE(info.value("mac").toString().toLower(), mac);
    QCOMPARE(info.value("ip").toString(), QStringLiteral("10.88.0.6"));
    QCOMPARE(info.value("mask").toString(), QStringLiteral("255.255.255.0"));
    QCOMPARE(info.value("gateway").toString(), QStringLiteral("10.88.0.1"));
}

void tst_RealAddressing::pingTellsReachableFromNot()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));

    QVERIFY(robot->pingIP(site::kRouter));
    QVERIFY(!robot->pingIP("10.77.0.250"));
    QVERIFY(!robot->pingIP("10.77.0.1; touch /run/ky-broken"));
    QVERIFY(!QFile::exists("/run/ky-broken"));
}

QTEST_GUILESS_MAIN(tst_RealAddressing)
#include "tst_RealAddressing.moc"
