#pragma once

#include "daemon/NetworkHost.h"
#include "daemon/Subsystem.h"

#include <memory>

namespace ky {

/// Commands that join and forget Wi-Fi networks, and tell of the profiles of NetworkManager.
class WifiCommands : public Subsystem
{
    Q_OBJECT

public:
    WifiCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host);

private:
    void addJoining();
    void addProfiles();

    std::shared_ptr<NetworkHost> _host;
};

} // namespace ky
