#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr int kMostMinutes = 2147483647; // a timer of the library waits 35791 of them at most

constexpr Argument kFilter[] = {
    text("filter", "only names that hold this, in any case", 0, 255),
};
constexpr Argument kConfig[] = {
    argument(ValueKind::Zone, "timezone", "the time zone, which is always set, too").required(),
    flag("isAuto", "whether a server keeps the clock").required(),
    argument(ValueKind::Time, "localDateTime", "what the clock is set to").requiredUnless("isAuto"),
    argument(ValueKind::Host, "url", "the server").orEmpty(),
    whole("port", "its UDP port, usually 123", 0, 65535).orElse("0"),
    whole("timeSyncInterval", "time between two exchanges; 0: only one now", 0, kMostMinutes)
        .unit("min")
        .orElse("0"),
    number("GMT", "offset from UTC, kept for the operator only", -24, 24).unit("h").orElse("0"),
};

constexpr Field kZones[] = {
    {"zones", "names of time zones"},
};
constexpr Field kStatus[] = {
    {"Localtime", "the clock; this and more as timedatectl tells it"},
    {"Timezone", "the time zone"},
    {"isAutoSync", "whether the library keeps the clock by a server"},
    {"ntpTimeServerUrl", "the server"},
    {"ntpTimePort", "its port"},
    {"timeSyncInterval", "minutes between two exchanges"},
    {"udpErrorString", "what failed last"},
};

constexpr Command kRows[] = {
    command("time_status", 2400, "clock, time zone and synchronisation")
        .answers(kStatus)
        .fails(kNoClockState)
        .within(takes::kOneTool),
    command("time_zones", 2401, "the time zones that the host knows")
        .takes(kFilter)
        .answers(kZones)
        .fails(kNoZones)
        .within(takes::kOneTool)
        .like(R"({"filter":"europe"})"),
    command("time_set", 2402, "sets time zone and clock, or has a server keep the clock")
        .takes(kConfig)
        .fails(kTimeNotSet)
        .within(takes::kSetTime)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"timezone":"Asia/Shanghai","isAuto":true,"url":"pool.ntp.org","port":123,)"
              R"("timeSyncInterval":60})"),
    command("time_sync", 2403, "makes one exchange with the time server now")
        .answers(kStatus)
        .fails(kNoClockState, kNotSynchronised)
        .within(takes::kSynchronise)
        .needs(Right::Operate)
        .changesHost(),
};

constexpr ErrorText kErrors[] = {
    {kNoClockState, "the state of the clock cannot be read"},
    {kNoZones, "the time zones cannot be listed"},
    {kTimeNotSet, "the time settings were not applied"},
    {kNotSynchronised, "the clock was not synchronised"},
};

} // namespace

constexpr CommandGroup kTimeCommands = {"Clock and time zone", {2400, 2449}, {0, 0},
                                        {40400, 40449},        kRows,        kErrors};
static_assert(isSound(kTimeCommands));

} // namespace ky
