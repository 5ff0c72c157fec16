#include "TestClock.h"

#include <atomic>
#include <ctime>
#include <sys/time.h>

namespace {

std::atomic<bool> isStopped{false};
std::atomic<qint64> stoppedAtUs{0};
std::atomic<qint64> shiftUs{0};

qint64 machineUs()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return qint64(now.tv_sec) * 1000000 + now.tv_nsec / 1000;
}

} // namespace

// Takes precedence over the C library's for every library of the process.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* __restrict time,
                                                                   void* __restrict) noexcept
{
    const qint64 us = isStopped ? stoppedAtUs.load() : machineUs() + shiftUs;
    time->tv_sec = time_t(us / 1000000);
    time->tv_usec = suseconds_t(us % 1000000);
    return 0;
}

namespace TestClock {

void stopAt(qint64 epochMs)
{
    stoppedAtUs = epochMs * 1000;
    isStopped = true;
}

void runWith(qint64 shiftMs)
{
    isStopped = false;
    shiftUs = shiftMs * 1000;
}

qint64 machineMs()
{
    return machineUs() / 1000;
}

} // namespace TestClock
