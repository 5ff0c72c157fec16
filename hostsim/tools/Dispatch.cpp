#include "tools/Dispatch.h"

#include "tools/CommandLog.h"
#include "tools/Faults.h"
#include "tools/Tools.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <stdexcept>

#include <unistd.h>

namespace hostsim {

namespace {

struct Tool
{
    const char* name;
    int (*run)(Call&);
};

constexpr Tool kTools[] = {
    {"alsactl", alsactl},
    {"amixer", amixer},
    {"date", date},
    {"df", df},
    {"hostapd", hostapd},
    {"ifconfig", ifconfig},
    {"ip", ip},
    {"iw", iw},
    {"ln", realLn},
    {"lshw", lshw},
    {"netplan", netplan},
    {"nmcli", nmcli},
    {"ping", ping},
    {"platform.sh", platformScript},
    {"rm", realRm},
    {"service", service},
    {"sysctl", sysctl},
    {"systemctl", systemctl},
    {"timedatectl", timedatectl},
    {"wpa_cli", wpaCli},
};

const Tool* find(const std::string& name)
{
    // sudo may be given a whole path; the platform script always is.
    const std::string base = name.substr(name.rfind('/') + 1);
    for (const Tool& tool : kTools)
        if (base == tool.name)
            return &tool;
    return nullptr;
}

// Where the command begins after sudo's own options: `sudo -n -u root VAR=1 nmcli …`.
size_t commandOfSudo(const std::vector<std::string>& args)
{
    size_t i = 0;
    for (; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--")
            return i + 1;
        if (arg == "-u" || arg == "-g")
            ++i;
        else if (arg.empty() || (arg[0] != '-' && arg.find('=') == std::string::npos))
            break;
    }
    return i;
}

int execute(const std::vector<std::string>& command)
{
    std::vector<char*> argv;
    for (const std::string& arg : command)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execvp(argv[0], argv.data());
    std::cerr << "sudo: " << command[0] << ": command not found\n";
    return 1;
}

int runFound(const Tool& tool, const std::vector<std::string>& line, bool underSudo,
             std::vector<std::string> args)
{
    const Store store = storeOfEnvironment();
    const CommandLog::Entry entry(store.folder(), line);
    Call call(std::move(args), store);
    int status = 0;
    if (!applyFault(call, tool.name, underSudo, status))
        status = tool.run(call);
    call.flush();
    entry.finish(status);
    return status;
}

int sudo(const std::vector<std::string>& args)
{
    const size_t begin = commandOfSudo(args);
    std::vector<std::string> line{"sudo"};
    line.insert(line.end(), args.begin(), args.end());
    if (begin >= args.size()) {
        std::cerr << "usage: sudo -h | -K | -k | -V\n";
        return 1;
    }
    const std::vector<std::string> command(args.begin() + static_cast<long>(begin), args.end());
    if (const Tool* tool = find(command[0]))
        return runFound(*tool, line, true, {command.begin() + 1, command.end()});
    // A program without a stand-in replaces this process, so its status is never logged.
    const CommandLog::Entry entry(storeOfEnvironment().folder(), line);
    return execute(command);
}

} // namespace

const std::vector<std::string>& toolNames()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all{"sudo"};
        for (const Tool& tool : kTools)
            all.emplace_back(tool.name);
        return all;
    }();
    return names;
}

bool isTool(const std::string& name)
{
    return name == "sudo" || find(name);
}

int runTool(const std::string& name, std::vector<std::string> args)
{
    try {
        if (name == "sudo")
            return sudo(args);
        std::vector<std::string> line{name};
        line.insert(line.end(), args.begin(), args.end());
        return runFound(*find(name), line, false, std::move(args));
    } catch (const std::exception& error) {
        std::cerr << "hostsim " << name << ": " << error.what() << "\n";
        return 126;
    }
}

} // namespace hostsim
