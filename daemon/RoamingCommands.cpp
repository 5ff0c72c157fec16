#include "daemon/RoamingCommands.h"

#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "network/WifiScanThread.h"

#include <QTimer>

namespace ky {

namespace {

constexpr int kWifiFailed = 40350;
constexpr int kScanThreadBusy = 40353;

constexpr char kSettingsFile[] = "appInfo/setting/WirelessCard.ini";

QVariant setting(const char* key)
{
    return PublicClass::init()->readIni(QLatin1String(kSettingsFile), QLatin1String(key));
}

Answer wifiList(SystemNetwork& network)
{
    QVariantMap result;
    const bool isRead = network.getWinApiWifiList(result);
    return Answer::of(isRead, kWifiFailed, network, result);
}

/// The link, and how wpa_supplicant sees it.
Answer wifiStatus(SystemNetwork& network)
{
    QString card;
    if (!network.getWirelessCardName(card))
        return Answer::error(kWifiFailed, network.getLastError());
    QVariantMap link;
    const bool isAssociated = network.getIwconfig(card, link);
    return Answer::ok({{QStringLiteral("card"), card},
                       {QStringLiteral("is_associated"), isAssociated},
                       {QStringLiteral("link"), link},
                       {QStringLiteral("status"), network.getCurrentWifiStatus(card)}});
}

Answer wifiLink(SystemNetwork& network)
{
    QString card;
    if (!network.getWirelessCardName(card))
        return Answer::error(kWifiFailed, network.getLastError());
    QVariantMap link;
    const bool isAssociated = network.getIwconfig(card, link);
    return Answer::ok({{QStringLiteral("card"), card},
                       {QStringLiteral("is_associated"), isAssociated},
                       {QStringLiteral("link"), link}});
}

Answer roamTo(SystemNetwork& network, const QString& bssid)
{
    QString card;
    if (!network.getWirelessCardName(card))
        return Answer::error(kWifiFailed, network.getLastError());
    return Answer::of(network.switchAP(card, bssid), kWifiFailed, network);
}

Answer supervisionStatus(const SystemNetwork& network)
{
    bool isCycling = false;
    for (const QTimer* timer : network.findChildren<QTimer*>())
        isCycling = isCycling || timer->isActive();
    const PublicClass* host = PublicClass::init();
    return Answer::ok(
        {{QStringLiteral("is_cycling"), isCycling},
         {QStringLiteral("is_permitted"), host->autoConnectEnabled},
         {QStringLiteral("is_paused"), host->autoConnectPaused},
         {QStringLiteral("is_roaming"), setting("WirelessCard/isEnabledRoaming").toBool()},
         {QStringLiteral("is_reporting"),
          setting("WirelessCard/isDisconnectionSendError").toBool()},
         {QStringLiteral("method"), setting("WirelessCard/DisconnectionMethod").toInt()},
         {QStringLiteral("period_ms"), setting("WirelessCard/autoConnectWaitTime").toInt()},
         {QStringLiteral("wireless_is_off"), setting("WirelessCard/CardStatus").toBool()}});
}

} // namespace

RoamingCommands::RoamingCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host)
    : Subsystem(context)
    , _host(std::move(host))
    , _scanThread(new WifiScanThread)
{
    connect(&_trace, &RoamTrace::sigTold, this, &RoamingCommands::take, Qt::QueuedConnection);
    addWifiCommands();
    addSupervisionCommands();
    addScanThreadCommands();
}

RoamingCommands::~RoamingCommands()
{
    // A scan thread that is asked to stop goes on until its link is good: one that still runs is
    // left to the end of the process.
    if (!_scanThread->isRunning())
        delete _scanThread;
}

void RoamingCommands::addWifiCommands()
{
    OwnThread& thread = _host->thread();
    SystemNetwork& network = _host->network();
    addThreadCommand(thread, "wifi_list", [&network](const Request&) { return wifiList(network); });
    addThreadCommand(thread, "wifi_status",
                     [&network](const Request&) { return wifiStatus(network); });
    addThreadCommand(thread, "wifi_link", [&network](const Request&) { return wifiLink(network); });
    addThreadCommand(thread, "wifi_aps", [&network](const Request&) {
        return Answer::ok({{QStringLiteral("aps"), network.getApList()}});
    });
    addThreadCommand(thread, "wifi_roam", [&network](const Request& request) {
        if (!request.firstMissing({"bssid"}).isEmpty())
            return Answer::missing(QStringLiteral("bssid"));
        return roamTo(network, request.arguments().value(QStringLiteral("bssid")).toString());
    });
    addThreadCommand(thread, "wifi_roaming", [&network](const Request& request) {
        if (!request.firstMissing({"on"}).isEmpty())
            return Answer::missing(QStringLiteral("on"));
        network.setEnabledRoaming(request.arguments().value(QStringLiteral("on")).toBool());
        return Answer::ok();
    });
    addCommand("wifi_trace", [this](const Request&) { return Answer::ok(_told); });
}

void RoamingCommands::addSupervisionCommands()
{
    OwnThread& thread = _host->thread();
    SystemNetwork& network = _host->network();
    addThreadCommand(thread, "supervision_set", [&network](const Request& request) {
        if (!request.firstMissing({"on"}).isEmpty())
            return Answer::missing(QStringLiteral("on"));
        network.setAutoConnect(request.arguments().value(QStringLiteral("on")).toBool());
        return supervisionStatus(network);
    });
    addThreadCommand(thread, "supervision_status",
                     [&network](const Request&) { return supervisionStatus(network); });
    addCommand("supervision_pause", [](const Request& request) {
        if (!request.firstMissing({"on"}).isEmpty())
            return Answer::missing(QStringLiteral("on"));
        PublicClass::init()->autoConnectPaused =
            request.arguments().value(QStringLiteral("on")).toBool();
        return Answer::ok();
    });
    addThreadCommand(thread, "card_switch", [&network](const Request& request) {
        const QString missing = request.firstMissing({"kind", "disable"});
        if (!missing.isEmpty())
            return Answer::missing(missing);
        network.setLastError({});
        network.changedNetworkCardStatus(
            request.arguments().value(QStringLiteral("kind")).toInt(),
            request.arguments().value(QStringLiteral("disable")).toBool());
        // The result is always true; what a tool said on the way is passed on.
        return Answer::ok({{QStringLiteral("said"), network.getLastError()}});
    });
}

void RoamingCommands::addScanThreadCommands()
{
    addCommand("scan_thread_start",
               [this](const Request& request) { return startScanThread(request.arguments()); });
    addCommand("scan_thread_status", [this](const Request&) {
        return Answer::ok({{QStringLiteral("is_running"), _scanThread->isRunning()},
                           {QStringLiteral("result"), _scanThread->result()}});
    });
}

Answer RoamingCommands::startScanThread(const QVariantMap& config)
{
    if (_scanThread->isRunning())
        return Answer::error(kScanThreadBusy, QStringLiteral("the scan thread is running"));
    if (!config.isEmpty())
        _scanThread->init(config);
    _scanThread->start();
    return Answer::ok();
}

void RoamingCommands::take(const QString& kind, const QString& text)
{
    const QString now = timeText(QDateTime::currentDateTime());
    _told.insert(kind, text);
    _told.insert(kind + QStringLiteral("_time"), now);
    publish("event_roaming", {{QStringLiteral("kind"), kind}, {QStringLiteral("text"), text}});
}

} // namespace ky
