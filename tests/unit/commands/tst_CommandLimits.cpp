#include "commands/Catalogue.h"
#include "host/PublicClass.h"
#include "inventory/SystemAudio.h"
#include "network/SystemNetwork.h"
#include "ports/CanObject.h"
#include "recorded/RecordedHost.h"
#include "time/SystemNTP.h"

#include <QDir>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>

namespace {

const QString kUuid = QStringLiteral("11111111-2222-3333-4444-555555555555");
constexpr int kStored = 4; ///< profiles that the host has; limits reckon with as many

/// The objects of the library whose operations run.
struct Objects
{
    SystemNetwork network{nullptr};
    SystemNTP time{nullptr};
    SystemAudio audio{nullptr};
    CanObject can;
};

/// The operation behind a command, on a host where each step goes as far as it can.
struct Operation
{
    const char* command;
    std::function<void(Objects&)> run;
};

QVariantMap address()
{
    return {
        {"ip", "10.0.0.9"}, {"mask", "255.255.255.0"}, {"gateway", "10.0.0.1"}, {"ssid", "Net"}};
}

QVariantMap description()
{
    return {
        {"interface", "connectWifi"},
        {"connectWifi", QVariantMap{{"ssid", "Net"}, {"dhcp", true}, {"password", "secret12"}}}};
}

const QList<Operation>& operations()
{
    static const QList<Operation> list = {
        {"net_card",
         [](Objects& on) {
             QString card; // the daemon looks for the card first
             QVariantMap info;
             on.network.getWirelessCardName(card);
             on.network.getWifiCardInfo(info);
         }},
        {"net_card",
         [](Objects& on) {
             QVariantMap info;
             on.network.getNetworkCardInfo("wlan0", info);
         }},
        {"net_cards",
         [](Objects& on) {
             for (int i = 0; i < 6; ++i) {
                 QVariantMap info;
                 on.network.getNetInfo("wlan0", info);
             }
         }},
        {"net_driver", [](Objects& on) { on.network.getWiredNetworkDriver(); }},
        {"net_ping", [](Objects& on) { on.network.pingIP("10.0.0.1"); }},
        {"net_connect_device", [](Objects& on) { on.network.connectDeviceCard("wlan0"); }},
        {"net_disable_driver", [](Objects& on) { on.network.setPermanentlyDisabled(1, true); }},
        {"net_settings", [](Objects& on) { on.network.resetAPSetting(); }},
        {"wifi_connect",
         [](Objects& on) { on.network.connectWindowWifi("Net", "secret12", true); }},
        {"wifi_connect_short",
         [](Objects& on) { on.network.connectWindowWifi2("Net", {}, false); }},
        {"wifi_enterprise",
         [](Objects& on) {
             QString card;
             on.network.getWirelessCardName(card);
             on.network.runIwconfig(description());
         }},
        {"wifi_up",
         [](Objects& on) {
             QString card;
             on.network.getWirelessCardName(card);
             on.network.connectWifi(15000, true);
         }},
        {"wifi_forget", [](Objects& on) { on.network.deleteConnections("wlan0"); }},
        {"wifi_ssid",
         [](Objects& on) {
             QString ssid;
             on.network.getConnectedWifiSSID(ssid);
         }},
        {"wifi_list",
         [](Objects& on) {
             QString card;
             QVariantMap result;
             on.network.getWirelessCardName(card);
             on.network.getWinApiWifiList(result);
         }},
        {"wifi_status",
         [](Objects& on) {
             QString card;
             QVariantMap link;
             on.network.getWirelessCardName(card);
             on.network.getIwconfig("wlan0", link);
             on.network.getCurrentWifiStatus("wlan0");
         }},
        {"wifi_aps", [](Objects& on) { on.network.getApList(); }},
        {"wifi_roam",
         [](Objects& on) {
             QString card;
             on.network.getWirelessCardName(card);
             on.network.switchAP("wlan0", "02:00:00:00:05:00");
         }},
        {"card_switch", [](Objects& on) { on.network.changedNetworkCardStatus(1, true); }},
        {"card_switch", [](Objects& on) { on.network.changedNetworkCardStatus(1, false); }},
        {"net_set_wifi_ip", [](Objects& on) { on.network.setIPconfig(address()); }},
        {"net_set_wired_ip", [](Objects& on) { on.network.setAlxIPconfig(address()); }},
        {"net_set_ssid_ip", [](Objects& on) { on.network.setSSIDIPConfig(address()); }},
        {"net_factory", [](Objects& on) { on.network.setWiredNetworkIPconfig(address()); }},
        {"net_report", [](Objects& on) { on.network.updateHalyard6950Data(); }},
        {"net_hmi",
         [](Objects& on) {
             on.network.setHMIInfo({{"hmiIP", "10.0.0.20"}});
         }},
        {"net_check_dhcp", [](Objects& on) { on.network.checkDHCP(); }},
        {"net_devices",
         [](Objects& on) {
             QList<QVariantMap> devices;
             on.network.getConnectedStatus(devices);
         }},
        {"hotspot_start",
         [](Objects& on) {
             on.network.startHotspot({{"ssid", "a"}, {"passwd", "secret12"}});
         }},
        {"hotspot_stop", [](Objects& on) { on.network.stopHotspot(); }},
        {"time_status", [](Objects& on) { on.time.getTimedatectlStatus(); }},
        {"time_zones", [](Objects& on) { on.time.getTimezoneList(); }},
        {"time_set",
         [](Objects& on) {
             on.time.setTimeConfig({{"timezone", "Etc/UTC"},
                                    {"isAuto", false},
                                    {"localDateTime", "2026-05-01 12:00:00"}});
         }},
        {"audio_get", [](Objects& on) { on.audio.getAudioOutputDeviceInfo(); }},
        {"audio_set",
         [](Objects& on) {
             on.audio.setAudioOutputDevice({{"volume", 40}});
         }},
        {"can_config", [](Objects& on) { on.can.config("can7", "250000", "TBX"); }},
        {"can_ports_save",
         [](Objects& on) {
             const QVariantMap port{{"portName", "can7"}, {"baudRate", 250000}};
             on.can.setConfigFile("can.json");
             on.can.saveCanPortsToFile({port, port, port, port}, true);
         }},
    };
    return list;
}

/// What the tools say where everything works; the steps behind them run then.
QString outputOf(const QString& line)
{
    const QString profiles = QStringLiteral("Net  %1  wifi  wlan0\n").arg(kUuid).repeated(kStored);
    if (line.contains("wpa_cli -i wlan0 status"))
        return "bssid=02:00:00:00:01:00\nwpa_state=COMPLETED\n";
    if (line.startsWith("ifconfig |"))
        return "wlan0\n";
    if (line == "ifconfig")
        return "wlan0: flags=4163\n  inet 10.0.0.7  netmask 255.255.255.0\n";
    if (line.contains("connection show"))
        return "NAME  UUID  TYPE  DEVICE\n" + profiles;
    if (line.contains(" link"))
        return "Connected to 02:00:00:00:01:00 (on wlan0)\n\tSSID: Net\n\tfreq: 5180\n\tsignal: "
               "-50 dBm\n";
    if (line.contains("connection up"))
        return "Error\n"; // so that what follows a failure runs, too
    return "OK successfully\nsecond line\n";
}

} // namespace

/// The limits of the catalogue against what the operations really ask of the host.
class tst_CommandLimits : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void limitCoversWhatTheOperationRuns_data();
    void limitCoversWhatTheOperationRuns();
    void everyLimitIsCompared();
    void clientWaitsForTheWorkInFrontToo();

private:
    QTemporaryDir _folder;
};

void tst_CommandLimits::initTestCase()
{
    QVERIFY(QDir::setCurrent(_folder.path()));
    QVERIFY(QDir().mkpath("appInfo/setting"));
    PublicClass::init()->settingsFile = _folder.filePath("kyhostd.ini");
}

void tst_CommandLimits::limitCoversWhatTheOperationRuns_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < operations().size(); ++i)
        QTest::addRow("%s %d", operations()[i].command, i) << i;
}

void tst_CommandLimits::limitCoversWhatTheOperationRuns()
{
    QFETCH(int, index);
    const Operation& operation = operations()[index];
    RecordedHost& host = RecordedHost::instance();
    host.reset();
    host.onCall(
        [&host](const RecordedHost::Call& call) { host.answer(call.line, outputOf(call.line)); });
    const auto objects = std::make_unique<Objects>();
    QVariantMap ignored;
    objects->network.getWinApiWifiList(ignored); // it knows its card from here on
    const int before = host.calls().size();
    const int sleepsBefore = host.sleeps().size();

    operation.run(*objects);

    int sumMs = 0;
    for (const RecordedHost::Call& call : host.calls().mid(before))
        sumMs += call.limitMs;
    for (const int seconds : host.sleeps().mid(sleepsBefore))
        sumMs += seconds * 1000;
    const ky::Command* row = ky::findCommand(QString(operation.command));
    const bool runsNothing = qstrcmp(operation.command, "net_check_dhcp") == 0; // no stale profile
    QVERIFY2(runsNothing || sumMs > 0, "the operation asked nothing: the test would show nothing");
    QVERIFY2(sumMs <= row->limitMs, qPrintable(QStringLiteral("%1 ms of %2: %3")
                                                   .arg(sumMs)
                                                   .arg(row->limitMs)
                                                   .arg(host.lines().mid(before).join("; "))));
}

void tst_CommandLimits::everyLimitIsCompared()
{
    QSet<QString> compared{// These run what another row of theirs runs, or less of it.
                           "wifi_password", "wifi_link", "net_activate", "hotspot_fix",
                           "hotspot_status", "net_netplan",
                           // What these wait for is no call of the host's tools alone: a hash, a
                           // peer, a time server, a
                           // serial line, processes of their own.
                           "upload", "peer_call", "time_sync", "serial_exchange", "hardware_info",
                           "audio_devices"};
    for (const Operation& operation : operations())
        compared.insert(operation.command);
    for (const ky::CommandGroup* group : ky::commandGroups()) {
        for (const ky::Command& row : group->rows)
            QCOMPARE(row.limitMs > 0, compared.contains(row.name));
    }
}

void tst_CommandLimits::clientWaitsForTheWorkInFrontToo()
{
    const ky::Command* status = ky::findCommand("supervision_status");
    const ky::Command* echo = ky::findCommand("echo");

    QCOMPARE(ky::answerLimitMs(*echo), 5000);
    // A cycle of link supervision: a probe, a scan, a look for the card and 8 s for the profile.
    QVERIFY(ky::answerLimitMs(*status) >= 20000 + 20000 + 20000 + 8000);
}

QTEST_GUILESS_MAIN(tst_CommandLimits)
#include "tst_CommandLimits.moc"
