#pragma once

#include "model/Host.h"

#include <functional>
#include <string>

namespace hostsim {

/// The folder that holds one simulated host: `state.json`, the private files under `root/`, the
/// log of command lines and the stand-ins' links under `bin/`. Every process of a run opens it
/// for itself; changes are made under a lock and the state is replaced as a whole, so that a
/// reader never sees half of one.
class Store
{
public:
    explicit Store(std::string folder);

    const std::string& folder() const { return _folder; }
    /// Where the private copy of a host path lies.
    std::string privatePath(const std::string& path) const { return _folder + "/root" + path; }

    /// Starts a simulated host: folders, files and state of a scene. The folder may exist.
    void create(const Host& scene) const;
    bool exists() const;

    /// The host at this moment, with what time has brought. Throws std::runtime_error.
    Host read() const;
    /// The same, changed by `act` and stored.
    void change(const std::function<void(Host&)>& act) const;
    /// Lets time pass: stores what a timer of the host has brought, if anything.
    void tick() const;

    /// Appends one line to the log of command lines.
    void appendLog(const std::string& line) const;
    std::string logFile() const { return _folder + "/log"; }

private:
    class Lock;

    Host load() const;
    void save(const Host& host) const;
    void makeFiles(const Host& scene) const;

    std::string _folder;
};

/// The store that HOSTSIM_STATE names. Throws std::runtime_error outside a run.
Store storeOfEnvironment();

/// Milliseconds since 1970 of the machine's clock.
int64_t nowMs();

/// Content of a file, empty if it cannot be read.
std::string readFile(const std::string& path);
/// Writes aside and renames, with the folders that are missing. Leaves an equal file alone.
void writeFile(const std::string& path, const std::string& content, int mode = 0644);

} // namespace hostsim
