#include "model/Address.h"
#include "model/Profiles.h"
#include "model/Radio.h"
#include "tools/Nmcli.h"

#include <algorithm>
#include <cctype>
#include <tuple>

namespace hostsim::nm {

namespace {

// NetworkManager prints hardware addresses in capitals, unlike the kernel.
std::string upperCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::toupper(c)); });
    return text;
}

// States of NetworkManager. Rows of the table are sorted by them, the highest first.
constexpr int kUnmanaged = 10;
constexpr int kUnavailable = 20;
constexpr int kDisconnected = 30;
constexpr int kConnected = 100;

int stateOf(const Card& card)
{
    if (!card.isManaged())
        return kUnmanaged;
    if (card.isActive())
        return kConnected;
    const bool isReady = card.up && !card.blocked && card.carrier;
    return isReady ? kDisconnected : kUnavailable;
}

std::string stateText(const Call& call, int state)
{
    switch (state) {
    case kUnmanaged:
        return call.pick("unmanaged", "未托管");
    case kUnavailable:
        return call.pick("unavailable", "不可用");
    case kDisconnected:
        return call.pick("disconnected", "已断开");
    default:
        return call.pick("connected", "已连接");
    }
}

// One row of the device table: a card, or the peer-to-peer device of a Wi-Fi card.
struct Device
{
    std::string name;
    std::string type;
    int state = 0;
    bool shared = false;
    bool hasDefaultRoute = false;
    std::string connection;
};

std::string typeText(const Card& card)
{
    return card.type == "radiotap" ? "unknown" : card.type;
}

Device deviceOf(const Host& host, const Card& card)
{
    const Profile* profile = host.profile(card.nm.profile);
    return {card.name,       typeText(card),           stateOf(card),
            isHotspot(card), !card.ip.gateway.empty(), profile ? idOf(*profile) : ""};
}

// In nmcli's order: by state, then hotspots, then what has a default route.
std::vector<Device> devices(const Host& host)
{
    std::vector<Device> list;
    for (const Card& card : host.cards) {
        list.push_back(deviceOf(host, card));
        if (card.isWifi())
            list.push_back({"p2p-dev-" + card.name, "wifi-p2p",
                            card.blocked ? kUnavailable : kDisconnected, false, false, ""});
    }
    const auto order = [](const Device& d) {
        return std::make_tuple(-d.state, !d.shared, !d.hasDefaultRoute, d.type, d.name);
    };
    std::sort(list.begin(), list.end(),
              [&](const Device& a, const Device& b) { return order(a) < order(b); });
    return list;
}

struct Row
{
    std::string id;
    std::string uuid;
    std::string type;
    std::string card;
    bool shared = false;
    bool hasDefaultRoute = false;
};

Row rowOf(const Host& host, const Profile& profile)
{
    Row row{idOf(profile), profile.uuid, typeOf(profile), "", false, false};
    for (const Card& card : host.cards) {
        if (card.nm.profile != profile.uuid)
            continue;
        row.card = card.name;
        row.shared = isHotspot(card);
        row.hasDefaultRoute = !card.ip.gateway.empty();
    }
    return row;
}

// In nmcli's order: active ones first, of these hotspots and the default route.
std::vector<Row> rowsOf(const Host& host, bool activeOnly)
{
    std::vector<Row> rows;
    for (const Profile& profile : host.profiles) {
        const Row row = rowOf(host, profile);
        if (!activeOnly || !row.card.empty())
            rows.push_back(row);
    }
    const auto order = [](const Row& r) {
        return std::make_tuple(r.card.empty(), !r.shared, !r.hasDefaultRoute, r.id);
    };
    std::stable_sort(rows.begin(), rows.end(),
                     [&](const Row& a, const Row& b) { return order(a) < order(b); });
    return rows;
}

std::string line(const std::string& label, const std::string& value)
{
    return padded(label + ":", 40) + (value.empty() ? "--" : value) + "\n";
}

std::string routeText(const std::string& destination, const std::string& next, int metric)
{
    return "dst = " + destination + ", nh = " + next + ", mt = " + std::to_string(metric);
}

std::string ip4Lines(const Card& card)
{
    std::string text;
    std::string routes;
    const int metric = card.isWifi() ? 600 : card.type == "loopback" ? 0 : 100;
    int index = 0;
    for (const std::string& entry : card.ip.addresses) {
        const auto net = parseNetwork(entry);
        ++index;
        text += line("IP4.ADDRESS[" + std::to_string(index) + "]", entry);
        if (net)
            routes += line(
                "IP4.ROUTE[" + std::to_string(index) + "]",
                routeText(ip4Text(net->address & net->mask()) + "/" + std::to_string(net->prefix),
                          "0.0.0.0", metric));
    }
    text += line("IP4.GATEWAY", card.ip.gateway) + routes;
    if (!card.ip.gateway.empty())
        text += line("IP4.ROUTE[" + std::to_string(index + 1) + "]",
                     routeText("0.0.0.0/0", card.ip.gateway, metric));
    for (size_t i = 0; i < card.ip.dns.size(); ++i)
        text += line("IP4.DNS[" + std::to_string(i + 1) + "]", card.ip.dns[i]);
    return text;
}

// Enough for addresses with "::" in them, which is all that scenes have.
std::string network6(const std::string& address)
{
    return address.substr(0, address.find("::")) + "::/" + address.substr(address.find('/') + 1);
}

std::vector<std::string> routes6(const Card& card)
{
    if (card.type == "loopback")
        return {routeText("::1/128", "::", 256)};
    std::vector<std::string> routes{routeText("fe80::/64", "::", 1024)};
    for (const std::string& address : card.ip.addresses6)
        if (!startsWith(address, "fe80"))
            routes.push_back(routeText(network6(address), "::", 100));
    if (!card.ip.gateway6.empty())
        routes.push_back(routeText("::/0", card.ip.gateway6, 100));
    return routes;
}

std::string numbered(const std::string& label, const std::vector<std::string>& values)
{
    std::string text;
    for (size_t i = 0; i < values.size(); ++i)
        text += line(label + "[" + std::to_string(i + 1) + "]", values[i]);
    return text;
}

std::string ip6Lines(const Host& host, const Card& card)
{
    if (!host.ipv6On() || card.ip.addresses6.empty())
        return line("IP6.GATEWAY", "");
    return numbered("IP6.ADDRESS", card.ip.addresses6) + line("IP6.GATEWAY", card.ip.gateway6) +
           numbered("IP6.ROUTE", routes6(card));
}

std::string stateNumber(const Call& call, const Card& card)
{
    const int state = stateOf(card);
    std::string text = stateText(call, state);
    if (card.type == "loopback" && state == kConnected)
        text = call.pick("connected (externally)", "连接（外部）");
    return fill(call.pick("%1 (%2)", "%1（%2）"), {std::to_string(state), text});
}

std::string showText(const Call& call, const Host& host, const Card& card)
{
    const Profile* profile = host.profile(card.nm.profile);
    const bool hasMac = !card.mac.empty() && !card.isCan();
    std::string text = line("GENERAL.DEVICE", card.name);
    text += line("GENERAL.TYPE", typeText(card));
    text +=
        line("GENERAL.HWADDR", hasMac ? upperCase(card.mac) : call.pick("(unknown)", "（未知）"));
    text += line("GENERAL.MTU", std::to_string(card.mtu));
    text += line("GENERAL.STATE", stateNumber(call, card));
    text += line("GENERAL.CONNECTION", profile ? idOf(*profile) : "");
    text += line("GENERAL.CON-PATH", card.nm.path
                                         ? "/org/freedesktop/NetworkManager/ActiveConnection/" +
                                               std::to_string(card.nm.path)
                                         : "");
    if (card.type == "ethernet")
        text += line("WIRED-PROPERTIES.CARRIER",
                     card.carrier ? call.pick("on", "开") : call.pick("off", "关"));
    return text + ip4Lines(card) + ip6Lines(host, card);
}

} // namespace

int connectionShow(Call& call, size_t first)
{
    const bool activeOnly = call.arg(first) == "--active";
    std::vector<std::vector<std::string>> rows{{"NAME", "UUID", "TYPE", "DEVICE"}};
    for (const Row& row : rowsOf(call.host(), activeOnly))
        rows.push_back({row.id, row.uuid, row.type, row.card.empty() ? "--" : row.card});
    call.out(columns(rows));
    return 0;
}

int deviceStatus(Call& call)
{
    const Host host = call.host();
    std::vector<std::vector<std::string>> rows{{"DEVICE", "TYPE", "STATE", "CONNECTION"}};
    for (const Device& device : devices(host)) {
        std::string state = stateText(call, device.state);
        if (device.type == "loopback" && device.state == kConnected)
            state = call.pick("connected (externally)", "连接（外部）");
        rows.push_back({device.name, device.type, state,
                        device.connection.empty() ? "--" : device.connection});
    }
    call.out(columns(rows));
    return 0;
}

int deviceShow(Call& call, size_t first)
{
    const Host host = call.host();
    const std::string name = call.arg(first);
    if (!name.empty() && !host.card(name))
        return fail(call, kNotFound,
                    call.locale().chinese ? "未找到设备 \"" + name + "\""
                                          : "Device '" + name + "' not found");
    std::string separator;
    for (const Card& card : host.cards) {
        if (!name.empty() && card.name != name)
            continue;
        call.out(separator + showText(call, host, card));
        separator = "\n";
    }
    return 0;
}

} // namespace hostsim::nm
