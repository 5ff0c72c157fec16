#include "tools/Tools.h"

namespace hostsim {

namespace {

std::string labelled(const char* indent, const std::string& label, const std::string& value)
{
    return indent + label + ": " + value + "\n";
}

std::string addressOf(const Card& card)
{
    if (card.ip.addresses.empty())
        return {};
    return " ip=" + card.ip.addresses.front().substr(0, card.ip.addresses.front().find('/'));
}

std::string descriptionOf(const Card& card)
{
    if (!card.description.empty())
        return card.description;
    return card.isWifi() ? "Wireless interface" : "Ethernet interface";
}

// A virtio card is the child of a bus device, which has a configuration line of its own.
std::string virtioText(const Card& card, int number)
{
    constexpr char parent[] = "       ";
    constexpr char child[] = "          ";
    return "  *-network:" + std::to_string(number) + "\n" + labelled(parent, "physical id", "4") +
           labelled(parent, "bus info", "pci@0000:00:04.0") + labelled(parent, "version", "00") +
           labelled(parent, "width", "64 bits") + labelled(parent, "clock", "33MHz") +
           labelled(parent, "capabilities", "msix bus_master cap_list rom") +
           labelled(parent, "configuration", "driver=virtio-pci latency=0") +
           labelled(parent, "resources",
                    "irq:20 ioport:c360(size=32) memory:febe7000-febe7fff "
                    "memory:febf8000-febfbfff memory:feb40000-feb7ffff") +
           "     *-virtio3\n" + labelled(child, "description", descriptionOf(card)) +
           labelled(child, "physical id", "0") + labelled(child, "bus info", "virtio@3") +
           labelled(child, "logical name", card.name) + labelled(child, "serial", card.mac) +
           labelled(child, "capabilities", "ethernet physical") +
           labelled(child, "configuration",
                    "autonegotiation=off broadcast=yes driver=virtio_net driverversion=1.0.0" +
                        addressOf(card) + " link=" + (card.carrier ? "yes" : "no") +
                        " multicast=yes");
}

std::string wiredText(const Card& card, int number)
{
    constexpr char indent[] = "       ";
    return "  *-network:" + std::to_string(number) + "\n" +
           labelled(indent, "description", descriptionOf(card)) +
           labelled(indent, "physical id", "5") + labelled(indent, "bus info", "pci@0000:00:05.0") +
           labelled(indent, "logical name", card.name) + labelled(indent, "version", "03") +
           labelled(indent, "serial", card.mac) + labelled(indent, "size", "1Gbit/s") +
           labelled(indent, "capacity", "1Gbit/s") + labelled(indent, "width", "32 bits") +
           labelled(indent, "clock", "33MHz") +
           labelled(indent, "capabilities",
                    "bus_master rom ethernet physical tp 10bt 10bt-fd 100bt 100bt-fd 1000bt-fd "
                    "autonegotiation") +
           labelled(indent, "configuration",
                    "autonegotiation=on broadcast=yes driver=" + card.driver +
                        " driverversion=6.1.0-56-amd64 duplex=full" + addressOf(card) +
                        " latency=0 link=" + (card.carrier ? "yes" : "no") +
                        " multicast=yes port=twisted pair speed=1Gbit/s") +
           labelled(indent, "resources",
                    "irq:21 memory:febc0000-febdffff ioport:c2c0(size=64) "
                    "memory:feb80000-febbffff");
}

std::string wirelessText(const Card& card)
{
    constexpr char indent[] = "       ";
    return "  *-network\n" + labelled(indent, "description", descriptionOf(card)) +
           labelled(indent, "physical id", "7") + labelled(indent, "logical name", card.name) +
           labelled(indent, "serial", card.mac) +
           labelled(indent, "capabilities", "ethernet physical wireless") +
           labelled(indent, "configuration",
                    "broadcast=yes driver=" + card.driver +
                        " driverversion=6.1.0-56-amd64 firmware=N/A" + addressOf(card) +
                        " link=" + (card.link.bssid.empty() ? "no" : "yes") +
                        " multicast=yes wireless=IEEE 802.11");
}

} // namespace

int lshw(Call& call)
{
    int number = 0;
    for (const Card& card : call.host().cards) {
        if (card.isWifi())
            call.out(wirelessText(card));
        else if (card.type == "ethernet" && card.driver == "virtio_net")
            call.out(virtioText(card, number++));
        else if (card.type == "ethernet")
            call.out(wiredText(card, number++));
    }
    return 0;
}

} // namespace hostsim
