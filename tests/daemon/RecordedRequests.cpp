#include "RecordedRequests.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace {

/// A command with arguments that it takes. Each of them is left out and replaced in turn.
struct Sample
{
    const char* command;
    const char* good;
};

constexpr Sample kSamples[] = {
    {"echo", R"({"a":1})"},
    {"commands", "{}"},
    {"version", "{}"},
    {"subscribe", R"({"events":["event_link"]})"},
    {"link_status", "{}"},
    {"peer_call", R"({"ip":"127.0.0.1","port":9,"command":"version","json":{},"timeout_ms":900})"},
    {"can_list", "{}"},
    {"can_config", R"({"portName":"can7","baudRate":250000})"},
    {"can_open", R"({"portName":"can7"})"},
    {"can_send",
     R"({"portName":"can7","frameId":291,"frameType":0,"frameFormat":0,"dataLength":2,"data":"01 ff"})"},
    {"can_close", R"({"portName":"can7"})"},
    {"can_ports_save", R"({"ports":[{"portName":"can7","baudRate":250000}],"applyConfig":false})"},
    {"can_ports_remove", R"({"portName":"can7"})"},
    {"serial_list", "{}"},
    {"serial_open",
     R"({"portName":"ttyNone9","baudRate":9600,"stopBits":1,"dataBits":8,"parity":0})"},
    {"serial_write", R"({"data":"0102"})"},
    {"serial_exchange", R"({"data":"0102"})"},
    {"serial_close", "{}"},
    {"serial_ports_save", R"({"ports":[{"portName":"ttyNone9","baudRate":9600}]})"},
    {"serial_ports_remove", R"({"portName":"ttyNone9"})"},
    {"net_cards", "{}"},
    {"net_card", R"({"name":"eth0"})"},
    {"net_card", R"({"role":"wifi"})"},
    {"net_interfaces", "{}"},
    {"net_driver", "{}"},
    {"net_ping", R"({"ip":"10.77.0.1"})"},
    {"net_connect_device", R"({"name":"eth0"})"},
    {"net_disable_driver", R"({"kind":1,"disable":true})"},
    {"net_settings", R"({"reload":true})"},
    {"net_profile", R"({"id":"RobotNet"})"},
    {"wifi_connect", R"({"ssid":"RobotNet","password":"robotpass","hidden":false})"},
    {"wifi_connect_short", R"({"ssid":"RobotNet"})"},
    {"wifi_enterprise",
     R"({"ssid":"RobotNet","verification":false,"dhcp":true,"nonBroadcast":false,)"
     R"("password":"robotpass"})"},
    {"wifi_up", R"({"restart":false})"},
    {"wifi_forget", R"({"card":"wlan0"})"},
    {"wifi_ssid", "{}"},
    {"wifi_password", R"({"ssid":"RobotNet"})"},
    {"wifi_list", "{}"},
    {"wifi_status", "{}"},
    {"wifi_aps", "{}"},
    {"wifi_roaming", R"({"on":true})"},
    {"wifi_roam", R"({"bssid":"02:00:00:00:05:00"})"},
    {"wifi_link", "{}"},
    {"wifi_trace", "{}"},
    {"supervision_set", R"({"on":true})"},
    {"supervision_status", "{}"},
    {"supervision_pause", R"({"on":false})"},
    {"card_switch", R"({"kind":1,"disable":false})"},
    {"scan_thread_status", "{}"},
    {"net_set_wifi_ip",
     R"({"dhcp":false,"ip":"10.77.0.9","mask":"255.255.255.0","gateway":"10.77.0.1"})"},
    {"net_set_wired_ip",
     R"({"dhcp":false,"ip":"10.0.0.9","mask":"255.255.255.0","gateway":"10.0.0.1"})"},
    {"net_set_ssid_ip",
     R"({"ssid":"RobotNet","passwd":"robotpass","nonBroadcast":false,"dhcp":false,)"
     R"("ip":"10.77.0.9","mask":"255.255.255.0","gateway":"10.77.0.1"})"},
    {"net_factory", "{}"},
    {"net_activate", "{}"},
    {"net_hmi", R"({"hmiIP":"10.0.0.20"})"},
    {"net_report", "{}"},
    {"net_check_dhcp", "{}"},
    {"net_netplan", "{}"},
    {"net_wifi_config", "{}"},
    {"net_devices", "{}"},
    {"hotspot_start", R"({"ssid":"robot-7","passwd":"secret12"})"},
    {"hotspot_stop", "{}"},
    {"hotspot_fix", "{}"},
    {"hotspot_status", "{}"},
    {"time_status", "{}"},
    {"time_zones", R"({"filter":"shanghai"})"},
    {"time_set",
     R"({"timezone":"Asia/Shanghai","isAuto":false,"localDateTime":"2026-05-01 12:00:00",)"
     R"("timeSyncInterval":60,"url":"127.0.0.1","port":9,"GMT":8.5})"},
    {"audio_get", "{}"},
    {"audio_set", R"({"volume":40})"},
    {"audio_card", R"({"index":"1"})"},
    {"audio_reset", "{}"},
    {"audio_devices", "{}"},
    {"hardware_info", "{}"},
    {"scan_thread_start",
     R"({"queryTime":1,"isSwitchOnlyTo5G":false,"startScanningSignal":-65,)"
     R"("autoSwitchBestAPSignal":-75,"switchingSignal":7,"wirelessCardName":"wlan0"})"},
};

/// What is sent in the place of a good value, besides what no argument can be.
QList<QByteArray> wrongValues(const QJsonValue& good)
{
    QList<QByteArray> values{"null", "[1]"};
    if (good.isBool())
        values << R"("off")"
               << R"("false")"
               << "0";
    if (good.isDouble())
        values << R"("7x")"
               << R"("1")"
               << "-1"
               << "0.5"
               << "1e300"
               << "true";
    if (good.isString())
        values << R"("")"
               << R"("-f")"
               << R"("a'; touch hacked; '")"
               << "70707" << '"' + QByteArray(300, 'x') + '"';
    if (good.isArray() || good.isObject())
        values << R"("off")"
               << "{}"
               << "[]"
               << R"([{"portName":7}])";
    return values;
}

QByteArray compact(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

/// The object with one value in the words given.
QByteArray withValue(QJsonObject object, const QString& key, const QByteArray& value)
{
    object.remove(key);
    QByteArray text = compact(object);
    text.chop(1);
    if (!object.isEmpty())
        text += ',';
    return text + '"' + key.toUtf8() + "\":" + value + '}';
}

QList<RecordedRequest> requestsOf(const Sample& sample)
{
    const QJsonObject good = QJsonDocument::fromJson(sample.good).object();
    QList<RecordedRequest> requests{{sample.command, sample.good, {}}};
    if (good.isEmpty())
        return requests;
    requests << RecordedRequest{sample.command, "", ""};
    for (auto key = good.begin(); key != good.end(); ++key) {
        QJsonObject without = good;
        without.remove(key.key());
        requests << RecordedRequest{sample.command, compact(without), {}};
        for (const QByteArray& value : wrongValues(*key))
            requests << RecordedRequest{sample.command, withValue(good, key.key(), value), {}};
    }
    return requests;
}

/// What samples cannot tell: other ways to send, other values that count, sequences.
QList<RecordedRequest> furtherRequests()
{
    const auto after = [](const char* command, const char* json) {
        RecordedRequest request{command, json, {}};
        request.isFresh = false;
        return request;
    };
    return {
        {"echo", "", "bytes"},
        {"echo", R"({"b":[1.50,"x"],"a":null})", "bytes"},
        {"no_such_command", "{}", ""},
        {"audio_set", "", R"({"volume":30})"},
        {"audio_set", R"({"volume":"40"})", ""},
        {"audio_set", R"({"volume":100,"more":"is ignored"})", ""},
        {"audio_set", R"({"volume":101})", ""},
        {"audio_card", R"({"index":1})", ""},
        {"audio_card", R"({"index":"PCH"})", ""},
        {"serial_write", "", "bytes"},
        {"serial_write", "", R"({"dta":"01"})"},
        {"serial_write", "{", "bytes"},
        {"wifi_connect", R"({"ssid":" RobotNet ","password":" robotpass "})", ""},
        {"wifi_connect", R"({"ssid":" \t"})", ""},
        {"wifi_connect", R"({"ssid":"Nobody","password":"not-this-one"})", ""},
        {"wifi_forget", "{}", ""},
        {"wifi_password", R"({"ssid":"Nobody"})", ""},
        {"net_card", R"({"role":"internal"})", ""},
        {"net_card", R"({"role":"wired"})", ""},
        {"net_card", R"({"role":"can"})", ""},
        {"net_card", R"({"role":"wired","name":"lo"})", ""},
        {"net_set_wifi_ip", R"({"dhcp":true,"ip":"","mask":"","gateway":""})", ""},
        {"net_set_wifi_ip",
         R"({"dhcp":false,"ip":"10.77.0.9","mask":"255.255.255.0","gateway":"..."})", ""},
        {"net_set_wired_ip", R"({"dhcp":true,"ip":"...","mask":"...","gateway":"..."})", ""},
        {"net_set_wired_ip", R"({"ip":"192.168.192.7","mask":"255.255.255.0"})", ""},
        {"net_set_wired_ip", R"({"ip":"10.0.0.9","mask":"255.0.255.0"})", ""},
        {"net_hmi", R"({"hmiIP":"10.0.0.20"})", ""},
        after("net_hmi", R"({"hmiIP":""})"),
        {"card_switch", R"({"kind":0,"disable":true})", ""},
        after("card_switch", R"({"kind":0,"disable":false})"),
        {"card_switch", R"({"kind":1,"disable":true})", ""},
        after("wifi_status", "{}"),
        after("card_switch", R"({"kind":1,"disable":false})"),
        {"hotspot_start", R"({"ssid":"robot-7","passwd":"secret12"})", ""},
        after("hotspot_status", "{}"),
        after("hotspot_fix", "{}"),
        after("hotspot_stop", "{}"),
        {"time_set",
         R"({"timezone":"Etc/UTC","isAuto":false,"localDateTime":"2026-05-01 12:00:00"})", ""},
        {"time_set",
         R"({"timezone":"../../../etc/shadow","isAuto":false,)"
         R"("localDateTime":"2026-05-01 12:00:00"})",
         ""},
        {"time_set", R"({"timezone":"Etc/UTC","isAuto":false,"localDateTime":"tomorrow"})", ""},
        // A server that does not answer, and no other one: no test asks the world for the time.
        {"time_set", R"({"timezone":"Etc/UTC","isAuto":true,"url":"127.0.0.1","port":9})", ""},
        after("time_sync", "{}"),
        {"can_ports_save", R"({"ports":[{"portName":"can7","baudRate":"fast"}]})", ""},
        {"can_ports_save",
         R"({"ports":[{"portName":"can7","baudRate":"fast"}],"applyConfig":true})", ""},
        {"can_ports_save",
         R"({"ports":[{"portName":"can7","baudRate":500000}],"applyConfig":true})", ""},
        after("can_list", "{}"),
        {"can_config", R"({"portName":"can7","baudRate":"500000"})", ""},
        {"subscribe", "{}", ""},
        {"subscribe", R"({"events":[]})", ""},
        {"subscribe", R"({"events":["event_moon"]})", ""},
        {"peer_call", R"({"ip":"127.0.0.1","port":PORT,"command":"version"})", ""},
        {"peer_call", R"({"ip":"127.0.0.1","port":"PORT","command":"2000","json":{"a":1}})",
         "bytes"},
        {"peer_call", R"({"ip":"localhost","port":PORT,"command":"version"})", ""},
        {"upload", "", "PK content"},
        {"link_lost", "", R"({"msg":"no answer"})", 1},
        {"link_status", "{}", ""},
        {"link_good", "", "", 1},
        {"link_status", "{}", ""},
        {"host_report", "", R"({"ip":"10.0.0.1","connection_status":1})", 2},
        {"link_status", "{}", ""},
        {"version", "{}", "", 1},
    };
}

} // namespace

QList<RecordedRequest> recordedRequests()
{
    QList<RecordedRequest> requests;
    for (const Sample& sample : kSamples)
        requests << requestsOf(sample);
    return requests << furtherRequests();
}
