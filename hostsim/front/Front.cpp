#include "front/Front.h"

#include "EmbeddedTexts.h"
#include "front/Folders.h"
#include "model/HostPath.h"
#include "model/Store.h"
#include "model/Words.h"
#include "tools/CommandLog.h"

#include <iostream>
#include <stdexcept>

namespace hostsim {

namespace {

constexpr char kUsage[] =
    R"(hostsim: a simulated host for programs that administer one with command-line tools

  hostsim run [--scene FILE] [--state DIR] [--lang zh|en|c] [--no-mounts] [--] COMMAND …
      runs a command on a simulated host; its status is the command's
  hostsim set PATH VALUE [PATH VALUE …]
      changes the running host: hostsim set ap2.level -80, hostsim set wlan0.blocked true
  hostsim get [PATH]
      shows the running host, or a part of it
  hostsim log [--lines]
      the command lines that the stand-ins were called with, in order: JSON objects, one a line,
      or plain lines
  hostsim reset [--scene FILE]
      starts over with a scene and an empty log, while the programs keep running
  hostsim scene
      prints the default scene, to start one's own from
  hostsim fault add TOOL KIND [--match TEXT] [--status N] [--text TEXT] [--error TEXT]
                            [--ms N] [--times N]
      KIND is fail, missing, hang, garbage, busy or slow
  hostsim fault clear | list

set, get, log, reset and fault take --state DIR; without it they use HOSTSIM_STATE, else the
host that was started last and is still running.

Example: hostsim run -- sh -c "nmcli device wifi connect RobotNet password robotpass; ifconfig wlan0"
)";

using Args = std::vector<std::string>;

// Removes "--name VALUE" from the arguments and returns the value, empty if it is not there.
std::string takeOption(Args& args, const std::string& name)
{
    for (size_t i = 0; i + 1 < args.size(); ++i) {
        if (args[i] != name)
            continue;
        const std::string value = args[i + 1];
        args.erase(args.begin() + long(i), args.begin() + long(i) + 2);
        return value;
    }
    return {};
}

int set(const Store& store, const Args& args)
{
    if (args.empty() || args.size() % 2 != 0)
        throw std::invalid_argument("set takes pairs of PATH and VALUE");
    // One change for all pairs: if one of them does not fit, none is made.
    store.change([&](Host& host) {
        for (size_t i = 0; i < args.size(); i += 2)
            host = withValue(host, args[i], args[i + 1]);
    });
    return 0;
}

int log(const Store& store, const Args& args)
{
    const bool plain = !args.empty() && args[0] == "--lines";
    std::cout << (plain ? CommandLog::lines(store.folder()) : CommandLog::merged(store.folder()));
    return 0;
}

int numberOf(const std::string& text, int standard)
{
    return text.empty() ? standard : std::stoi(text);
}

Fault faultOf(Args args)
{
    Fault fault;
    fault.match = takeOption(args, "--match");
    fault.text = takeOption(args, "--text");
    fault.error = takeOption(args, "--error");
    fault.status = numberOf(takeOption(args, "--status"), 1);
    fault.ms = numberOf(takeOption(args, "--ms"), 0);
    fault.times = numberOf(takeOption(args, "--times"), -1);
    if (args.size() != 2)
        throw std::invalid_argument("fault add takes TOOL and KIND");
    fault.tool = args[0];
    fault.kind = args[1];
    for (const char* kind : {"fail", "missing", "hang", "garbage", "busy", "slow"})
        if (fault.kind == kind)
            return fault;
    throw std::invalid_argument("no kind of fault: [" + fault.kind + "]");
}

int fault(const Store& store, Args args)
{
    const std::string verb = args.empty() ? "list" : args[0];
    if (!args.empty())
        args.erase(args.begin());
    if (verb == "add") {
        const Fault added = faultOf(args);
        store.change([&](Host& host) { host.faults.push_back(added); });
    } else if (verb == "clear") {
        store.change([](Host& host) { host.faults.clear(); });
    } else if (verb == "list") {
        std::cout << valueAt(store.read(), "faults") << "\n";
    } else {
        throw std::invalid_argument("fault add, clear or list");
    }
    return 0;
}

int onRunningHost(const std::string& verb, Args args)
{
    const Store store = runningStore(takeOption(args, "--state"));
    if (verb == "reset") {
        store.create(sceneOf(takeOption(args, "--scene")));
        return 0;
    }
    if (verb == "set")
        return set(store, args);
    if (verb == "log")
        return log(store, args);
    if (verb == "fault")
        return fault(store, args);
    std::cout << valueAt(store.read(), args.empty() ? "" : args[0]) << "\n";
    return 0;
}

int act(const std::string& verb, const Args& args)
{
    if (verb == "run")
        return runCommand(args);
    if (verb == "scene") {
        std::cout << kDefaultScene;
        return 0;
    }
    if (verb == "set" || verb == "get" || verb == "log" || verb == "fault" || verb == "reset")
        return onRunningHost(verb, args);
    if (verb != "help" && verb != "--help" && verb != "-h")
        throw std::invalid_argument("no verb [" + verb + "]");
    std::cout << kUsage;
    return 0;
}

} // namespace

int runFront(const Args& args)
{
    if (args.empty()) {
        std::cerr << kUsage;
        return 2;
    }
    try {
        return act(args[0], {args.begin() + 1, args.end()});
    } catch (const std::invalid_argument& error) {
        std::cerr << "hostsim: " << error.what() << " (hostsim --help)\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "hostsim: " << error.what() << "\n";
        return 1;
    }
}

} // namespace hostsim
