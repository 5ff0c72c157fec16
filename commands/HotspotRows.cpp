#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr Argument kAccessPoint[] = {
    text("ssid", "name of the network", 1, 32).required(),
    text("passwd", "its pass phrase", 8, 64).secret().required(),
};

constexpr Field kStatus[] = {
    {"is_connected", "whether the device table shows it as connected"},
    {"has_profile", "whether NetworkManager has its profile"},
    {"ssid", "name it was opened with last"},
    {"was_started", "whether it was opened and not closed since"},
};

constexpr Command kRows[] = {
    command("hotspot_start", 2390, "opens an access point")
        .takes(kAccessPoint)
        .fails(kHotspotFailed)
        .within(takes::kHotspot)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ssid":"robot-7","passwd":"secret12"})"),
    command("hotspot_stop", 2391, "closes it")
        .fails(kHotspotFailed)
        .within(takes::kOneTool)
        .needs(Right::Administer)
        .changesHost(),
    command("hotspot_fix", 2392, "opens it again with what is stored")
        .fails(kHotspotFailed)
        .within(takes::kHotspot)
        .needs(Right::Administer)
        .changesHost(),
    command("hotspot_status", 2393, "what is known of the hotspot")
        .answers(kStatus)
        .within(takes::kOneTool),
};

constexpr ErrorText kErrors[] = {
    {kHotspotFailed, "the hotspot did not change"},
};

} // namespace

constexpr CommandGroup kHotspotCommands = {
    "Hotspot", {2390, 2399}, {0, 0}, {40350, 40399}, kRows, kErrors, takes::kSupervisionCycle};
static_assert(isSound(kHotspotCommands));

} // namespace ky
