#pragma once

#include <cstdint>

/// The clock of the test program: Qt reads the time of day through gettimeofday(), which this one
/// answers in the place of the C library. Timers and time limits are not touched.
namespace TestClock {

/// Stands still at that time (milliseconds since 1970, UTC).
void stopAt(std::int64_t epochMs);
/// Runs, that many milliseconds away from the machine's clock.
void runWith(std::int64_t shiftMs);
/// What the machine's own clock says.
std::int64_t machineMs();

} // namespace TestClock
