#pragma once

#include <QString>

namespace ky {

/// The value behind "key=" in the output of `wpa_cli status`; of several lines the last counts.
/// Empty if there is none.
QString wpaStatusValue(const QString& output, const QString& key);

/// Whether the card is connected, by "wpa_state". So is one that runs a hotspot.
bool isWpaCompleted(const QString& output);

} // namespace ky
