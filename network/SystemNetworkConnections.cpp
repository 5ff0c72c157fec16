#include "network/SystemNetwork.h"

#include "host/PublicClass.h"
#include "network/CertificateFile.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/NmcliWifiLines.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

#include <QDir>

using namespace ky;

namespace {

constexpr int kLimitMs = limits::kToolMs;

constexpr int kAfterRestartS = limits::kAfterRestartMs / 1000;
constexpr int kUpLimitMs = limits::kBringUpMs;

const QLatin1String kConnectWifi("connectWifi");

} // namespace

bool SystemNetwork::connectWifi(int limit, bool restart)
{
    QString card = _wirelessCardName;
    if (!getWirelessCardName(card))
        return false;
    _wirelessCardName = card;
    _wirelessUUID = getCurrentWifiUUid();
    KY_DEBUG << QStringLiteral("[_wirelessCardName:%1]").arg(_wirelessCardName);
    KY_DEBUG << QStringLiteral("[_wirelessUUID:%1]").arg(_wirelessUUID);
    QString output;
    const bool hasRun = runOnHost(
        *this, shellLine(lines::kProfileUpOnCard, _wirelessUUID, _wirelessCardName), limit, output);
    if (hasRun && saysSuccess(output))
        return true;
    setLastError(output);
    if (hasRun || !restart)
        return false;
    if (runOnHost(*this, shellLine(lines::kRestartNetworkManager), kLimitMs))
        setLastError(
            QStringLiteral("Running[%1]").arg(QLatin1String(lines::kRestartNetworkManager)));
    PublicClass::init()->waitSTime(kAfterRestartS);
    return false;
}

bool SystemNetwork::connectWindowWifi(QString ssid, QString password, bool hidden)
{
    if (ssid.isEmpty())
        return false;
    ssid = ssid.trimmed();
    password = password.trimmed();
    deleteByConnectionType(QStringLiteral("wifi"));
    return runForSuccessWords(*this, joinWifiLine(ssid, password, hidden), kLimitMs) &&
           runOnHost(*this, shellLine(lines::kAutoconnectProfile, ssid), kLimitMs);
}

bool SystemNetwork::connectWindowWifi2(QString ssid, QString, bool)
{
    if (ssid.isEmpty())
        return false;
    QString output;
    if (!PublicClass::init()->processCmd(shellLine(lines::kJoinByNameOnly, ssid.trimmed()), output,
                                         kLimitMs, true))
        return false;
    if (saysSuccess(output))
        return true;
    setLastError(output);
    return false;
}

bool SystemNetwork::connectDeviceCard(const QString& card)
{
    return runForSuccessWords(*this, shellLine(lines::kConnectDevice, card), kLimitMs);
}

bool SystemNetwork::runIwconfig(const QVariantMap& request)
{
    if (request.value(QStringLiteral("interface")).toString() != kConnectWifi)
        return true;
    const QVariantMap wifi = request.value(kConnectWifi).toMap();
    const QString unsafe = unsafeFileName(wifi);
    if (!unsafe.isNull()) {
        setLastError(QStringLiteral("file name [%1]: leads out of the backup folder").arg(unsafe));
        return false;
    }
    QString card = _wirelessCardName;
    if (!getWirelessCardName(card))
        return false;
    PublicClass* host = PublicClass::init();
    const QString folder =
        host->readIni(host->settingsFile, QLatin1String(settings::kCertificateFolder)).toString();
    if (!folder.isEmpty())
        QDir().mkpath(folder);
    KY_DEBUG << "[cardName:" << card << "]";
    deleteByConnectionType(QStringLiteral("wifi"));
    writeCertificateFiles(wifi, folder);
    if (!runOnHost(*this, addWifiLine(wifi, card, folder), kLimitMs))
        return false;
    host->waitSTime(limits::kAfterAddMs / 1000);
    if (!runOnHost(*this, shellLine(lines::kReloadProfiles), kLimitMs))
        return false;
    host->waitSTime(limits::kAfterReloadMs / 1000);
    if (!connectWifi(kUpLimitMs, false))
        return false;
    host->waitSTime(limits::kAfterBringUpMs / 1000);
    return true;
}
