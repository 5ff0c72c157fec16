#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr int kMostPorts = 32; // no controller has as many channels
constexpr int kMostBaud = 2147483647;
constexpr int kMostExtendedId = 0x1fffffff;

constexpr Argument portName(const char* summary)
{
    return argument(ValueKind::Interface, "portName", summary).required();
}

constexpr Argument kPort[] = {
    portName("the port"),
};
constexpr Argument kSetup[] = {
    portName("the interface"),
    whole("baudRate", "bit rate; one that no controller has is set up as 250000", 1, kMostBaud)
        .unit("bit/s")
        .required(),
};
constexpr Argument kFrame[] = {
    portName("an open port"),
    whole("frameId", "identifier, up to 2047 in a standard frame", 0, kMostExtendedId).required(),
    whole("frameType", "0: standard, 1: extended frame", 0, 1).orElse("0"),
    whole("frameFormat", "0: data, 1: remote frame", 0, 1).orElse("0"),
    whole("dataLength", "length code; counts where the data are 0 or 8 bytes", 0, 8).orElse("0"),
    argument(ValueKind::Hex, "data", "up to 8 bytes").orElse(R"("")"),
};
constexpr Argument kSavedPort[] = {
    text("portName", "the interface", 1, 255).required(),
};
constexpr Argument kSave[] = {
    list("ports", "the ports, stored as they stand, with whatever other keys they have", kMostPorts,
         kSavedPort)
        .required(),
    flag("applyConfig", "set each interface up first; each needs a `baudRate` then")
        .orElse("false"),
};
constexpr Argument kRemove[] = {
    text("portName", "the port", 1, 255).required(),
};

constexpr Field kPorts[] = {
    {"ports", "saved ports, then interfaces of the host that are not saved: `portName`, `state` "
              "(1 up and running, -1 not, 0 not saved), `isOpen` and what was saved with them"},
};
constexpr Field kFrames[] = {
    {"frames", "in order of arrival: `portName`, `frameType`, `frameFormat`, `frameId`, "
               "`dataLength`, `data` (hexadecimal), `time`"},
};

constexpr Command kRows[] = {
    command("can_list", 2200, "saved CAN ports and the CAN interfaces of the host").answers(kPorts),
    command("can_config", 2201, "sets up one CAN interface")
        .takes(kSetup)
        .within(takes::kSetUpCan)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"portName":"can0","baudRate":250000})"),
    command("can_open", 2202, "opens a CAN port")
        .takes(kPort)
        .fails(kCanFailed, kTooManyCanPorts)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"portName":"can0"})"),
    command("can_send", 2203, "sends one CAN frame")
        .takes(kFrame)
        .fails(kCanFailed)
        .needs(Right::Operate)
        .like(R"({"portName":"can0","frameId":291,"data":"0102"})"),
    command("can_close", 2204, "closes a CAN port")
        .takes(kPort)
        .fails(kCanFailed)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"portName":"can0"})"),
    command("can_ports_save", 2205, "replaces the file of CAN ports")
        .takes(kSave)
        .fails(kCanFileFailed)
        .within(takes::kSetUpSavedCan)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ports":[{"portName":"can0","baudRate":250000}]})"),
    command("can_ports_remove", 2206, "takes one port out of the file of CAN ports")
        .takes(kRemove)
        .fails(kCanFileFailed)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"portName":"can1"})"),
    event("event_can_frames", 2910, "CAN frames arrived").answers(kFrames).needs(Right::Operate),
};

constexpr ErrorText kErrors[] = {
    {kCanFailed, "the CAN request failed"},
    {kCanFileFailed, "the file of CAN ports was not changed"},
    {kTooManyCanPorts, "no more CAN ports can be opened"},
};

} // namespace

constexpr CommandGroup kCanCommands = {"CAN ports",    {2200, 2209}, {2910, 2910},
                                       {40200, 40209}, kRows,        kErrors};
static_assert(isSound(kCanCommands));

} // namespace ky
