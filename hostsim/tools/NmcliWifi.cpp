#include "model/MachineClock.h"
#include "model/Profiles.h"
#include "model/Radio.h"
#include "model/Time.h"
#include "tools/Nmcli.h"

#include <algorithm>

namespace hostsim::nm {

namespace {

// Channel 14 lies apart from the others.
int channelOf(int frequency)
{
    if (frequency == 2484)
        return 14;
    return frequency < 5000 ? (frequency - 2407) / 5 : (frequency - 5000) / 5;
}

// NetworkManager's scale, with -100 dBm and -40 dBm as its ends.
int percentOf(int level)
{
    const int distance = -std::clamp(level, -100, -40) - 40;
    return 100 - 100 * distance / 60;
}

std::string barsOf(const Call& call, int percent)
{
    const int count = percent > 80 ? 4 : percent > 55 ? 3 : percent > 30 ? 2 : percent > 5 ? 1 : 0;
    if (call.locale().ascii)
        return std::string(static_cast<size_t>(count), '*') +
               std::string(static_cast<size_t>(4 - count), ' ');
    constexpr const char* bars[] = {"____", "▂___", "▂▄__", "▂▄▆_", "▂▄▆█"};
    return bars[count];
}

std::string securityOf(const ScanRow& row)
{
    if (contains(row.flags, "EAP"))
        return "WPA2 802.1X";
    return contains(row.flags, "WPA2") ? "WPA2" : "--";
}

std::vector<std::string> wifiRow(const Call& call, const Card& card, const ScanRow& row)
{
    const int percent = percentOf(row.level);
    return {row.bssid == card.link.bssid ? "*" : " ",
            row.bssid,
            row.ssid.empty() ? "--" : row.ssid,
            "Infra",
            std::to_string(channelOf(row.frequency)),
            "130 Mbit/s",
            std::to_string(percent),
            barsOf(call, percent),
            securityOf(row)};
}

// The value after a word like "ifname" or "hidden".
std::string option(const Call& call, size_t first, const char* name)
{
    for (size_t i = first; i + 1 < call.args().size(); i += 2)
        if (call.arg(i) == name)
            return call.arg(i + 1);
    return {};
}

Card* wifiCard(Host& host, const std::string& name)
{
    for (Card& card : host.cards)
        if (card.isWifi() && (name.empty() || card.name == name))
            return &card;
    return nullptr;
}

struct Request
{
    std::string ssid;
    std::string password;
    std::string cardName;
    std::string profileName;
    bool hidden = false;
};

Keyfile newKeyfile(Host& host, const Request& request, const AccessPoint& ap, const Card& card)
{
    Keyfile keyfile;
    keyfile.setText("connection", "id",
                    request.profileName.empty() ? request.ssid : request.profileName);
    keyfile.setRaw("connection", "uuid", newUuid(host));
    keyfile.setRaw("connection", "type", "wifi");
    keyfile.setRaw("connection", "interface-name", card.name);
    keyfile.setRaw("wifi", "mode", "infrastructure");
    if (request.hidden)
        keyfile.setRaw("wifi", "hidden", "true");
    keyfile.setSsid(request.ssid);
    if (ap.security == "psk") {
        keyfile.setRaw("wifi-security", "auth-alg", "open");
        keyfile.setRaw("wifi-security", "key-mgmt", "wpa-psk");
    }
    keyfile.setRaw("ipv4", "method", "auto");
    keyfile.setRaw("ipv6", "addr-gen-mode", "default");
    keyfile.setRaw("ipv6", "method", "auto");
    keyfile.addGroup("proxy");
    return keyfile;
}

// A network that was joined before keeps its profile; nmcli adds no second one.
Profile* profileOfSsid(Host& host, const Card& card, const std::string& ssid)
{
    Profile* latest = nullptr;
    for (Profile& profile : host.profiles) {
        const Keyfile keyfile(profile.text);
        if (fits(keyfile, card) && keyfile.ssid() == ssid && keyfile.raw("wifi", "mode") != "ap" &&
            (!latest || profile.usedAt > latest->usedAt))
            latest = &profile;
    }
    return latest;
}

Profile& profileFor(Host& host, const StateFolder& folder, const Request& request,
                    const AccessPoint& ap, const Card& card)
{
    Profile* known = profileOfSsid(host, card, request.ssid);
    Keyfile keyfile = known ? Keyfile(known->text) : newKeyfile(host, request, ap, card);
    // nmcli leaves out a password that cannot be valid; the connection then fails for want of
    // secrets.
    if (isValidPsk(request.password) && ap.security == "psk")
        keyfile.setText("wifi-security", "psk", request.password);
    if (!known)
        return addProfile(host, folder, keyfile);
    if (known->text != keyfile.toText())
        updateProfile(*known, folder, keyfile);
    return *known;
}

int failNoNetwork(Call& call, const std::string& ssid)
{
    return fail(
        call, kNotFound,
        fill(call.pick("No network with SSID '%1' found", "未发现 SSID 为 \"%1\" 的网络"), {ssid}));
}

int connectTo(Call& call, Host& host, const Request& request)
{
    Card& card = *wifiCard(host, request.cardName);
    const AccessPoint* ap = strongest(host, card, request.ssid, false);
    if (!ap) {
        // The scan for the name ends after this answer, so only the next attempt finds the network.
        if (request.hidden)
            startScan(host, card, nowMs(), request.ssid);
        return failNoNetwork(call, request.ssid);
    }
    Profile& profile = profileFor(host, call.folder(), request, *ap, card);
    const Joining result = activate(host, card, profile);
    if (result == Joining::Done) {
        call.out(activatedLine(call, card.name, profile.uuid));
        return 0;
    }
    // This line has English punctuation in every locale.
    const std::string reason =
        result == Joining::NoSecrets
            ? call.pick("Secrets were required, but not provided", "需要密钥，但未提供")
            : "IP configuration could not be reserved (no available address, timeout, etc.)";
    return call.fail(kActivationFailed, "Error: Connection activation failed: " + reason + ".\n");
}

// How long the real command takes, in milliseconds.
int waitFor(Host& host, const Request& request)
{
    const Card& card = *wifiCard(host, request.cardName);
    const AccessPoint* ap = strongest(host, card, request.ssid, false);
    if (!ap || (ap->security == "psk" && !isValidPsk(request.password)))
        return 700;
    return ap->security != "psk" || ap->password == request.password ? 2500 : 4800;
}

Keyfile hotspotKeyfile(Host& host, const Request& request)
{
    Keyfile keyfile;
    keyfile.setText("connection", "id", request.profileName);
    keyfile.setRaw("connection", "uuid", newUuid(host));
    keyfile.setRaw("connection", "type", "wifi");
    keyfile.setRaw("connection", "interface-name", request.cardName);
    keyfile.setRaw("connection", "autoconnect", "false");
    keyfile.setRaw("wifi", "mode", "ap");
    keyfile.setSsid(request.ssid);
    keyfile.setRaw("wifi-security", "group", "ccmp;");
    keyfile.setRaw("wifi-security", "key-mgmt", "wpa-psk");
    keyfile.setRaw("wifi-security", "pairwise", "ccmp;");
    keyfile.setRaw("wifi-security", "proto", "rsn;");
    keyfile.setText("wifi-security", "psk", request.password);
    keyfile.setRaw("ipv4", "method", "shared");
    keyfile.setRaw("ipv6", "addr-gen-mode", "default");
    keyfile.setRaw("ipv6", "method", "ignore");
    keyfile.addGroup("proxy");
    return keyfile;
}

int startHotspot(Call& call, Host& host, const Request& request)
{
    Card& card = *wifiCard(host, request.cardName);
    Profile& profile = addProfile(host, call.folder(), hotspotKeyfile(host, request));
    if (activate(host, card, profile) != Joining::Done)
        return call.fail(kActivationFailed,
                         "Error: Connection activation failed: The device is not ready.\n");
    call.out(activatedLine(call, card.name, profile.uuid));
    call.out(call.pick("Hint: \"nmcli dev wifi show-password\" shows the Wi-Fi name and "
                       "password.\n",
                       "提示：\"nmcli dev wifi show-password\" 显示 Wi-Fi 名称和密码。\n"));
    return 0;
}

} // namespace

int wifiList(Call& call, size_t)
{
    const Host host = call.host();
    std::vector<std::vector<std::string>> rows{
        {"IN-USE", "BSSID", "SSID", "MODE", "CHAN", "RATE", "SIGNAL", "BARS", "SECURITY"}};
    for (const Card& card : host.cards) {
        std::vector<ScanRow> found = card.supplicant.scan;
        std::stable_sort(found.begin(), found.end(), [](const ScanRow& a, const ScanRow& b) {
            return a.level != b.level ? a.level > b.level : a.bssid < b.bssid;
        });
        for (const ScanRow& row : found)
            rows.push_back(wifiRow(call, card, row));
    }
    call.out(columns(rows));
    return 0;
}

int wifiRescan(Call& call, size_t first)
{
    call.store().change([&](Host& host) {
        if (Card* card = wifiCard(host, option(call, first, "ifname")))
            startScan(host, *card, nowMs(), option(call, first, "ssid"));
    });
    return 0;
}

int wifiConnect(Call& call, size_t first)
{
    Request request;
    request.ssid = call.arg(first);
    request.password = option(call, first + 1, "password");
    request.cardName = option(call, first + 1, "ifname");
    request.profileName = option(call, first + 1, "name");
    request.hidden = option(call, first + 1, "hidden") == "yes";
    Host before = call.host();
    if (request.ssid.empty())
        return fail(call, kUsage, call.pick("SSID or BSSID are missing", "缺少 SSID 或 BSSID"));
    if (!wifiCard(before, request.cardName))
        return fail(call, kError, call.pick("No Wi-Fi device found", "未发现 Wi-Fi 设备"));
    call.wait(waitFor(before, request));
    int status = 0;
    call.store().change([&](Host& host) { status = connectTo(call, host, request); });
    return status;
}

int wifiHotspot(Call& call, size_t first)
{
    Request request;
    request.cardName = option(call, first, "ifname");
    request.profileName = option(call, first, "con-name");
    request.ssid = option(call, first, "ssid");
    request.password = option(call, first, "password");
    Host before = call.host();
    if (!wifiCard(before, request.cardName))
        return fail(
            call, kError,
            fill(call.pick("Device '%1' is not a Wi-Fi device", "设备 \"%1\" 不是 Wi-Fi 设备"),
                 {request.cardName}));
    if (!isValidPsk(request.password))
        return fail(call, kError,
                    fill(call.pick("Invalid 'password': '%1' is not valid WPA PSK",
                                   "无效的 \"password\"：\"%1\" 不是有效的 WPA PSK"),
                         {request.password}));
    call.wait(1800);
    int status = 0;
    call.store().change([&](Host& host) { status = startHotspot(call, host, request); });
    return status;
}

} // namespace hostsim::nm
