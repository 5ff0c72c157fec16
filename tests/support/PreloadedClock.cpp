#include "TestClock.h"

#include <cstdlib>

namespace {

/// Stops the clock before the program begins.
__attribute__((constructor)) void stopAsTold()
{
    if (const char* const stoppedAtMs = std::getenv("KY_CLOCK_STOPPED_AT_MS"))
        TestClock::stopAt(std::strtoll(stoppedAtMs, nullptr, 10));
}

} // namespace
