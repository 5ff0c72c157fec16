#pragma once

#include "support/IniFile.h"

#include <QByteArray>
#include <QVariantMap>

#include <optional>

namespace ky {

/// All that QSettings reads in this text of an INI file ("group/key"), without a file of any
/// folder; nothing if it cannot be asked (no descriptor, no memory).
std::optional<QVariantMap> readIniText(const QByteArray& text);

/// Whether QSettings reads each of `values` in `after`, and every other key of `before` as it was.
/// Of a key that stands in `values` twice the last one counts.
bool readsAsChanged(const QByteArray& before, const QByteArray& after, const IniValues& values);

} // namespace ky
