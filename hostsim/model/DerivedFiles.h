#pragma once

#include "model/Host.h"
#include "model/StateFolder.h"

#include <string>

namespace hostsim {

/// Writes the private files in which the kernel would describe the host (/proc/asound/cards,
/// /proc/net/route, the thermal zones), and the interface table that the preload shim answers
/// from.
void writeDerivedFiles(const Host& host, const StateFolder& state);

std::string soundCardsText(const Host& host);
std::string routesText(const Host& host);
std::string interfacesText(const Host& host);

/// IFF_UP, IFF_RUNNING and so on, as the kernel would report them.
unsigned flagsOf(const Card& card);

} // namespace hostsim
