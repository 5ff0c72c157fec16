#include "network/HostCommands.h"
#include "network/LiveRoaming.h"
#include "network/SystemNetwork.h"
#include "network/tools/IwOutput.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr int kWpaLimitMs = limits::kToolMs;

} // namespace

void SystemNetwork::roamingReported(const QString&, const QString&) {}

bool SystemNetwork::getIwconfig(const QString& card, QVariantMap& map)
{
    const auto listener = [this](const QString& kind, const QString& text) {
        roamingReported(kind, text);
    };
    const std::optional<LinkState> link = readLink(*this, card, listener);
    if (!link)
        return false;
    const QVariantMap record = linkRecord(*link);
    for (auto entry = record.begin(); entry != record.end(); ++entry)
        map.insert(entry.key(), entry.value());
    return true;
}

bool SystemNetwork::switchAP(const QString& card, const QString& bssid)
{
    const auto listener = [this](const QString& kind, const QString& text) {
        roamingReported(kind, text);
    };
    reportRoaming(listener, kRoamText, QStringLiteral("Switch AP:%1").arg(bssid));
    QString output; // "FAIL" comes with exit status 0; the next cycle sees what has become of it
    return runOnHost(*this, shellLine(lines::kWpaRoam, card, bssid), kWpaLimitMs, output);
}
