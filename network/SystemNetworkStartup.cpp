#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/SystemNetwork.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr char kPowerSaveOff[] = "sudo iw %1 set power_save off";
constexpr int kPowerSaveLimitMs = 20000;
constexpr char kConnectionUp[] = "sudo nmcli connection up %1";
constexpr int kConnectionUpLimitMs = 30000;

constexpr int kNetplanBoard = 1;

} // namespace

void SystemNetwork::prepareWirelessCard()
{
    if (_isDisableWirelessNetworkCard)
        setWirelessCardStatus(true, _wirelessCardName);
    else if (getWirelessCardName(_wirelessCardName))
        runOnHost(*this, shellLine(kPowerSaveOff, _wirelessCardName), kPowerSaveLimitMs);
}

void SystemNetwork::prepareWiredAddress()
{
    if (PublicClass::init()->hardwareType == kNetplanBoard) {
        copyNetplanYaml();
        return;
    }
    const QString uuid = getNetworkManagerFileInfo(QStringLiteral("static-AlxWired-IP"))
                             .value(QStringLiteral("uuid"))
                             .toString();
    if (!uuid.isEmpty())
        runOnHost(*this, shellLine(kConnectionUp, uuid), kConnectionUpLimitMs);
}
