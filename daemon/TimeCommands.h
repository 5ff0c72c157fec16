#pragma once

#include "daemon/Subsystem.h"

#include <memory>

class SystemNTP;

namespace ky {

enum TimeError
{
    kNoClockState = 40401,
    kNoZones = 40402,
    kTimeNotSet = 40403,
    kNotSynchronised = 40404,
};

/// Clock and time zone: SystemNTP, on a thread of its own.
class TimeCommands : public Subsystem
{
    Q_OBJECT

public:
    explicit TimeCommands(const DaemonContext& context);
    ~TimeCommands() override;

private:
    // All of these run in the thread.
    Answer status();
    Answer zones(const QString& filter);
    Answer set(const Request& request);
    Answer synchronise();
    bool exchangeNow(QString* error);

    OwnThread _thread{QStringLiteral("time")};
    std::unique_ptr<SystemNTP> _ntp; // lives in the thread
    int _waiting = 0;                // requests that wait for a reply, in the thread
};

} // namespace ky
