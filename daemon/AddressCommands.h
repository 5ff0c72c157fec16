#pragma once

#include "daemon/NetworkHost.h"
#include "daemon/Subsystem.h"

#include <memory>

namespace ky {

/// Commands for addresses, the operator panel, the host report and the hotspot.
class AddressCommands : public Subsystem
{
    Q_OBJECT

public:
    AddressCommands(const DaemonContext& context, std::shared_ptr<NetworkHost> host);

private:
    void addAddressCommands();
    void addFileCommands();
    void addHotspotCommands();

    std::shared_ptr<NetworkHost> _host;
};

} // namespace ky
