#include "DaemonFixture.h"
#include "SimulatedHost.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kAp1 = QStringLiteral("02:00:00:00:01:00");
const QString kAp5 = QStringLiteral("02:00:00:00:05:00");
constexpr int kCycleLimitMs = 30000;

} // namespace

/// The daemon on a simulated host, with its own timer, as seen by a person who changes levels from
/// a second terminal.
class tst_RobotDaemon : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void robotRoamsWhenLevelsChange();
    void viewShowsLinkCandidatesAndDecision();
    void lostAndRestoredLinkIsShown();
    void hotspotStartsAtFirstAttempt();
    void hostileRequestsAreAnswered_data();
    void hostileRequestsAreAnswered();
    void echoIsAnsweredWhileANetworkToolIsSlow();

private:
    ProgramResult kyctl(const QStringList& arguments);
    QString linkState()
    {
        return kyctl({"link", "status", "--json"}).json().value("state").toString();
    }

    QTemporaryDir _home;
    std::unique_ptr<SimulatedHost> _host;
    quint16 _ports[3];
};

ProgramResult tst_RobotDaemon::kyctl(const QStringList& arguments)
{
    return runProgram("kyctl", QStringList{"--port", QString::number(_ports[0])} + arguments,
                      60000);
}

void tst_RobotDaemon::initTestCase()
{
    QByteArray settings;
    for (int id = 1; id <= 3; ++id) {
        _ports[id - 1] = freePort();
        settings += "[Server" + QByteArray::number(id) +
                    "]\nport=" + QByteArray::number(_ports[id - 1]) +
                    "\nthreadCount=4\npayload=1024\n";
    }
    settings += "[Host]\nhardwareType=2\nautoConnectEnabled=true\ndataDir=data\n";
    const QString ini = _home.filePath("kyhostd.ini");
    QFile file(ini);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(settings) == settings.size());
    file.close();
    QVERIFY(QDir(_home.path()).mkpath("home/appInfo/setting"));
    QFile wifi(_home.filePath("home/appInfo/setting/WirelessCard.ini"));
    QVERIFY(wifi.open(QIODevice::WriteOnly));
    wifi.write("[WirelessCard]\nautoConnectWaitTime=5000\nisEnabledRoaming=true\n"
               "isDisconnectionSendError=true\n");
    wifi.close();

    _host = std::make_unique<SimulatedHost>();
    _host->start(programPath("kyhostd"), {"--home", _home.filePath("home"), "--settings", ini});
    QByteArray said;
    const auto isReady = [&] {
        said += _host->process().readAllStandardOutput();
        return said.contains("ready on ports");
    };
    QTRY_VERIFY_WITH_TIMEOUT(isReady(), kCycleLimitMs);
    _host->set("autoconnectMs", "-1");
    QCOMPARE(_host->run("nmcli device wifi connect RobotNet password robotpass").status, 0);
}

void tst_RobotDaemon::cleanupTestCase()
{
    QVERIFY(_host->stop(kCycleLimitMs));
}

void tst_RobotDaemon::robotRoamsWhenLevelsChange()
{
    QCOMPARE(_host->get("wlan0.bssid").trimmed(), kAp1);

    _host->set("ap1.level", "-80");

    QTRY_COMPARE_WITH_TIMEOUT(_host->get("wlan0.bssid").trimmed(), kAp5, kCycleLimitMs);
    QVERIFY(_host->lines().contains(QStringLiteral("sudo wpa_cli -i wlan0 roam %1").arg(kAp5)));
}

void tst_RobotDaemon::viewShowsLinkCandidatesAndDecision()
{
    const ProgramResult view = kyctl({"wifi", "watch", "--count", "1"});

    QCOMPARE(view.status, 0);
    QVERIFY2(view.output.contains("RobotNet on 02:00:00:00:05:00, 5745 MHz, -65 dBm"),
             view.output.constData());
    QVERIFY(view.output.contains("5 GHz:\ndBm  BSSID"));
    QVERIFY(view.output.contains("2.4 GHz:\ndBm  BSSID"));
    QVERIFY2(view.output.contains("last decision: Switch AP(5G):-80->-65(7) ("),
             view.output.constData());
    QVERIFY(view.output.contains("last roam: Switch AP:02:00:00:00:05:00 ("));
}

void tst_RobotDaemon::lostAndRestoredLinkIsShown()
{
    QFile wifi(_home.filePath("home/appInfo/setting/WirelessCard.ini"));
    QVERIFY(wifi.open(QIODevice::ReadWrite));
    QByteArray text = wifi.readAll();
    text.replace("[WirelessCard]\n", "[WirelessCard]\nPingIP=10.77.0.1\nDisconnectionMethod=1\n");
    wifi.resize(0);
    wifi.seek(0);
    wifi.write(text);
    wifi.close();
    QCOMPARE(kyctl({"net", "settings", "--reload"}).status, 0);

    QTRY_COMPARE_WITH_TIMEOUT(linkState(), QString("good"), kCycleLimitMs);
    for (const char* name : {"ap1.on", "ap2.on", "ap5.on"})
        _host->set(name, "false");
    QTRY_COMPARE_WITH_TIMEOUT(linkState(), QString("lost"), kCycleLimitMs);
    for (const char* name : {"ap1.on", "ap2.on", "ap5.on"})
        _host->set(name, "true");
    QTRY_COMPARE_WITH_TIMEOUT(linkState(), QString("good"), kCycleLimitMs);
}

void tst_RobotDaemon::hotspotStartsAtFirstAttempt()
{
    QCOMPARE(kyctl({"net", "supervision", "off"}).status, 0);

    const ProgramResult start = kyctl({"hotspot", "start", "robot7", "secret12"});

    QCOMPARE(start.status, 0);
    QCOMPARE(kyctl({"hotspot", "status", "--json"}).json().value("ssid").toString(),
             QString("robot7"));
    QCOMPARE(kyctl({"hotspot", "stop"}).status, 0);
}

void tst_RobotDaemon::hostileRequestsAreAnswered_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("json");
    QTest::addColumn<int>("code");

    const QString many(10000, 'x');
    const auto row = [](const char* name, const char* command, const QString& json, int code) {
        QTest::newRow(name) << QString(command) << json << code;
    };
    row("no keys", "net_set_wifi_ip", "{}", 40002);
    row("wrong types", "net_set_wired_ip", "{\"ip\":[1],\"mask\":{\"a\":2}}", 40002);
    row("second command", "net_set_wired_ip",
        "{\"ip\":\"1.2.3.4 ; touch hacked\",\"mask\":\"255.255.255.0\"}", 40002);
    row("mask with a hole", "net_set_wired_ip", "{\"ip\":\"10.0.0.7\",\"mask\":\"255.0.255.0\"}",
        40002);
    row("very long", "net_set_ssid_ip", QString("{\"ssid\":\"%1\",\"ip\":\"%1\"}").arg(many),
        40002);
    row("reserved", "net_set_ssid_ip",
        "{\"ssid\":\"a\",\"ip\":\"192.168.192.7\",\"mask\":\"255.255.255.0\"}", 40351);
    row("no BSSID", "wifi_roam", "{}", 40002);
    row("hotspot without password", "hotspot_start", "{\"ssid\":\"a\"}", 40002);
    row("hotspot, short password", "hotspot_start",
        "{\"ssid\":\"$(touch hacked)\",\"passwd\":\"'\"}", 40002);
    row("hotspot, second command", "hotspot_start",
        "{\"ssid\":\"$(touch hacked)\",\"passwd\":\"'; touch hacked; '\"}", 0);
}

void tst_RobotDaemon::hostileRequestsAreAnswered()
{
    QFETCH(QString, command);
    QFETCH(QString, json);

    const ProgramResult result = kyctl({"call", command, json, "--json", "--timeout", "50000"});

    QTEST(result.json().value("ret_code").toInt(), "code");
    QVERIFY(!QFile::exists(_home.filePath("home/hacked")));
    QVERIFY(!QFile::exists("hacked"));
}

void tst_RobotDaemon::echoIsAnsweredWhileANetworkToolIsSlow()
{
    _host->addFault("iw", "slow", {"--ms", "3000", "--times", "1"});
    QProcess slow;
    slow.start(programPath("kyctl"), {"--port", QString::number(_ports[0]), "wifi", "status"});
    QVERIFY(slow.waitForStarted());
    QTRY_VERIFY(_host->lines().contains("iw wlan0 link"));

    const ProgramResult echo = kyctl({"call", "echo", "{\"a\":1}"});

    QCOMPARE(echo.status, 0);
    QCOMPARE(slow.state(), QProcess::Running);
    QVERIFY(slow.waitForFinished(kCycleLimitMs));
    _host->clearFaults();
}

QTEST_GUILESS_MAIN(tst_RobotDaemon)
#include "tst_RobotDaemon.moc"
