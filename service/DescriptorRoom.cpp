#include "service/DescriptorRoom.h"

#include <algorithm>
#include <array>
#include <limits>
#include <poll.h>
#include <sys/resource.h>

namespace ky {

namespace {

constexpr int kAtOnce = 64;

/// How many of the `count` numbers from `first` on are not open.
int freeAmong(int first, int count)
{
    std::array<pollfd, kAtOnce> numbers = {};
    for (int i = 0; i < count; ++i)
        numbers[size_t(i)].fd = first + i;
    if (poll(numbers.data(), nfds_t(count), 0) < 0)
        return 0;
    return int(std::count_if(numbers.begin(), numbers.begin() + count,
                             [](const pollfd& number) { return number.revents & POLLNVAL; }));
}

} // namespace

bool hasRoomForDescriptors(int wanted)
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return true;
    int end = int(std::min<rlim_t>(limit.rlim_cur, std::numeric_limits<int>::max()));
    int found = 0;
    while (found < wanted && end > 0) {
        const int count = std::min(end, kAtOnce);
        end -= count;
        found += freeAmong(end, count);
    }
    return found >= wanted;
}

} // namespace ky
