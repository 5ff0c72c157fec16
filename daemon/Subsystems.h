#pragma once

#include "daemon/Subsystem.h"

#include <memory>
#include <vector>

namespace ky {

/// Makes every subsystem of the daemon, in the order in which they need each other.
std::vector<std::unique_ptr<Subsystem>> makeSubsystems(const DaemonContext& context);

} // namespace ky
