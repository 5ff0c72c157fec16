#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// Names under which the program is a stand-in, sudo included.
const std::vector<std::string>& toolNames();

bool isTool(const std::string& name);

/// Runs a stand-in: notes the command line in the log, applies the scene's faults, acts.
int runTool(const std::string& name, std::vector<std::string> args);

} // namespace hostsim
