#pragma once

#include <string>
#include <vector>

namespace hostsim {

/// `hostsim VERB …`, the command line for people and tests. Returns the exit status.
int runFront(const std::vector<std::string>& args);

/// `hostsim run`.
int runCommand(const std::vector<std::string>& args);

} // namespace hostsim
