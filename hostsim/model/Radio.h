#pragma once

#include "model/Host.h"

namespace hostsim {

/// On the air, and strong enough to be heard.
bool isHeard(const Host& host, const AccessPoint& ap);

/// The strongest access point of a network that the card hears; hidden ones only on request.
/// Null for none.
const AccessPoint* strongest(const Host& host, const Card& card, const std::string& ssid,
                             bool withHidden);

/// What a finished scan of the card shows.
std::vector<ScanRow> scanRows(const Host& host, const Card& card);

/// The card uses this access point from now on.
void associate(Card& card, const AccessPoint& ap);
/// The card has lost its access point.
void dissociate(Card& card);

bool isHotspot(const Card& card);

} // namespace hostsim
