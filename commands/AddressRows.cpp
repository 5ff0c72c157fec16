#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

// Input masks of panels send "..." for a field that nobody filled in.
constexpr Argument dhcp()
{
    return flag("dhcp", "take the address from the network").orElse("false");
}
constexpr Argument ip()
{
    return argument(ValueKind::Address, "ip", "the address; 192.168.192.x is kept for the host")
        .requiredUnless("dhcp");
}
constexpr Argument mask()
{
    return argument(ValueKind::Mask, "mask", "its mask, such as 255.255.255.0")
        .requiredUnless("dhcp");
}
constexpr Argument gateway()
{
    return argument(ValueKind::Address, "gateway", "the gateway; empty, missing or \"...\": none")
        .orEmpty();
}

constexpr Argument kAddress[] = {
    dhcp(),
    ip().orEmpty(),
    mask().orEmpty(),
    gateway(),
};
constexpr Argument kSsidAddress[] = {
    text("ssid", "name of the network", 1, 32).required(),
    text("passwd", "its pass phrase; empty or missing where it has none", 0, 128).secret(),
    flag("nonBroadcast", "the network does not show its name").orElse("false"),
    dhcp(),
    ip().orEmpty(),
    mask().orEmpty(),
    gateway(),
};
constexpr Argument kPanel[] = {
    argument(ValueKind::Address, "hmiIP", "new address of the panel; empty: none")
        .orEmpty()
        .needs(Right::Administer),
};

constexpr Field kPanelAddress[] = {
    {"hmiIP", "address of the panel"},
};
constexpr Field kFile[] = {
    {"file", "the file that was written; empty if the host has none"},
};
constexpr Field kDevices[] = {
    {"devices",
     "`device`, `type`, `state`, `connection`, which all hold the last word of the line"},
};

constexpr Command kRows[] = {
    command("net_set_wifi_ip", 2370, "address of the Wi-Fi connection in use")
        .takes(kAddress)
        .fails(kAddressFailed)
        .within(takes::kWifiAddress)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ip":"10.0.0.7","mask":"255.255.255.0","gateway":"10.0.0.1"})"),
    command("net_set_wired_ip", 2371, "address of the wired card")
        .takes(kAddress)
        .fails(kAddressFailed)
        .within(takes::kWiredAddress)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"dhcp":true})"),
    command("net_set_ssid_ip", 2372, "joins a Wi-Fi and sets its address")
        .takes(kSsidAddress)
        .fails(kAddressFailed)
        .within(takes::kSsidAddress)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ssid":"site","passwd":"secret12","ip":"10.0.0.7","mask":"255.255.255.0"})"),
    command("net_factory", 2373, "puts the internal card back on its address")
        .fails(kAddressFailed)
        .within(takes::kInternalAddress)
        .needs(Right::Administer)
        .changesHost(),
    command("net_activate", 2374, "makes sure that a wired card has the internal address")
        .fails(kAddressFailed)
        .within(takes::kInternalAddress)
        .needs(Right::Administer)
        .changesHost(),
    command("net_hmi", 2375, "address of the operator panel")
        .takes(kPanel)
        .answers(kPanelAddress)
        .within(takes::kHostReport)
        .changesHost()
        .like(R"({"hmiIP":"10.0.0.20"})"),
    command("net_report", 2376, "reports addresses and Wi-Fi to the robot software")
        .within(takes::kHostReport)
        .needs(Right::Operate),
    command("net_check_dhcp", 2377, "removes stale addresses from profiles on DHCP")
        .within(limits::kReloadProfilesMs)
        .needs(Right::Administer)
        .changesHost(),
    command("net_netplan", 2378, "brings the netplan file in step with the wireless card")
        .fails(kAddressFailed)
        .within(takes::kOneTool)
        .needs(Right::Administer)
        .changesHost(),
    command("net_wifi_config", 2379, "writes the Wi-Fi netplan file")
        .answers(kFile)
        .fails(kAddressFailed)
        .needs(Right::Administer)
        .changesHost(),
    command("net_devices", 2380, "the device table as the hotspot test reads it")
        .answers(kDevices)
        .fails(kAddressFailed)
        .within(takes::kOneTool),
};

constexpr ErrorText kErrors[] = {
    {kAddressFailed, "the address was not set"},
};

} // namespace

constexpr CommandGroup kAddressCommands = {
    "Addresses", {2370, 2389}, {0, 0}, {40350, 40399}, kRows, kErrors, takes::kSupervisionCycle};
static_assert(isSound(kAddressCommands));

} // namespace ky
