#include "front/Folders.h"

#include "front/DefaultScene.h"
#include "model/HostJson.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

namespace {

std::string baseFolder()
{
    const char* tmp = std::getenv("TMPDIR");
    return std::string(tmp && *tmp ? tmp : "/tmp") + "/hostsim-" + std::to_string(::getuid());
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

void markCurrent(const std::string& folder)
{
    std::error_code ignored;
    fs::create_directories(baseFolder(), ignored);
    const std::string link = baseFolder() + "/current";
    const std::string aside = link + "." + std::to_string(::getpid());
    fs::create_symlink(folder, aside, ignored);
    fs::rename(aside, link, ignored);
}

Store runningStore(const std::string& option)
{
    const char* environment = std::getenv("HOSTSIM_STATE");
    std::string folder = option;
    if (folder.empty() && environment)
        folder = environment;
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
        return fromJson(defaultScene());
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
