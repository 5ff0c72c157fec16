#pragma once

#include "model/StateFolder.h"

namespace hostsim {

/// Moves this process and its children into a mount namespace where the private copies cover the
/// machine's own folders. Does nothing where the kernel forbids it or the machine has no such
/// folder: the preload shim maps these paths anyway, and this is only for programs that it cannot
/// reach, such as static ones.
void mountPrivateFolders(const StateFolder& folder);

} // namespace hostsim
