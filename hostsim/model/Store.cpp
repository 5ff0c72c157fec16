#include "model/Store.h"

#include "model/DerivedFiles.h"
#include "model/HostJson.h"
#include "model/Profiles.h"
#include "model/Time.h"

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace hostsim {

class Store::Lock
{
public:
    explicit Lock(const std::string& folder)
        : _fd(::open((folder + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666))
    {
        if (_fd < 0)
            throw std::runtime_error(folder + ": " + std::strerror(errno));
        while (::flock(_fd, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ~Lock() { ::close(_fd); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    int _fd;
};

Store::Store(std::string folder)
    : _folder(std::move(folder))
{}

bool Store::exists() const
{
    return ::access((_folder + "/state.json").c_str(), R_OK) == 0;
}

void Store::create(const Host& scene) const
{
    std::error_code ignored;
    for (const char* folder : {"/root/etc/netplan", "/root/etc/modprobe.d"})
        fs::remove_all(_folder + folder, ignored);
    fs::remove(privatePath("/etc/asound.conf"), ignored);
    for (const char* folder :
         {"/bin", "/root/etc/NetworkManager/system-connections", "/root/etc/netplan",
          "/root/etc/modprobe.d", "/root/run/NetworkManager/system-connections",
          "/root/proc/asound", "/root/proc/net", "/root/sys/class/thermal"})
        fs::create_directories(_folder + folder);
    const Lock lock(_folder);
    for (const char* folder : {kProfileFolder, kVolatileFolder})
        for (const auto& entry : fs::directory_iterator(privatePath(folder)))
            fs::remove(entry.path());
    fs::remove(logFile());
    makeFiles(scene);
    Host host = scene;
    startHost(host, *this);
    save(host);
}

void Store::makeFiles(const Host& scene) const
{
    for (const auto& [path, content] : scene.files) {
        const bool isKeyfile = path.find("system-connections/") != std::string::npos;
        writeFile(privatePath(path), content, isKeyfile ? 0600 : 0644);
    }
    std::error_code ignored;
    fs::remove(privatePath("/etc/localtime"), ignored);
    if (!scene.clock.zone.empty())
        fs::create_symlink("/usr/share/zoneinfo/" + scene.clock.zone,
                           privatePath("/etc/localtime"));
}

Host Store::load() const
{
    const std::string text = readFile(_folder + "/state.json");
    if (text.empty())
        throw std::runtime_error("no simulated host in [" + _folder + "]");
    return fromJson(text);
}

void Store::save(const Host& host) const
{
    writeFile(_folder + "/state.json", toJson(host));
    writeDerivedFiles(host, *this);
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
    passTime(host, nowMs());
    save(host);
}

void Store::tick() const
{
    Host host = load();
    if (passTime(host, nowMs()))
        change([](Host&) {});
}

void Store::appendLog(const std::string& line) const
{
    const int fd = ::open(logFile().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0)
        return;
    const std::string text = line + "\n";
    // One write on an append-only descriptor: lines of processes that run at once never mix.
    [[maybe_unused]] const ssize_t written = ::write(fd, text.data(), text.size());
    ::close(fd);
}

Store storeOfEnvironment()
{
    const char* folder = std::getenv("HOSTSIM_STATE");
    if (!folder || !*folder)
        throw std::runtime_error("no simulated host here (HOSTSIM_STATE is not set)");
    return Store(folder);
}

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content, int mode)
{
    if (::access(path.c_str(), F_OK) == 0 && readFile(path) == content)
        return;
    fs::create_directories(fs::path(path).parent_path());
    const std::string aside = path + "." + std::to_string(::getpid());
    {
        std::ofstream stream(aside, std::ios::binary);
        stream << content;
    }
    ::chmod(aside.c_str(), mode);
    fs::rename(aside, path);
}

} // namespace hostsim
