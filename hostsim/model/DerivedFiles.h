#pragma once

#include "model/Host.h"

#include <string>

namespace hostsim {

class Store;

/// Puts what the kernel would show of the host into its private files: /proc/asound/cards,
/// /proc/net/route, the thermal zones, and the table of interfaces from which the preload shim
/// answers.
void writeDerivedFiles(const Host& host, const Store& store);

std::string soundCardsText(const Host& host);
std::string routesText(const Host& host);
std::string interfacesText(const Host& host);

/// IFF_UP, IFF_RUNNING and the rest, as the kernel gives them.
unsigned flagsOf(const Card& card);

} // namespace hostsim
