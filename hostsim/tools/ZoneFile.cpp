#include "tools/ZoneFile.h"

#include "model/Files.h"
#include "model/Words.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

constexpr char kZones[] = "/usr/share/zoneinfo/";

std::string localtimePath(const StateFolder& folder)
{
    return folder.privatePath("/etc/localtime");
}

} // namespace

ZoneFile::ZoneFile(const StateFolder& folder)
    : _name("Etc/UTC")
{
    std::error_code failed;
    const std::string target = fs::read_symlink(localtimePath(folder), failed).string();
    if (failed)
        return;
    _name = startsWith(target, kZones) ? target.substr(sizeof kZones - 1) : "";
    if (!exists(_name))
        _name = "n/a";
}

ZoneFile::Local ZoneFile::localTime(std::time_t when) const
{
    // The C library reads the zone again whenever TZ has changed.
    ::setenv("TZ", _name == "n/a" ? "UTC" : _name.c_str(), 1);
    ::tzset();
    Local local;
    ::localtime_r(&when, &local.time);
    local.abbreviation = local.time.tm_zone;
    local.offset = local.time.tm_gmtoff;
    return local;
}

long ZoneFile::offsetAtLocal(int64_t localSeconds) const
{
    // Close to a change of the clocks the offset at the wrong moment is off by an hour, so it is
    // taken once more.
    const long guess = localTime(std::time_t(localSeconds)).offset;
    return localTime(std::time_t(localSeconds - guess)).offset;
}

bool ZoneFile::exists(const std::string& name)
{
    std::error_code ignored;
    return !name.empty() && !contains(name, "..") && fs::is_regular_file(kZones + name, ignored);
}

void ZoneFile::link(const StateFolder& folder, const std::string& name)
{
    std::error_code ignored;
    fs::remove(localtimePath(folder), ignored);
    fs::create_symlink(kZones + name, localtimePath(folder), ignored);
}

std::vector<std::string> ZoneFile::names()
{
    std::vector<std::string> names;
    std::istringstream lines(readFile(std::string(kZones) + "tzdata.zi"));
    for (std::string line; std::getline(lines, line);) {
        const auto words = split(line, ' ');
        if (words[0] == "Z" && words.size() > 1)
            names.push_back(words[1]);
        else if (words[0] == "L" && words.size() > 2)
            names.push_back(words[2]);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    if (names.empty())
        names = {"Asia/Shanghai", "Etc/UTC", "Europe/Berlin", "UTC"};
    return names;
}

} // namespace hostsim
