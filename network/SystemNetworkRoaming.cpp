#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/IwOutput.h"
#include "network/NetworkLog.h"
#include "network/RoamingLog.h"
#include "network/SystemNetwork.h"
#include "network/WpaScanOutput.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr char kLink[] = "iw %1 link";
constexpr int kLinkLimitMs = 4000;
constexpr char kScan[] = "sudo wpa_cli -i %1 scan";
constexpr char kScanResult[] = "sudo wpa_cli -i %1 scan_result";
constexpr char kRoam[] = "sudo wpa_cli -i %1 roam '%2' ";
constexpr int kWpaLimitMs = 20000;
constexpr int kReconnectLimitMs = 8000;

// These lines are read by tools that follow a robot's path: they carry no function name.
void logForFollowers(const QString& text)
{
    qCInfo(kyNetworkLog).noquote().nospace() << "[info]" << text;
}

void logCurrentAp(const QString& bssid, int signalDbm)
{
    logForFollowers(QStringLiteral("[CurrentAP][%1|%2]").arg(bssid).arg(signalDbm));
}

/// Asks for a scan. False if the command fails or another scan is under way. The answer comes
/// before the scan is done: the table read next is that of the scan before.
bool startScan(const QString& card)
{
    QString output;
    return PublicClass::init()->processCmd(shellLine(kScan, card), output, kWpaLimitMs, true) &&
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

std::optional<int> levelOf(const std::optional<AccessPoint>& accessPoint)
{
    if (!accessPoint)
        return std::nullopt;
    return accessPoint->signalDbm();
}

} // namespace

bool SystemNetwork::getIwconfig(const QString& card, QVariantMap& map)
{
    if (card.isEmpty()) {
        setLastError(
            QStringLiteral("The name of the device to query the network connection is empty"));
        return false;
    }
    QString output;
    if (!runOnHost(*this, shellLine(kLink, card), kLinkLimitMs, output)) {
        logCurrentAp(QStringLiteral("No-AP"), 0);
        return false;
    }

    const LinkState link = parseIwLink(output);
    if (!link.isAssociated()) {
        KY_WARNING << QStringLiteral("ssid:%1 bssid:%2").arg(link.ssid, link.bssid);
        logCurrentAp(QStringLiteral("No-AP"), 0);
        return false;
    }
    const QVariantMap record = linkRecord(link);
    for (auto entry = record.begin(); entry != record.end(); ++entry)
        map.insert(entry.key(), entry.value());
    logCurrentAp(link.bssid, link.signalDbm);
    return true;
}

void SystemNetwork::reconnectWifi()
{
    if (startScan(_wirelessCardName))
        connectWifi(kReconnectLimitMs, false);
}

// WifiScanThread decides by signs and defaults of its own: the two are apart on purpose.
void SystemNetwork::roamOnce()
{
    QVariantMap link;
    if (!getIwconfig(_wirelessCardName, link)) {
        reconnectWifi();
        return;
    }
    const RoamLimits limits{_startScanningSignal, _switchingSignal, _autoSwitchBestAPSignal,
                            _isSwitchOnlyTo5G};
    const int nowDbm = link.value(QStringLiteral("signalLevel")).toInt();
    if (!needsScan(nowDbm, limits) || !startScan(_wirelessCardName))
        return;
    QString output;
    if (!PublicClass::init()->processCmd(shellLine(kScanResult, _wirelessCardName), output,
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
        switchAP(_wirelessCardName, is5GHz(reason) ? best5G->bssid : best24G->bssid);
}

bool SystemNetwork::switchAP(const QString& card, const QString& bssid)
{
    logForFollowers(QStringLiteral("[text][Switch AP:%1]").arg(bssid));
    QString output; // "FAIL" comes with exit status 0; the next cycle sees what has become of it
    return runOnHost(*this, shellLine(kRoam, card, bssid), kWpaLimitMs, output);
}
