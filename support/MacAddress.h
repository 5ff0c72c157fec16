#pragma once

#include <QString>

namespace ky {

/// Whether the text is a hardware address: six pairs of hexadecimal digits, parted by colons.
bool isMacAddress(const QString& text);

} // namespace ky
