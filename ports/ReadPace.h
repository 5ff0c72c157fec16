#pragma once

#include <chrono>

namespace ky {

/// Judges by the times of the frames whether a bus is so busy that its frames are better taken in
/// groups. Waking a thread for a frame costs several times what the frame itself does, and a
/// bus of 1 Mbit/s full of long frames has 8000 a second.
class ReadPace
{
public:
    using Time = std::chrono::steady_clock::time_point;

    /// How long frames gather where isBusy() holds: to the millisecond their time is told, and on a
    /// bus that is full of long frames it is that of eight.
    static constexpr std::chrono::microseconds kGathering{1000};

    /// Notes that a frame has been read at this time.
    void frameReadAt(Time now);
    /// Whether frames have lately come at 2000 a second or more. A bus of 250 kbit/s full of long
    /// frames stays just below.
    bool isBusy() const { return _isBusy; }

private:
    static constexpr int kFrames = 32; ///< are looked at together, so that a short burst is none
    static constexpr std::chrono::milliseconds kBusyTime{16};
    static constexpr std::chrono::milliseconds kQuietGap{5}; ///< ends the busy time at once

    Time _start;
    Time _last;
    int _count = 0; ///< of frames since _start; 0 before the first
    bool _isBusy = false;
};

} // namespace ky
