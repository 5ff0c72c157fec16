#include "network/SystemNetwork.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/Profiles.h"
#include "network/tools/ToolLines.h"
#include "network/tools/WpaCliStatus.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr int kShowLimitMs = limits::kShowProfilesMs;
constexpr int kWpaLimitMs = limits::kToolMs;

QString notConnected(const QString& device)
{
    return QStringLiteral("[%1]%2").arg(
        device, QStringLiteral("The network card is not connected to the network"));
}

QString noUuidOf(const QString& ssid)
{
    return QStringLiteral("The uuid corresponding to [ssid:%1] was not found").arg(ssid);
}

} // namespace

QString SystemNetwork::getCurrentWifiUUid()
{
    const Profile profile =
        findProfile(profileFolder(), "connection", "type", QStringLiteral("wifi"));
    return profile.file.value("connection", "uuid");
}

bool SystemNetwork::getActiveUUID(const QString& device, QString& uuid)
{
    QString output;
    if (!runOnHost(*this, shellLine(lines::kShowActiveProfiles), kShowLimitMs, output))
        return false;
    const QString found = uuidInRow(rowHolding(output, device));
    if (found.isEmpty()) {
        setLastError(notConnected(device));
        return false;
    }
    uuid = found;
    return true;
}

bool SystemNetwork::getUuidBySsid(const QString& ssid, QString& uuid)
{
    if (ssid.isEmpty()) {
        setLastError(QStringLiteral("Query SSID is empty"));
        return false;
    }
    QString output;
    if (!runOnHost(*this, shellLine(lines::kShowProfilesOfSsid, ssid), kShowLimitMs, output))
        return false;
    // grep takes the SSID for an expression, so the line that it found need not hold the text.
    const QString row = rowHolding(output, ssid);
    const QString found = uuidInRow(row.isNull() ? firstRow(output) : row);
    if (found.isEmpty()) {
        setLastError(noUuidOf(ssid));
        return false;
    }
    uuid = found;
    return true;
}

bool SystemNetwork::getConnectionActiveiUUID(const QString& device, QString& uuid)
{
    // Without a name wpa_cli takes "status" for the interface, turns interactive and never ends.
    if (device.isEmpty()) {
        setLastError(
            QStringLiteral("The name of the device to query the network connection is empty"));
        return false;
    }
    QString output;
    PublicClass::init()->processCmd(shellLine(lines::kWpaStatusOfProfile, device), output,
                                    kWpaLimitMs, true);
    if (!isWpaCompleted(output)) {
        setLastError(notConnected(device));
        return false;
    }
    return getActiveUUID(device, uuid);
}

QString SystemNetwork::getWifiPassword(const QString& fileName)
{
    return profileNamed(fileName).value("wifi-security", "psk");
}

QString SystemNetwork::getWifiSSID(const QString& fileName)
{
    return QString::fromUtf8(profileNamed(fileName).ssid("wifi", "ssid"));
}

QVariantMap SystemNetwork::getNetworkManagerFileInfo(const QString& id)
{
    const Profile profile = findProfile(profileFolder(), "connection", "id", id);
    if (!profile.isFound()) {
        setLastError(
            QStringLiteral("The name/UUID already used for the connection was not queried"));
        return {};
    }
    const QVariantMap info{{QStringLiteral("fileName"), profile.fileName},
                           {QStringLiteral("id"), id},
                           {QStringLiteral("uuid"), profile.file.value("connection", "uuid")}};
    KY_DEBUG << info;
    return info;
}

QString SystemNetwork::getNetworkManagerSSIDFileNameBy(const QString& uuid)
{
    const Profile profile = findProfile(profileFolder(), "connection", "uuid", uuid);
    if (!profile.isFound())
        return {};
    KY_DEBUG << QStringLiteral("[%0 connection.uuid:%1 fileName:%2 file.size:%3]")
                    .arg(QStringLiteral(u"system-connections 中记录的网络："), uuid,
                         profile.fileName, QString::number(profile.file.content().size()));
    return profile.fileName;
}

bool SystemNetwork::getConnectedWifiSSID(QString& ssid)
{
    QString card = _wirelessCardName;
    QString uuid;
    if (!getWirelessCardName(card) || !getConnectionActiveiUUID(card, uuid))
        return false;
    ssid = getWifiSSID(getNetworkManagerSSIDFileNameBy(uuid));
    if (!ssid.isEmpty())
        return true;
    setLastError(QStringLiteral(
        "The wireless network is not connected: possible reasons 1. Not connected to the wireless "
        "network 2. The wireless network card is disabled"));
    return false;
}
