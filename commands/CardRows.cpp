#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr Argument kWhich[] = {
    argument(ValueKind::Interface, "name", "the card; needed unless there is a role"),
    choice("role", "the card by its part", "wifi wired internal"),
};
constexpr Argument kProbe[] = {
    argument(ValueKind::Host, "ip", "where the probe goes").required(),
};
constexpr Argument kDevice[] = {
    argument(ValueKind::Interface, "name", "the card").required(),
};
constexpr Argument kDriver[] = {
    whole("kind", "1: the wired card; no other is supported", 0, 1).orElse("1"),
    flag("disable", "false only notes that the driver is wanted again; the blacklist stays")
        .orElse("true"),
};
constexpr Argument kReload[] = {
    flag("reload", "have the library read the settings again first")
        .orElse("false")
        .needs(Right::Operate),
};

constexpr Field kCards[] = {
    {"cards", "each card that has a hardware address: what `net_interfaces` tells of it, `ip`, "
              "`mask`, `gateway`, `dhcp`"},
};
constexpr Field kCard[] = {
    {"card", "`name`, `ip`, `mask`, `gateway`, `Mac`, `dhcp`, and each line of NetworkManager "
             "under its label"},
};
constexpr Field kInterfaces[] = {
    {"interfaces", "`name`, `index`, `maximumTransmissionUnit`, `humanReadableName`, `flags`, "
                   "`type`, `hardwareAddress`"},
};
constexpr Field kDriverName[] = {
    {"driver", "its name; empty if there is no wired card"},
};
constexpr Field kSettings[] = {
    {"settings", "each key of the file with its value, pass phrases left out"},
};

constexpr Command kRows[] = {
    command("net_cards", 2300, "every network card with its address")
        .answers(kCards)
        .within(takes::kAllCards),
    command("net_card", 2301, "one card, by name or by its role")
        .takes(kWhich)
        .answers(kCard)
        .fails(kCardNotRead)
        .within(takes::kWirelessCard)
        .like(R"({"name":"eth0"})"),
    command("net_interfaces", 2302, "every interface as the kernel lists it").answers(kInterfaces),
    command("net_driver", 2303, "driver of the wired card")
        .answers(kDriverName)
        .within(takes::kOneTool),
    command("net_ping", 2304, "one probe to an address")
        .takes(kProbe)
        .fails(kNoAnswerToPing)
        .within(takes::kOneTool)
        .needs(Right::Operate)
        .like(R"({"ip":"10.0.0.1"})"),
    command("net_connect_device", 2305, "has NetworkManager connect a card")
        .takes(kDevice)
        .fails(kDeviceNotConnected)
        .within(takes::kOneTool)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"name":"eth1"})"),
    command("net_disable_driver", 2306, "puts the driver of the wired card on the blacklist")
        .takes(kDriver)
        .fails(kDriverNotDisabled)
        .within(takes::kOneTool)
        .needs(Right::Administer)
        .changesHost(),
    command("net_settings", 2307, "stored settings of the network; reloads them")
        .takes(kReload)
        .answers(kSettings)
        .within(takes::kOneTool)
        .changesHost()
        .like(R"({"reload":true})"),
};

constexpr ErrorText kErrors[] = {
    {kCardNotRead, "the card was not read"},
    {kDeviceNotConnected, "the device was not connected"},
    {kDriverNotDisabled, "the driver was not disabled"},
    {kNoAnswerToPing, "no answer to the probe"},
};

} // namespace

constexpr CommandGroup kCardCommands = {"Network cards",         {2300, 2307}, {0, 0},
                                        {40300, 40309},          kRows,        kErrors,
                                        takes::kSupervisionCycle};
static_assert(isSound(kCardCommands));

} // namespace ky
