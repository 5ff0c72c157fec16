#include "network/HostPreparation.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/SystemNetwork.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

namespace ky {

namespace {

constexpr int kPowerSaveLimitMs = limits::kToolMs;
constexpr int kConnectionUpLimitMs = limits::kStartUpMs;

constexpr int kNetplanBoard = 1;

} // namespace

void prepareWirelessCard(SystemNetwork& network, bool isBanned, QString& card)
{
    if (isBanned)
        network.setWirelessCardStatus(true, card);
    else if (network.getWirelessCardName(card))
        runOnHost(network, shellLine(lines::kIwPowerSaveOff, card), kPowerSaveLimitMs);
}

void prepareWiredAddress(SystemNetwork& network)
{
    if (PublicClass::init()->hardwareType == kNetplanBoard) {
        network.copyNetplanYaml();
        return;
    }
    const QString uuid = network.getNetworkManagerFileInfo(QStringLiteral("static-AlxWired-IP"))
                             .value(QStringLiteral("uuid"))
                             .toString();
    if (!uuid.isEmpty())
        runOnHost(network, shellLine(lines::kProfileUp, uuid), kConnectionUpLimitMs);
}

} // namespace ky
