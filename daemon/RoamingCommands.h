#pragma once

#include "daemon/NetworkHost.h"
#include "daemon/RoamStory.h"
#include "daemon/Subsystem.h"
#include "network/WifiScanThread.h"

#include <memory>

namespace ky {

/// Commands for Wi-Fi as it is now: lists, roaming, link supervision, cards on and off.
class RoamingCommands : public Subsystem
{
    Q_OBJECT

public:
    RoamingCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host);

private:
    void addWifiCommands();
    void addSupervisionCommands();
    void addScanThreadCommands();
    void take(const QString& kind, const QString& text);
    Answer startScanThread(const Arguments& config);

    std::shared_ptr<NetworkHost> _host;
    RoamStory _story;
    WifiScanThread _scanThread;
};

} // namespace ky
