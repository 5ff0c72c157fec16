#include "model/DerivedFiles.h"

#include "model/Address.h"
#include "model/Files.h"
#include "model/Words.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include <net/if.h>

namespace hostsim {

namespace {

// The kernel prints an address as the number that its bytes are in memory: backwards on a
// little-endian processor.
std::string formatted(const char* format, const char* card, uint32_t destination, uint32_t gateway,
                      int flags, int metric, uint32_t mask)
{
    const auto swapped = [](uint32_t v) { return __builtin_bswap32(v); };
    char line[200];
    std::snprintf(line, sizeof line, format, card, swapped(destination), swapped(gateway), flags,
                  metric, swapped(mask));
    std::string text = line;
    text.resize(127, ' '); // the kernel pads its lines
    return text + "\n";
}

constexpr char kRouteLine[] = "%s\t%08X\t%08X\t%04X\t0\t0\t%d\t%08X\t0\t0\t0";
constexpr char kRouteHead[] =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT";

std::string routesOf(const Card& card)
{
    std::string text;
    const int metric = card.isWifi() ? 600 : 100; // NetworkManager's own
    if (const auto gateway = parseIp4(card.ip.gateway))
        text += formatted(kRouteLine, card.name.c_str(), 0, *gateway, 3, metric, 0);
    for (const std::string& entry : card.ip.addresses)
        if (const auto net = parseNetwork(entry))
            text += formatted(kRouteLine, card.name.c_str(), net->address & net->mask(), 0, 1,
                              metric, net->mask());
    return text;
}

// ARPHRD_* of the kernel.
int hardwareType(const Card& card)
{
    if (card.type == "loopback")
        return 772;
    if (card.type == "radiotap")
        return 803;
    return card.isCan() ? 280 : 1;
}

void writeZones(const Host& host, const StateFolder& state)
{
    namespace fs = std::filesystem;
    const std::string folder = state.privatePath("/sys/class/thermal");
    for (size_t i = 0; i < host.thermal.size(); ++i) {
        const std::string zone = folder + "/thermal_zone" + std::to_string(i);
        writeFile(zone + "/type", host.thermal[i].type + "\n");
        writeFile(zone + "/temp", std::to_string(host.thermal[i].milliCelsius) + "\n");
    }
    // Zones that the scene no longer has.
    for (size_t i = host.thermal.size();
         fs::remove_all(folder + "/thermal_zone" + std::to_string(i)) > 0; ++i) {
    }
}

} // namespace

unsigned flagsOf(const Card& card)
{
    unsigned flags = card.up && !card.blocked ? IFF_UP : 0;
    if (card.type == "loopback")
        flags |= IFF_LOOPBACK;
    else if (card.isCan())
        flags |= IFF_NOARP;
    else if (card.type == "dummy")
        flags |= IFF_BROADCAST | IFF_NOARP;
    else
        flags |= IFF_BROADCAST | IFF_MULTICAST;
    return flags | (card.isRunning() ? IFF_RUNNING : 0);
}

std::string soundCardsText(const Host& host)
{
    std::string text;
    for (size_t i = 0; i < host.sound.size(); ++i) {
        const SoundCard& card = host.sound[i];
        char index[8];
        std::snprintf(index, sizeof index, "%2zu", i % 100);
        text.append(index).append(" [").append(padded(card.id, 15)).append("]: ");
        text.append(card.driver).append(" - ").append(card.name).append("\n");
        text.append(22, ' ').append(card.longName).append("\n");
    }
    return text.empty() ? "--- no soundcards ---\n" : text;
}

std::string routesText(const Host& host)
{
    std::string text = kRouteHead;
    text.resize(127, ' ');
    text += "\n";
    for (const Card& card : host.cards)
        if (card.type != "loopback")
            text += routesOf(card);
    return text;
}

std::string interfacesText(const Host& host)
{
    std::string text;
    int index = 0;
    for (const Card& card : host.cards) {
        ++index;
        text += "link " + std::to_string(index) + " " + card.name + " " +
                std::to_string(flagsOf(card)) + " " + std::to_string(card.mtu) + " " +
                std::to_string(hardwareType(card)) + " " + (card.isWifi() ? "1" : "0") + " " +
                (card.mac.empty() ? "00:00:00:00:00:00" : card.mac) + "\n";
        for (const std::string& address : card.ip.addresses)
            text += "addr " + std::to_string(index) + " " + address + "\n";
        for (const std::string& address : card.ip.addresses6)
            if (host.ipv6On())
                text += "addr " + std::to_string(index) + " " + address + "\n";
    }
    return text;
}

void writeDerivedFiles(const Host& host, const StateFolder& state)
{
    writeFile(state.privatePath("/proc/asound/cards"), soundCardsText(host));
    writeFile(state.privatePath("/proc/net/route"), routesText(host));
    writeFile(state.interfacesFile(), interfacesText(host));
    writeZones(host, state);
}

} // namespace hostsim
