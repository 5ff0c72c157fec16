#pragma once

#include <QString>

class SystemNetwork;

namespace ky {

/// Brings the wireless card into the state that the settings demand at start: off if it is banned
/// (100 s at most), else looked up by name, with power saving off (40 s).
void prepareWirelessCard(SystemNetwork& network, bool isBanned, QString& card);

/// The same for the wired address: the netplan file on the board that has one, else the profile of
/// the wired card (30 s).
void prepareWiredAddress(SystemNetwork& network);

} // namespace ky
