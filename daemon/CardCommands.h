#pragma once

#include "daemon/NetworkHost.h"
#include "daemon/Subsystem.h"

#include <memory>

namespace ky {

/// Commands that tell of network cards, and those for their driver and settings.
class CardCommands : public Subsystem
{
    Q_OBJECT

public:
    CardCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host);

private:
    void addInventory();
    void addChanges();

    std::shared_ptr<NetworkHost> _host;
};

} // namespace ky
