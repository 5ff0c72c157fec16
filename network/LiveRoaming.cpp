#include "network/LiveRoaming.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/SystemNetwork.h"
#include "network/decisions/RoamCandidates.h"
#include "network/tools/ToolLines.h"
#include "network/tools/WpaCliScan.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

namespace ky {

namespace {

constexpr int kLinkLimitMs = limits::kLinkMs;
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

/// The candidates for a link, reported together with the link itself.
BandLists candidatesFor(const LinkState& link, const QVector<AccessPoint>& seen,
                        const RoamListener& listener)
{
    BandLists lists;
    QString text = QStringLiteral("%1|%2|").arg(link.bssid).arg(link.signalDbm);
    for (const AccessPoint& accessPoint : seen) {
        if (!isRoamTarget(accessPoint, link.ssid, link.bssid))
            continue;
        lists.add(accessPoint);
        text += QStringLiteral("%1|%2|").arg(accessPoint.bssid).arg(accessPoint.signalDbm());
    }
    reportRoaming(listener, kRoamApList, text);
    return lists;
}

void reportCurrentAp(const RoamListener& listener, const QString& bssid, int signalDbm)
{
    reportRoaming(listener, kRoamCurrentAp, QStringLiteral("%1|%2").arg(bssid).arg(signalDbm));
}

} // namespace

std::optional<LinkState> readLink(SystemNetwork& network, const QString& card,
                                  const RoamListener& listener)
{
    if (card.isEmpty()) {
        network.setLastError(
            QStringLiteral("The name of the device to query the network connection is empty"));
        return std::nullopt;
    }
    QString output;
    if (!runOnHost(network, shellLine(lines::kIwLink, card), kLinkLimitMs, output)) {
        reportCurrentAp(listener, QStringLiteral("No-AP"), 0);
        return std::nullopt;
    }
    const LinkState link = parseIwLink(output);
    if (!link.isAssociated()) {
        KY_LOG_WARNING_AS(kyNetworkLog, "getIwconfig")
            << QStringLiteral("ssid:%1 bssid:%2").arg(link.ssid, link.bssid);
        reportCurrentAp(listener, QStringLiteral("No-AP"), 0);
        return std::nullopt;
    }
    reportCurrentAp(listener, link.bssid, link.signalDbm);
    return link;
}

void reconnectWifi(SystemNetwork& network, const QString& card)
{
    if (startScan(card))
        network.connectWifi(kReconnectLimitMs, false);
}

// WifiScanThread decides by signs and defaults of its own: the two are apart on purpose.
void roamOnce(SystemNetwork& network, const QString& card, const RoamLimits& limits,
              const RoamListener& listener)
{
    const std::optional<LinkState> link = readLink(network, card, listener);
    if (!link) {
        reconnectWifi(network, card);
        return;
    }
    if (!needsScan(link->signalDbm, limits) || !startScan(card))
        return;
    QString output;
    if (!PublicClass::init()->processCmd(shellLine(lines::kWpaScanResult, card), output,
                                         kWpaLimitMs, false))
        return;

    const ScanTable table = parseScanTable(output);
    logScanTable(table, "slotAutoConnectEth1Ethernet");
    const BandLists candidates = candidatesFor(*link, table.rows, listener);
    const std::optional<AccessPoint> best5G = candidates.fiveGhz.strongest();
    const std::optional<AccessPoint> best24G = candidates.twoFourGhz.strongest();
    const RoamLevels levels{link->signalDbm, levelOf(best5G), levelOf(best24G)};
    const RoamReason reason = chooseRoam(levels, limits);
    for (const QString& text : roamDecisionTexts(reason, levels, limits))
        reportRoaming(listener, kRoamText, text);
    if (reason != RoamReason::Stay)
        network.switchAP(card, is5GHz(reason) ? best5G->bssid : best24G->bssid);
}

} // namespace ky
