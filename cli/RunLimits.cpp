#include "cli/RunLimits.h"

namespace ky {

namespace {

constexpr double kLongestSeconds = 2147483;

} // namespace

std::optional<RunLimits> readRunLimits(const QString& count, const QString& seconds)
{
    RunLimits limits;
    if (!count.isNull()) {
        limits.count = count.toInt();
        if (limits.count < 1)
            return {};
    }
    if (!seconds.isNull()) {
        const double given = seconds.toDouble(); // may be no number at all, and then compares false
        if (!(given >= 0.001 && given <= kLongestSeconds))
            return {};
        limits.forMs = int(given * 1000);
    }
    return limits;
}

} // namespace ky
