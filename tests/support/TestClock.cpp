#include "TestClock.h"

#include <atomic>
#include <ctime>
#include <sys/time.h>

namespace {

std::atomic<bool> isStopped{false};
std::atomic<std::int64_t> stoppedAtUs{0};
std::atomic<std::int64_t> shiftUs{0};

std::int64_t machineUs()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

} // namespace

// Takes precedence over the C library's for every library of the process.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* __restrict time,
                                                                   void* __restrict) noexcept
{
    const std::int64_t us = isStopped ? stoppedAtUs.load() : machineUs() + shiftUs;
    time->tv_sec = time_t(us / 1000000);
    time->tv_usec = suseconds_t(us % 1000000);
    return 0;
}

namespace TestClock {

void stopAt(std::int64_t epochMs)
{
    stoppedAtUs = epochMs * 1000;
    isStopped = true;
}

void runWith(std::int64_t shiftMs)
{
    isStopped = false;
    shiftUs = shiftMs * 1000;
}

std::int64_t machineMs()
{
    return machineUs() / 1000;
}

} // namespace TestClock
