#include "model/Address.h"
#include "tools/Tools.h"

#include <algorithm>

namespace hostsim {

namespace {

enum class Reach
{
    Answers,
    Nobody,      ///< in a network of ours, but nobody has this address
    Lost,        ///< beyond the gateway, no answer
    Unreachable, ///< no route
};

bool isPeer(const Host& host, const std::string& name)
{
    return std::find(host.peers.begin(), host.peers.end(), name) != host.peers.end();
}

// The addresses of a card without a link are no use.
bool isLinked(const Card& card)
{
    return card.isRunning() || card.type == "loopback";
}

Reach throughCard(const Host& host, const Card& card, uint32_t target)
{
    for (const std::string& entry : card.ip.addresses) {
        const auto net = parseNetwork(entry);
        if (!net || !net->holds(target))
            continue;
        const std::string text = ip4Text(target);
        // The card itself, its gateway and the peers answer, and any address of the loopback.
        const bool isThere = net->address == target || card.type == "loopback" ||
                             card.ip.gateway == text || isPeer(host, text);
        return isThere ? Reach::Answers : Reach::Nobody;
    }
    return Reach::Unreachable;
}

Reach reach(const Host& host, uint32_t target)
{
    bool hasGateway = false;
    for (const Card& card : host.cards) {
        if (!isLinked(card))
            continue;
        const Reach here = throughCard(host, card, target);
        if (here != Reach::Unreachable)
            return here;
        hasGateway = hasGateway || !card.ip.gateway.empty();
    }
    if (!hasGateway)
        return Reach::Unreachable;
    return isPeer(host, ip4Text(target)) ? Reach::Answers : Reach::Lost;
}

std::string ownAddress(const Host& host, uint32_t target)
{
    for (const Card& card : host.cards)
        for (const std::string& entry : card.ip.addresses) {
            const auto net = parseNetwork(entry);
            if (net && net->holds(target))
                return ip4Text(net->address);
        }
    return "0.0.0.0";
}

std::string resolved(const Host& host, const std::string& name)
{
    const auto found = host.names.find(name);
    return found == host.names.end() ? name : found->second;
}

std::string summary(const std::string& name, const std::string& counts)
{
    return "\n--- " + name + " ping statistics ---\n1 packets transmitted, " + counts +
           ", time 0ms\n";
}

std::string targetOf(const Call& call)
{
    std::string target;
    for (size_t i = 0; i < call.args().size(); ++i) {
        const std::string& arg = call.args()[i];
        if (arg == "-c" || arg == "-W" || arg == "-w" || arg == "-I" || arg == "-i")
            ++i;
        else if (arg.empty() || arg[0] != '-')
            target = arg;
    }
    return target;
}

int failTarget(Call& call, const std::string& name)
{
    if (name.empty())
        return call.fail(1, "ping: usage error: " +
                                call.pick("Destination address required", "需要目标地址") + "\n");
    return call.fail(2, "ping: " + name + ": " +
                            call.pick("Temporary failure in name resolution", "域名解析暂时失败") +
                            "\n");
}

} // namespace

int ping(Call& call)
{
    const Host host = call.host();
    const std::string name = targetOf(call);
    const auto target = parseIp4(resolved(host, name));
    if (!target)
        return failTarget(call, name);
    const std::string address = ip4Text(*target);
    const Reach result = reach(host, *target);
    if (result == Reach::Unreachable)
        return call.fail(2, "ping: connect: " + call.pick("Network is unreachable", "网络不可达") +
                                "\n");
    call.out("PING " + name + " (" + address + ") 56(84) bytes of data.\n");
    if (result == Reach::Answers) {
        call.out("64 bytes from " + address + ": icmp_seq=1 ttl=64 time=1.13 ms\n");
        call.out(summary(name, "1 received, 0% packet loss"));
        call.out("rtt min/avg/max/mdev = 1.133/1.133/1.133/0.000 ms\n");
        return 0;
    }
    call.wait(result == Reach::Nobody ? 3000 : 10000);
    if (result == Reach::Nobody)
        call.out("From " + ownAddress(host, *target) +
                 " icmp_seq=1 Destination Host Unreachable\n");
    const char* counts = result == Reach::Nobody ? "0 received, +1 errors, 100% packet loss"
                                                 : "0 received, 100% packet loss";
    call.out(summary(name, counts) + "\n");
    return 1;
}

} // namespace hostsim
