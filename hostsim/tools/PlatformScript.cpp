#include "tools/Tools.h"

#include <algorithm>

namespace hostsim {

namespace {

bool canDo(const Host& host, const std::string& function)
{
    const auto& all = host.platform.functions;
    return std::find(all.begin(), all.end(), function) != all.end();
}

int wireless(Call& call)
{
    const std::string verb = call.arg(1);
    if (verb != "ban" && verb != "on")
        return call.fail(1, "wireless: ban or on\n");
    call.store().change([&](Host& host) {
        for (Card& card : host.cards)
            if (card.isWifi() && (!call.has(2) || card.name == call.arg(2)))
                card.blocked = verb == "ban";
    });
    call.out("wireless " + verb + "\n");
    return 0;
}

int ntp(Call& call)
{
    call.store().change([&](Host& host) {
        if (call.arg(1) == "server")
            host.platform.ntpServer = call.arg(2);
        else
            host.platform.ntp = call.arg(1) == "open";
    });
    return 0;
}

int volume(Call& call)
{
    if (call.arg(1) == "set")
        call.store().change(
            [&](Host& host) { host.platform.volume = std::atoi(call.arg(2).c_str()); });
    else
        call.out(std::to_string(call.host().platform.volume) + "%\n");
    return 0;
}

} // namespace

int platformScript(Call& call)
{
    const std::string function = call.arg(0);
    const Host host = call.host();
    if (function == "function") {
        for (const std::string& name : host.platform.functions)
            call.out(name + "\n");
        return 0;
    }
    if (!canDo(host, function))
        return call.fail(1, "unknown function: " + function + "\n");
    if (function == "wireless")
        return wireless(call);
    return function == "ntp" ? ntp(call) : volume(call);
}

} // namespace hostsim
