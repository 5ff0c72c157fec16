#pragma once

#include "model/Host.h"

namespace hostsim {

/// Switched on, and strong enough to be received.
bool isHeard(const Host& host, const AccessPoint& ap);

/// The strongest access point of a network that the card receives, or null. A hidden one counts
/// if `withHidden`, or once a directed scan has found it.
const AccessPoint* strongest(const Host& host, const Card& card, const std::string& ssid,
                             bool withHidden);

/// The table after a finished scan.
std::vector<ScanRow> scanRows(const Host& host, const Card& card);

/// Links the card to this access point.
void associate(Card& card, const AccessPoint& ap);
/// Ends the card's link.
void dissociate(Card& card);

/// Whether the card is an access point itself.
bool isHotspot(const Card& card);

} // namespace hostsim
