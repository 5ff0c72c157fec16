#include "inventory/AsoundConf.h"

#include <algorithm>

namespace ky {

namespace {

bool isIndexCharacter(QChar c)
{
    const ushort code = c.unicode();
    return code < 0x80 && (c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('-'));
}

QStringList defaultLines(const QString& cardIndex)
{
    return {QStringLiteral("defaults.ctl.card ") + cardIndex,
            QStringLiteral("defaults.pcm.card ") + cardIndex,
            QStringLiteral("defaults.timer.card ") + cardIndex};
}

} // namespace

bool isCardIndex(const QString& text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isIndexCharacter);
}

QByteArray asoundConf(const QString& cardIndex)
{
    return (defaultLines(cardIndex).join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
}

bool namesDefaultCard(const QStringList& lines, const QString& cardIndex)
{
    const QStringList wanted = defaultLines(cardIndex);
    return std::equal(lines.begin(), lines.end(), wanted.begin(), wanted.end(),
                      [](const QString& line, const QString& part) { return line.contains(part); });
}

} // namespace ky
