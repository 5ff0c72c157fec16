#pragma once

#include <QStringList>
#include <QVariantMap>

namespace ky {

/// What `timedatectl status` says: the tool's own labels with every blank removed ("Timezone"),
/// each with the text behind the first ": ", up to the next one. Lines without ": " give nothing,
/// and so does a text of a single line without its end.
QVariantMap parseTimedatectlStatus(const QString& text);

/// The names that `timedatectl list-timezones` prints, with the empty text behind the last line
/// end. A text without a line end gives no names.
QStringList parseTimezones(const QString& text);

} // namespace ky
