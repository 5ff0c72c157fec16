#pragma once

#include <QString>
#include <QVariantMap>

namespace ky {

// Two readers of `wpa_cli status`, which differ where lines repeat, are indented or have no end:
// wpaStatusValue() takes a key by its exact name, parseWpaStatus() what a display is used to.

/// The value behind "key=" in the output of `wpa_cli status`; of several lines the last counts.
/// Empty if there is none.
QString wpaStatusValue(const QString& output, const QString& key);

/// Whether the card is connected, by "wpa_state". So is one that runs a hotspot.
bool isWpaCompleted(const QString& output);

/// What `wpa_cli status` says, under its own names, and the decoded SSID once more under
/// "current_wifi". A text without a line feed says nothing.
QVariantMap parseWpaStatus(const QString& text);

} // namespace ky
