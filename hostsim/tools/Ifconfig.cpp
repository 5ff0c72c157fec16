#include "model/Address.h"
#include "model/DerivedFiles.h"
#include "tools/Tools.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <net/if.h>

namespace hostsim {

namespace {

constexpr int kFailed = 255;

std::string flagsText(unsigned flags)
{
    constexpr std::pair<unsigned, const char*> names[] = {
        {IFF_UP, "UP"},           {IFF_BROADCAST, "BROADCAST"}, {IFF_LOOPBACK, "LOOPBACK"},
        {IFF_RUNNING, "RUNNING"}, {IFF_NOARP, "NOARP"},         {IFF_MULTICAST, "MULTICAST"}};
    std::string text;
    for (const auto& [bit, name] : names)
        if (flags & bit)
            text += (text.empty() ? "" : ",") + std::string(name);
    return "flags=" + std::to_string(flags) + "<" + text + ">";
}

// Rounded down to a tenth, as ifconfig does.
std::string bytesText(long bytes)
{
    char text[64];
    if (bytes < 1024)
        std::snprintf(text, sizeof text, "%ld (%ld.0 B)", bytes, bytes);
    else if (bytes < 1024L * 1024)
        std::snprintf(text, sizeof text, "%ld (%.1f KiB)", bytes, double(bytes * 10 / 1024) / 10);
    else
        std::snprintf(text, sizeof text, "%ld (%.1f MiB)", bytes,
                      double(bytes * 10 / 1048576) / 10);
    return text;
}

std::string trafficText(const Traffic& t)
{
    return "        RX packets " + std::to_string(t.rxPackets) + "  bytes " + bytesText(t.rxBytes) +
           "\n        RX errors 0  dropped 0  overruns 0  frame 0\n        TX packets " +
           std::to_string(t.txPackets) + "  bytes " + bytesText(t.txBytes) +
           "\n        TX errors 0  dropped 0 overruns 0  carrier 0  collisions 0\n";
}

std::string hardwareText(const Card& card)
{
    const std::string queue = "  txqueuelen " + std::to_string(card.queueLength) + "  ";
    if (card.type == "loopback")
        return "        loop" + queue + "(Local Loopback)\n";
    if (card.isCan())
        return "        unspec 00-00-00-00-00-00-00-00-00-00-00-00-00-00-00-00" + queue +
               "(UNSPEC)\n";
    if (card.type == "radiotap")
        return "        unspec 12-00-00-00-00-00-00-00-00-00-00-00-00-00-00-00" + queue +
               "(UNSPEC)\n";
    return "        ether " + card.mac + queue + "(Ethernet)\n";
}

std::string addressText(const Card& card, const std::string& entry)
{
    const auto net = parseNetwork(entry);
    if (!net)
        return {};
    std::string text =
        "        inet " + ip4Text(net->address) + "  netmask " + ip4Text(net->mask());
    if (card.type != "loopback")
        text += "  broadcast " + ip4Text(net->broadcast());
    return text + "\n";
}

std::string address6Text(const std::string& entry)
{
    const size_t slash = entry.find('/');
    const std::string address = entry.substr(0, slash);
    const char* scope = "0x0<global>";
    if (startsWith(address, "fe80"))
        scope = "0x20<link>";
    else if (startsWith(address, "fec0"))
        scope = "0x40<site>";
    else if (address == "::1")
        scope = "0x10<host>";
    return "        inet6 " + address + "  prefixlen " + entry.substr(slash + 1) + "  scopeid " +
           scope + "\n";
}

// Only the first address: ifconfig lists the others under alias names, which no card of a scene
// has.
std::string cardText(const Host& host, const Card& card)
{
    std::string text =
        card.name + ": " + flagsText(flagsOf(card)) + "  mtu " + std::to_string(card.mtu) + "\n";
    if (!card.ip.addresses.empty())
        text += addressText(card, card.ip.addresses.front());
    if (host.ipv6On())
        for (const std::string& entry : card.ip.addresses6)
            text += address6Text(entry);
    text += hardwareText(card) + trafficText(card.traffic);
    if (card.interrupt > 0)
        text += "        device interrupt " + std::to_string(card.interrupt) + "  \n";
    return text + "\n";
}

int list(Call& call, bool withDown)
{
    Host host = call.host();
    std::sort(host.cards.begin(), host.cards.end(),
              [](const Card& a, const Card& b) { return a.name < b.name; });
    for (const Card& card : host.cards)
        if (withDown || (flagsOf(card) & IFF_UP))
            call.out(cardText(host, card));
    return 0;
}

int failUp(Call& call, const char* english, const char* chinese)
{
    return call.fail(kFailed, "SIOCSIFFLAGS: " + call.pick(english, chinese) + "\n");
}

int bring(Call& call, const std::string& name, bool up)
{
    const Host host = call.host();
    const Card& card = *host.card(name);
    // Messages of the kernel, which ifconfig prefixes with the name of the request.
    if (up && card.blocked)
        return failUp(call, "Operation not possible due to RF-kill", "由于 RF-kill 而无法操作");
    // The kernel starts no CAN controller without a bit rate.
    if (up && card.type == "can" && card.can.bitRate == 0 && card.can.timing.empty())
        return failUp(call, "Invalid argument", "无效的参数");
    call.store().change([&](Host& changed) { changed.card(name)->up = up; });
    return 0;
}

int prefixOf(const std::string& mask)
{
    const auto bits = parseIp4(mask);
    return bits ? __builtin_popcount(*bits) : 24;
}

int setAddress(Call& call, const std::string& name)
{
    const std::string text = call.arg(1).substr(0, call.arg(1).find('/'));
    if (!parseIp4(text))
        return call.fail(kFailed, text + ": " + call.pick("Unknown host", "未知的主机") +
                                      "\nifconfig: `--help' gives usage information.\n");
    // The mask of a class C address if none is given.
    int prefix = 24;
    for (size_t i = 2; i + 1 < call.args().size(); ++i)
        if (call.arg(i) == "netmask")
            prefix = prefixOf(call.arg(i + 1));
    if (const auto network = parseNetwork(call.arg(1)))
        prefix = network->prefix;
    call.store().change([&](Host& host) {
        Card& card = *host.card(name);
        card.ip.addresses = {text + "/" + std::to_string(prefix)};
        card.up = true;
    });
    return 0;
}

} // namespace

int ifconfig(Call& call)
{
    const std::string name = call.arg(0);
    if (name.empty() || name == "-a")
        return list(call, name == "-a");
    const Host host = call.host();
    const Card* card = host.card(name);
    const std::string missing = call.pick("No such device", "没有那个设备");
    if (!card && !call.has(1))
        return call.fail(1, name + ": error fetching interface information: Device not found\n");
    if (!card)
        return call.fail(kFailed,
                         name + ": ERROR while getting interface flags: " + missing + "\n");
    if (!call.has(1)) {
        call.out(cardText(host, *card));
        return 0;
    }
    if (call.arg(1) == "up" || call.arg(1) == "down")
        return bring(call, name, call.arg(1) == "up");
    return setAddress(call, name);
}

} // namespace hostsim
