#pragma once

#include "model/StateFolder.h"

namespace hostsim {

/// Gives this process and its children a mount namespace in which the private copies lie over the
/// host's own folders. Where the kernel does not allow it, or the machine has no such folder,
/// nothing happens: the preload shim serves all of them in any case. This is for programs that the
/// shim cannot reach, static ones above all.
void mountPrivateFolders(const StateFolder& folder);

} // namespace hostsim
