#pragma once

#include "model/Host.h"
#include "model/Keyfile.h"
#include "model/StateFolder.h"

namespace hostsim {

constexpr char kProfileFolder[] = "/etc/NetworkManager/system-connections";
constexpr char kVolatileFolder[] = "/run/NetworkManager/system-connections";

/// The next UUID of the scene's list, else a random one.
std::string newUuid(Host& host);

/// Adds a profile and its keyfile, named after the profile's id.
Profile& addProfile(Host& host, const StateFolder& state, const Keyfile& keyfile);
/// Takes over changed settings and writes the keyfile, with the time of the last use.
void updateProfile(Profile& profile, const StateFolder& state, const Keyfile& keyfile);
/// Removes profile and file; a card that uses it goes down.
void removeProfile(Host& host, const StateFolder& state, const std::string& uuid);
/// Reads the folders afresh: files that are gone take their profiles with them.
void reloadProfiles(Host& host, const StateFolder& state);

std::string idOf(const Profile& profile);
/// "wifi", "ethernet", "loopback".
std::string typeOf(const Profile& profile);
bool fits(const Keyfile& keyfile, const Card& card);

} // namespace hostsim
