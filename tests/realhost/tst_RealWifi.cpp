#include "Site.h"

#include "network/SystemNetwork.h"

#include <QtTest>

using site::Robot;

/// Joining and forgetting networks, against NetworkManager and wpa_supplicant.
class tst_RealWifi : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init() { site::reset(); }

    void findsTheWirelessCard();
    void joinsANetwork_data();
    void joinsANetwork();
    void hiddenNetworkIsFoundAfterAScanForItsName();
    void joinsByDescription_data();
    void joinsByDescription();
    void wrongSecretIsRefusedWithTheToolsWords_data();
    void wrongSecretIsRefusedWithTheToolsWords();
    void unknownNetworkIsRefused();
    void joiningLeavesOneWifiProfile();
    void keyfileGivesBackNameAndSecret();
    void joinsByEnterpriseOptions_data();
    void joinsByEnterpriseOptions();
    void wrongEnterprisePasswordIsRefused();
    void forgetRemovesProfileAndKeyfile();
    void statusMapTellsTheLink();
    void listsTheAccessPointsOfTheNetworkInUse();
    void displayListsEveryAccessPointInReach();

private:
    static QVariantMap request(const QVariantMap& parameters)
    {
        return {{"interface", "connectWifi"}, {"connectWifi", parameters}};
    }
    static QVariantMap certificate(const QString& path)
    {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        return {{"fileName", QFileInfo(path).fileName()},
                {"base64", QString::fromLatin1(file.readAll().toBase64())}};
    }
};

namespace {

const QString kEnglish = QStringLiteral("en_US.UTF-8");
const QString kChinese = QStringLiteral("zh_CN.UTF-8");

} // namespace

void tst_RealWifi::findsTheWirelessCard()
{
    Robot robot;
    QString name;

    QVERIFY2(robot->getWirelessCardName(name), qPrintable(robot->getLastError()));

    QCOMPARE(name, QStringLiteral("wlan0"));
}

void tst_RealWifi::joinsANetwork_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("password");

    QTest::newRow("open") << kEnglish << "RobotOpen" << QString();
    QTest::newRow("pass phrase") << kEnglish << "RobotSite" << site::kKey;
    QTest::newRow("Chinese name") << kEnglish << "机器人网络" << site::kKey;
    QTest::newRow("pass phrase, Chinese host") << kChinese << "RobotSite" << site::kKey;
    QTest::newRow("Chinese name, Chinese host") << kChinese << "机器人网络" << site::kKey;
}

void tst_RealWifi::joinsANetwork()
{
    QFETCH(QString, language);
    QFETCH(QString, ssid);
    QFETCH(QString, password);
    const site::Language inForce(language);
    Robot robot;

    const bool isJoined = robot->connectWindowWifi(ssid, password, false);

    QVERIFY2(isJoined, qPrintable(robot->getLastError()));
    QCOMPARE(site::linkedSsid(), ssid);
    QVERIFY(site::addressOf("wlan0").startsWith("10.77.0."));
    QVERIFY(site::canReachRouter());
}

// This nmcli looks for the name among what was seen already, and a hidden network is seen only by a
// scan that asks for it.
void tst_RealWifi::hiddenNetworkIsFoundAfterAScanForItsName()
{
    Robot robot;
    site::run("wpa_cli -i wlan0 bss_flush 0");
    site::waitUntil([] { return !site::sees("RobotHidden"); }, 20000);

    const bool isJoinedAtOnce = robot->connectWindowWifi("RobotHidden", site::kKey, true);
    const QString atOnce = robot->getLastError();
    for (int scans = 0; scans < 5 && !site::sees("RobotHidden"); ++scans) {
        site::run("nmcli device wifi rescan ssid RobotHidden");
        site::waitUntil([] { return site::sees("RobotHidden"); }, 10000);
    }
    const bool isJoinedLater = robot->connectWindowWifi("RobotHidden", site::kKey, true);

    QVERIFY(!isJoinedAtOnce);
    QCOMPARE(atOnce.trimmed(), QString("Error: No network with SSID 'RobotHidden' found."));
    QVERIFY2(isJoinedLater, qPrintable(robot->getLastError()));
    QCOMPARE(site::linkedSsid(), QString("RobotHidden"));
    QVERIFY(site::canReachRouter());
}

void tst_RealWifi::joinsByDescription_data()
{
    QTest::addColumn<QVariantMap>("options");
    QTest::addColumn<QString>("address");

    const QVariantMap site{{"ssid", "RobotSite"}, {"password", site::kKey}};
    QVariantMap dhcp = site;
    dhcp["dhcp"] = true;
    QVariantMap fixed = site;
    fixed["ipv4.addresses"] = "10.77.0.35/24";
    fixed["ipv4.gateway"] = site::kRouter;
    QTest::newRow("pass phrase, DHCP") << dhcp << "10.77.0.";
    QTest::newRow("pass phrase, fixed address") << fixed << "10.77.0.35/24";
    QTest::newRow("open") << QVariantMap{{"ssid", "RobotOpen"}, {"dhcp", true}} << "10.77.0.";
    QTest::newRow("hidden") << QVariantMap{{"ssid", "RobotHidden"},
                                           {"password", site::kKey},
                                           {"dhcp", true},
                                           {"nonBroadcast", true}}
                            << "10.77.0.";
    QTest::newRow("Chinese name") << QVariantMap{{"ssid", "机器人网络"},
                                                 {"password", site::kKey},
                                                 {"dhcp", true}}
                                  << "10.77.0.";
}

void tst_RealWifi::joinsByDescription()
{
    QFETCH(QVariantMap, options);
    QFETCH(QString, address);
    Robot robot;

    const bool isJoined = robot->runIwconfig(request(options));

    QVERIFY2(isJoined, qPrintable(robot->getLastError()));
    QCOMPARE(site::linkedSsid(), options.value("ssid").toString());
    QVERIFY2(site::addressOf("wlan0").startsWith(address), qPrintable(site::addressOf("wlan0")));
    QVERIFY(site::canReachRouter());
}

void tst_RealWifi::wrongSecretIsRefusedWithTheToolsWords_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("words");

    const QString english = "Error: Connection activation failed: Secrets were required, but not"
                            " provided.";
    QTest::newRow("pass phrase") << kEnglish << "RobotSite" << english;
    QTest::newRow("Chinese name") << kEnglish << "机器人网络" << english;
    QTest::newRow("pass phrase, Chinese host")
        << kChinese << "RobotSite"
        << "Error: Connection activation failed: 需要密钥，但未提供.";
}

void tst_RealWifi::wrongSecretIsRefusedWithTheToolsWords()
{
    QFETCH(QString, language);
    QFETCH(QString, ssid);
    QFETCH(QString, words);
    const site::Language inForce(language);
    Robot robot;

    QVERIFY(!robot->connectWindowWifi(ssid, "not-the-right-key", false));

    QCOMPARE(robot->getLastError().trimmed(), words);
    QCOMPARE(site::linkedSsid(), QString());
    QCOMPARE(site::profilesOfType("802-11-wireless"), QStringList{ssid}); // stays, with its key
}

void tst_RealWifi::unknownNetworkIsRefused()
{
    Robot robot;

    QVERIFY(!robot->connectWindowWifi("NoSuchSite", site::kKey, false));

    QVERIFY2(robot->getLastError().contains("NoSuchSite"), qPrintable(robot->getLastError()));
}

void tst_RealWifi::joiningLeavesOneWifiProfile()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotOpen", "", false), qPrintable(robot->getLastError()));

    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));

    QCOMPARE(site::profilesOfType("802-11-wireless"), QStringList{"RobotSite"});
}

void tst_RealWifi::keyfileGivesBackNameAndSecret()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("机器人网络", site::kKey, false),
             qPrintable(robot->getLastError()));

    const QString uuid = robot->getCurrentWifiUUid();
    const QString fileName = robot->getNetworkManagerSSIDFileNameBy(uuid);

    QVERIFY(!uuid.isEmpty());
    QVERIFY(!fileName.isEmpty());
    QCOMPARE(robot->getWifiSSID(fileName), QStringLiteral("机器人网络"));
    QCOMPARE(robot->getWifiPassword(fileName), QString(site::kKey));
}

void tst_RealWifi::joinsByEnterpriseOptions_data()
{
    QTest::addColumn<QVariantMap>("options");
    QTest::newRow("PEAP") << QVariantMap{{"802-1x.eap", "peap"},
                                         {"802-1x.phase2-auth", "mschapv2"},
                                         {"802-1x.identity", "robot"},
                                         {"802-1x.password", "robot-secret"}};
    QTest::newRow("TTLS with the site's CA")
        << QVariantMap{{"802-1x.eap", "ttls"},
                       {"802-1x.phase2-auth", "mschapv2"},
                       {"802-1x.identity", "robot"},
                       {"802-1x.password", "robot-secret"},
                       {"802-1x.ca-cert", certificate("/etc/ky-certs/ca.pem")}};
    QTest::newRow("TLS with a client certificate")
        << QVariantMap{{"802-1x.eap", "tls"},
                       {"802-1x.identity", "client"},
                       {"802-1x.ca-cert", certificate("/etc/ky-certs/ca.pem")},
                       {"802-1x.client-cert", certificate("/etc/ky-certs/client.pem")},
                       {"802-1x.private-key", certificate("/etc/ky-certs/client.key")},
                       {"802-1x.private-key-password", "any"}};
}

void tst_RealWifi::joinsByEnterpriseOptions()
{
    QFETCH(QVariantMap, options);
    options.insert("ssid", "RobotEnterprise");
    options.insert("verification", true);
    options.insert("dhcp", true);
    options.insert("wifi-sec.key-mgmt", "wpa-eap");
    Robot robot;

    const bool isJoined = robot->runIwconfig(request(options));

    QVERIFY2(isJoined, qPrintable(robot->getLastError()));
    QCOMPARE(site::linkedSsid(), QStringLiteral("RobotEnterprise"));
    QVERIFY(site::canReachRouter());
}

void tst_RealWifi::wrongEnterprisePasswordIsRefused()
{
    Robot robot;

    const bool isJoined = robot->runIwconfig(request({{"ssid", "RobotEnterprise"},
                                                      {"verification", true},
                                                      {"dhcp", true},
                                                      {"wifi-sec.key-mgmt", "wpa-eap"},
                                                      {"802-1x.eap", "peap"},
                                                      {"802-1x.phase2-auth", "mschapv2"},
                                                      {"802-1x.identity", "robot"},
                                                      {"802-1x.password", "wrong"}}));

    QVERIFY(!isJoined);
    QVERIFY(!robot->getLastError().isEmpty());
}

void tst_RealWifi::forgetRemovesProfileAndKeyfile()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));

    robot->deleteByConnectionType("wifi");

    QCOMPARE(site::profilesOfType("802-11-wireless"), QStringList());
    QVERIFY(!site::run("ls /etc/NetworkManager/system-connections").contains("RobotSite"));
    QVERIFY(site::waitUntil([] { return site::linkedSsid().isEmpty(); }, 10000));
}

void tst_RealWifi::statusMapTellsTheLink()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("机器人网络", site::kKey, false),
             qPrintable(robot->getLastError()));

    const QVariantMap status = robot->getCurrentWifiStatus("wlan0");

    QCOMPARE(status.value("ssid").toString(), QString("机器人网络"));
    QCOMPARE(status.value("current_wifi").toString(), QString("机器人网络"));
    QCOMPARE(status.value("bssid").toString(), site::bssid(site::Chinese));
    QCOMPARE(status.value("freq").toString(), QString("5200"));
    QCOMPARE(status.value("mode").toString(), QString("station"));
    QCOMPARE(status.value("wpa_state").toString(), QString("COMPLETED"));
    QCOMPARE(status.value("key_mgmt").toString(), QString("WPA2-PSK"));
    QCOMPARE(status.value("pairwise_cipher").toString(), QString("CCMP"));
    QCOMPARE(status.value("ip_address").toString() + "/24", site::addressOf("wlan0"));
    QCOMPARE(status.value("address").toString(),
             site::run("cat /sys/class/net/wlan0/address").trimmed());

    QVariantMap link;
    QVERIFY(robot->getIwconfig("wlan0", link));
    QCOMPARE(link.value("bssid").toString(), site::bssid(site::Chinese));
    QCOMPARE(link.value("signalLevel").toInt(), site::linkedLevel());
    QCOMPARE(link.value("frequenc").toInt(), 5200);
}

void tst_RealWifi::listsTheAccessPointsOfTheNetworkInUse()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));
    const QString inUse = site::linkedBssid();
    QMap<QString, int> status;

    // The list is what the scan before found.
    const bool isComplete = site::waitUntil(
        [&] {
            status.clear();
            for (const QVariant& entry : robot->getApList())
                status[entry.toMap().value("mac").toString()] =
                    entry.toMap().value("status").toInt();
            return status.size() == 2;
        },
        60000);

    QVERIFY2(isComplete, qPrintable(QStringList(status.keys()).join('|')));
    for (const int n : {site::Site5G, site::Site24G})
        QCOMPARE(status.value(site::bssid(n)), site::bssid(n) == inUse ? 1 : -1);
}

void tst_RealWifi::displayListsEveryAccessPointInReach()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));
    QMap<QString, QVariantMap> seen;
    QVariantMap result;

    const bool isComplete = site::waitUntil(
        [&] {
            result.clear();
            robot->getWinApiWifiList(result);
            for (const QVariant& entry : result.value("wifi_list").toList())
                seen[entry.toMap().value("bssid").toString()] = entry.toMap();
            return seen.size() == 6;
        },
        60000);

    QVERIFY2(isComplete, qPrintable(QStringList(seen.keys()).join('|')));
    QCOMPARE(result.value("current_wifi").toString(), QString("RobotSite"));
    const auto of = [&](int n) { return seen.value(site::bssid(n)); };
    QCOMPARE(of(site::Chinese).value("ssid").toString(), QString("机器人网络"));
    QCOMPARE(of(site::Site5G).value("frequency").toString(), QString("5180"));
    QCOMPARE(of(site::Site24G).value("frequency").toString(), QString("2437"));
    QCOMPARE(of(site::Site24G).value("rssi").toString(), QString("-50"));
    QVERIFY(of(site::Enterprise).value("is_encrypted").toBool());
    QVERIFY(!of(site::Open).value("is_encrypted").toBool());
}

QTEST_GUILESS_MAIN(tst_RealWifi)
#include "tst_RealWifi.moc"
