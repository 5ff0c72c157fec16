#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// Paths of the host of which a run sees private copies. A name stands for itself and for
/// everything below it. The preload shim has the same list (shim/PathMap.h).
const std::vector<std::string>& privatePrefixes();

bool isPrivatePath(const std::string& path);

} // namespace hostsim
