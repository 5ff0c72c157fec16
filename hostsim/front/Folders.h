#pragma once

#include "model/Store.h"

#include <string>

namespace hostsim {

/// Creates a state folder for a run without --state.
std::string newStateFolder();

/// The scene of a file, or the default one without a name. Throws std::runtime_error.
Host sceneOf(const std::string& file);

/// Records that the run of this folder has started: `hostsim set` finds it from now on.
void markStarted(const std::string& folder);
/// Records that the run has ended: `hostsim set` finds the one before it again.
void markEnded(const std::string& folder);

/// The store named by --state or HOSTSIM_STATE, else that of the newest run in progress, else that
/// of the newest run of all. Throws std::runtime_error if there is none.
Store runningStore(const std::string& option);

} // namespace hostsim
