#include "ports/ReadPace.h"

namespace ky {

void ReadPace::frameReadAt(Time now)
{
    const bool isAfterGap = _count > 0 && now - _last > kQuietGap;
    _last = now;
    if (_count == 0 || isAfterGap) {
        _isBusy = false;
        _start = now;
        _count = 1;
        return;
    }
    if (++_count <= kFrames)
        return;
    _isBusy = now - _start <= kBusyTime;
    _start = now;
    _count = 1;
}

} // namespace ky
