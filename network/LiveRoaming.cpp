#include "network/LiveRoaming.h"

#include "host/PublicClass.h"
#include "network/RoamingLog.h"
#include "network/SystemNetwork.h"
#include "network/decisions/RoamCandidates.h"
#include "network/tools/ToolLines.h"
#include "network/tools/WpaCliScan.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

namespace ky {

namespace {

constexpr int kWpaLimitMs = limits::kToolMs;
constexpr int kReconnectLimitMs = limits::kReconnectMs;

/// Asks for a scan. False if the command fails or another scan is under way. The answer comes
/// before the scan is done: the table read next is that of the scan before.
bool startScan(const QString& card)
{
    QString output;
    return PublicClass::init()->processCmd(shellLine(lines::kWpaScan, card), output, kWpaLimitMs,
                                           true) &&
           !isScanBusy(output);
}

/// The candidates for a link, told to the log together with the link itself.
BandLists candidatesOf(const QVector<AccessPoint>& seen, const QString& ssid, const QString& bssid,
                       int nowDbm)
{
    BandLists lists;
    QString text = QStringLiteral("%1|%2|").arg(bssid).arg(nowDbm);
    for (const AccessPoint& accessPoint : seen) {
        if (!isRoamTarget(accessPoint, ssid, bssid))
            continue;
        lists.add(accessPoint);
        text += QStringLiteral("%1|%2|").arg(accessPoint.bssid).arg(accessPoint.signalDbm());
    }
    logForFollowers(QStringLiteral("[ApList][%1]").arg(text));
    return lists;
}

} // namespace

void reconnectWifi(SystemNetwork& network, const QString& card)
{
    if (startScan(card))
        network.connectWifi(kReconnectLimitMs, false);
}

// WifiScanThread decides by signs and defaults of its own: the two are apart on purpose.
void roamOnce(SystemNetwork& network, const QString& card, const RoamLimits& limits)
{
    QVariantMap link;
    if (!network.getIwconfig(card, link)) {
        reconnectWifi(network, card);
        return;
    }
    const int nowDbm = link.value(QStringLiteral("signalLevel")).toInt();
    if (!needsScan(nowDbm, limits) || !startScan(card))
        return;
    QString output;
    if (!PublicClass::init()->processCmd(shellLine(lines::kWpaScanResult, card), output,
                                         kWpaLimitMs, false))
        return;

    const ScanTable table = parseScanTable(output);
    logScanTable(table, "slotAutoConnectEth1Ethernet");
    const BandLists candidates =
        candidatesOf(table.rows, link.value(QStringLiteral("ssid")).toString(),
                     link.value(QStringLiteral("bssid")).toString(), nowDbm);
    const std::optional<AccessPoint> best5G = candidates.fiveGhz.strongest();
    const std::optional<AccessPoint> best24G = candidates.twoFourGhz.strongest();
    const RoamLevels levels{nowDbm, levelOf(best5G), levelOf(best24G)};
    const RoamReason reason = chooseRoam(levels, limits);
    for (const QString& line : roamLogLines(reason, levels, limits))
        logForFollowers(line);
    if (reason != RoamReason::Stay)
        network.switchAP(card, is5GHz(reason) ? best5G->bssid : best24G->bssid);
}

} // namespace ky
