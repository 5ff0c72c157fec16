#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace ky::bench {

using Duration = std::chrono::duration<double>;

struct Rate
{
    double perSecond = 0;
    double count = 0; ///< requests in all, those of the warm-up too
    double p50Us = 0; ///< time from a request to its answer
    double p99Us = 0;
};

/// That many connections, each with `depth` requests under way; an answer brings the next request.
Rate roundTrips(uint16_t port, int connections, int depth, Duration time);

/// 1000 frames of 16 bytes in one write, again and again: frames per second and the time from the
/// write to the last answer.
Rate bursts(uint16_t port, Duration time);

/// That many clients at a time, each of which connects, asks once, takes the answer and leaves.
Rate churn(uint16_t port, int clients, Duration time);

/// Bytes of noise per second, up to the answer to a frame behind it.
double noiseRate(uint16_t port, size_t bytes);

/// Bytes of file per second, up to the answer.
double uploadRate(uint16_t port, size_t bytes);

/// The same bytes to a program that reads until the end of the stream and then goes.
double rawRate(uint16_t port, size_t bytes);

} // namespace ky::bench
