#include "inventory/SystemVersionInfo.h"

#include "host/PublicClass.h"
#include "inventory/HardwareText.h"
#include "inventory/InventoryLog.h"
#include "inventory/ToolProcess.h"
#include "support/HostLimits.h"

#include <QThread>

#include <memory>

namespace {

// Exact, blanks included.
constexpr char kDisks[] = "df -T";
constexpr char kDisksOfBoard2[] = "df -aT | grep -E 'sda|mmcblk'";
constexpr char kProcessors[] = "cat /proc/cpuinfo | grep 'model name'";
constexpr char kNetworkCards[] = "ifconfig -a";
constexpr char kThermalZones[] = "grep . /sys/class/thermal/thermal_zone*/type";
constexpr int kLimitMs = ky::limits::kHardwareToolMs;
constexpr int kThermalLimitMs = ky::limits::kToolMs;

/// What a line prints, as UTF-8 up to the first NUL byte; empty if its tool is missing. Of a line
/// that takes too long, what it has printed until then.
QString outputOf(const char* line)
{
    auto bash = std::make_unique<ky::ToolProcess>();
    bash->start(QStringLiteral("/bin/bash"), {QStringLiteral("-c"), QString::fromUtf8(line)},
                QIODevice::ReadWrite);
    bash->waitForFinished(kLimitMs);
    const QByteArray output = bash->readAllStandardOutput();
    ky::closeTool(std::move(bash));
    return QString::fromUtf8(output.constData());
}

void logOutput(const QString& output)
{
    KY_LOG_DEBUG_AS(kyInventoryLog, "getHardwareInfo") << "~~~~~~~~~~~~~~~~~";
    KY_LOG_DEBUG_AS(kyInventoryLog, "getHardwareInfo") << output;
}

QVariantList processorsOf(const QString& output)
{
    QVariantList processors = ky::parseProcessors(output);
    processors.prepend(
        QVariantMap{{QStringLiteral("cpuTotalNumber"), QThread::idealThreadCount()}});
    return processors;
}

QVariantList temperaturesOf(const QString& output)
{
    QVariantList temperatures;
    for (const ky::ThermalZone& zone : ky::parseThermalZones(output)) {
        const std::optional<double> celsius = ky::readTemperature(zone.filePath);
        if (celsius)
            temperatures << QVariantMap{{QStringLiteral("filePath"), zone.filePath},
                                        {QStringLiteral("name"), zone.name},
                                        {QStringLiteral("temp"), *celsius}};
    }
    return temperatures;
}

} // namespace

SystemVersionInfo::SystemVersionInfo(QObject* parent)
    : BaseObject(parent)
{}

QVariantMap SystemVersionInfo::getHardwareInfo()
{
    PublicClass* host = PublicClass::init();
    const QString disks = outputOf(host->hardwareType == 2 ? kDisksOfBoard2 : kDisks);
    logOutput(disks);
    const QString processors = outputOf(kProcessors);
    logOutput(processors);
    const QString cards = outputOf(kNetworkCards);
    logOutput(cards);

    QVariantMap info;
    info.insert(QStringLiteral("disk"), ky::parseDisks(disks));
    info.insert(QStringLiteral("cpu"), processorsOf(processors));
    info.insert(QStringLiteral("network_card"), ky::parseNetworkCards(cards));
    info.insert(QStringLiteral("FernoVersion_info"),
                QVariantMap{{QStringLiteral("version"), host->version},
                            {QStringLiteral("tbxName"), host->tbxName}});
    QString zones;
    if (host->processCmd(QLatin1String(kThermalZones), zones, kThermalLimitMs, true) &&
        !zones.isEmpty())
        info.insert(QStringLiteral("temperature"), temperaturesOf(zones));
    return info;
}
