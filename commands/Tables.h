#pragma once

#include "commands/Command.h"

/// The tables, one for each subsystem, in a file of its own each.
namespace ky {

extern const CommandGroup kServiceCommands;   // ServiceRows.cpp
extern const CommandGroup kPeerCommands;      // PeerRows.cpp
extern const CommandGroup kCanCommands;       // CanRows.cpp
extern const CommandGroup kSerialCommands;    // SerialRows.cpp
extern const CommandGroup kCardCommands;      // CardRows.cpp
extern const CommandGroup kWifiCommands;      // WifiRows.cpp
extern const CommandGroup kRoamingCommands;   // RoamingRows.cpp
extern const CommandGroup kAddressCommands;   // AddressRows.cpp
extern const CommandGroup kHotspotCommands;   // HotspotRows.cpp
extern const CommandGroup kTimeCommands;      // TimeRows.cpp
extern const CommandGroup kInventoryCommands; // InventoryRows.cpp

} // namespace ky
