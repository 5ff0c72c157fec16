#include "model/PrivatePaths.h"
#include "model/Process.h"
#include "model/Profiles.h"
#include "tools/Tools.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace hostsim {

namespace {

constexpr int kUnitNotFound = 5; // exit status of systemctl

bool isService(const Host& host, const std::string& name)
{
    return std::find(host.services.begin(), host.services.end(), name) != host.services.end();
}

int actOnService(Call& call, const std::string& verb, std::string name)
{
    const size_t suffix = name.rfind(".service");
    name = name.substr(0, suffix);
    if (!isService(call.host(), name))
        return call.fail(kUnitNotFound, "Failed to " + verb + " " + name + ".service: Unit " +
                                            name + ".service not found.\n");
    if (name != "NetworkManager")
        return 0;
    call.wait(1400);
    call.store().change([&](Host& host) {
        host.networkManager = verb != "stop";
        if (host.networkManager)
            reloadProfiles(host, call.folder());
        // A restarted NetworkManager knows nothing of connections taken down by hand.
        for (Card& card : host.cards)
            card.nm.keptDown = false;
    });
    return 0;
}

// Runs the machine's own tool; on the PATH its name is a stand-in.
int runReal(Call& call, const char* tool, const std::vector<std::string>& args)
{
    const std::string program = std::string("/bin/") + tool;
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    call.flush();
    const pid_t child = ::fork();
    if (child == 0) {
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    return waitForExit(child);
}

std::string privateArgument(const Call& call, const std::string& arg)
{
    return isPrivatePath(arg) ? call.folder().privatePath(arg) : arg;
}

std::string plainAssignment(const std::string& assignment, const std::string& name)
{
    return name + " = " + assignment.substr(name.size() + 1);
}

} // namespace

int service(Call& call)
{
    return actOnService(call, call.arg(1), call.arg(0));
}

int systemctl(Call& call)
{
    return actOnService(call, call.arg(0), call.arg(1));
}

int sysctl(Call& call)
{
    int status = 0;
    for (const std::string& arg : call.args()) {
        const std::string name = arg.substr(0, arg.find('='));
        if (startsWith(arg, "-"))
            continue;
        if (name == arg) {
            const Host host = call.host();
            const auto value = host.sysctl.find(name);
            call.out(name + " = " + (value == host.sysctl.end() ? "0" : value->second) + "\n");
            continue;
        }
        call.store().change([&](Host& host) { host.sysctl[name] = arg.substr(name.size() + 1); });
        call.out(plainAssignment(arg, name) + "\n");
    }
    return status;
}

int realRm(Call& call)
{
    std::vector<std::string> args;
    for (const std::string& arg : call.args())
        args.push_back(privateArgument(call, arg));
    return runReal(call, "rm", args);
}

int realLn(Call& call)
{
    std::vector<std::string> args = call.args();
    // Only the place of a symbolic link is mapped, not what it points to.
    if (!args.empty())
        args.back() = privateArgument(call, args.back());
    return runReal(call, "ln", args);
}

} // namespace hostsim
