#include "daemon/CardCommands.h"

#include "daemon/StoredSettings.h"
#include "network/SystemNetwork.h"

#include <QSettings>

namespace ky {

namespace {

constexpr char kSettingsFile[] = "appInfo/setting/WirelessCard.ini";

/// Every card that has a hardware address, with its address.
QVariantList cards(SystemNetwork& network)
{
    QVariantList cards;
    const QVariantList interfaces = network.getAllInterfaces();
    for (const QVariant& entry : interfaces) {
        QVariantMap card = entry.toMap();
        const QString address = card.value(QStringLiteral("hardwareAddress")).toString();
        if (address.isEmpty() || address == QLatin1String("00:00:00:00:00:00"))
            continue;
        QVariantMap info;
        network.getNetInfo(card.value(QStringLiteral("name")).toString(), info);
        for (const char* key : {"ip", "mask", "gateway", "dhcp"}) {
            if (info.contains(QLatin1String(key)))
                card.insert(QLatin1String(key), info.value(QLatin1String(key)));
        }
        cards << card;
    }
    return cards;
}

Answer card(const QVariantMap& info)
{
    return Answer::ok({{QStringLiteral("card"), info}});
}

Answer cardNamed(SystemNetwork& network, const QString& name)
{
    QVariantMap info;
    network.getNetworkCardInfo(name, info);
    // The query answers something for a card that does not exist.
    if (!info.contains(QStringLiteral("name")) && !info.contains(QStringLiteral("GENERAL.DEVICE:")))
        return Answer::error(kCardNotRead, QStringLiteral("card [%1]: not found").arg(name));
    return card(info);
}

Answer wifiCard(DaemonNetwork& network)
{
    QString name;
    QVariantMap info;
    network.setLastError({});
    if (!network.findWirelessCard(name) || (!network.getWifiCardInfo(info) && info.isEmpty()))
        return Answer::error(kCardNotRead, network.getLastError());
    return card(info);
}

Answer wiredCard(DaemonNetwork& network)
{
    // Without a name the tools tell of every card.
    if (network.wiredCardName().isEmpty())
        return Answer::error(kCardNotRead, QStringLiteral("wired card: no name is set"));
    QVariantMap info;
    network.getAlxCardInfo(info);
    return card(info);
}

Answer internalCard(SystemNetwork& network)
{
    QVariantMap info;
    network.getWiredNetworkCard(info);
    return card(info);
}

/// One card by its name, or by its part: "wifi", "wired" or "internal".
Answer cardAsked(DaemonNetwork& network, const Arguments& arguments)
{
    const QString role = arguments.text("role");
    if (role == QLatin1String("wifi"))
        return wifiCard(network);
    if (role == QLatin1String("wired"))
        return wiredCard(network);
    if (role == QLatin1String("internal"))
        return internalCard(network);
    // Without a name the tools tell of every card, and these would be mixed into one.
    if (!arguments.has("name"))
        return Answer::missing("name");
    return cardNamed(network, arguments.text("name"));
}

/// The settings file, pass phrases left out.
QVariantMap storedSettings()
{
    const QSettings settings(QLatin1String(kSettingsFile), QSettings::IniFormat);
    QVariantMap stored;
    const QStringList keys = settings.allKeys();
    for (const QString& key : keys) {
        if (!key.contains(QLatin1String("passw"), Qt::CaseInsensitive))
            stored.insert(key, settings.value(key));
    }
    return stored;
}

} // namespace

CardCommands::CardCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host)
    : Subsystem(context)
    , _host(std::move(host))
{
    addInventory();
    addChanges();
}

void CardCommands::addInventory()
{
    OwnThread& thread = _host->thread();
    DaemonNetwork& network = _host->network();
    addThreadCommand(thread, "net_cards", [&network](const Request&) {
        return Answer::ok({{QStringLiteral("cards"), cards(network)}});
    });
    addThreadCommand(thread, "net_card", [&network](const Request& request) {
        return cardAsked(network, request.arguments);
    });
    addThreadCommand(thread, "net_interfaces", [&network](const Request&) {
        return Answer::ok({{QStringLiteral("interfaces"), network.getAllInterfaces()}});
    });
    addThreadCommand(thread, "net_driver", [&network](const Request&) {
        return Answer::ok({{QStringLiteral("driver"), network.getWiredNetworkDriver()}});
    });
    addThreadCommand(thread, "net_ping", [&network](const Request& request) {
        network.setLastError(QStringLiteral("no answer"));
        const bool isUp = network.pingIP(request.arguments.text("ip"));
        return Answer::of(isUp, kNoAnswerToPing, network.getLastError());
    });
}

void CardCommands::addChanges()
{
    OwnThread& thread = _host->thread();
    SystemNetwork& network = _host->network();
    addThreadCommand(thread, "net_connect_device", [&network](const Request& request) {
        const bool isConnected = network.connectDeviceCard(request.arguments.text("name"));
        return Answer::of(isConnected, kDeviceNotConnected, network);
    });
    addThreadCommand(thread, "net_disable_driver", [&network](const Request& request) {
        return storing(network, [&] {
            const bool isDone = network.setPermanentlyDisabled(request.arguments.whole("kind"),
                                                               request.arguments.flag("disable"));
            return Answer::of(isDone, kDriverNotDisabled, network);
        });
    });
    addThreadCommand(thread, "net_settings", [&network](const Request& request) {
        return storing(network, [&] {
            if (request.arguments.flag("reload"))
                network.resetAPSetting();
            return Answer::ok({{QStringLiteral("settings"), storedSettings()}});
        });
    });
}

} // namespace ky
