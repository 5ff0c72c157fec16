#pragma once

#include <QByteArray>
#include <QStringList>

namespace ky {

/// Whether the text can name a card: letters, digits, "_" and "-" only. The file is read as
/// configuration by every program that plays sound, so nothing else goes into it.
bool isCardIndex(const QString& text);

/// The content of /etc/asound.conf that makes the card the default: three lines.
QByteArray asoundConf(const QString& cardIndex);

/// Whether these are exactly three lines and each holds its default for that card.
bool namesDefaultCard(const QStringList& lines, const QString& cardIndex);

} // namespace ky
