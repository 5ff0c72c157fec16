#pragma once

#include "model/Host.h"
#include "model/StateFolder.h"

#include <functional>
#include <string>

namespace hostsim {

/// The state of one simulated host in its folder. Every process of a run opens it for itself;
/// changes are made under a lock and the state is replaced as a whole, so that a reader never sees
/// half of one.
class Store
{
public:
    explicit Store(const std::string& folder);

    const StateFolder& folder() const { return _folder; }

    /// Starts a simulated host: folders, files and state of a scene. The folder may exist.
    void create(const Host& scene) const;
    bool exists() const;

    /// The host at this moment, with what time has brought. Throws std::runtime_error.
    Host read() const;
    /// The same, changed by `act` and stored.
    void change(const std::function<void(Host&)>& act) const;
    /// Lets time pass: stores what a timer of the host has brought, if anything.
    void tick() const;

private:
    class Lock;

    Host load() const;
    void save(const Host& host) const;
    void makeFiles(const Host& scene) const;

    StateFolder _folder;
};

/// The store that HOSTSIM_STATE names. Throws std::runtime_error outside a run.
Store storeOfEnvironment();

} // namespace hostsim
