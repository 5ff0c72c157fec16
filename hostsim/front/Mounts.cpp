#include "front/Mounts.h"

#include "model/PrivatePaths.h"

#include <filesystem>
#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

void writeLine(const char* path, const std::string& text)
{
    std::ofstream(path) << text;
}

// Without root it takes a user namespace, in which the user stays the same.
bool enterNamespace()
{
    if (::geteuid() == 0)
        return ::unshare(CLONE_NEWNS) == 0;
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        return false;
    // Without this the kernel refuses the group map of an ordinary user.
    writeLine("/proc/self/setgroups", "deny");
    writeLine("/proc/self/uid_map", user + " " + user + " 1");
    writeLine("/proc/self/gid_map", group + " " + group + " 1");
    return true;
}

} // namespace

void mountPrivateFolders(const StateFolder& folder)
{
    if (!enterNamespace())
        return;
    if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        return;
    for (const std::string& path : privatePrefixes()) {
        std::error_code ignored;
        const std::string copy = folder.privatePath(path);
        // Only folders: a file that is a mount point can no longer be replaced by rename().
        if (fs::is_directory(path, ignored) && fs::is_directory(copy, ignored))
            ::mount(copy.c_str(), path.c_str(), nullptr, MS_BIND, nullptr);
    }
}

} // namespace hostsim
