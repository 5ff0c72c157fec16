#pragma once

#include <QByteArray>
#include <QVariantList>

#include <optional>

namespace ky {

/// The cards in the text of /proc/asound/cards, up to its first NUL byte: "index", "name" and
/// "fullName" (with its leading blank) of each line that has "]:". A text of a single line without
/// its end has none.
QVariantList parseSoundCards(const QByteArray& text);

/// The index of the first card whose name contains "PCH". Lines without "]:" count, too: their
/// first word is the index, their last one the name.
std::optional<QString> findPchCard(const QByteArray& text);

/// Reads a card over both of its lines: "index", "name", "type", "tag", "additionalInfo"; empty if
/// the text does not match, or the type is not "HDA-Intel…".
QVariantMap matchHdaCard(const QString& text);

/// The "HDA-Intel" cards of the text, line by line. A card takes two lines, so there are none.
QVariantList parseHdaCards(const QByteArray& text);

} // namespace ky
