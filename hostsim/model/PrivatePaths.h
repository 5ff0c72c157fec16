#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// Host paths that are private to a run, each with everything below it. The list is the preload
/// shim's (shim/PathMap.h).
const std::vector<std::string>& privatePrefixes();

/// For an absolute path; "." and ".." in it are resolved first.
bool isPrivatePath(const std::string& path);

} // namespace hostsim
