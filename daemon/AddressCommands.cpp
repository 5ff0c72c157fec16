#include "daemon/AddressCommands.h"

#include "daemon/StoredSettings.h"
#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "support/ShellLine.h"

namespace ky {

namespace {

constexpr int kHostapdBoard = 6;
constexpr char kHotspotProfile[] = "MyHostspot";
constexpr char kAddProfile[] =
    "sudo nmcli connection add type wifi con-name %1 ifname %2 ssid %1 autoconnect no";
constexpr int kAddLimitMs = 20000;

constexpr char kSettingsFile[] = "appInfo/setting/WirelessCard.ini";

// Neither operation has a word for it.
constexpr char kNoInternalCard[] = "internal card: none has 192.168.192.5, and none is stored";

Answer putInternalCardBack(SystemNetwork& network)
{
    network.setLastError({});
    QVariantMap card; // the stored card is known once the cards have been looked at
    network.getWiredNetworkCard(card);
    const QString mac = network.getMACName();
    network.setLastError(mac.isEmpty()
                             ? QLatin1String(kNoInternalCard)
                             : QStringLiteral("internal card [%1]: not stored in "
                                              "appInfo/setting/macName.txt beside the program")
                                   .arg(mac));
    return Answer::of(network.initFactorySettingsIP(), kAddressFailed, network);
}

/// The library's start begins with deleting the profile and fails where there is none. So that the
/// first start on a host works, there is one.
bool provideHotspotProfile(DaemonNetwork& network, QString* error)
{
    const QString profile = QLatin1String(kHotspotProfile);
    if (PublicClass::init()->hardwareType == kHostapdBoard ||
        !network.getNetworkManagerFileInfo(profile).isEmpty())
        return true;
    QString card;
    if (!network.findWirelessCard(card)) {
        *error = network.getLastError();
        return false;
    }
    return PublicClass::init()->processCmd(shellLine(kAddProfile, profile, card), *error,
                                           kAddLimitMs, true);
}

Answer startHotspot(DaemonNetwork& network, const QVariantMap& request)
{
    QString error;
    if (!provideHotspotProfile(network, &error))
        return Answer::error(kHotspotFailed, error);
    return storing(network, [&] {
        return Answer::of(network.startHotspot(request), kHotspotFailed, network);
    });
}

Answer fixHotspot(DaemonNetwork& network)
{
    QString error;
    if (!provideHotspotProfile(network, &error))
        return Answer::error(kHotspotFailed, error);
    return storing(network,
                   [&] { return Answer::of(network.fixHotspot(), kHotspotFailed, network); });
}

Answer hotspotStatus(SystemNetwork& network)
{
    const auto stored = [](const char* key) {
        return PublicClass::init()->readIni(QLatin1String(kSettingsFile), QLatin1String(key));
    };
    const QVariantMap profile = network.getNetworkManagerFileInfo(QLatin1String(kHotspotProfile));
    return Answer::ok({{QStringLiteral("is_connected"), network.isHostspot()},
                       {QStringLiteral("has_profile"), !profile.isEmpty()},
                       {QStringLiteral("ssid"), stored("hotsport/ssid").toString()},
                       {QStringLiteral("was_started"), stored("hotsport/is_hotspot").toBool()}});
}

} // namespace

AddressCommands::AddressCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host)
    : Subsystem(context)
    , _host(std::move(host))
{
    addAddressCommands();
    addFileCommands();
    addHotspotCommands();
}

void AddressCommands::addAddressCommands()
{
    OwnThread& thread = _host->thread();
    SystemNetwork& network = _host->network();
    using Operation = bool (SystemNetwork::*)(const QVariantMap&);
    const auto add = [&](const char* name, Operation operation) {
        addThreadCommand(thread, name, [&network, operation](const Request& request) {
            return storing(network, [&] {
                const bool isDone = (network.*operation)(request.arguments.values());
                return Answer::of(isDone, kAddressFailed, network);
            });
        });
    };
    add("net_set_wifi_ip", &SystemNetwork::setIPconfig);
    add("net_set_wired_ip", &SystemNetwork::setAlxIPconfig);
    add("net_set_ssid_ip", &SystemNetwork::setSSIDIPConfig);
    addThreadCommand(thread, "net_factory",
                     [&network](const Request&) { return putInternalCardBack(network); });
    addThreadCommand(thread, "net_activate", [&network](const Request&) {
        network.setLastError(QLatin1String(kNoInternalCard));
        return Answer::of(network.activateNetworkCard(), kAddressFailed, network);
    });
    addThreadCommand(thread, "net_hmi", [&network](const Request& request) {
        return storing(network, [&] {
            if (request.arguments.has("hmiIP"))
                network.setHMIInfo(request.arguments.values());
            return Answer::ok(network.getHmiInfo());
        });
    });
    addThreadCommand(thread, "net_report", [&network](const Request&) {
        network.updateHalyard6950Data();
        return Answer::ok();
    });
}

void AddressCommands::addFileCommands()
{
    OwnThread& thread = _host->thread();
    SystemNetwork& network = _host->network();
    addThreadCommand(thread, "net_check_dhcp", [&network](const Request&) {
        network.checkDHCP();
        return Answer::ok();
    });
    addThreadCommand(thread, "net_netplan", [&network](const Request&) {
        return Answer::of(network.copyNetplanYaml(), kAddressFailed,
                          QStringLiteral("the netplan file could not be written"));
    });
    addThreadCommand(thread, "net_wifi_config", [&network](const Request&) {
        return Answer::of(network.writeWifiConfig(), kAddressFailed,
                          QStringLiteral("the netplan file could not be written"),
                          {{QStringLiteral("file"), network.getFileNames()}});
    });
    addThreadCommand(thread, "net_devices", [&network](const Request&) {
        QList<QVariantMap> list;
        const bool isRead = network.getConnectedStatus(list);
        QVariantList devices;
        for (const QVariantMap& device : qAsConst(list))
            devices << device;
        return Answer::of(isRead, kAddressFailed, network, {{QStringLiteral("devices"), devices}});
    });
}

void AddressCommands::addHotspotCommands()
{
    OwnThread& thread = _host->thread();
    DaemonNetwork& network = _host->network();
    addThreadCommand(thread, "hotspot_start", [&network](const Request& request) {
        return startHotspot(network, request.arguments.values());
    });
    addThreadCommand(thread, "hotspot_fix",
                     [&network](const Request&) { return fixHotspot(network); });
    addThreadCommand(thread, "hotspot_stop", [&network](const Request&) {
        return storing(network,
                       [&] { return Answer::of(network.stopHotspot(), kHotspotFailed, network); });
    });
    addThreadCommand(thread, "hotspot_status",
                     [&network](const Request&) { return hotspotStatus(network); });
}

} // namespace ky
