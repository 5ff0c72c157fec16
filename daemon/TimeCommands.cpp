#include "daemon/TimeCommands.h"

#include "daemon/StoredSettings.h"
#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "time/SystemNTP.h"

#include <QEventLoop>
#include <QScopedValueRollback>
#include <QSemaphore>
#include <QTimer>

namespace ky {

namespace {

constexpr int kReplyLimitMs = 5000;
constexpr int kExchanges = 3;
constexpr int kPauseMs = 600; // twice that is past the one second whose requests are cut
constexpr char kInvalidReply[] = "no valid reply";

bool isKeptByScript()
{
    return KyFileManager::init()->hasExecutePermission(PublicClass::init()->halShPath);
}

} // namespace

TimeCommands::TimeCommands(const DaemonContext& context)
    : Subsystem(context)
{
    // Resolving the server's name may take long; nobody waits for it here.
    _thread.post([this] { _ntp = std::make_unique<SystemNTP>(nullptr); });
    addThreadCommand(_thread, "time_status", [this](const Request&) { return status(); });
    addThreadCommand(_thread, "time_zones", [this](const Request& request) {
        return zones(request.arguments.text("filter"));
    });
    addTurnCommand("time_set", [this](const Request& request) { return set(request); });
    addTurnCommand("time_sync", [this](const Request&) { return synchronise(); });
}

/// The end of the object takes its turn, too: a request may be waiting in an event loop of its own
/// for a reply that never comes.
TimeCommands::~TimeCommands()
{
    QSemaphore gone;
    _thread.end([this, &gone] {
        _turns.clear();
        takeTurn([this, &gone] {
            _ntp.reset();
            gone.release();
        });
    });
    gone.acquire();
}

void TimeCommands::addTurnCommand(const char* name, Relay::Handler handler)
{
    addLateCommand(name, [this, handler](const Request& request, const Ticket& ticket) {
        _thread.post([this, handler, request, ticket] {
            takeTurn([handler, request, ticket] { ticket.answer(handler(request)); });
        });
    });
}

/// A request that waits for a reply runs the event loop, and so the next request begins inside of
/// it. Run there, the later one would end first, and the earlier one would store its settings over
/// those of the later. So the earlier one is ended, and the later runs after it.
void TimeCommands::takeTurn(std::function<void()> work)
{
    _turns.enqueue(std::move(work));
    if (_isBusy) {
        endWait();
        return;
    }
    const QScopedValueRollback<bool> busy(_isBusy, true);
    while (!_turns.isEmpty()) {
        const std::function<void()> next = _turns.dequeue();
        _isEnded = false;
        if (!_turns.isEmpty())
            _thread.post([this] { endWait(); }); // runs in the wait, if there is one
        next();
    }
}

/// Ends the wait of the running request in favour of the next one.
void TimeCommands::endWait()
{
    if (_turns.isEmpty())
        return;
    _isEnded = true;
    emit _ntp->sigSetTimeFinished();
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
    return storing(*_ntp, [&] {
        const bool isSet = _ntp->setTimeConfig(request.arguments.values());
        return Answer::of(isSet, kTimeNotSet, *_ntp);
    });
}

/// A request whose timestamp has a zero byte gets no valid reply; a moment later it does.
Answer TimeCommands::synchronise()
{
    if (isKeptByScript())
        return Answer::error(kNotSynchronised, QStringLiteral("the platform script keeps the "
                                                              "clock"));
    // What the client uses now is used again: without it, automatic synchronisation would end.
    const Answer before = status();
    if (!before.isOk())
        return before;
    Answer exchange = exchangeNow(before.values());
    for (int i = 1; i < kExchanges && exchange.errorText() == QLatin1String(kInvalidReply); ++i) {
        waitForExchange(kPauseMs);
        if (_isEnded)
            break;
        exchange = exchangeNow(before.values());
    }
    return exchange.isOk() ? status() : exchange;
}

/// One exchange with the server in use; automatic synchronisation stays on or off.
Answer TimeCommands::exchangeNow(const QVariantMap& state)
{
    const bool isAuto = state.value(QStringLiteral("isAutoSync")).toBool();
    const uint interval = isAuto ? state.value(QStringLiteral("timeSyncInterval")).toUInt() : 0;
    bool isOver = false;
    QObject watch;
    connect(_ntp.get(), &SystemNTP::sigSetTimeFinished, &watch, [&isOver] { isOver = true; });
    _ntp->setLastError(QLatin1String(kInvalidReply));
    if (!_ntp->ntpTime(state.value(QStringLiteral("ntpTimeServerUrl")).toString(),
                       quint16(state.value(QStringLiteral("ntpTimePort")).toUInt()), interval))
        return Answer::error(kNotSynchronised, _ntp->getLastError());
    if (!isOver)
        waitForExchange(kReplyLimitMs);
    if (_isEnded)
        return Answer::error(kNotSynchronised, QStringLiteral("another request came after it"));
    if (!isOver)
        return Answer::error(kNotSynchronised,
                             QStringLiteral("no reply within %1 ms").arg(kReplyLimitMs));
    if (!_ntp->isClockSet())
        return Answer::error(kNotSynchronised, reasonOfFailure());
    return Answer::ok();
}

/// Runs the event loop until an exchange is over, this request is ended, or the time is up.
void TimeCommands::waitForExchange(int limitMs)
{
    QEventLoop loop;
    connect(_ntp.get(), &SystemNTP::sigSetTimeFinished, &loop, &QEventLoop::quit);
    QTimer::singleShot(limitMs, &loop, &QEventLoop::quit);
    loop.exec();
}

/// The socket's words, else those of the command that was to set the clock.
QString TimeCommands::reasonOfFailure()
{
    const QString ofCommand = _ntp->getLastError();
    const QString ofSocket =
        _ntp->getTimedatectlStatus().value(QStringLiteral("udpErrorString")).toString();
    return ofSocket.isEmpty() ? ofCommand : ofSocket;
}

} // namespace ky
