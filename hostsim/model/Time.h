#pragma once

#include "model/Host.h"
#include "model/StateFolder.h"

namespace hostsim {

/// Brings a scene to life as a host that has just booted: keyfiles are read, profiles that
/// connect by themselves are up.
void startHost(Host& host, const StateFolder& state);

/// Does what the host's own programs have done up to now: scans end, access points that are gone
/// are left, a better or returned one is joined, NetworkManager brings idle cards up. True if
/// anything changed.
bool passTime(Host& host, int64_t nowMs);

/// Starts a scan of the card, for a hidden network by name if `ssid` is not empty. False while
/// one is under way.
bool startScan(Host& host, Card& card, int64_t nowMs, const std::string& ssid = {});

} // namespace hostsim
