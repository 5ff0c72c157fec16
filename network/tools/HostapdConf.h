#pragma once

#include <QByteArray>
#include <QString>

namespace ky {

/// The text of a hostapd configuration with the values of "ssid" and "wpa_passphrase" replaced.
/// All other lines, comments and order stay as they are.
QByteArray rewrittenHostapdConf(const QByteArray& text, const QString& ssid,
                                const QString& passPhrase);

/// Whether a value fits into one line of such a file: a line end in it would smuggle in settings.
bool fitsHostapdConf(const QString& value);

} // namespace ky
