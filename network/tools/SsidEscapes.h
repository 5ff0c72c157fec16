#pragma once

#include <QString>

namespace ky {

/// The text of an SSID as `wpa_cli` and `iw` print it, with bytes beyond ASCII as "\xe4".
/// Neighbouring escapes are decoded together, as UTF-8 up to the first NUL, so that a character of
/// several bytes comes out whole. A backslash that starts no escape is dropped; text without any
/// escape comes back as it is.
QString decodeSsidEscapes(const QString& text);

/// The older decoder of SSID escapes ("\xE4"; the one in use is decodeSsidEscapes()): it decodes
/// the first run without blanks, of which the last two digits, upper case, stay behind as they are.
/// `run`, if given, receives the digits that were decoded.
QString decodeHexRun(const QString& text, QString* run = nullptr);

} // namespace ky
