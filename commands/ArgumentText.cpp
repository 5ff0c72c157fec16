#include "commands/ArgumentText.h"

namespace ky {

namespace {

QString text(const char* words)
{
    return QString::fromUtf8(words);
}

QString wholeText(const Argument& row)
{
    if (row.least == 0 && row.most == 1)
        return QStringLiteral("0 or 1");
    return QStringLiteral("a whole number from %1 to %2")
        .arg(qlonglong(row.least))
        .arg(qlonglong(row.most));
}

QString lengthText(const Argument& row)
{
    return row.least == 0
               ? QStringLiteral("a text of at most %1 bytes").arg(int(row.most))
               : QStringLiteral("a text of %1 to %2 bytes").arg(int(row.least)).arg(int(row.most));
}

QString listText(const Argument& row)
{
    return QStringLiteral("a list of at most %1 %2")
        .arg(int(row.most))
        .arg(row.keys.isEmpty() ? QLatin1String("texts") : QLatin1String("objects"));
}

QString choiceText(const Argument& row)
{
    return QStringLiteral("one of ") +
           text(row.choices).replace(QLatin1Char(' '), QStringLiteral(", "));
}

QString plainText(const Argument& row)
{
    switch (row.kind) {
    case ValueKind::Flag:
        return QStringLiteral("true or false");
    case ValueKind::Whole:
        return wholeText(row);
    case ValueKind::Number:
        return QStringLiteral("a number from %1 to %2").arg(row.least).arg(row.most);
    case ValueKind::Text:
        return lengthText(row);
    case ValueKind::Choice:
        return choiceText(row);
    case ValueKind::Word:
        return QStringLiteral("a word of letters, digits, _ and -");
    case ValueKind::Address:
        return QStringLiteral("an IPv4 address");
    case ValueKind::Mask:
        return QStringLiteral("a subnet mask");
    case ValueKind::Host:
        return QStringLiteral("an address or the name of a host");
    case ValueKind::Mac:
        return QStringLiteral("a MAC address");
    case ValueKind::Interface:
        return QStringLiteral("the name of a network interface");
    case ValueKind::Zone:
        return QStringLiteral("the name of a time zone");
    case ValueKind::Time:
        return QStringLiteral("a time like 2026-05-01 12:00:00");
    case ValueKind::Hex:
        return QStringLiteral("bytes in hexadecimal");
    case ValueKind::Command:
        return QStringLiteral("the number or name of a command");
    case ValueKind::Object:
        return QStringLiteral("an object");
    case ValueKind::List:
        return listText(row);
    }
    return {};
}

} // namespace

QString expectationOf(const Argument& row)
{
    return row.isEmptyAllowed ? plainText(row) + QStringLiteral(" or empty") : plainText(row);
}

QString presenceOf(const Argument& row)
{
    if (row.isRequired)
        return QStringLiteral("required");
    if (*row.exempting != '\0')
        return QStringLiteral("required unless %1").arg(text(row.exempting));
    return text(row.usual);
}

} // namespace ky
