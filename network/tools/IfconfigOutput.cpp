#include "network/tools/IfconfigOutput.h"

#include <QStringList>

namespace ky {

namespace {

QString lineBehind(const QString& text, const QString& mark)
{
    const int at = text.indexOf(mark);
    const int lineEnd = text.indexOf(QLatin1Char('\n'), at + mark.size());
    if (lineEnd < 0)
        return {};
    const int nextEnd = text.indexOf(QLatin1Char('\n'), lineEnd + 1);
    return text.mid(lineEnd + 1, nextEnd < 0 ? -1 : nextEnd - lineEnd - 1);
}

} // namespace

std::optional<IfconfigCard> parseIfconfig(const QString& text, const QString& card)
{
    const QString mark = card + QLatin1Char(':');
    if (mark.contains(QLatin1Char('\n')) || !text.contains(mark))
        return std::nullopt;
    IfconfigCard found;
    const QStringList words = lineBehind(text, mark).simplified().split(QLatin1Char(' '));
    for (int i = 0; i + 1 < words.size(); ++i) {
        if (words.at(i) == QLatin1String("inet"))
            found.ip = words.at(++i);
        else if (words.at(i) == QLatin1String("netmask"))
            found.mask = words.at(++i);
    }
    return found;
}

WirelessCardChoice chooseWirelessCard(const QString& list)
{
    const QString text = list.trimmed();
    if (text.isEmpty() || text.contains(QLatin1String("error")))
        return {};
    if (!text.contains(QLatin1Char('\n')))
        return {true, text};
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line == QLatin1String("wlan0") || line == QLatin1String("wlp1s0"))
            return {true, line};
    }
    return {true, {}};
}

} // namespace ky
