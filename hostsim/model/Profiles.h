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
/// Replaces the settings of a profile and writes its keyfile, with the time of last use.
void updateProfile(Profile& profile, const StateFolder& state, const Keyfile& keyfile);
/// Removes a profile and its file. A card that uses it goes down.
void removeProfile(Host& host, const StateFolder& state, const std::string& uuid);
/// Reads the folders again. A profile whose file is gone goes as well.
void reloadProfiles(Host& host, const StateFolder& state);

std::string idOf(const Profile& profile);
/// "wifi", "ethernet", "loopback".
std::string typeOf(const Profile& profile);
/// Whether the card can use the profile: its type, and its name if the profile has one.
bool fits(const Keyfile& keyfile, const Card& card);

} // namespace hostsim
