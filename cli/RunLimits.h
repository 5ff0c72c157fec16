#pragma once

#include <QString>

#include <optional>

namespace ky {

/// How far a verb goes that would run on without end.
struct RunLimits
{
    int count = -1; ///< negative: no end
    int forMs = -1; ///< negative: no end
};

/// Reads the values of "--count" (1 and more) and "--for" (seconds, from a millisecond to the 24
/// days that a timer can run); null without the option. Nothing if a value is none of these.
std::optional<RunLimits> readRunLimits(const QString& count, const QString& seconds);

/// What to tell then.
constexpr char kRunLimitsRule[] = "--count and --for take a number above 0, --for up to 2147483";

} // namespace ky
