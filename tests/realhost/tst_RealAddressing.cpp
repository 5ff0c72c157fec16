#include "Site.h"

#include "network/SystemNetwork.h"

#include <QtTest>

#include <functional>

using site::Robot;

/// Addresses, profiles and cards, against NetworkManager.
class tst_RealAddressing : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init() { site::reset(); }

    void wifiTakesAStaticAddressAndGoesBackToDhcp_data();
    void wifiTakesAStaticAddressAndGoesBackToDhcp();
    void joinsAndAddressesByNetworkName();
    void wiredCardTakesAStaticAddress();
    void wiredCardTakesDhcp();
    void reservedSegmentIsRefused();
    void internalAddressIsRefusedByTheToolForItsGateway();
    void sysctlSwitchesIpv6Off();
    void cardIsSwitchedOffAndOn();
    void wiredCardIsReportedAsTheToolsDo_data();
    void wiredCardIsReportedAsTheToolsDo();
    void wirelessCardIsReportedAsTheToolsDo();
    void interfacesAreThoseOfTheKernel();
    void wiredDriverIsNotFoundInTheWordsOfThisLshw();
    void pingTellsReachableFromNot();
};

namespace {

const QString kEnglish = QStringLiteral("en_US.UTF-8");
const QString kChinese = QStringLiteral("zh_CN.UTF-8");

void languages()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << kEnglish;
    QTest::newRow("Chinese") << kChinese;
}

/// The rows of `nmcli device show`, each under its label.
QVariantMap shownBy(const QString& card)
{
    QVariantMap rows;
    auto match = QRegularExpression("^(\\S+:)\\s+(.*?)\\s*$", QRegularExpression::MultilineOption)
                     .globalMatch(site::run("nmcli device show " + card));
    while (match.hasNext()) {
        const QRegularExpressionMatch row = match.next();
        rows[row.captured(1)] = row.captured(2).simplified();
    }
    return rows;
}

/// Takes reports of a card while NetworkManager says the same of it before and after: an address of
/// its own accord, as IPv6 has them, may come in between.
bool takeWhileSteady(const QString& card, const std::function<bool()>& takeReports)
{
    return site::waitUntil(
        [&] {
            const QVariantMap before = shownBy(card);
            return takeReports() && shownBy(card) == before;
        },
        60000);
}

/// The rows in which two reports differ; empty if there are none.
QString difference(const QVariantMap& report, const QVariantMap& expected)
{
    QStringList rows;
    QStringList keys = report.keys() + expected.keys();
    keys.removeDuplicates();
    for (const QString& key : qAsConst(keys)) {
        if (report.value(key) != expected.value(key))
            rows << QStringLiteral("%1 is [%2], not [%3]")
                        .arg(key, report.value(key).toString(), expected.value(key).toString());
    }
    return rows.join(QStringLiteral("; "));
}

/// What the report of a card is to hold.
QVariantMap expectedReport(const QString& card, const QString& ip, const QString& gateway)
{
    QVariantMap report = shownBy(card);
    report["name"] = card;
    report["ip"] = ip;
    report["mask"] = "255.255.255.0";
    report["gateway"] = gateway;
    report["Mac"] = site::run("cat /sys/class/net/" + card + "/address").trimmed().toUpper();
    return report;
}

} // namespace

void tst_RealAddressing::wifiTakesAStaticAddressAndGoesBackToDhcp_data()
{
    languages();
}

void tst_RealAddressing::wifiTakesAStaticAddressAndGoesBackToDhcp()
{
    QFETCH(QString, language);
    const site::Language inForce(language);
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

    QCOMPARE(robot->getLastError().trimmed(),
             QString("Error: failed to modify ipv4.gateway: invalid gateway address '24'."));
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
    QVERIFY(site::run("ip link show wlan0").contains(",UP"));
    // "service network-manager restart": the unit's name on this release is NetworkManager.
    QVERIFY(!isOn);
    QCOMPARE(error.trimmed(), QString("Failed to restart network-manager.service: "
                                      "Unit network-manager.service not found."));
}

void tst_RealAddressing::wiredCardIsReportedAsTheToolsDo_data()
{
    languages();
}

void tst_RealAddressing::wiredCardIsReportedAsTheToolsDo()
{
    QFETCH(QString, language);
    const site::Language inForce(language);
    Robot robot;
    QVERIFY2(robot->setAlxIPconfig({{"ip", "10.88.0.6"},
                                    {"mask", "255.255.255.0"},
                                    {"gateway", "10.88.0.1"},
                                    {"dhcp", false}}),
             qPrintable(robot->getLastError()));
    QVERIFY(site::waitUntil(
        [] { return shownBy("eth0").value("GENERAL.STATE:").toString().startsWith("100"); },
        20000));
    QVariantMap byName;
    QVariantMap plain;
    QVariantMap stored;

    const auto takeReports = [&] {
        return robot->getNetworkCardInfo("eth0", byName) && robot->getNetInfo("eth0", plain) &&
               robot->getAlxCardInfo(stored);
    };
    QVERIFY2(takeWhileSteady("eth0", takeReports), qPrintable(robot->getLastError()));

    QVariantMap expected = expectedReport("eth0", "10.88.0.6", "10.88.0.1");
    // Two cards are asked about by the state of wpa_supplicant, which a wired one has not.
    expected["dhcp"] = "Not Found";
    QCOMPARE(difference(byName, expected), QString());
    expected["dhcp"] = false;
    QCOMPARE(difference(plain, expected), QString());
    QCOMPARE(difference(stored, expected), QString());
}

void tst_RealAddressing::wirelessCardIsReportedAsTheToolsDo()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));
    QVariantMap info;

    QVERIFY2(takeWhileSteady("wlan0", [&] { return robot->getWifiCardInfo(info); }),
             qPrintable(robot->getLastError()));

    QVariantMap expected =
        expectedReport("wlan0", site::addressOf("wlan0").section('/', 0, 0), site::kRouter);
    expected["dhcp"] = true;
    QCOMPARE(difference(info, expected), QString());
}

void tst_RealAddressing::interfacesAreThoseOfTheKernel()
{
    Robot robot;
    QMap<QString, QString> seen;

    for (const QVariant& entry : robot->getAllInterfaces()) {
        const QVariantMap card = entry.toMap();
        seen[card.value("name").toString()] = card.value("index").toString() + ' ' +
                                              card.value("maximumTransmissionUnit").toString() +
                                              ' ' +
                                              card.value("hardwareAddress").toString().toLower();
    }

    QMap<QString, QString> expected;
    for (const QString& name : site::run("ls /sys/class/net").simplified().split(' '))
        expected[name] =
            site::run("cd /sys/class/net/" + name + "; cat ifindex mtu address").simplified();
    // The kernel has no address for a CAN interface, and tells none.
    for (const char* can : {"can0", "can1"})
        seen[can] = seen.value(can).trimmed();
    QCOMPARE(seen, expected);
}

void tst_RealAddressing::wiredDriverIsNotFoundInTheWordsOfThisLshw()
{
    Robot robot;
    const QString said = site::run("lshw -c network");

    QVERIFY(said.contains("description: Ethernet interface"));
    QVERIFY(!said.contains("description: Wired interface"));
    QCOMPARE(robot->getWiredNetworkDriver(), QString());
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
