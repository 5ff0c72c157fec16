#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr int kWeakestDbm = -200;
constexpr int kLongestQueryMs = 3600000;

constexpr Argument on(const char* summary)
{
    return flag("on", summary).required();
}

constexpr Argument kRoaming[] = {
    on("whether link supervision may roam; stored"),
};
constexpr Argument kSupervision[] = {
    on("whether link supervision cycles"),
};
constexpr Argument kPause[] = {
    on("whether it waits"),
};
constexpr Argument kTarget[] = {
    argument(ValueKind::Mac, "bssid", "the access point").required(),
};
constexpr Argument kSwitch[] = {
    whole("kind", "0: the wired card, 1: the wireless card", 0, 1).required(),
    flag("disable", "true switches it off, and removes the Wi-Fi profiles").required(),
};
// Any one of them sets them all: what is missing then reads as 0, false or no card.
constexpr Argument kWatcher[] = {
    whole("queryTime", "time before each look at the link", 0, kLongestQueryMs).unit("ms"),
    flag("isSwitchOnlyTo5G", "move to access points of 5 GHz alone"),
    whole("startScanningSignal", "level below which it looks for others", kWeakestDbm, 0)
        .unit("dBm"),
    whole("autoSwitchBestAPSignal", "level below which it takes the best in any case", kWeakestDbm,
          0)
        .unit("dBm"),
    whole("switchingSignal", "how much stronger another one has to be", 0, -kWeakestDbm).unit("dB"),
    argument(ValueKind::Interface, "wirelessCardName", "the card").orEmpty(),
};

constexpr Field kList[] = {
    {"wifi_list", "each access point: `ssid`, `bssid`, `frequency`, `rssi`, `is_encrypted`"},
    {"current_wifi", "name of the network in use"},
    {"wifiStatus", "the state of the card as wpa_supplicant tells it"},
};
constexpr Field kStatus[] = {
    {"card", "the wireless card"},
    {"is_associated", "whether it has an access point"},
    {"link", "`ssid`, `bssid`, `frequency`, `signalLevel` and more of the link"},
    {"status", "its state as wpa_supplicant tells it"},
};
constexpr Field kAps[] = {
    {"aps", "`mac`, `frequency`, `signal`, `status` (1 in use, -1 not), `ssid`"},
};
constexpr Field kLink[] = {
    {"card", "the wireless card"},
    {"is_associated", "whether it has an access point"},
    {"link", "`ssid`, `bssid`, `frequency`, `signalLevel` and more of the link"},
};
constexpr Field kTrace[] = {
    {"CurrentAP", "the link as it was seen last"},
    {"ApList", "the candidates as they were seen last"},
    {"decision", "what was decided about them, line by line"},
    {"move", "the last move that was asked for"},
};
constexpr Field kState[] = {
    {"is_cycling", "whether its timer runs"},
    {"is_permitted", "whether the settings let it start"},
    {"is_paused", "whether it waits"},
    {"is_roaming", "whether it may roam"},
    {"is_reporting", "whether it reports good and lost links"},
    {"method", "0 no check, 1 ping, 2 fetch a page"},
    {"period_ms", "time between two cycles"},
    {"wireless_is_off", "whether an operator switched the wireless card off"},
    {"why_not", "why it may not start, if so"},
};
constexpr Field kSaid[] = {
    {"said", "what a tool had to say on the way, empty if nothing"},
};
constexpr Field kThread[] = {
    {"is_running", "whether it runs"},
    {"result", "what its last run came to"},
};
constexpr Field kRoamingEvent[] = {
    {"kind", "`CurrentAP` (the link), `ApList` (the candidates) or `text` (a decision)"},
    {"text", "what the roaming step said"},
};

constexpr Command kRows[] = {
    command("wifi_list", 2350, "all access points in reach, and the state of the card")
        .answers(kList)
        .fails(kWifiFailed)
        .within(takes::kScan)
        .needs(Right::Operate),
    command("wifi_status", 2351, "the link and the state of wpa_supplicant")
        .answers(kStatus)
        .fails(kWifiFailed)
        .within(takes::kLinkAndStatus),
    command("wifi_aps", 2352, "the access points of the network in use")
        .answers(kAps)
        .within(takes::kScanOfNetwork)
        .needs(Right::Operate),
    command("wifi_roaming", 2353, "switches roaming on or off")
        .takes(kRoaming)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"on":true})"),
    command("wifi_roam", 2354, "asks for a roam to one access point")
        .takes(kTarget)
        .fails(kWifiFailed)
        .within(takes::kRoam)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"bssid":"02:00:00:00:05:00"})"),
    command("wifi_link", 2355, "the access point in use and its level")
        .answers(kLink)
        .fails(kWifiFailed)
        .within(takes::kLink),
    command("wifi_trace", 2356, "what the roaming step said last").answers(kTrace),
    command("supervision_set", 2357, "starts or stops link supervision")
        .takes(kSupervision)
        .answers(kState)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"on":true})"),
    command("supervision_status", 2358, "whether link supervision cycles, and how").answers(kState),
    command("supervision_pause", 2359, "lets link supervision wait")
        .takes(kPause)
        .needs(Right::Operate)
        .changesHost()
        .like(R"({"on":false})"),
    command("card_switch", 2360, "switches the wired (0) or the wireless card (1) on or off")
        .takes(kSwitch)
        .answers(kSaid)
        .within(takes::kSwitchCard)
        .needs(Right::Administer)
        .changesHost()
        .like(R"({"kind":1,"disable":false})"),
    command("scan_thread_start", 2361, "starts the second watcher of the Wi-Fi link")
        .takes(kWatcher)
        .fails(kScanThreadBusy)
        .needs(Right::Operate)
        .changesHost(),
    command("scan_thread_status", 2362, "whether that watcher runs").answers(kThread),
    event("event_roaming", 2925, "the link, the candidates or a decision of the roaming step")
        .answers(kRoamingEvent),
};

constexpr ErrorText kErrors[] = {
    {kWifiFailed, "the Wi-Fi operation failed"},
    {kScanThreadBusy, "the scan thread is running"},
};

} // namespace

constexpr CommandGroup kRoamingCommands = {
    "Roaming and link supervision", {2350, 2369}, {2925, 2929}, {40350, 40399}, kRows, kErrors,
    takes::kSupervisionCycle};
static_assert(isSound(kRoamingCommands));

} // namespace ky
