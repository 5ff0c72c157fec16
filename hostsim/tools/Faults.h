#pragma once

#include "tools/Call.h"

namespace hostsim {

/// Answers in the place of the tool if the scene says that it does not behave. False if the tool
/// is to do its work (after a delay, perhaps).
bool applyFault(Call& call, const std::string& tool, bool underSudo, int& status);

/// Lives until the run ends or somebody ends it.
void waitForEndOfRun(const StateFolder& folder);

} // namespace hostsim
