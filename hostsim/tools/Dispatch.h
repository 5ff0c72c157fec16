#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// The names under which the program is a stand-in, including sudo.
const std::vector<std::string>& toolNames();

bool isTool(const std::string& name);

/// Runs a stand-in: logs the command line, applies the scene's faults, then acts. Returns the
/// exit status, 126 if there is no simulated host.
int runTool(const std::string& name, std::vector<std::string> args);

} // namespace hostsim
