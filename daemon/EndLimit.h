#pragma once

namespace ky {

/// Ends the process with exit status 1 if it has not ended by itself `seconds` from now: work that
/// hangs in a tool or in the kernel must not keep a daemon that was told to end.
void limitEnd(unsigned seconds);

} // namespace ky
