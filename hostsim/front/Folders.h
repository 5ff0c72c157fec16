#pragma once

#include "model/Store.h"

#include <string>

namespace hostsim {

/// A new folder for the state of a run that names none.
std::string newStateFolder();

/// Makes this folder the one that `hostsim set` finds.
void markCurrent(const std::string& folder);

/// The store of --state, of HOSTSIM_STATE, or of the run that was started last. Throws
/// std::runtime_error if there is none.
Store runningStore(const std::string& option);

} // namespace hostsim
