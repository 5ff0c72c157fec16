#pragma once

#include "network/decisions/RoamingDecision.h"

#include <QString>

class SystemNetwork;

namespace ky {

/// Brings the stored Wi-Fi profile up again, unless another scan is under way on the card (48 s at
/// most).
void reconnectWifi(SystemNetwork& network, const QString& card);

/// One look at the access points while associated: moves to a better one, or brings a lost
/// connection back (64 s at most).
void roamOnce(SystemNetwork& network, const QString& card, const RoamLimits& limits);

} // namespace ky
