#pragma once

#include "cli/Verb.h"

namespace ky {

// The groups `wifi` and `net` are long: their verbs stand in files by topic, and the groups only
// put them together.

/// Of `wifi`: joining, forgetting, stored names and pass phrases.
std::vector<Verb> wifiJoinVerbs();
/// Of `wifi`: lists, roaming, the live view.
std::vector<Verb> wifiRoamingVerbs();
/// Of `net`: cards, drivers, settings, profiles.
std::vector<Verb> netCardVerbs();
/// Of `net`: addresses, supervision, cards on and off.
std::vector<Verb> netAddressVerbs();

} // namespace ky
