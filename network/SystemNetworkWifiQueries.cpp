#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/LiveRoaming.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/RoamingLog.h"
#include "network/SystemNetwork.h"
#include "network/tools/ToolLines.h"
#include "network/tools/WpaCliScan.h"
#include "network/tools/WpaCliStatus.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr int kWpaLimitMs = limits::kToolMs;
constexpr int kApListLimitMs = limits::kApListMs;
constexpr int kInUse = 1;
constexpr int kNotInUse = -1;

QVariantMap apListEntry(const AccessPoint& accessPoint, const QString& currentBssid)
{
    const bool isInUse = accessPoint.bssid == currentBssid;
    return {{QStringLiteral("status"), isInUse ? kInUse : kNotInUse},
            {QStringLiteral("ssid"), accessPoint.ssid},
            {QStringLiteral("mac"), accessPoint.bssid},
            {QStringLiteral("frequency"), accessPoint.frequency},
            {QStringLiteral("signal"), accessPoint.rssi}};
}

QVariantList displayList(const ScanTable& table)
{
    QVariantList list;
    for (const AccessPoint& accessPoint : table.rows) {
        QVariantMap record = accessPointRecord(accessPoint);
        if (table.isSingleRow) { // displays know this row by what it lacks
            record.remove(QStringLiteral("bssid"));
            record.remove(QStringLiteral("frequency"));
        }
        list.append(record);
    }
    return list;
}

} // namespace

QVariantList SystemNetwork::getApList()
{
    const std::optional<LinkState> link =
        readLink(*this, _wirelessCardName,
                 [this](const QString& kind, const QString& text) { roamingReported(kind, text); });
    if (!link)
        return {};
    QString output;
    if (!runOnHost(*this, shellLine(lines::kWpaScan, _wirelessCardName), kWpaLimitMs) ||
        !runOnHost(*this, shellLine(lines::kWpaScanResult, _wirelessCardName), kApListLimitMs,
                   output))
        return {};

    QVariantList list;
    const ScanTable table = parseScanTable(output);
    logScanTable(table, __func__);
    for (const AccessPoint& accessPoint : table.rows) {
        if (accessPoint.ssid == link->ssid)
            list.append(apListEntry(accessPoint, link->bssid));
    }
    return list;
}

QVariantMap SystemNetwork::getCurrentWifiStatus(const QString& card)
{
    QString output;
    if (!runOnHost(*this, shellLine(lines::kWpaStatus, card), kWpaLimitMs, output))
        return {};
    return parseWpaStatus(output);
}

bool SystemNetwork::getWinApiWifiList(QVariantMap& result)
{
    QString name = _wirelessCardName;
    if (!getWirelessCardName(name))
        return false;
    _wirelessCardName = name;
    KY_DEBUG << "[_wirelessCardName:" << _wirelessCardName;
    storeSettings(*this, __func__,
                  {{QLatin1String(settings::kWirelessCardName), _wirelessCardName}});
    QString output;
    if (!runOnHost(*this, shellLine(lines::kWpaScan, name), kWpaLimitMs) ||
        !runOnHost(*this, shellLine(lines::kWpaScanResult, name), kWpaLimitMs, output))
        return false;

    const ScanTable table = parseScanTable(output);
    logScanTable(table, __func__);
    QString& wifiSsid = PublicClass::init()->wifiSsid;
    wifiSsid.clear();
    const QVariantMap status = getCurrentWifiStatus(name);
    wifiSsid = status.value(QStringLiteral("current_wifi")).toString();
    result.insert(QStringLiteral("current_wifi"), wifiSsid);
    result.insert(QStringLiteral("wifi_list"), displayList(table));
    result.insert(QStringLiteral("wifiStatus"), status);
    return true;
}
