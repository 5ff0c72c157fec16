#include "front/Folders.h"

#include "EmbeddedTexts.h"
#include "model/Files.h"
#include "model/HostJson.h"
#include "model/MachineClock.h"
#include "model/Process.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

std::string baseFolder()
{
    const char* tmp = std::getenv("TMPDIR");
    return std::string(tmp && *tmp ? tmp : "/tmp") + "/hostsim-" + std::to_string(::getuid());
}

// One link for each run in progress. Names begin with the start time in milliseconds, which always
// has the same number of digits, so the last in order is the newest.
std::string runsFolder()
{
    return baseFolder() + "/runs";
}

std::vector<fs::path> links()
{
    std::vector<fs::path> found;
    std::error_code failed;
    for (fs::directory_iterator it(runsFolder(), failed), end; !failed && it != end;
         it.increment(failed))
        found.push_back(it->path());
    std::sort(found.begin(), found.end());
    return found;
}

std::string targetOf(const fs::path& link)
{
    std::error_code failed; // another process may have removed it
    return fs::read_symlink(link, failed).string();
}

void removeLinks(const std::function<bool(const std::string&)>& isMeant)
{
    for (const fs::path& link : links()) {
        std::error_code ignored;
        if (isMeant(targetOf(link)))
            fs::remove(link, ignored);
    }
}

// Empty if nothing is running. A run that was killed has left its link behind.
std::string newestRun()
{
    std::string newest;
    for (const fs::path& link : links()) {
        const std::string target = targetOf(link);
        if (!target.empty() && isRunAlive(StateFolder(target)))
            newest = target;
    }
    return newest;
}

} // namespace

std::string newStateFolder()
{
    fs::create_directories(baseFolder());
    std::string folder = baseFolder() + "/run-XXXXXX";
    if (!::mkdtemp(folder.data()))
        throw std::runtime_error(folder + ": " + std::strerror(errno));
    return folder;
}

void markStarted(const std::string& folder)
{
    std::error_code ignored;
    fs::create_directories(runsFolder(), ignored);
    // Links of runs that were killed: nobody else removes them.
    removeLinks([](const std::string& target) { return !isRunAlive(StateFolder(target)); });
    const std::string mark = std::to_string(nowMs()) + "-" + std::to_string(::getpid());
    fs::create_symlink(folder, runsFolder() + "/" + mark, ignored);
    // Renamed into place, so that the link is never missing in between.
    const std::string link = baseFolder() + "/current";
    const std::string aside = link + "." + std::to_string(::getpid());
    fs::create_symlink(folder, aside, ignored);
    fs::rename(aside, link, ignored);
}

void markEnded(const std::string& folder)
{
    removeLinks([&](const std::string& target) { return target == folder; });
}

Store runningStore(const std::string& option)
{
    const char* environment = std::getenv("HOSTSIM_STATE");
    std::string folder = option;
    if (folder.empty() && environment)
        folder = environment;
    if (folder.empty())
        folder = newestRun();
    if (folder.empty())
        folder = baseFolder() + "/current";
    const Store store(folder);
    if (!store.exists())
        throw std::runtime_error("no simulated host runs (looked in [" + folder + "])");
    return store;
}

Host sceneOf(const std::string& file)
{
    if (file.empty())
        return fromJson(kDefaultScene);
    const std::string text = readFile(file);
    if (text.empty())
        throw std::runtime_error("cannot read scene [" + file + "]");
    try {
        return fromJson(text);
    } catch (const std::exception& error) {
        throw std::runtime_error(file + ": " + error.what());
    }
}

} // namespace hostsim
