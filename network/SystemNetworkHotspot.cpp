#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkSettings.h"
#include "network/SystemNetwork.h"
#include "network/tools/HostapdConf.h"
#include "network/tools/NmcliDeviceTable.h"
#include "network/tools/ToolLines.h"
#include "support/AtomicFile.h"
#include "support/HostLimits.h"
#include "support/PrivateFile.h"
#include "support/ShellLine.h"

#include <QFile>

using namespace ky;

namespace {

constexpr int kLimitMs = limits::kToolMs;

constexpr char kConnection[] = "MyHostspot";
constexpr char kHostapdInterface[] = "wlsp1s1";
constexpr int kHostapdBoard = 6;

bool runsHostapd()
{
    return PublicClass::init()->hardwareType == kHostapdBoard;
}

QString hostapdConfPath()
{
    return QStringLiteral("%1/appInfo/backupFile/hostapd.conf")
        .arg(PublicClass::init()->applicationDir);
}

/// Puts SSID and pass phrase into the file, or tells why not.
bool writeHostapdConf(const QString& path, const QString& ssid, const QString& passPhrase,
                      QString* error)
{
    if (!fitsHostapdConf(ssid) || !fitsHostapdConf(passPhrase)) {
        *error = QStringLiteral("hotspot settings [%1]: line end within a value").arg(path);
        return false;
    }
    makePrivateFile(path); // or opening it would make one that everybody may read
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite)) {
        *error = QStringLiteral("Open faile[%1]:%2").arg(path, file.errorString());
        return false;
    }
    const QByteArray text = rewrittenHostapdConf(file.readAll(), ssid, passPhrase);
    file.close();
    if (replaceFile(path, text, error))
        return true;
    *error = QStringLiteral("Open faile[%1]:%2").arg(path, reasonIn(*error));
    return false;
}

bool openByHostapd(SystemNetwork& network, const QString& ssid, const QString& passPhrase)
{
    if (network.isNetworkInterfaceFlag(QLatin1String(kHostapdInterface),
                                       QNetworkInterface::IsRunning)) {
        network.setLastError(SystemNetwork::tr("The hotspot has been activated"));
        return false;
    }
    const QString path = hostapdConfPath();
    QString error;
    if (!writeHostapdConf(path, ssid, passPhrase, &error)) {
        network.setLastError(error);
        return false;
    }
    return runOnHost(network, shellLine(lines::kStartHostapd, path), kLimitMs);
}

bool openByNetworkManager(SystemNetwork& network, const QString& card, const QString& ssid,
                          const QString& passPhrase)
{
    // Without such a profile the deletion fails, and with it the start: there is no reason left.
    QString output;
    if (!PublicClass::init()->processCmd(shellLine(lines::kDeleteHotspotBeforeOpening, kConnection),
                                         output, kLimitMs, true))
        return false;
    return runForSuccessWords(network,
                              shellLine(lines::kOpenHotspot, card, kConnection, ssid, passPhrase),
                              kLimitMs) &&
           runOnHost(network, shellLine(lines::kAutoconnectHotspot, kConnection), kLimitMs);
}

void closeHostapdInterface(SystemNetwork& network)
{
    const QString name = QLatin1String(kHostapdInterface);
    if (!network.isNetworkInterfaceFlag(name, QNetworkInterface::IsUp)) {
        network.setLastError(SystemNetwork::tr("Hotspot not turned on"));
        return;
    }
    QString output; // of a command that ran: a failed one leaves no reason
    if (PublicClass::init()->processCmd(shellLine(lines::kHotspotCardDown, name), output, kLimitMs,
                                        true))
        network.setLastError(output);
}

} // namespace

bool SystemNetwork::startHotspot(const QVariantMap& request)
{
    const QString ssid = request.value(QStringLiteral("ssid")).toString();
    const QString passPhrase = request.value(QStringLiteral("passwd")).toString();
    const bool isOpen = runsHostapd()
                            ? openByHostapd(*this, ssid, passPhrase)
                            : openByNetworkManager(*this, _wirelessCardName, ssid, passPhrase);
    if (!isOpen)
        return false;
    storeSettings(*this, __func__,
                  {{QLatin1String(settings::kHotspotSsid), ssid},
                   {QLatin1String(settings::kHotspotPassword), passPhrase},
                   {QLatin1String(settings::kHotspotRunning), true}});
    return true;
}

bool SystemNetwork::stopHotspot()
{
    if (runsHostapd()) {
        closeHostapdInterface(*this);
        return false; // on this board callers look at the interface
    }
    if (!runForSuccessWords(*this, QLatin1String(lines::kCloseHotspot), kLimitMs))
        return false;
    storeSettings(*this, __func__, {{QLatin1String(settings::kHotspotRunning), false}});
    return true;
}

bool SystemNetwork::fixHotspot()
{
    const auto stored = [](const char* key) {
        return PublicClass::init()->readIni(QLatin1String(settings::kFile), QLatin1String(key));
    };
    return startHotspot(
        {{QStringLiteral("ssid"), stored(settings::kHotspotSsid).toString()},
         {QStringLiteral("passwd"), stored(settings::kHotspotPassword).toString()}});
}

// Never true for a real table: all keys of a device hold one text, see parseDeviceTable().
bool SystemNetwork::isHostspot()
{
    QList<QVariantMap> devices;
    return getConnectedStatus(devices) && holdsConnectedHotspot(devices);
}
