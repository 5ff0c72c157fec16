#include "model/MachineClock.h"

#include <chrono>

namespace hostsim {

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

} // namespace hostsim
