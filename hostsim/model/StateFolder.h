#pragma once

#include <string>

namespace hostsim {

/// The layout of the folder that holds one simulated host. Only names: nothing is read or written
/// here.
class StateFolder
{
public:
    explicit StateFolder(std::string path)
        : _path(std::move(path))
    {}

    const std::string& path() const { return _path; }

    /// The private copy of a file or folder of the host: "/etc/netplan" is PATH/root/etc/netplan.
    std::string privatePath(const std::string& path) const { return _path + "/root" + path; }

    std::string stateFile() const { return _path + "/state.json"; }
    std::string lockFile() const { return _path + "/lock"; }
    /// The command lines that the stand-ins were called with.
    std::string logFile() const { return _path + "/log"; }
    /// Links under the tools' names, first on the PATH of a run.
    std::string binFolder() const { return _path + "/bin"; }
    /// The table of interfaces for the preload shim.
    std::string interfacesFile() const { return _path + "/interfaces"; }
    /// Process number of the run that owns the host.
    std::string runFile() const { return _path + "/run.pid"; }

private:
    std::string _path;
};

} // namespace hostsim
