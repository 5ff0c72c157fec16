#include "daemon/TimeCommands.h"

#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "time/SystemNTP.h"

#include <QEventLoop>
#include <QScopedValueRollback>
#include <QTimer>

namespace ky {

namespace {

constexpr int kReplyLimitMs = 5000;

bool isKeptByScript()
{
    return KyFileManager::init()->hasExecutePermission(PublicClass::init()->halShPath);
}

} // namespace

TimeCommands::TimeCommands(const DaemonContext& context)
    : Subsystem(context)
{
    _thread.call([this] { _ntp = std::make_unique<SystemNTP>(nullptr); });
    addThreadCommand(_thread, "time_status", [this](const Request&) { return status(); });
    addThreadCommand(_thread, "time_zones", [this](const Request& request) {
        return zones(request.arguments().value(QStringLiteral("filter")).toString());
    });
    addThreadCommand(_thread, "time_set", [this](const Request& request) { return set(request); });
    addThreadCommand(_thread, "time_sync", [this](const Request&) { return synchronise(); });
}

/// A request may be waiting in an event loop of its own for a reply that never comes. The object
/// has to outlive it, so the wait is ended first.
TimeCommands::~TimeCommands()
{
    bool isGone = false;
    while (!isGone) {
        _thread.end([this, &isGone] {
            isGone = _waiting == 0;
            if (isGone)
                _ntp.reset();
            else
                emit _ntp->sigSetTimeFinished();
        });
    }
}

Answer TimeCommands::status()
{
    const QVariantMap status = _ntp->getTimedatectlStatus();
    return Answer::of(!status.isEmpty(), kNoClockState, _ntp->getLastError(), status);
}

Answer TimeCommands::zones(const QString& filter)
{
    QStringList zones = _ntp->getTimezoneList();
    if (zones.isEmpty())
        return Answer::error(kNoZones, _ntp->getLastError());
    zones.removeAll(QString());
    return Answer::ok({{QStringLiteral("zones"), zones.filter(filter, Qt::CaseInsensitive)}});
}

Answer TimeCommands::set(const Request& request)
{
    // Without a name the time zone would be linked to nothing.
    const QString missing = request.firstMissing({"timezone", "isAuto"});
    if (!missing.isEmpty())
        return Answer::missing(missing);
    const QScopedValueRollback<int> waiting(_waiting, _waiting + 1);
    const bool isSet = _ntp->setTimeConfig(request.arguments());
    return Answer::of(isSet, kTimeNotSet, _ntp->getLastError());
}

Answer TimeCommands::synchronise()
{
    if (isKeptByScript())
        return Answer::error(kNotSynchronised, QStringLiteral("the platform script keeps the "
                                                              "clock"));
    QString error;
    if (!exchangeNow(&error))
        return Answer::error(kNotSynchronised, error);
    return status();
}

/// One exchange with the server in use; automatic synchronisation stays on or off.
bool TimeCommands::exchangeNow(QString* error)
{
    const QVariantMap now = _ntp->getTimedatectlStatus();
    const bool isAuto = now.value(QStringLiteral("isAutoSync")).toBool();
    const uint interval = isAuto ? now.value(QStringLiteral("timeSyncInterval")).toUInt() : 0;
    const QScopedValueRollback<int> waiting(_waiting, _waiting + 1);
    QEventLoop loop;
    bool isOver = false;
    connect(_ntp.get(), &SystemNTP::sigSetTimeFinished, &loop, [&loop, &isOver] {
        isOver = true;
        loop.quit();
    });
    QTimer::singleShot(kReplyLimitMs, &loop, &QEventLoop::quit);
    _ntp->setLastError(QString());
    if (_ntp->ntpTime(now.value(QStringLiteral("ntpTimeServerUrl")).toString(),
                      quint16(now.value(QStringLiteral("ntpTimePort")).toUInt()), interval) &&
        !isOver)
        loop.exec();
    *error = isOver
                 ? _ntp->getTimedatectlStatus().value(QStringLiteral("udpErrorString")).toString()
                 : QStringLiteral("no reply within %1 ms").arg(kReplyLimitMs);
    if (error->isEmpty())
        *error = _ntp->getLastError();
    return error->isEmpty();
}

} // namespace ky
