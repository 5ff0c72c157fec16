#pragma once

#include "network/RoamingLog.h"
#include "network/decisions/RoamingDecision.h"
#include "network/tools/IwOutput.h"

#include <QString>

#include <optional>

class SystemNetwork;

namespace ky {

/// The access point that a card is on (4 s at most), reported as the current one. Nothing while the
/// card is not associated, or with the last error set if it has no name or cannot be asked.
std::optional<LinkState> readLink(SystemNetwork& network, const QString& card,
                                  const RoamListener& listener);

/// Brings the stored Wi-Fi profile up again, unless another scan is under way on the card (48 s at
/// most).
void reconnectWifi(SystemNetwork& network, const QString& card);

/// One look at the access points while associated: moves to a better one, or brings a lost
/// connection back (64 s at most).
void roamOnce(SystemNetwork& network, const QString& card, const RoamLimits& limits,
              const RoamListener& listener);

} // namespace ky
