#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkSettings.h"
#include "network/SystemNetwork.h"
#include "network/decisions/HalyardReport.h"

using namespace ky;

namespace {

constexpr char kReportIp[] = "127.0.0.1";
constexpr int kReportPort = 19210;
constexpr int kReportType = 6950;
constexpr int kReportNumber = 123;

constexpr char kHmiKey[] = "hmiIP";

} // namespace

void SystemNetwork::updateHalyard6950Data()
{
    HalyardSources sources;
    sources.hmiIp = _hmiIp;
    sources.hasWifi = getWifiCardInfo(sources.wifi);
    const QString card = sources.wifi.value(QStringLiteral("name")).toString();
    sources.hasLink = sources.hasWifi && !card.isEmpty() && getIwconfig(card, sources.link);
    sources.hasWired = getAlxCardInfo(sources.wired);

    const QByteArray report =
        PublicClass::init()->qVariantToByteArray(halyardReport(sources), QJsonDocument::Compact);
    emit sigWriteTcpClient(QLatin1String(kReportIp), kReportPort, kReportType, kReportNumber,
                           report);
}

void SystemNetwork::setHMIInfo(const QVariantMap& request)
{
    _hmiIp = request.value(QLatin1String(kHmiKey)).toString();
    const bool isStored =
        storeSettings(*this, __func__, {{QLatin1String(settings::kHmiIp), _hmiIp}});
    const QString problem = getLastError();
    updateHalyard6950Data();
    if (!isStored)
        setLastError(problem); // of this request, whatever the report found
}

QVariantMap SystemNetwork::getHmiInfo() const
{
    return {{QLatin1String(kHmiKey), _hmiIp}};
}
