#pragma once

#include "tools/Call.h"

namespace hostsim {

/// Answers in place of the tool if the scene has a fault for this call. False if the tool is to do
/// its work, perhaps after a delay.
bool applyFault(Call& call, const std::string& tool, bool underSudo, int& status);

/// Returns when the run ends, unless somebody kills the process first.
void waitForEndOfRun(const StateFolder& folder);

} // namespace hostsim
