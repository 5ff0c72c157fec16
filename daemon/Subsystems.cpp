#include "daemon/Subsystems.h"

#include "daemon/AddressCommands.h"
#include "daemon/CanCommands.h"
#include "daemon/CardCommands.h"
#include "daemon/InventoryCommands.h"
#include "daemon/LinkReports.h"
#include "daemon/NetworkHost.h"
#include "daemon/PeerCalls.h"
#include "daemon/RoamingCommands.h"
#include "daemon/SerialCommands.h"
#include "daemon/ServiceCommands.h"
#include "daemon/TimeCommands.h"
#include "daemon/UploadCommand.h"
#include "daemon/WifiCommands.h"

namespace ky {

std::vector<std::unique_ptr<Subsystem>> makeSubsystems(const DaemonContext& context)
{
    std::vector<std::unique_ptr<Subsystem>> subsystems;
    subsystems.push_back(std::make_unique<ServiceCommands>(context));
    subsystems.push_back(std::make_unique<UploadCommand>(context));
    subsystems.push_back(std::make_unique<LinkReports>(context));
    subsystems.push_back(std::make_unique<PeerCalls>(context));
    const auto network = std::make_shared<NetworkHost>(context.courier);
    subsystems.push_back(std::make_unique<CardCommands>(context, network));
    subsystems.push_back(std::make_unique<WifiCommands>(context, network));
    subsystems.push_back(std::make_unique<RoamingCommands>(context, network));
    subsystems.push_back(std::make_unique<AddressCommands>(context, network));
    subsystems.push_back(std::make_unique<CanCommands>(context));
    subsystems.push_back(std::make_unique<SerialCommands>(context));
    subsystems.push_back(std::make_unique<TimeCommands>(context));
    subsystems.push_back(std::make_unique<InventoryCommands>(context));
    return subsystems;
}

} // namespace ky
