#pragma once

#include <QString>

namespace ky {

/// The older decoder of SSID escapes ("\xE4"; the one in use is decodeSsidEscapes()): it decodes
/// the first run without blanks, of which the last two digits, upper case, stay behind as they are.
/// `run`, if given, receives the digits that were decoded.
QString decodeHexRun(const QString& text, QString* run = nullptr);

/// "0a1f" gives "10 31"; a pair that is no hexadecimal number gives "?".
QString hexPairsAsDecimals(const QString& text);

} // namespace ky
