#pragma once

#include "model/Host.h"
#include "model/StateFolder.h"

#include <functional>
#include <string>

namespace hostsim {

/// The state of one simulated host, kept in its folder. Each process of a run opens it on its own.
/// Changes are made under a lock, and the state file is replaced whole, so that a reader needs no
/// lock and never sees half of it.
class Store
{
public:
    explicit Store(const std::string& folder);

    const StateFolder& folder() const { return _folder; }

    /// Makes the folder a freshly booted host of this scene. Profiles, files and log of a host that
    /// was there before are removed.
    void create(const Host& scene) const;
    bool exists() const;

    /// The host as of now, timers included. Throws std::runtime_error.
    Host read() const;
    /// Applies `act` to the host as of now and stores the result.
    void change(const std::function<void(Host&)>& act) const;
    /// Runs the timers of the host, and stores it if they changed anything.
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
