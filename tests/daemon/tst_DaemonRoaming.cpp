#include "DaemonFixture.h"
#include "FrameClient.h"
#include "SimulatedHost.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

constexpr int kWifiStatus = 2351;
constexpr int kWifiLink = 2355;
constexpr int kSupervisionSet = 2357;
constexpr int kSupervisionPause = 2359;
constexpr int kSubscribe = 2003;
constexpr int kLinkEvent = 2900;
constexpr int kRoamingEvent = 2925;

} // namespace

/// Roaming, supervision and cards over the wire, on a simulated host whose supervision may start
/// but does not: nothing has asked for it.
class tst_DaemonRoaming : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void wrongTypesActOnNothing_data();
    void wrongTypesActOnNothing();
    void roamReachesTheTool();
    void networkInUseIsNamedOnlyIfThereIsOne();
    void missingInternalCardIsTold_data();
    void missingInternalCardIsTold();
    void supervisionTellsWhyItMayNotStart();
    void cardIsSwitchedByNumber();
    void settingsThatCannotBeStoredAreAnError_data();
    void settingsThatCannotBeStoredAreAnError();
    void pauseWaitsItsTurnOnTheNetworkThread();
    void statusTellsWhatIsInForce();
    void reportOfALostLinkReachesWhoAskedForIt();
    void roamingIsPublishedWithTheLogOff();
    void runningScanThreadKeepsNoDaemon();

private:
    ProgramResult call(const QString& command, const QString& json = QStringLiteral("{}"))
    {
        return _daemon->kyctl({"call", command, json, "--json"});
    }
    QVariantMap supervision() { return call("supervision_status").json(); }

    std::unique_ptr<SimulatedHost> _host;
    std::unique_ptr<DaemonFixture> _daemon;
};

void tst_DaemonRoaming::init()
{
    if (_daemon && _daemon->isRunning()) {
        _host->reset();
        return;
    }
    _host = std::make_unique<SimulatedHost>();
    _daemon = std::make_unique<DaemonFixture>();
    _daemon->runUnder({programPath("hostsim"), "run", "--state", _host->folder(), "--"});
    QVERIFY2(_daemon->start(), qPrintable(_daemon->errorText()));
}

void tst_DaemonRoaming::wrongTypesActOnNothing_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("error");

    const auto row = [](const char* name, const char* command, const char* json,
                        const char* error) { QTest::newRow(name) << command << json << error; };
    const char* const wrongKind = "argument [kind]: not 0 or 1";
    const char* const wrongDisable = "argument [disable]: not true or false";
    const char* const wrongOn = "argument [on]: not true or false";
    row("kind, a name", "card_switch", R"({"kind":"wireless","disable":true})", wrongKind);
    row("kind, other digits", "card_switch", R"({"kind":"2","disable":true})", wrongKind);
    row("kind, truth", "card_switch", R"({"kind":true,"disable":true})", wrongKind);
    row("kind, null", "card_switch", R"({"kind":null,"disable":true})", wrongKind);
    row("kind, below", "card_switch", R"({"kind":-1,"disable":true})", wrongKind);
    row("kind, above", "card_switch", R"({"kind":2,"disable":true})", wrongKind);
    row("kind, between", "card_switch", R"({"kind":0.5,"disable":true})", wrongKind);
    row("kind, huge", "card_switch", R"({"kind":4294967296,"disable":true})", wrongKind);
    row("disable, a word", "card_switch", R"({"kind":0,"disable":"false"})", wrongDisable);
    row("disable, a number", "card_switch", R"({"kind":0,"disable":1})", wrongDisable);
    const char* const wrongBssid = "argument [bssid]: not a MAC address";
    row("bssid, a word", "wifi_roam", R"({"bssid":"nonsense"})", wrongBssid);
    row("bssid, empty", "wifi_roam", R"({"bssid":""})", wrongBssid);
    row("bssid, a number", "wifi_roam", R"({"bssid":2})", wrongBssid);
    row("bssid, a list", "wifi_roam", R"({"bssid":["02:00:00:00:05:00"]})", wrongBssid);
    row("bssid, missing", "wifi_roam", "{}", "argument [bssid]: missing");
    row("disable, missing", "card_switch", R"({"kind":0})", "argument [disable]: missing");
    for (const char* command : {"wifi_roaming", "supervision_set", "supervision_pause"}) {
        for (const char* json :
             {R"({"on":"off"})", R"({"on":1})", R"({"on":[true]})", R"({"on":null})"})
            QTest::addRow("%s %s", command, json) << command << json << wrongOn;
    }
}

void tst_DaemonRoaming::wrongTypesActOnNothing()
{
    QFETCH(QString, command);
    QFETCH(QString, json);
    const QVariantMap before = supervision();
    _host->clearLines();

    const QVariantMap answer = call(command, json).json();

    QCOMPARE(answer.value("ret_code").toInt(), 40002);
    QTEST(answer.value("err_msg").toString(), "error");
    QCOMPARE(_host->lines(), QStringList());
    for (const char* key : {"is_cycling", "is_paused", "is_roaming", "wireless_is_off"})
        QCOMPARE(supervision().value(key), before.value(key));
}

void tst_DaemonRoaming::roamReachesTheTool()
{
    QCOMPARE(_daemon->kyctl({"wifi", "roam", "02:00:00:00:05:00"}).status, 0);

    QVERIFY(_host->lines().contains("sudo wpa_cli -i wlan0 roam 02:00:00:00:05:00"));
}

void tst_DaemonRoaming::networkInUseIsNamedOnlyIfThereIsOne()
{
    const ProgramResult before = _daemon->kyctl({"wifi", "list"});
    QCOMPARE(_host->run("nmcli device wifi connect RobotNet password robotpass").status, 0);
    const ProgramResult after = _daemon->kyctl({"wifi", "list"});

    QCOMPARE(before.status, 0);
    QVERIFY2(before.output.contains("RobotNet"), before.output);
    QVERIFY2(!before.output.contains("in use"), before.output);
    QVERIFY2(after.output.endsWith("in use: RobotNet\n"), after.output);
}

void tst_DaemonRoaming::missingInternalCardIsTold_data()
{
    QTest::addColumn<QString>("verb");
    QTest::newRow("factory") << "factory";
    QTest::newRow("activate") << "activate";
}

void tst_DaemonRoaming::missingInternalCardIsTold()
{
    QFETCH(QString, verb);

    const ProgramResult result = _daemon->kyctl({"net", verb});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40351: internal card: none has 192.168.192.5"), result.errors);
}

void tst_DaemonRoaming::supervisionTellsWhyItMayNotStart()
{
    const QVariantMap answer = call("supervision_set", R"({"on":true})").json();

    QCOMPARE(answer.value("is_cycling").toBool(), false);
    QVERIFY2(answer.value("why_not").toString().contains("Host/autoConnectEnabled"),
             qPrintable(answer.value("why_not").toString()));
}

void tst_DaemonRoaming::cardIsSwitchedByNumber()
{
    QCOMPARE(call("card_switch", R"({"kind":1,"disable":true})").status, 0);
    QCOMPARE(supervision().value("wireless_is_off").toBool(), true);

    QCOMPARE(call("card_switch", R"({"kind":1,"disable":false})").status, 0);
    QCOMPARE(supervision().value("wireless_is_off").toBool(), false);
}

void tst_DaemonRoaming::settingsThatCannotBeStoredAreAnError_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("json");

    const auto row = [](const char* command, const char* json) {
        QTest::newRow(command) << QString(command) << QString(json);
    };
    row("wifi_roaming", R"({"on":true})");
    row("card_switch", R"({"kind":0,"disable":false})");
    row("net_hmi", R"({"hmiIP":"10.0.0.9"})");
    row("net_settings", R"({"reload":true})");
    row("hotspot_start", R"({"ssid":"robot","passwd":"secret12"})");
    row("time_set",
        R"({"timezone":"Etc/UTC","isAuto":false,"localDateTime":"2026-01-02 03:04:05"})");
}

/// A folder stands in the place of the file. The work itself is done.
void tst_DaemonRoaming::settingsThatCannotBeStoredAreAnError()
{
    QFETCH(QString, command);
    QFETCH(QString, json);
    const QString file = _daemon->home() + QStringLiteral("/appInfo/setting/WirelessCard.ini");
    QFile::rename(file, file + QStringLiteral(".kept"));
    QVERIFY(QDir().mkdir(file));

    const ProgramResult result = call(command, json);

    QDir().rmdir(file);
    QFile::rename(file + QStringLiteral(".kept"), file);
    QCOMPARE(result.status, 1);
    QCOMPARE(result.json().value(QStringLiteral("ret_code")).toInt(), 40007);
    const QString text = result.json().value(QStringLiteral("err_msg")).toString();
    QVERIFY2(text.startsWith(QLatin1String("settings not stored: ")), qUtf8Printable(text));
}

// The cycle reads the flag on that thread: a pause behind a slow request is answered behind it.
void tst_DaemonRoaming::pauseWaitsItsTurnOnTheNetworkThread()
{
    _host->addFault("iw", "slow", {"--ms", "500", "--times", "1"});
    FrameClient client(_daemon->port());
    client.send(kWifiStatus, 1, "{}");
    client.send(kSupervisionPause, 2, R"({"on":true})");

    QCOMPARE(client.receive().number, 1);
    const WireFrame pause = client.receive();

    QCOMPARE(pause.number, 2);
    QCOMPARE(pause.code(), 0);
    QCOMPARE(supervision().value("is_paused").toBool(), true);
    QCOMPARE(call("supervision_pause", R"({"on":false})").status, 0);
    QCOMPARE(supervision().value("is_paused").toBool(), false);
}

void tst_DaemonRoaming::statusTellsWhatIsInForce()
{
    QFile file(_daemon->home() + "/appInfo/setting/WirelessCard.ini");
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[WirelessCard]\nautoConnectWaitTime=100\nisEnabledRoaming=true\n"
               "isDisconnectionSendError=true\nDisconnectionMethod=2\n");
    file.close();
    const QVariantMap before = supervision();
    QCOMPARE(before.value("period_ms").toInt(), 10000);
    QCOMPARE(before.value("is_roaming").toBool(), false);
    QCOMPARE(before.value("is_reporting").toBool(), false);
    QCOMPARE(before.value("method").toInt(), 0);

    QCOMPARE(_daemon->kyctl({"net", "settings", "--reload"}).status, 0);

    const QVariantMap after = supervision();
    QCOMPARE(after.value("period_ms").toInt(), 6000); // too short a wait is not taken
    QCOMPARE(after.value("is_roaming").toBool(), true);
    QCOMPARE(after.value("is_reporting").toBool(), true);
    QCOMPARE(after.value("method").toInt(), 2);
}

// The whole road: a cycle of supervision, its frame by the courier to the port where the daemon
// itself listens for it, and from there to everybody who subscribed.
void tst_DaemonRoaming::reportOfALostLinkReachesWhoAskedForIt()
{
    DaemonFixture daemon;
    SimulatedHost host;
    daemon.runUnder({programPath("hostsim"), "run", "--state", host.folder(), "--"});
    QVERIFY2(daemon.start("autoConnectEnabled=true"), qPrintable(daemon.errorText()));
    QFile file(daemon.home() + "/appInfo/setting/WirelessCard.ini");
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[WirelessCard]\nautoConnectWaitTime=5000\nisDisconnectionSendError=true\n"
               "DisconnectionMethod=1\nPingIP=203.0.113.9\n");
    file.close();
    QCOMPARE(daemon.kyctl({"net", "settings", "--reload"}).status, 0);
    FrameClient client(daemon.port());
    QCOMPARE(client.ask(kSubscribe, {}, R"({"events":["event_link"]})").code(), 0);

    const WireFrame started = client.ask(kSupervisionSet, R"({"on":true})");
    QCOMPARE(started.code(), 0);
    QVERIFY(!started.map().contains("why_not"));

    const WireFrame event = client.receive(20000);
    QCOMPARE(event.type, kLinkEvent);
    QCOMPARE(event.map().value("state").toString(), QString("lost"));
    QCOMPARE(host.lines().filter("ping -c 1 203.0.113.9").size(), 1);
}

void tst_DaemonRoaming::roamingIsPublishedWithTheLogOff()
{
    DaemonFixture daemon;
    SimulatedHost host;
    daemon.runUnder({"env", "QT_LOGGING_RULES=ky.network=false", programPath("hostsim"), "run",
                     "--state", host.folder(), "--"});
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    FrameClient client(daemon.port());
    QCOMPARE(client.ask(kSubscribe, {}, R"({"events":["event_roaming"]})").code(), 0);

    QCOMPARE(FrameClient(daemon.port()).ask(kWifiLink).code(), 0); // the card is on no network

    const WireFrame event = client.receive();
    QCOMPARE(event.type, kRoamingEvent);
    QCOMPARE(event.map().value("kind").toString(), QString("CurrentAP"));
    QCOMPARE(event.map().value("text").toString(), QString("No-AP|0"));
}

void tst_DaemonRoaming::runningScanThreadKeepsNoDaemon()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    const QStringList start = {"call", "scan_thread_start", R"({"queryTime":3600000})", "--json"};
    const QStringList status = {"call", "scan_thread_status", "{}", "--json"};
    QCOMPARE(daemon.kyctl(start).status, 0);
    QCOMPARE(daemon.kyctl(status).json().value("is_running").toBool(), true);

    QCOMPARE(daemon.stop(SIGTERM), 0);
}

QTEST_GUILESS_MAIN(tst_DaemonRoaming)
#include "tst_DaemonRoaming.moc"
