#include "support/ShellLine.h"

#include <algorithm>

namespace ky {

namespace {

enum class Quoting
{
    Bare,
    Single,
    Double
};

bool isPlain(QChar c)
{
    if (c.unicode() >= 0x80)
        return !c.isSpace(); // no shell splits there, but a person reads the line too
    if (c.isLetterOrNumber())
        return true;
    return QStringLiteral("@%+=:,./-_").contains(c);
}

QString escapeBare(const QString& value)
{
    if (std::all_of(value.begin(), value.end(), isPlain))
        return value;
    QString quoted = value;
    quoted.replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return QLatin1Char('\'') + quoted + QLatin1Char('\'');
}

QString escapeSingle(QString value)
{
    return value.replace(QLatin1Char('\''), QLatin1String("'\\''"));
}

QString escapeDouble(const QString& value)
{
    QString escaped;
    escaped.reserve(value.size());
    for (QChar c : value) {
        if (QStringLiteral("\\\"$`").contains(c))
            escaped += QLatin1Char('\\');
        escaped += c;
    }
    return escaped;
}

QString escapeFor(Quoting quoting, const ShellValue& value)
{
    if (value.isComposed())
        return value.text();
    switch (quoting) {
    case Quoting::Single:
        return escapeSingle(value.text());
    case Quoting::Double:
        return escapeDouble(value.text());
    case Quoting::Bare:
        break;
    }
    return escapeBare(value.text());
}

Quoting quotingAfter(Quoting quoting, QChar c)
{
    if (c == QLatin1Char('\'') && quoting != Quoting::Double)
        return quoting == Quoting::Single ? Quoting::Bare : Quoting::Single;
    if (c == QLatin1Char('"') && quoting != Quoting::Single)
        return quoting == Quoting::Double ? Quoting::Bare : Quoting::Double;
    return quoting;
}

/// Reads the marker at `at` (the '%'): its number, or 0, and the length of its text. Two digits
/// count as one marker only where there are that many values: "%11" with three values is %1
/// followed by the digit 1.
int markerAt(const QString& text, int at, int valueCount, int* length)
{
    const auto digit = [&](int i) {
        const ushort c = i < text.size() ? text.at(i).unicode() : 0;
        return c >= '0' && c <= '9' ? c - '0' : -1;
    };
    const int first = digit(at + 1);
    if (first < 1)
        return 0;
    const int second = digit(at + 2);
    const int both = first * 10 + second;
    *length = second >= 0 && both <= valueCount ? 3 : 2;
    const int number = *length == 3 ? both : first;
    return number <= valueCount ? number : 0;
}

QString fill(const QString& text, std::initializer_list<ShellValue> values)
{
    QString line;
    line.reserve(text.size() * 2);
    Quoting quoting = Quoting::Bare;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        int length = 0;
        const int marker =
            c == QLatin1Char('%') ? markerAt(text, i, int(values.size()), &length) : 0;
        if (marker > 0) {
            line += escapeFor(quoting, values.begin()[marker - 1]);
            i += length - 1;
            continue;
        }
        line += c;
        if (c == QLatin1Char('\\') && quoting != Quoting::Single && i + 1 < text.size())
            line += text.at(++i);
        else
            quoting = quotingAfter(quoting, c);
    }
    return line;
}

} // namespace

QString shellLine(const char* lineTemplate, std::initializer_list<ShellValue> values)
{
    return fill(QString::fromUtf8(lineTemplate), values);
}

ShellPart shellPart(const char* partTemplate, std::initializer_list<ShellValue> values)
{
    ShellPart part;
    part._text = fill(QString::fromUtf8(partTemplate), values);
    return part;
}

} // namespace ky
