#pragma once

#include <cstdint>

namespace hostsim {

/// Milliseconds since 1970 by the machine's clock; the simulated one is Clock::offsetMs ahead.
int64_t nowMs();

} // namespace hostsim
