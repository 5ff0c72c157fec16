#include "DaemonFixture.h"
#include "SimulatedHost.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

#include <memory>

/// Each verb for cards and for joining a Wi-Fi network once, as a person types it, with client,
/// daemon and the tools of a simulated host.
class tst_WifiDaemon : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void certificateReachesTheDisk();
    void storedProfileIsBroughtUp();
    void storedPasswordIsShown();
    void passwordInUseIsFoundUnderAnyName();
    void passwordComesFromAPipe();
    void openNetworkIsJoinedByItsName();
    void wifiProfilesAreForgotten();
    void profilesOfOneCardAreForgotten();
    void refusedRequestsKeepEveryProfile_data();
    void refusedRequestsKeepEveryProfile();
    void cardIsConnected();
    void cardsAreShownByTheirRole_data();
    void cardsAreShownByTheirRole();
    void everyCardIsListedWithItsAddress();
    void oneCardIsShownByItsName();
    void missingWiredDriverIsReported();
    void wiredDriverIsShownAndDisabled();
    void cardWithoutAKnownNameIsRefused_data();
    void cardWithoutAKnownNameIsRefused();

private:
    ProgramResult kyctl(const QStringList& arguments, const QByteArray& input = {})
    {
        return _daemon->kyctl(arguments, 60000, input);
    }
    void join();
    QStringList profiles() const;
    QString write(const char* name, const QByteArray& content);

    std::unique_ptr<SimulatedHost> _host;
    std::unique_ptr<DaemonFixture> _daemon;
};

void tst_WifiDaemon::initTestCase()
{
    _host = std::make_unique<SimulatedHost>();
    _daemon = std::make_unique<DaemonFixture>();
    _daemon->runUnder({programPath("hostsim"), "run", "--state", _host->folder(), "--"});
    QVERIFY2(_daemon->start("hardwareType=2\n"), qPrintable(_daemon->errorText()));
    _host->set("autoconnectMs", "-1");
}

void tst_WifiDaemon::cleanupTestCase()
{
    _daemon.reset();
}

void tst_WifiDaemon::init()
{
    QCOMPARE(kyctl({"wifi", "forget"}).status, 0);
    _host->clearLines();
}

void tst_WifiDaemon::join()
{
    const ProgramResult result = kyctl({"wifi", "connect", "RobotNet", "--password", "robotpass"});
    QVERIFY2(result.status == 0, result.errors);
}

/// Names of the keyfiles of Wi-Fi profiles on the host.
QStringList tst_WifiDaemon::profiles() const
{
    const QDir folder(_host->privatePath("/etc/NetworkManager/system-connections"));
    QStringList names;
    for (const QString& name : folder.entryList(QDir::Files, QDir::Name)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly) && file.readAll().contains("\ntype=wifi\n"))
            names << name;
    }
    return names;
}

QString tst_WifiDaemon::write(const char* name, const QByteArray& content)
{
    QFile file(_daemon->home() + QLatin1Char('/') + QLatin1String(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

void tst_WifiDaemon::certificateReachesTheDisk()
{
    write("ca.pem", "-----BEGIN CERTIFICATE-----\n");
    const QString description =
        write("office.json", R"({"ssid":"EntNet","802-1x.eap":"peap","wifi-sec.key-mgmt":"wpa-eap",
        "802-1x.phase2-auth":"mschapv2","802-1x.identity":"robot",
        "802-1x.ca-cert":{"path":"ca.pem"}})");

    const ProgramResult result = kyctl({"wifi", "enterprise", description}, "robotpass\n");

    QVERIFY2(result.status == 0, result.errors);
    const QString path = _daemon->home() + "/appInfo/backupFile/network/ca.pem";
    QFile certificate(path);
    QVERIFY(certificate.open(QIODevice::ReadOnly));
    QCOMPARE(certificate.readAll(), QByteArray("-----BEGIN CERTIFICATE-----\n"));
    QCOMPARE(certificate.permissions() & (QFile::ReadGroup | QFile::ReadOther),
             QFile::Permissions());
    QCOMPARE(_host->lines().filter(" 802-1x.ca-cert " + path).size(), 1);
    QCOMPARE(kyctl({"wifi", "ssid", "--json"}).json().value("ssid").toString(), QString("EntNet"));
}

void tst_WifiDaemon::storedProfileIsBroughtUp()
{
    join();
    QCOMPARE(_host->run("nmcli connection down RobotNet").status, 0);
    QCOMPARE(kyctl({"wifi", "ssid"}).status, 1);

    const ProgramResult result = kyctl({"wifi", "up"});

    QVERIFY2(result.status == 0, result.errors);
    QCOMPARE(kyctl({"wifi", "ssid", "--json"}).json().value("ssid").toString(),
             QString("RobotNet"));
}

void tst_WifiDaemon::storedPasswordIsShown()
{
    join();

    for (const QStringList& which : {QStringList{}, QStringList{"RobotNet"}}) {
        const QVariantMap answer =
            kyctl(QStringList{"wifi", "password"} + which + QStringList{"--json"}).json();
        QCOMPARE(answer.value("ssid").toString(), QString("RobotNet"));
        QCOMPARE(answer.value("password").toString(), QString("robotpass"));
    }
}

void tst_WifiDaemon::passwordInUseIsFoundUnderAnyName()
{
    join();
    const QString path = "/etc/NetworkManager/system-connections/RobotNet.nmconnection";
    QCOMPARE(_host->run("sed -i s/^id=.*/id=Office/ " + path).status, 0);

    const ProgramResult result = kyctl({"wifi", "password", "--json"});

    QVERIFY2(result.status == 0, result.errors);
    QCOMPARE(result.json().value("ssid").toString(), QString("RobotNet"));
    QCOMPARE(result.json().value("password").toString(), QString("robotpass"));
    QVERIFY(kyctl({"wifi", "password", "RobotNet"}).errors.contains("40312"));
    QCOMPARE(kyctl({"wifi", "password", "Office"}).status, 0);
}

void tst_WifiDaemon::passwordComesFromAPipe()
{
    const ProgramResult result = kyctl({"wifi", "connect", "RobotNet"}, "robotpass\n");

    QVERIFY2(result.status == 0, result.errors);
    QCOMPARE(_host->lines().filter("device wifi connect RobotNet password robotpass").size(), 1);
}

void tst_WifiDaemon::openNetworkIsJoinedByItsName()
{
    const ProgramResult result = kyctl({"wifi", "connect-short", "OpenNet"});

    QVERIFY2(result.status == 0, result.errors);
    QCOMPARE(profiles(), QStringList{"OpenNet.nmconnection"});
}

void tst_WifiDaemon::wifiProfilesAreForgotten()
{
    join();

    QCOMPARE(kyctl({"wifi", "forget"}).status, 0);

    QCOMPARE(profiles(), QStringList());
    QVERIFY(kyctl({"wifi", "ssid"}).status != 0);
}

void tst_WifiDaemon::profilesOfOneCardAreForgotten()
{
    join();

    QCOMPARE(kyctl({"wifi", "forget", "--card", "eth1"}).status, 0);
    QCOMPARE(profiles().size(), 1);
    QCOMPARE(kyctl({"wifi", "forget", "--card", "wlan0"}).status, 0);
    QCOMPARE(profiles(), QStringList());
}

void tst_WifiDaemon::refusedRequestsKeepEveryProfile_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("json");

    QTest::newRow("description without SSID") << "wifi_enterprise"
                                              << R"({"password":"x"})";
    QTest::newRow("blank SSID") << "wifi_connect"
                                << R"({"ssid":" "})";
    QTest::newRow("pattern for a card") << "wifi_forget"
                                        << R"({"card":"."})";
    QTest::newRow("blank card") << "wifi_forget"
                                << R"({"card":" "})";
    QTest::newRow("empty card") << "wifi_forget"
                                << R"({"card":""})";
}

void tst_WifiDaemon::refusedRequestsKeepEveryProfile()
{
    QFETCH(QString, command);
    QFETCH(QString, json);
    join();
    _host->clearLines();

    QCOMPARE(kyctl({"call", command, json}).status, 1);

    QCOMPARE(profiles(), QStringList{"RobotNet.nmconnection"});
    QCOMPARE(_host->lines(), QStringList());
}

void tst_WifiDaemon::cardIsConnected()
{
    const ProgramResult result = kyctl({"net", "connect-device", "eth1"});

    QVERIFY2(result.status == 0, result.errors);
    QVERIFY(_host->lines().contains("nmcli device connect eth1"));
}

void tst_WifiDaemon::cardsAreShownByTheirRole_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");

    QTest::newRow("wired") << "--wired"
                           << "GENERAL.DEVICE:"
                           << "eth0";
    QTest::newRow("internal") << "--internal"
                              << "Mac"
                              << "52:54:00:AB:CD:11";
}

void tst_WifiDaemon::cardsAreShownByTheirRole()
{
    QFETCH(QString, option);
    QFETCH(QString, key);
    QFETCH(QString, value);
    _host->set("eth1.lease.address", "192.168.192.5");
    QCOMPARE(kyctl({"net", "connect-device", "eth1"}).status, 0);

    const ProgramResult result = kyctl({"net", "card", option, "--json"});

    QVERIFY2(result.status == 0, result.errors);
    const QVariantMap card = result.json().value("card").toMap();
    QVERIFY2(card.value(key).toString() == value, result.output);
}

void tst_WifiDaemon::everyCardIsListedWithItsAddress()
{
    join();

    const ProgramResult result = kyctl({"net", "cards"});

    QVERIFY2(result.status == 0, result.errors);
    const QList<QByteArray> rows = result.output.split('\n');
    QCOMPARE(rows.first().simplified(), QByteArray("NAME HARDWARE ADDRESS MASK GATEWAY DHCP"));
    QVERIFY2(result.output.simplified().contains(
                 "wlan0 02:00:00:00:00:00 10.77.0.162 255.255.255.0 10.77.0.1 yes"),
             result.output);
    QVERIFY2(result.output.contains("\neth0"), result.output);
    QVERIFY2(!result.output.contains("\nlo"), result.output);
}

void tst_WifiDaemon::oneCardIsShownByItsName()
{
    join();

    const ProgramResult result = kyctl({"net", "card", "wlan0"});

    QVERIFY2(result.status == 0, result.errors);
    QVERIFY2(result.output.contains("10.77.0.162"), result.output);
    const QVariantMap card = kyctl({"net", "card", "wlan0", "--json"}).json().value("card").toMap();
    QCOMPARE(card.value("name").toString(), QString("wlan0"));
    QCOMPARE(card.value("ip").toString(), QString("10.77.0.162"));
    QCOMPARE(card.value("Mac").toString(), QString("02:00:00:00:00:00"));
    QCOMPARE(card.value("dhcp"), QVariant(true));
    QVERIFY(kyctl({"net", "card", "nosuch0"}).errors.contains("40300"));
}

void tst_WifiDaemon::missingWiredDriverIsReported()
{
    const ProgramResult driver = kyctl({"net", "driver", "--json"});
    QCOMPARE(driver.status, 0);
    QCOMPARE(driver.json().value("driver").toString(), QString());
    QCOMPARE(_host->lines().filter("lshw").size(), 1);

    const ProgramResult result = kyctl({"net", "disable-driver"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40302: Permanent disabling of wired network cards"),
             result.errors);
}

void tst_WifiDaemon::wiredDriverIsShownAndDisabled()
{
    _host->set("eth1.description", "Wired interface");
    const ProgramResult driver = kyctl({"net", "driver", "--json"});
    QCOMPARE(driver.json().value("driver").toString(), QString("e1000"));

    const ProgramResult result = kyctl({"net", "disable-driver"});

    QVERIFY2(result.status == 0, result.errors);
    QFile blacklist(_host->privatePath("/etc/modprobe.d/blacklist.conf"));
    QVERIFY(blacklist.open(QIODevice::ReadOnly));
    QVERIFY(blacklist.readAll().endsWith("\n blacklist e1000 #wifi"));
    const QVariantMap settings =
        kyctl({"net", "settings", "--json"}).json().value("settings").toMap();
    QCOMPARE(settings.value("WirelessCard/WirelessCardDriver").toString(), QString("e1000"));
    QCOMPARE(settings.value("WirelessCard/isPermanentlyDisabled").toString(), QString("true"));
    QCOMPARE(kyctl({"net", "disable-driver", "--off"}).status, 0);
    QCOMPARE(kyctl({"net", "settings", "--json"})
                 .json()
                 .value("settings")
                 .toMap()
                 .value("WirelessCard/isPermanentlyDisabled")
                 .toString(),
             QString("false"));
    _host->set("eth1.description", "");
}

void tst_WifiDaemon::cardWithoutAKnownNameIsRefused_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QByteArray>("error");
    QTest::addColumn<QByteArray>("board");

    const QByteArray several = "wireless card: several, and no name is set";
    const QByteArray unknown = "hardwareType=-2\n";
    QTest::newRow("wireless card") << QStringList{"net", "card", "--wifi"} << several << unknown;
    QTest::newRow("wired card") << QStringList{"net", "card", "--wired"}
                                << QByteArray("wired card: no name is set") << unknown;
    QTest::newRow("list") << QStringList{"wifi", "list"} << several << unknown;
    QTest::newRow("status") << QStringList{"wifi", "status"} << several << unknown;
    QTest::newRow("roam") << QStringList{"wifi", "roam", "02:00:00:00:05:00"} << several << unknown;
    QTest::newRow("up") << QStringList{"wifi", "up"} << several << unknown;
    QTest::newRow("described network")
        << QStringList{"call", "wifi_enterprise", R"({"ssid":"RobotNet","dhcp":true})"} << several
        << unknown;
    QTest::newRow("password in use") << QStringList{"wifi", "password"} << several << unknown;
    QTest::newRow("described network, board with a name for its card")
        << QStringList{"call", "wifi_enterprise", R"({"ssid":"RobotNet","dhcp":true})"}
        << QByteArray("wireless card: several, and none of them is [wlp1s0]")
        << QByteArray("hardwareType=2\n");
}

// The host has two cards with a w in their names, and the daemon knows neither.
void tst_WifiDaemon::cardWithoutAKnownNameIsRefused()
{
    QFETCH(QStringList, command);
    QFETCH(QByteArray, error);
    QFETCH(QByteArray, board);
    SimulatedHost host;
    host.set("wlan0.name", "wlx1");
    host.set("cards.+", R"({"name":"wwan0","type":"wifi","mac":"02:00:00:00:06:00"})");
    QCOMPARE(host.run("nmcli device wifi connect RobotNet password robotpass").status, 0);
    DaemonFixture daemon;
    daemon.runUnder({programPath("hostsim"), "run", "--state", host.folder(), "--"});
    QVERIFY2(daemon.start(board), qPrintable(daemon.errorText()));
    host.clearLines();

    const ProgramResult result = daemon.kyctl(command);

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains(error), result.errors);
    QCOMPARE(host.lines().filter("nmcli"), QStringList());
    QCOMPARE(host.lines().filter("wpa_cli"), QStringList());
}

QTEST_GUILESS_MAIN(tst_WifiDaemon)
#include "tst_WifiDaemon.moc"
