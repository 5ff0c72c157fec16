#pragma once

namespace ky {

/// Starts a thread of the process's own that nobody waits for and that takes no signals: they
/// belong to the daemon's threads. False if there is none to be had.
bool startQuietThread(void* (*run)(void*), void* argument);

} // namespace ky
