#pragma once

#include "model/Host.h"
#include "model/StateFolder.h"

#include <string>

namespace hostsim {

/// Puts what the kernel would show of the host into its private files: /proc/asound/cards,
/// /proc/net/route, the thermal zones, and the table of interfaces from which the preload shim
/// answers.
void writeDerivedFiles(const Host& host, const StateFolder& state);

std::string soundCardsText(const Host& host);
std::string routesText(const Host& host);
std::string interfacesText(const Host& host);

/// IFF_UP, IFF_RUNNING and the rest, as the kernel gives them.
unsigned flagsOf(const Card& card);

} // namespace hostsim
