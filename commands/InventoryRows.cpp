#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr Argument kVolume[] = {
    whole("volume", "output volume", 0, 100).unit("%").required(),
};
constexpr Argument kCard[] = {
    argument(ValueKind::Word, "index", "the card, by its index or its name").required(),
};

constexpr Field kSound[] = {
    {"volume", "output volume in %; missing if it cannot be read"},
    {"list", "the sound cards: `index`, `name`, `fullName`"},
};
constexpr Field kDevices[] = {
    {"devices", "always empty: see docs/inventory.md"},
};
constexpr Field kHardware[] = {
    {"disk", "`Filesystem`, `Used`, `Size`, `Use%` of each file system"},
    {"cpu", "`cpuTotalNumber`, then `model name` of each processor"},
    {"network_card", "`name` and `mac` of each card"},
    {"FernoVersion_info", "`version` and `tbxName`, from the settings"},
    {"temperature", "`filePath`, `name` and `temp` (degrees Celsius) of each thermal zone"},
};

constexpr Command kRows[] = {
    command("audio_get", 2450, "output volume and sound cards")
        .answers(kSound)
        .within(takes::kOneTool),
    command("audio_set", 2451, "sets the output volume")
        .takes(kVolume)
        .fails(kVolumeNotSet)
        .within(takes::kTwoTools)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"volume":40})"),
    command("audio_card", 2452, "makes a sound card the default")
        .takes(kCard)
        .fails(kSoundCardNotChanged)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"index":1})"),
    command("audio_reset", 2453, "makes the built-in sound card the default")
        .fails(kSoundCardNotChanged)
        .needs(Right::Operate)
        .changesHost(),
    command("audio_devices", 2454, "the HDA sound cards")
        .answers(kDevices)
        .within(takes::kSoundCards),
    command("hardware_info", 2455, "disks, processor, network cards, version, temperatures")
        .answers(kHardware)
        .within(takes::kHardware),
};

constexpr ErrorText kErrors[] = {
    {kVolumeNotSet, "the volume was not set"},
    {kSoundCardNotChanged, "the default sound card was not changed"},
};

} // namespace

constexpr CommandGroup kInventoryCommands = {"Sound and hardware", {2450, 2499}, {0, 0},
                                             {40500, 40599},       kRows,        kErrors};
static_assert(isSound(kInventoryCommands));

} // namespace ky
