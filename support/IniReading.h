#pragma once

#include "support/IniFile.h"

#include <QByteArray>
#include <QVariantMap>

#include <optional>

namespace ky {

/// All that QSettings reads in this text of an INI file ("group/key"), without a file in any
/// folder. Nothing if it cannot be asked (no descriptor, no memory): `error` (may be null) tells
/// why.
std::optional<QVariantMap> readIniText(const QByteArray& text, QString* error = nullptr);

/// Whether of what was read `before` and `after` exactly `values` have changed: each is there, and
/// every other key is as it was. Of a key that stands in `values` twice the last one counts.
bool isChangedAsWanted(QVariantMap before, QVariantMap after, const IniValues& values);

} // namespace ky
