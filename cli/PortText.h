#pragma once

#include <QVariantMap>

#include <optional>

namespace ky {

/// The records of words "NAME=BAUD" with `others` added to each; nothing if a word is none.
std::optional<QVariantList> parsePortWords(const QStringList& words, const QVariantMap& others);

/// The name of a serial parity ("none", "even", "odd", "space", "mark") as a number; -1 if none.
int parityNumber(const QString& name);

} // namespace ky
