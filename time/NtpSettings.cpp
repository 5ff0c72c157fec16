#include "time/NtpSettings.h"

#include "support/IniFile.h"

#include <QSettings>

#include <limits>

namespace ky {

namespace {

constexpr char kDefaultServer[] = "pool.ntp.org";
constexpr quint16 kNtpPort = 123;
constexpr quint32 kShortestMinutes = 10;
constexpr qint64 kMinuteMs = 60000;

constexpr char kIsAutoSync[] = "NTP/isAutoSync";
constexpr char kInterval[] = "NTP/timeSyncInterval";
constexpr char kServer[] = "NTP/ntpTimeServerUrl";
constexpr char kPort[] = "NTP/ntpTimePort";
constexpr char kGmt[] = "NTP/GMT";

} // namespace

NtpSettings readNtpSettings(const QString& file)
{
    const QSettings ini(file, QSettings::IniFormat);
    NtpSettings settings;
    settings.isAutoSync = ini.value(QLatin1String(kIsAutoSync)).toBool();
    settings.intervalMinutes = ini.value(QLatin1String(kInterval)).toUInt();
    settings.url = ini.value(QLatin1String(kServer)).toString();
    settings.port = quint16(ini.value(QLatin1String(kPort)).toUInt());
    settings.gmtHours = ini.value(QLatin1String(kGmt)).toDouble();
    return settings;
}

bool storeNtpSettings(const QString& file, const NtpSettings& settings, QString* error)
{
    return writeIniValues(file,
                          {{QLatin1String(kIsAutoSync), settings.isAutoSync},
                           {QLatin1String(kInterval), settings.intervalMinutes},
                           {QLatin1String(kServer), settings.url},
                           {QLatin1String(kPort), int(settings.port)},
                           {QLatin1String(kGmt), settings.gmtHours}},
                          error);
}

NtpSettings startSettings(NtpSettings stored)
{
    if (stored.intervalMinutes < kShortestMinutes)
        stored.intervalMinutes = kShortestMinutes;
    if (stored.url.isEmpty()) {
        stored.url = QLatin1String(kDefaultServer);
        stored.port = kNtpPort;
    }
    return stored;
}

NtpSettings requestedSettings(const QVariantMap& request)
{
    NtpSettings settings;
    settings.isAutoSync = request.value(QStringLiteral("isAuto")).toBool();
    settings.intervalMinutes = request.value(QStringLiteral("timeSyncInterval")).toUInt();
    settings.url = request.value(QStringLiteral("url")).toString();
    settings.port = quint16(request.value(QStringLiteral("port")).toUInt());
    settings.gmtHours = request.value(QStringLiteral("GMT")).toDouble();
    return settings;
}

int syncPeriodMs(quint32 minutes)
{
    return int(qMin<qint64>(minutes * kMinuteMs, std::numeric_limits<int>::max()));
}

} // namespace ky
