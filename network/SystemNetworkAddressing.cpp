#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/SystemNetwork.h"
#include "network/decisions/InternalCard.h"
#include "network/tools/NmcliAddressLines.h"
#include "network/tools/Profiles.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr int kLimitMs = limits::kToolMs;
constexpr int kWifiLimitMs = limits::kWifiAddressMs;
constexpr int kReloadLimitMs = limits::kReloadProfilesMs;

// What NetworkManager needs to write the keyfile that checkDHCP() reads.
constexpr int kWifiSettleS = limits::kAfterWifiAddressMs / 1000;
constexpr int kWiredSettleS = limits::kAfterWiredAddressMs / 1000;

constexpr char kWiredConnection[] = "static-AlxWired-IP";
constexpr char kInternalConnection[] = "static-LocalWired-IP";

constexpr char kWifiSsid[] = "Network/wifiSSID";
constexpr char kWifiPassword[] = "Network/wifiPasswd";
constexpr char kWifiNonBroadcast[] = "Network/wifiNonBroadcast";

QString text(const QVariantMap& request, const char* key)
{
    return request.value(QLatin1String(key)).toString();
}

bool flag(const QVariantMap& request, const char* key)
{
    return request.value(QLatin1String(key)).toBool();
}

/// Whether a request may use this address; the internal link is not for requests.
bool allowAddress(SystemNetwork& network, const QString& ip)
{
    if (!isReservedAddress(ip))
        return true;
    network.setLastError(
        QStringLiteral("[192.168.192.xxx] network segment has been used internally"));
    return false;
}

bool applyWifiAddress(SystemNetwork& network, const QString& card, const QString& uuid,
                      const Addressing& addressing)
{
    const QString modify =
        addressing.isDhcp ? modifyToDhcpLine(uuid) : modifyToManualLine(uuid, addressing);
    if (!runOnHost(network, modify, kWifiLimitMs)) // a good one prints nothing
        return false;
    PublicClass::init()->waitSTime(kWifiSettleS);
    network.checkDHCP();
    return runForSuccessWords(network, shellLine(lines::kAddressedProfileUp, uuid, card),
                              kWifiLimitMs);
}

// A request for DHCP comes here, too, and gets a fixed address, without length if it has no mask.
bool applySsidAddress(SystemNetwork& network, QString card, const QString& ssid,
                      const Addressing& addressing)
{
    QString uuid;
    if (!network.getWirelessCardName(card) || !network.getUuidBySsid(ssid, uuid))
        return false;
    if (!runOnHost(network, modifyToManualLine(uuid, addressing), kLimitMs))
        return false;
    network.checkDHCP();
    return runForSuccessWords(network, shellLine(lines::kConnectDevice, card), kLimitMs);
}

} // namespace

bool SystemNetwork::setIPconfig(const QVariantMap& request)
{
    Addressing addressing;
    addressing.ip = text(request, "ip");
    if (!allowAddress(*this, addressing.ip))
        return false;
    QString card = _wirelessCardName;
    QString uuid;
    if (!getWirelessCardName(card) || !getConnectionActiveiUUID(card, uuid))
        return false;
    const QString fileName = getNetworkManagerSSIDFileNameBy(uuid);
    if (fileName.isEmpty()) {
        KY_DEBUG << "[cardName:" << card << uuid << "]";
        setLastError(QStringLiteral(
            "The wireless network is not connected: possible reasons 1. Not connected to the "
            "wireless network 2. The wireless network card is disabled"));
        return false;
    }
    addressing.isDhcp = flag(request, "dhcp");
    if (addressing.isDhcp && getLinuxDhcpStatus(fileName)) {
        setLastError(QStringLiteral("DHCP is enabled on the interface"));
        return false;
    }
    addressing.gateway = text(request, "gateway");
    addressing.prefixLength = isValidMask(text(request, "mask"));
    if (!addressing.isDhcp && !isValidIp(addressing.ip)) {
        setLastError(QStringLiteral("Invalid IP"));
        return false;
    }
    if (!addressing.isDhcp && addressing.prefixLength.isEmpty()) {
        setLastError(QStringLiteral("Invalid subnet mask"));
        return false;
    }
    return applyWifiAddress(*this, card, uuid, addressing);
}

bool SystemNetwork::setAlxIPconfig(const QVariantMap& request)
{
    Addressing addressing;
    addressing.ip = text(request, "ip");
    if (!allowAddress(*this, addressing.ip))
        return false;
    const QString card = _aLXB10NetworkCardName;
    if (card.isEmpty()) {
        setLastError(QStringLiteral("Wired network card does not exist"));
        return false;
    }
    // Before the request is looked at further: one that is refused has removed the profiles.
    deleteConnections(card);
    addressing.gateway = panelGateway(text(request, "gateway"));
    addressing.isDhcp = flag(request, "dhcp");
    if (!addressing.isDhcp && !isValidIp(addressing.ip))
        return false;
    addressing.prefixLength = isValidMask(text(request, "mask")); // on DHCP for its error alone
    if (!addressing.isDhcp && addressing.prefixLength.isEmpty())
        return false;

    const QString connection = QLatin1String(kWiredConnection);
    if (!runForSuccessWords(*this, addWiredLine(connection, card, addressing), kLimitMs))
        return false;
    PublicClass::init()->waitSTime(kWiredSettleS);
    checkDHCP();
    return runForSuccessWords(*this, shellLine(lines::kConnectDevice, card), kLimitMs);
}

bool SystemNetwork::setSSIDIPConfig(const QVariantMap& request)
{
    const QString ssid = text(request, "ssid");
    Addressing addressing;
    addressing.ip = text(request, "ip");
    if (!allowAddress(*this, addressing.ip))
        return false;
    if (ssid.isEmpty()) {
        setLastError(QStringLiteral("Query SSID is empty"));
        return false;
    }
    const QString password = text(request, "passwd");
    const bool isHidden = flag(request, "nonBroadcast");
    connectWindowWifi(ssid, password, isHidden); // stands even if the address is refused
    addressing.gateway = panelGateway(text(request, "gateway"));
    const bool isDhcp = flag(request, "dhcp");
    if (!isDhcp && !isValidIp(addressing.ip))
        return false;
    addressing.prefixLength = isValidMask(text(request, "mask"));
    if (!isDhcp && addressing.prefixLength.isEmpty())
        return false;
    if (!applySsidAddress(*this, _wirelessCardName, ssid, addressing))
        return false;

    PublicClass* host = PublicClass::init();
    host->wifiSsid = ssid;
    host->wifiPassword = password;
    host->wifiNonBroadcast = isHidden;
    storeSettings(*this, __func__,
                  {{QLatin1String(kWifiSsid), ssid},
                   {QLatin1String(kWifiPassword), password},
                   {QLatin1String(kWifiNonBroadcast), isHidden}});
    return true;
}

bool SystemNetwork::setWiredNetworkIPconfig(const QVariantMap& request)
{
    Addressing addressing;
    addressing.ip = text(request, "ip");
    addressing.prefixLength = isValidMask(text(request, "mask"));
    addressing.gateway = text(request, "gateway");
    const QString card = text(request, "name");
    const QString connection = QLatin1String(kInternalConnection);

    QString ignored;
    PublicClass::init()->processCmd(shellLine(lines::kDeleteInternalProfile, connection), ignored,
                                    kLimitMs, true);
    return runOnHost(*this, addInternalLine(connection, card, addressing), kLimitMs) &&
           runForSuccessWords(*this, shellLine(lines::kAddressedProfileUp, connection, card),
                              kLimitMs);
}

bool SystemNetwork::getLinuxDhcpStatus(const QString& fileName)
{
    return profileNamed(fileName).value("ipv4", "method") == QLatin1String("auto");
}

void SystemNetwork::checkDHCP()
{
    const QString folder = profileFolder();
    bool isChanged = false;
    for (const QString& name : profileFiles(folder)) {
        const QString path = folder + QLatin1Char('/') + name;
        const KeyFile file = KeyFile::read(path);
        if (file.value("ipv4", "method") != QLatin1String("auto") ||
            file.value("ipv4", "address1").isEmpty())
            continue;
        QString error;
        if (removeFromKeyFile(path, "ipv4", "address1", &error))
            isChanged = true;
        else
            setLastError(error);
    }
    if (isChanged)
        runOnHost(*this, QLatin1String(lines::kReloadProfiles), kReloadLimitMs);
}

bool SystemNetwork::initFactorySettingsIP()
{
    const QMap<QString, QString> namesByMac = getNetworkWifiMap();
    if (!readMACNameForTxt() || _wiredMacName.isEmpty())
        return false;
    const auto card = namesByMac.find(_wiredMacName);
    // Without the card an empty request is made all the same: it still removes the old profile.
    setWiredNetworkIPconfig(card == namesByMac.end() ? QVariantMap()
                                                     : internalAddressRequest(*card));
    return true;
}
