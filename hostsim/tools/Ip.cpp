#include "model/DerivedFiles.h"
#include "tools/Tools.h"

#include <algorithm>
#include <map>

namespace hostsim {

namespace {

constexpr int kFailed = 2;
constexpr int kMaxSegment1 = 16; // limit of the CAN controller for prop-seg + phase-seg1

// What the kernel refused. Some of its texts are not translated.
int answer(Call& call, const char* english, const char* chinese)
{
    return call.fail(kFailed, "RTNETLINK answers: " + call.pick(english, chinese) + "\n");
}

// Reads "bitrate 500000 restart-ms 100".
std::map<std::string, int> numbers(const Call& call, size_t first)
{
    std::map<std::string, int> values;
    for (size_t i = first; i + 1 < call.args().size(); i += 2)
        values[call.arg(i)] = std::atoi(call.arg(i + 1).c_str());
    return values;
}

int valueOf(const std::map<std::string, int>& values, const char* name)
{
    const auto found = values.find(name);
    return found == values.end() ? 0 : found->second;
}

std::string textFrom(const Call& call, size_t first)
{
    std::string text;
    for (size_t i = first; i < call.args().size(); ++i)
        text += (text.empty() ? "" : " ") + call.arg(i);
    return text;
}

int setCan(Call& call, const Card& card, size_t first)
{
    if (card.type != "can")
        return answer(call, "Operation not supported", "Operation not supported");
    if (card.up)
        return answer(call, "Device or resource busy", "Device or resource busy");
    const auto values = numbers(call, first);
    if (valueOf(values, "prop-seg") + valueOf(values, "phase-seg1") > kMaxSegment1)
        return answer(call, "Numerical result out of range", "Numerical result out of range");
    call.store().change([&](Host& host) {
        Card& changed = *host.card(card.name);
        // Either a bit rate or the timing itself; the timing is kept as it was given.
        if (const auto rate = values.find("bitrate"); rate != values.end())
            changed.can.bitRate = rate->second;
        else
            changed.can.timing = textFrom(call, first);
        if (const auto restart = values.find("restart-ms"); restart != values.end())
            changed.can.restartMs = restart->second;
    });
    return 0;
}

int setLink(Call& call, const Card& card, size_t first)
{
    const std::string what = call.arg(first);
    if (what == "type" && call.arg(first + 1) == "can")
        return setCan(call, card, first + 2);
    call.store().change([&](Host& host) {
        Card& changed = *host.card(card.name);
        if (what == "txqueuelen" || what == "qlen")
            changed.queueLength = std::atoi(call.arg(first + 1).c_str());
        else if (what == "up" || what == "down")
            changed.up = what == "up";
        else if (what == "mtu")
            changed.mtu = std::atoi(call.arg(first + 1).c_str());
    });
    return 0;
}

std::string canDetails(const Card& card)
{
    if (card.type != "can")
        return {};
    const std::string state = card.up ? "ERROR-ACTIVE" : "STOPPED";
    std::string text =
        "    link/can  promiscuity 0  allmulti 0 minmtu 0 maxmtu 0 \n    can state " + state +
        " (berr-counter tx 0 rx 0) restart-ms " + std::to_string(card.can.restartMs) + " \n";
    if (card.can.bitRate > 0)
        text += "\t  bitrate " + std::to_string(card.can.bitRate) + " sample-point 0.875\n";
    if (!card.can.timing.empty())
        text += "\t  " + card.can.timing + "\n";
    return text;
}

int showLink(Call& call, const Host& host, const Card& card)
{
    const auto place = std::find_if(host.cards.begin(), host.cards.end(),
                                    [&](const Card& other) { return other.name == card.name; });
    std::string flags = card.isCan() ? "NOARP" : "BROADCAST,MULTICAST";
    flags += card.up ? ",UP" : "";
    flags += card.isRunning() ? ",LOWER_UP" : "";
    call.out(std::to_string(place - host.cards.begin() + 1) + ": " + card.name + ": <" + flags +
             "> mtu " + std::to_string(card.mtu) + " qdisc pfifo_fast state " +
             (card.isRunning() ? "UP" : "DOWN") + " mode DEFAULT group default qlen " +
             std::to_string(card.queueLength) + "\n");
    call.out(card.isCan() ? canDetails(card) : "    link/ether " + card.mac + "\n");
    return 0;
}

} // namespace

int ip(Call& call)
{
    size_t at = 0;
    while (startsWith(call.arg(at), "-"))
        ++at;
    if (call.arg(at) != "link")
        return call.fail(1, "Object \"" + call.arg(at) + "\" is unknown, try \"ip help\".\n");
    const std::string verb = call.arg(at + 1);
    const size_t nameAt = call.arg(at + 2) == "dev" ? at + 3 : at + 2;
    const Host host = call.host();
    const Card* card = host.card(call.arg(nameAt));
    if (!card)
        return call.fail(1, (verb == "show" ? "Device \"" : "Cannot find device \"") +
                                call.arg(nameAt) +
                                (verb == "show" ? "\" does not exist.\n" : "\"\n"));
    if (verb == "set")
        return setLink(call, *card, nameAt + 1);
    return showLink(call, host, *card);
}

} // namespace hostsim
