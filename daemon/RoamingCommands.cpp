#include "daemon/RoamingCommands.h"

#include "daemon/StoredSettings.h"
#include "host/PublicClass.h"

namespace ky {

namespace {

/// A handler of a command with the one argument "on", which is given to `act`.
template <typename Act>
Relay::Handler switchHandler(Act act)
{
    return [act](const Request& request) { return act(request.arguments.flag("on")); };
}

Answer wifiList(DaemonNetwork& network)
{
    QString card;
    QVariantMap result;
    const bool isRead = network.findWirelessCard(card) && network.getWinApiWifiList(result);
    return Answer::of(isRead, kWifiFailed, network, result);
}

/// The link, and how wpa_supplicant sees it.
Answer wifiStatus(DaemonNetwork& network)
{
    QString card;
    if (!network.findWirelessCard(card))
        return Answer::error(kWifiFailed, network.getLastError());
    QVariantMap link;
    const bool isAssociated = network.getIwconfig(card, link);
    return Answer::ok({{QStringLiteral("card"), card},
                       {QStringLiteral("is_associated"), isAssociated},
                       {QStringLiteral("link"), link},
                       {QStringLiteral("status"), network.getCurrentWifiStatus(card)}});
}

Answer wifiLink(DaemonNetwork& network)
{
    QString card;
    if (!network.findWirelessCard(card))
        return Answer::error(kWifiFailed, network.getLastError());
    QVariantMap link;
    const bool isAssociated = network.getIwconfig(card, link);
    return Answer::ok({{QStringLiteral("card"), card},
                       {QStringLiteral("is_associated"), isAssociated},
                       {QStringLiteral("link"), link}});
}

Answer roamTo(DaemonNetwork& network, const QString& bssid)
{
    QString card;
    if (!network.findWirelessCard(card))
        return Answer::error(kWifiFailed, network.getLastError());
    return Answer::of(network.switchAP(card, bssid), kWifiFailed, network);
}

Answer switchCard(SystemNetwork& network, const Arguments& arguments)
{
    return storing(network, [&] {
        network.changedNetworkCardStatus(arguments.whole("kind"), arguments.flag("disable"));
        // The result is always true; what a tool said on the way is passed on.
        return Answer::ok({{QStringLiteral("said"), network.getLastError()}});
    });
}

} // namespace

RoamingCommands::RoamingCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host)
    : Subsystem(context)
    , _host(std::move(host))
{
    connect(&_host->network(), &DaemonNetwork::sigRoamingReported, this, &RoamingCommands::take,
            Qt::QueuedConnection);
    addWifiCommands();
    addSupervisionCommands();
    addScanThreadCommands();
}

void RoamingCommands::addWifiCommands()
{
    OwnThread& thread = _host->thread();
    DaemonNetwork& network = _host->network();
    addThreadCommand(thread, "wifi_list", [&network](const Request&) { return wifiList(network); });
    addThreadCommand(thread, "wifi_status",
                     [&network](const Request&) { return wifiStatus(network); });
    addThreadCommand(thread, "wifi_link", [&network](const Request&) { return wifiLink(network); });
    addThreadCommand(thread, "wifi_aps", [&network](const Request&) {
        return Answer::ok({{QStringLiteral("aps"), network.getApList()}});
    });
    addThreadCommand(thread, "wifi_roam", [&network](const Request& request) {
        return roamTo(network, request.arguments.text("bssid"));
    });
    addThreadCommand(thread, "wifi_roaming", switchHandler([&network](bool on) {
                         return storing(network, [&] {
                             network.setEnabledRoaming(on);
                             return Answer::ok();
                         });
                     }));
    addCommand("wifi_trace", [this](const Request&) { return Answer::ok(_story.map()); });
}

void RoamingCommands::addSupervisionCommands()
{
    OwnThread& thread = _host->thread();
    DaemonNetwork& network = _host->network();
    addThreadCommand(thread, "supervision_set", switchHandler([&network](bool on) {
                         network.setAutoConnect(on);
                         return Answer::ok(network.supervision());
                     }));
    addThreadCommand(thread, "supervision_status",
                     [&network](const Request&) { return Answer::ok(network.supervision()); });
    // On the network's thread, where the cycle reads it.
    addThreadCommand(thread, "supervision_pause", switchHandler([](bool on) {
                         PublicClass::init()->autoConnectPaused = on;
                         return Answer::ok();
                     }));
    addThreadCommand(thread, "card_switch", [&network](const Request& request) {
        return switchCard(network, request.arguments);
    });
}

void RoamingCommands::addScanThreadCommands()
{
    addCommand("scan_thread_start",
               [this](const Request& request) { return startScanThread(request.arguments); });
    addCommand("scan_thread_status", [this](const Request&) {
        return Answer::ok({{QStringLiteral("is_running"), _scanThread.isRunning()},
                           {QStringLiteral("result"), _scanThread.result()}});
    });
}

Answer RoamingCommands::startScanThread(const Arguments& config)
{
    if (_scanThread.isRunning())
        return Answer::error(kScanThreadBusy, QStringLiteral("the scan thread is running"));
    if (!config.values().isEmpty())
        _scanThread.init(config.values());
    _scanThread.start();
    return Answer::ok();
}

void RoamingCommands::take(const QString& kind, const QString& text)
{
    _story.add(kind, text, timeText(QDateTime::currentDateTime()));
    publish("event_roaming", {{QStringLiteral("kind"), kind}, {QStringLiteral("text"), text}});
}

} // namespace ky
