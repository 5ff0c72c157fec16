#pragma once

#include "model/Host.h"
#include "model/StateFolder.h"

namespace hostsim {

/// Turns a scene into a host that has just booted: keyfiles are loaded, and profiles with
/// autoconnect are up.
void startHost(Host& host, const StateFolder& state);

/// Does what the host's own programs would have done by now: ends scans, leaves access points that
/// are gone, joins better or returned ones, brings idle cards up. True if anything changed.
bool passTime(Host& host, int64_t nowMs);

/// Starts a scan, which also asks for the hidden network `ssid` unless that is empty. False while
/// another is running.
bool startScan(Host& host, Card& card, int64_t nowMs, const std::string& ssid = {});

} // namespace hostsim
