#pragma once

#include "daemon/DaemonSettings.h"
#include "daemon/EventHub.h"
#include "daemon/FrameCourier.h"
#include "daemon/Relay.h"
#include "daemon/Subsystem.h"

#include <array>
#include <memory>
#include <vector>

namespace ky {

class ServiceSink;

/// What the command line says.
struct DaemonOptions
{
    QString home;
    QString settingsFile; ///< empty: the default one of the home
    quint16 port = 0;     ///< of the service, in the place of the settings file's; 0: none given
    bool isVerbose = false;
};

/// The daemon: home, settings, tables, three listeners and the subsystems behind them.
class Daemon
{
public:
    Daemon();
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    /// Brings all of it up. Empty on success, else one line that tells what and where; nothing
    /// listens then.
    QString start(const DaemonOptions& options);

    const DaemonSettings& settings() const { return _settings; }

private:
    QString loadHost(const DaemonOptions& options);
    QString openListener(int serverId);
    QString checkRows() const;
    DaemonContext context();

    /// One listening port: the relay owns the service.
    struct Listener
    {
        std::unique_ptr<Relay> relay;
        std::unique_ptr<ServiceSink> sink;
    };

    DaemonSettings _settings;
    quint16 _portOverride = 0;
    std::array<Listener, 3> _listeners;
    std::unique_ptr<EventHub> _events;
    std::unique_ptr<FrameCourier> _courier;
    std::vector<std::unique_ptr<Subsystem>> _subsystems; ///< gone before what they use
};

} // namespace ky
