#include "time/SystemNTP.h"

#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "support/HostLimits.h"
#include "support/IniFile.h"
#include "support/ShellLine.h"
#include "time/NtpSettings.h"
#include "time/TimeLog.h"
#include "time/TimedatectlOutput.h"

#include <QTimer>
#include <QUdpSocket>

namespace {

// Exact, blanks included.
constexpr char kScriptOpen[] = "%1 ntp open";
constexpr char kScriptServer[] = "%1 ntp server %2";
constexpr char kScriptClose[] = "%1 ntp close";
constexpr char kHostSyncOff[] = "sudo timedatectl set-ntp false";
constexpr char kSetTime[] = "sudo timedatectl set-time '%1' ";
constexpr char kHardwareClockInUtc[] = "sudo timedatectl set-local-rtc 0 ";
constexpr char kRemoveZone[] = "sudo rm -rf /etc/localtime";
constexpr char kLinkZone[] = "sudo ln -s /usr/share/zoneinfo/%1 /etc/localtime";
constexpr char kListZones[] = "timedatectl list-timezones";
constexpr char kStatus[] = "timedatectl status";
constexpr int kLimitMs = ky::limits::kToolMs;

constexpr char kSettingsFile[] = "appInfo/setting/WirelessCard.ini";
constexpr char kClockFormat[] = "yyyy-MM-dd hh:mm:ss.zzz";

QString scriptPath()
{
    return PublicClass::init()->halShPath;
}

bool hasScript()
{
    return KyFileManager::init()->hasExecutePermission(scriptPath());
}

QString clockText(const QDateTime& time)
{
    return time.toString(QLatin1String(kClockFormat));
}

} // namespace

SystemNTP::SystemNTP(QObject* parent)
    : BaseObject(parent)
{
    const ky::NtpSettings settings =
        ky::startSettings(ky::readNtpSettings(QLatin1String(kSettingsFile)));
    _difHour = settings.gmtHours;
    _ntpTimeServerUrl = settings.url;
    _ntpTimePort = settings.port;
    _timeSyncInterval = settings.intervalMinutes;
    KY_DEBUG << "[isAutoSync:" << (settings.isAutoSync ? "true" : "false") << "]"
             << "[_timeSyncInterval:" << _timeSyncInterval << "]"
             << "[_ntpTimeServerUrl:" << _ntpTimeServerUrl << "]"
             << "[_ntpTimePort:" << _ntpTimePort << "]"
             << "[_difHour:" << _difHour << "]";
    if (!hasScript())
        startOwnClient(settings.isAutoSync);
    else if (settings.isAutoSync)
        openScript(_ntpTimeServerUrl);
    else
        closeScript();
}

SystemNTP::~SystemNTP()
{
    if (_ntpUdpSocket)
        _ntpUdpSocket->abort();
    delete _ntpUdpSocket;
    if (_ntpSyncTimer)
        _ntpSyncTimer->stop();
    delete _ntpSyncTimer;
}

void SystemNTP::startOwnClient(bool isAutoSync)
{
    QString output;
    PublicClass::init()->processCmd(QLatin1String(kHostSyncOff), output, kLimitMs, true);
    syncTimer();
    if (isAutoSync)
        ntpTime(_ntpTimeServerUrl, _ntpTimePort, _timeSyncInterval);
}

bool SystemNTP::setSystemTime(const QDateTime& dateTime, bool flag)
{
    Q_UNUSED(flag)
    KY_INFO << "setSystemTime:" << dateTime.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss:zzz"));
    const QString wanted = clockText(dateTime);
    KY_INFO << "[Old datetime:" << clockText(QDateTime::currentDateTime()) << "]"
            << "[setDateTime:" << wanted << "]";
    QString output;
    if (!runCommand(ky::shellLine(kSetTime, wanted), output))
        return false;
    KY_INFO << "[setTestTime2:" << clockText(QDateTime::currentDateTime()) << "]";
    return runCommand(QLatin1String(kHardwareClockInUtc), output);
}

bool SystemNTP::setSystemTimezone(const QString& name)
{
    QString output;
    return runCommand(QLatin1String(kRemoveZone), output) &&
           runCommand(ky::shellLine(kLinkZone, name), output);
}

QStringList SystemNTP::getTimezoneList()
{
    QString output;
    if (!runCommand(QLatin1String(kListZones), output))
        return {};
    return ky::parseTimezones(output);
}

QVariantMap SystemNTP::getTimedatectlStatus()
{
    QString output;
    if (!runCommand(QLatin1String(kStatus), output))
        return {};
    QVariantMap status = ky::parseTimedatectlStatus(output);
    status.insert(QStringLiteral("timeSyncInterval"), _timeSyncInterval);
    status.insert(QStringLiteral("udpErrorString"), _udpErrorString);
    status.insert(QStringLiteral("ntpTimeServerUrl"), _ntpTimeServerUrl);
    status.insert(QStringLiteral("ntpTimePort"), int(_ntpTimePort));
    status.insert(QStringLiteral("isAutoSync"), _ntpSyncTimer && _ntpSyncTimer->isActive());
    return status;
}

bool SystemNTP::setTimeConfig(const QVariantMap& request)
{
    if (!setSystemTimezone(request.value(QStringLiteral("timezone")).toString()))
        return false;
    const ky::NtpSettings settings = ky::requestedSettings(request);
    _difHour = settings.gmtHours;
    const bool isByScript = hasScript();
    if (settings.isAutoSync && isByScript)
        openScript(settings.url);
    else if (settings.isAutoSync) {
        if (!synchronise(settings.url, settings.port, settings.intervalMinutes))
            return false;
    } else {
        if (isByScript)
            closeScript();
        else if (_ntpSyncTimer)
            _ntpSyncTimer->stop();
        if (!setRequestedTime(request))
            return false;
    }
    QString reason;
    if (!ky::storeNtpSettings(QLatin1String(kSettingsFile), settings, &reason)) {
        setLastError(ky::notStored(reason));
        KY_WARNING << "[" + getLastError() + "]";
    }
    return true;
}

bool SystemNTP::setRequestedTime(const QVariantMap& request)
{
    const QString text = request.value(QStringLiteral("localDateTime")).toString();
    KY_LOG_DEBUG_AS(kyTimeLog, "setTimeConfig") << "[------localDateTime:" << text << "]";
    return setSystemTime(QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss")), false);
}

double SystemNTP::difHour() const
{
    return _difHour;
}

void SystemNTP::setDifHour(double hours)
{
    _difHour = hours;
}

bool SystemNTP::runCommand(const QString& line, QString& output)
{
    const bool hasRun = PublicClass::init()->processCmd(line, output, kLimitMs, true);
    if (!hasRun)
        setLastError(output);
    return hasRun;
}

void SystemNTP::runScript(const QString& line)
{
    QString output;
    if (!PublicClass::init()->cmdHalSh(line, output, kLimitMs))
        setLastError(output);
}

void SystemNTP::openScript(const QString& url)
{
    runScript(ky::shellLine(kScriptOpen, scriptPath()));
    runScript(ky::shellLine(kScriptServer, scriptPath(), url));
}

void SystemNTP::closeScript()
{
    runScript(ky::shellLine(kScriptClose, scriptPath()));
}
