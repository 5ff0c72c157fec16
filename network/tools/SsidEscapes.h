#pragma once

#include <QString>

namespace ky {

/// The text of an SSID as `wpa_cli` and `iw` print it, with bytes beyond ASCII as "\xe4".
/// Neighbouring escapes are decoded together, as UTF-8 up to the first NUL, so that a character of
/// several bytes comes out whole. A backslash that starts no escape is dropped; text without any
/// escape comes back as it is.
QString decodeSsidEscapes(const QString& text);

} // namespace ky
