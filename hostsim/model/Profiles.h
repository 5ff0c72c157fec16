#pragma once

#include "model/Host.h"
#include "model/Keyfile.h"

namespace hostsim {

class Store;

constexpr char kProfileFolder[] = "/etc/NetworkManager/system-connections";
constexpr char kVolatileFolder[] = "/run/NetworkManager/system-connections";

/// The next UUID of the scene's list, else a random one.
std::string newUuid(Host& host);

/// Adds a profile and its keyfile, named after the profile's id.
Profile& addProfile(Host& host, const Store& store, const Keyfile& keyfile);
/// Takes over changed settings and writes the keyfile, with the time of the last use.
void updateProfile(Profile& profile, const Store& store, const Keyfile& keyfile);
/// Removes profile and file; a card that uses it goes down.
void removeProfile(Host& host, const Store& store, const std::string& uuid);
/// Reads the folders afresh: files that are gone take their profiles with them.
void reloadProfiles(Host& host, const Store& store);

std::string idOf(const Profile& profile);
/// "wifi", "ethernet", "loopback".
std::string typeOf(const Profile& profile);
bool fits(const Keyfile& keyfile, const Card& card);

} // namespace hostsim
