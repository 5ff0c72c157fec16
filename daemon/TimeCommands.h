#pragma once

#include "daemon/Subsystem.h"

#include <QQueue>

#include <functional>
#include <memory>

class SystemNTP;

namespace ky {

/// Clock and time zone: SystemNTP, on a thread of its own.
///
/// Requests that may wait for a server run one after the other. A new one ends the wait of the one
/// before it.
class TimeCommands : public Subsystem
{
    Q_OBJECT

public:
    explicit TimeCommands(const DaemonContext& context);
    ~TimeCommands() override;

private:
    /// A command that takes its turn in the thread.
    void addTurnCommand(const char* name, Relay::Handler handler);

    // All of these run in the thread.
    void takeTurn(std::function<void()> work);
    void endWait();
    Answer status();
    Answer zones(const QString& filter);
    Answer set(const Request& request);
    Answer synchronise();
    Answer exchangeNow(const QVariantMap& state);
    void waitForExchange(int limitMs);
    QString reasonOfFailure();

    // Used in the thread only.
    std::unique_ptr<SystemNTP> _ntp;
    QQueue<std::function<void()>> _turns;
    bool _isBusy = false;  // a turn is running
    bool _isEnded = false; // its wait was ended by the next one

    OwnThread _thread{QStringLiteral("time")}; // the last: it ends before what it uses
};

} // namespace ky
