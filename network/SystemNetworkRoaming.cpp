#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/RoamingLog.h"
#include "network/SystemNetwork.h"
#include "network/tools/IwOutput.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr int kLinkLimitMs = limits::kLinkMs;
constexpr int kWpaLimitMs = limits::kToolMs;

void logCurrentAp(const QString& bssid, int signalDbm)
{
    logForFollowers(QStringLiteral("[CurrentAP][%1|%2]").arg(bssid).arg(signalDbm));
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
    if (!runOnHost(*this, shellLine(lines::kIwLink, card), kLinkLimitMs, output)) {
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

bool SystemNetwork::switchAP(const QString& card, const QString& bssid)
{
    logForFollowers(QStringLiteral("[text][Switch AP:%1]").arg(bssid));
    QString output; // "FAIL" comes with exit status 0; the next cycle sees what has become of it
    return runOnHost(*this, shellLine(lines::kWpaRoam, card, bssid), kWpaLimitMs, output);
}
