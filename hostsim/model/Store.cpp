#include "model/Store.h"

#include "model/DerivedFiles.h"
#include "model/Files.h"
#include "model/HostJson.h"
#include "model/MachineClock.h"
#include "model/Profiles.h"
#include "model/Time.h"

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

class Store::Lock
{
public:
    explicit Lock(const StateFolder& folder)
        : _fd(::open(folder.lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666))
    {
        if (_fd < 0)
            throw std::runtime_error(folder.path() + ": " + std::strerror(errno));
        while (::flock(_fd, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~Lock() { ::close(_fd); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    int _fd;
};

Store::Store(const std::string& folder)
    : _folder(folder)
{}

bool Store::exists() const
{
    return ::access(_folder.stateFile().c_str(), R_OK) == 0;
}

void Store::create(const Host& scene) const
{
    std::error_code ignored;
    for (const char* folder : {"/root/etc/netplan", "/root/etc/modprobe.d"})
        fs::remove_all(_folder.path() + folder, ignored);
    fs::remove(_folder.privatePath("/etc/asound.conf"), ignored);
    for (const char* folder :
         {"/bin", "/root/etc/NetworkManager/system-connections", "/root/etc/netplan",
          "/root/etc/modprobe.d", "/root/run/NetworkManager/system-connections",
          "/root/proc/asound", "/root/proc/net", "/root/sys/class/thermal"})
        fs::create_directories(_folder.path() + folder);
    const Lock lock(_folder);
    for (const char* folder : {kProfileFolder, kVolatileFolder})
        for (const auto& entry : fs::directory_iterator(_folder.privatePath(folder)))
            fs::remove(entry.path());
    fs::remove(_folder.logFile());
    makeFiles(scene);
    Host host = scene;
    startHost(host, _folder);
    save(host);
}

void Store::makeFiles(const Host& scene) const
{
    for (const auto& [path, content] : scene.files) {
        const bool isKeyfile = path.find("system-connections/") != std::string::npos;
        writeFile(_folder.privatePath(path), content, isKeyfile ? 0600 : 0644);
    }
    std::error_code ignored;
    fs::remove(_folder.privatePath("/etc/localtime"), ignored);
    if (!scene.clock.zone.empty())
        fs::create_symlink("/usr/share/zoneinfo/" + scene.clock.zone,
                           _folder.privatePath("/etc/localtime"));
}

Host Store::load() const
{
    const std::string text = readFile(_folder.stateFile());
    if (text.empty())
        throw std::runtime_error("no simulated host in [" + _folder.path() + "]");
    return fromJson(text);
}

void Store::save(const Host& host) const
{
    writeFile(_folder.stateFile(), toJson(host));
    writeDerivedFiles(host, _folder);
}

Host Store::read() const
{
    Host host = load();
    passTime(host, nowMs());
    return host;
}

void Store::change(const std::function<void(Host&)>& act) const
{
    const Lock lock(_folder);
    Host host = load();
    passTime(host, nowMs());
    act(host);
    // The change itself may bring something about at once: a lost access point, a roam.
    passTime(host, nowMs());
    save(host);
}

void Store::tick() const
{
    // Most of the time nothing is due, which costs neither the lock nor a write.
    Host host = load();
    if (passTime(host, nowMs()))
        change([](Host&) {});
}

Store storeOfEnvironment()
{
    const char* folder = std::getenv("HOSTSIM_STATE");
    if (!folder || !*folder)
        throw std::runtime_error("no simulated host here (HOSTSIM_STATE is not set)");
    return Store(folder);
}

} // namespace hostsim
