#include "daemon/WifiCommands.h"

#include "network/SystemNetwork.h"

#include <algorithm>

namespace ky {

namespace {

constexpr int kUpLimitMs = 15000;

/// Whether the host has the card. What is no card's name may be a part of many lines of the list of
/// profiles, and each of these would be removed.
bool isCard(SystemNetwork& network, const QString& name)
{
    const QVariantList cards = network.getAllInterfaces();
    return std::any_of(cards.begin(), cards.end(), [&name](const QVariant& card) {
        return card.toMap().value(QStringLiteral("name")).toString() == name;
    });
}

/// Removes the profiles of the card, or without one those of every Wi-Fi.
Answer forget(SystemNetwork& network, const Arguments& arguments)
{
    if (!arguments.has("card")) {
        network.deleteByConnectionType(QStringLiteral("wifi"));
        return Answer::ok();
    }
    const QString card = arguments.text("card");
    if (!isCard(network, card))
        return Answer::error(kNoSuchWifiCard, QStringLiteral("card [%1]: not found").arg(card));
    network.setLastError({});
    network.deleteConnections(card);
    // It has no result of its own, and refuses names that a card can have, as "a*b".
    const QString problem = network.getLastError();
    return problem.isEmpty() ? Answer::ok() : Answer::error(kNotForgotten, problem);
}

Answer storedPassword(SystemNetwork& network, const QString& fileName)
{
    return Answer::ok({{QStringLiteral("ssid"), network.getWifiSSID(fileName)},
                       {QStringLiteral("password"), network.getWifiPassword(fileName)}});
}

/// Pass phrase of the profile of this name.
Answer passwordOf(SystemNetwork& network, const QString& id)
{
    const QVariantMap profile = network.getNetworkManagerFileInfo(id);
    if (profile.isEmpty())
        return Answer::error(kNoSuchProfile, network.getLastError());
    return storedPassword(network, profile.value(QStringLiteral("fileName")).toString());
}

/// Pass phrase of the network in use, whatever its profile is called.
Answer passwordInUse(DaemonNetwork& network)
{
    QString card;
    QString uuid;
    if (!network.findWirelessCard(card) || !network.getConnectionActiveiUUID(card, uuid))
        return Answer::error(kWifiNotConnected, network.getLastError());
    const QString fileName = network.getNetworkManagerSSIDFileNameBy(uuid);
    if (fileName.isEmpty())
        return Answer::error(kNoSuchProfile, QStringLiteral("profile [%1]: no keyfile").arg(uuid));
    return storedPassword(network, fileName);
}

/// Whether an operation would find out in time that there is no wireless card to act on. Where the
/// card is not clear it removes the old profiles first.
bool knowsItsCard(DaemonNetwork& network)
{
    QString card;
    return network.lookForWirelessCard(card) != DaemonNetwork::WirelessCard::Ambiguous;
}

} // namespace

WifiCommands::WifiCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host)
    : Subsystem(context)
    , _host(std::move(host))
{
    addJoining();
    addProfiles();
}

void WifiCommands::addJoining()
{
    OwnThread& thread = _host->thread();
    DaemonNetwork& network = _host->network();
    const auto answer = [&network](bool isDone) {
        return Answer::of(isDone, kWifiNotJoined, network.getLastError());
    };
    addThreadCommand(thread, "wifi_connect", [&network, answer](const Request& request) {
        const Arguments& arguments = request.arguments;
        return answer(network.connectWindowWifi(arguments.text("ssid"), arguments.text("password"),
                                                arguments.flag("hidden")));
    });
    addThreadCommand(thread, "wifi_connect_short", [&network, answer](const Request& request) {
        // The operation keeps the words of a command that failed to itself.
        network.setLastError(QStringLiteral("the network was not joined"));
        return answer(network.connectWindowWifi2(request.arguments.text("ssid"), QString(), false));
    });
    addThreadCommand(thread, "wifi_enterprise", [&network, answer](const Request& request) {
        return answer(
            knowsItsCard(network) &&
            network.runIwconfig({{QStringLiteral("interface"), QStringLiteral("connectWifi")},
                                 {QStringLiteral("connectWifi"), request.arguments.values()}}));
    });
    addThreadCommand(thread, "wifi_up", [&network, answer](const Request& request) {
        const bool isRestarting = request.arguments.flag("restart");
        return answer(knowsItsCard(network) && network.connectWifi(kUpLimitMs, isRestarting));
    });
}

void WifiCommands::addProfiles()
{
    OwnThread& thread = _host->thread();
    DaemonNetwork& network = _host->network();
    addThreadCommand(thread, "wifi_forget", [&network](const Request& request) {
        return forget(network, request.arguments);
    });
    addThreadCommand(thread, "wifi_ssid", [&network](const Request&) {
        QString ssid;
        const bool isConnected = network.getConnectedWifiSSID(ssid);
        return Answer::of(isConnected, kWifiNotConnected, network.getLastError(),
                          {{QStringLiteral("ssid"), ssid}});
    });
    addThreadCommand(thread, "wifi_password", [&network](const Request& request) {
        const QString id = request.arguments.text("ssid");
        return id.isEmpty() ? passwordInUse(network) : passwordOf(network, id);
    });
    addThreadCommand(thread, "net_profile", [&network](const Request& request) {
        const QVariantMap profile = network.getNetworkManagerFileInfo(request.arguments.text("id"));
        return Answer::of(!profile.isEmpty(), kNoSuchProfile, network.getLastError(), profile);
    });
}

} // namespace ky
