#pragma once

#include <QString>

namespace ky {

/// "0a1f" gives "10 31"; a pair that is no hexadecimal number gives "?".
QString hexPairsAsDecimals(const QString& text);

} // namespace ky
