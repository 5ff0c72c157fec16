#include "commands/ValueForms.h"

#include <QDateTime>
#include <QStringList>

#include <algorithm>
#include <optional>

namespace ky {

namespace {

constexpr int kMostInterfaceBytes = 15;
constexpr int kMostHostLetters = 253;
constexpr int kMostZoneLetters = 64;

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

bool isLetter(QChar c)
{
    return (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
           (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
}

/// Whether it consists of ASCII letters, digits and `others` alone.
bool holdsOnly(const QString& text, const char* others)
{
    return std::all_of(text.begin(), text.end(), [others](QChar c) {
        return isDigit(c) || isLetter(c) || QString::fromLatin1(others).contains(c);
    });
}

std::optional<quint32> numberOfOctets(const QString& text)
{
    const QStringList octets = text.split(QLatin1Char('.'));
    if (octets.size() != 4)
        return {};
    quint32 value = 0;
    for (const QString& octet : octets) {
        const bool isPlain = !octet.isEmpty() && octet.size() <= 3 &&
                             std::all_of(octet.begin(), octet.end(), isDigit);
        if (!isPlain || octet.toUInt() > 255)
            return {};
        value = value << 8 | octet.toUInt();
    }
    return value;
}

bool isOctal(const QString& octet)
{
    return octet.size() > 1 && octet.startsWith(QLatin1Char('0'));
}

} // namespace

bool isIpv4Address(const QString& text)
{
    if (!numberOfOctets(text))
        return false;
    const QStringList octets = text.split(QLatin1Char('.'));
    return std::none_of(octets.begin(), octets.end(), isOctal);
}

bool isSubnetMask(const QString& text)
{
    const std::optional<quint32> mask = numberOfOctets(text);
    return mask && (~*mask & (~*mask + 1)) == 0;
}

bool isHostName(const QString& text)
{
    return !text.isEmpty() && text.size() <= kMostHostLetters &&
           !text.startsWith(QLatin1Char('-')) && holdsOnly(text, ".:_%-");
}

bool isInterfaceName(const QString& text)
{
    const int bytes = text.toUtf8().size();
    if (bytes < 1 || bytes > kMostInterfaceBytes || text.startsWith(QLatin1Char('-')))
        return false;
    if (text == QLatin1String(".") || text == QLatin1String(".."))
        return false;
    return std::all_of(text.begin(), text.end(), [](QChar c) {
        return c.isPrint() && !c.isSpace() && c != QLatin1Char('/') && c != QLatin1Char(':');
    });
}

bool isZoneName(const QString& text)
{
    if (text.size() > kMostZoneLetters)
        return false;
    const QStringList words = text.split(QLatin1Char('/'));
    return std::all_of(words.begin(), words.end(), [](const QString& word) {
        return !word.isEmpty() && !word.startsWith(QLatin1Char('-')) && holdsOnly(word, "_+-");
    });
}

bool isLocalTime(const QString& text)
{
    return QDateTime::fromString(text, QStringLiteral("yyyy-MM-dd hh:mm:ss")).isValid();
}

bool isPlainWord(const QString& text)
{
    return !text.isEmpty() && holdsOnly(text, "_-");
}

} // namespace ky
