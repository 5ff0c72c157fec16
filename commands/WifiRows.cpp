#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

// Standards: 32 bytes of an SSID; 63 of a pass phrase, or a key of 64 digits. Newer ways to join
// take longer pass phrases.
constexpr int kSsidBytes = 32;
constexpr int kPasswordBytes = 128;
constexpr int kTextBytes = 255;

// Three certificates of up to 1 MiB in base64.
constexpr int kDescriptionBytes = 5 * 1024 * 1024;
constexpr int kCertificateBytes = 4 * 1024 * 1024 / 3 + 4;

constexpr Argument ssid()
{
    return text("ssid", "name of the network", 1, kSsidBytes).required();
}

constexpr Argument password(const char* name, const char* summary)
{
    return text(name, summary, 0, kPasswordBytes).secret();
}

constexpr Argument kJoin[] = {
    ssid(),
    password("password", "pass phrase; empty or missing where the network has none"),
    flag("hidden", "the network does not show its name").orElse("false"),
};
constexpr Argument kJoinShort[] = {
    ssid(),
};

constexpr Argument kFile[] = {
    text("fileName", "name of the file over there, without a folder", 1, kTextBytes),
    text("base64", "its content", 0, kCertificateBytes),
};
constexpr Argument kKeyFile[] = {
    text("fileName", "name of the file over there, without a folder", 1, kTextBytes),
    text("base64", "its content", 0, kCertificateBytes).secret(),
};
constexpr Argument kDescription[] = {
    ssid(),
    flag("verification", "802.1X; else a pass phrase or none").orElse("false"),
    flag("dhcp", "address from the network; else `ipv4.addresses`").orElse("false"),
    flag("nonBroadcast", "the network does not show its name").orElse("false"),
    password("password", "pass phrase without 802.1X"),
    text("ipv4.addresses", "address and prefix length, such as 10.0.0.7/24", 0, kTextBytes),
    text("ipv4.gateway", "gateway to it", 0, kTextBytes),
    text("wifi-sec.key-mgmt", "such as wpa-eap", 0, kTextBytes),
    text("802-1x.eap", "such as peap or tls", 0, kTextBytes),
    text("802-1x.phase2-auth", "such as mschapv2", 0, kTextBytes),
    text("802-1x.identity", "user", 0, kTextBytes),
    password("802-1x.password", "password of the user"),
    object("802-1x.ca-cert", "certificate of the authority", kFile),
    object("802-1x.client-cert", "certificate of this host", kFile),
    object("802-1x.private-key", "its key", kKeyFile),
    password("802-1x.private-key-password", "pass phrase of the key"),
};

constexpr Argument kRestart[] = {
    flag("restart", "restart NetworkManager if that fails").orElse("false"),
};
constexpr Argument kCard[] = {
    argument(ValueKind::Interface, "card",
             "a card whose profiles go, of any kind; without it those of every Wi-Fi go"),
};
constexpr Argument kStored[] = {
    text("ssid", "name of the profile; empty or missing: the network in use", 0, kTextBytes),
};
constexpr Argument kProfileId[] = {
    text("id", "name of the profile", 1, kTextBytes).required(),
};

constexpr Field kSsid[] = {
    {"ssid", "name of the network"},
};
constexpr Field kPassword[] = {
    {"ssid", "name of the network"},
    {"password", "its pass phrase, empty if none is stored"},
};
constexpr Field kProfile[] = {
    {"fileName", "the keyfile, without its folder"},
    {"id", "name of the profile"},
    {"uuid", "its UUID"},
};

constexpr Command kRows[] = {
    command("net_profile", 2308, "one profile of NetworkManager, by its name")
        .takes(kProfileId)
        .answers(kProfile)
        .fails(kNoSuchProfile)
        .like(R"({"id":"RobotNet"})"),
    command("wifi_connect", 2310, "joins a Wi-Fi by its name")
        .takes(kJoin)
        .fails(kWifiNotJoined)
        .within(takes::kJoin)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ssid":"RobotNet","password":"robotpass"})"),
    command("wifi_connect_short", 2311, "joins a Wi-Fi that needs no password")
        .takes(kJoinShort)
        .fails(kWifiNotJoined)
        .within(takes::kOneTool)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ssid":"OpenNet"})"),
    command("wifi_enterprise", 2312, "joins a Wi-Fi by a full description, 802.1X included")
        .takes(kDescription)
        .takesUpTo(kDescriptionBytes)
        .fails(kWifiNotJoined)
        .within(takes::kJoinByDescription)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"ssid":"RobotNet","dhcp":true,"password":"robotpass"})"),
    command("wifi_up", 2313, "brings the stored Wi-Fi profile up")
        .takes(kRestart)
        .fails(kWifiNotJoined)
        .within(takes::kBringUp)
        .needs(Right::Administer)
        .changesHost(),
    command("wifi_forget", 2314, "removes the Wi-Fi profiles, or those of a card")
        .takes(kCard)
        .fails(kNoSuchWifiCard, kNotForgotten)
        .within(takes::kRemoveCardProfiles)
        .needs(Right::Administer)
        .changesHost(),
    command("wifi_ssid", 2315, "name of the Wi-Fi in use")
        .answers(kSsid)
        .fails(kWifiNotConnected)
        .within(takes::kPasswordInUse),
    command("wifi_password", 2316, "stored pass phrase of a Wi-Fi")
        .takes(kStored)
        .answers(kPassword)
        .fails(kWifiNotConnected, kNoSuchProfile)
        .within(takes::kPasswordInUse)
        .needs(Right::Administer)
        .like(R"({"ssid":"RobotNet"})"),
};

constexpr ErrorText kErrors[] = {
    {kWifiNotJoined, "the Wi-Fi was not joined"},
    {kWifiNotConnected, "the wireless card is not connected"},
    {kNoSuchProfile, "no such profile"},
    {kNoSuchWifiCard, "no such card"},
    {kNotForgotten, "the profiles were not removed"},
};

} // namespace

constexpr CommandGroup kWifiCommands = {
    "Wi-Fi networks and profiles", {2308, 2349}, {0, 0}, {40310, 40349}, kRows, kErrors,
    takes::kSupervisionCycle};
static_assert(isSound(kWifiCommands));

} // namespace ky
