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
    void listsEveryAccessPointInReach();
    void reportsTheCardAsTheToolsDo();

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

void tst_RealWifi::findsTheWirelessCard()
{
    Robot robot;
    QString name;

    QVERIFY2(robot->getWirelessCardName(name), qPrintable(robot->getLastError()));

    QCOMPARE(name, QStringLiteral("wlan0"));
}

void tst_RealWifi::joinsANetwork_data()
{
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("isHidden");

    QTest::newRow("open") << "RobotOpen"
                          << "" << false;
    QTest::newRow("pass phrase") << "RobotSite" << site::kKey << false;
    QTest::newRow("hidden") << "RobotHidden" << site::kKey << true;
    QTest::newRow("Chinese") << "机器人网络" << site::kKey << false;
}

void tst_RealWifi::joinsANetwork()
{
    QFETCH(QString, ssid);
    QFETCH(QString, password);
    QFETCH(bool, isHidden);
    Robot robot;

    const bool isJoined = robot->connectWindowWifi(ssid, password, isHidden);

    QVERIFY2(isJoined, qPrintable(robot->getLastError()));
    QCOMPARE(site::linkedSsid(), ssid);
    QVERIFY(site::addressOf("wlan0").startsWith("10.77.0."));
    QVERIFY(site::canReachRouter());
}

void tst_RealWifi::wrongSecretIsRefusedWithTheToolsWords_data()
{
    QTest::addColumn<QString>("ssid");
    QTest::newRow("pass phrase") << "RobotSite";
    QTest::newRow("Chinese") << "机器人网络";
}

void tst_RealWifi::wrongSecretIsRefusedWithTheToolsWords()
{
    QFETCH(QString, ssid);
    Robot robot;

    QVERIFY(!robot->connectWindowWifi(ssid, "not-the-right-key", false));

    QVERIFY(!robot->getLastError().isEmpty());
    QCOMPARE(site::linkedSsid(), QString());
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

    const QStringList values = [&] {
        QStringList list;
        for (const QVariant& value : status)
            list << value.toString();
        return list;
    }();
    QVERIFY2(values.contains("机器人网络"), qPrintable(values.join('|')));
    QVERIFY2(values.contains(site::bssid(site::Chinese)), qPrintable(values.join('|')));
}

void tst_RealWifi::listsEveryAccessPointInReach()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));
    QStringList seen;

    // A full scan takes some seconds on this machine, and the list is what the last one found.
    const bool isComplete = site::waitUntil(
        [&] {
            for (const QVariant& accessPoint : robot->getApList())
                seen << accessPoint.toMap().value("bssid").toString();
            for (int n = site::Site5G; n <= site::Enterprise; ++n) {
                if (n != site::Hidden && !seen.contains(site::bssid(n)))
                    return false;
            }
            return true;
        },
        60000);

    QVERIFY2(isComplete, qPrintable(seen.join('|')));
}

void tst_RealWifi::reportsTheCardAsTheToolsDo()
{
    Robot robot;
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));
    QVariantMap info;

    QVERIFY2(robot->getWifiCardInfo(info), qPrintable(robot->getLastError()));

    QCOMPARE(info.value("ip").toString() + "/24", site::addressOf("wlan0"));
    QCOMPARE(info.value("gateway").toString(), QString(site::kRouter));
}

QTEST_GUILESS_MAIN(tst_RealWifi)
#include "tst_RealWifi.moc"
