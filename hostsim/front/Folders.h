#pragma once

#include "model/Store.h"

#include <string>

namespace hostsim {

/// A new folder for the state of a run that names none.
std::string newStateFolder();

/// The scene of a file, or the default one without a name. Throws std::runtime_error.
Host sceneOf(const std::string& file);

/// Makes this folder, whose run has begun, the one that `hostsim set` finds.
void markStarted(const std::string& folder);
/// Leaves the others to be found: the run has ended.
void markEnded(const std::string& folder);

/// The store of --state, of HOSTSIM_STATE, or of the run that was started last: of those that go
/// on, or else of all. Throws std::runtime_error if there is none.
Store runningStore(const std::string& option);

} // namespace hostsim
