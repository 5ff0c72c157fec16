#include "support/IniFormat.h"

#include <QByteArrayList>
#include <QDataStream>
#include <QStringList>

#include <cctype>

namespace ky {

namespace {

bool isPlainInKey(QChar c)
{
    const ushort code = c.unicode();
    return code < 0x80 && (std::isalnum(code) != 0 || code == '_' || code == '-' || code == '.');
}

/// The letter behind the backslash, or 0 for a character that has none.
char escapeLetter(ushort code)
{
    switch (code) {
    case '\0':
        return '0';
    case '\a':
        return 'a';
    case '\b':
        return 'b';
    case '\f':
        return 'f';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    case '\t':
        return 't';
    case '\v':
        return 'v';
    case '"':
    case '\\':
        return char(code);
    default:
        return 0;
    }
}

QByteArray escaped(const QString& text)
{
    QByteArray result;
    // A hexadecimal digit behind \x… would be read as part of the number.
    bool isNumberOpen = false;
    for (const QChar c : text) {
        const ushort code = c.unicode();
        const char letter = escapeLetter(code);
        const bool isDigit = code < 0x80 && std::isxdigit(code) != 0;
        if (letter) {
            result += '\\';
            result += letter;
            isNumberOpen = letter == '0';
        } else if (code < 0x20 || code >= 0x7f || (isNumberOpen && isDigit)) {
            result += "\\x" + QByteArray::number(code, 16);
            isNumberOpen = true;
        } else {
            result += char(code);
            isNumberOpen = false;
        }
    }
    return result;
}

QByteArray quotedIfNeeded(const QString& text)
{
    const QByteArray result = escaped(text);
    const bool isSplit = result.contains(';') || result.contains(',') || result.contains('=');
    if (!isSplit && !result.startsWith(' ') && !result.endsWith(' '))
        return result;
    return '"' + result + '"';
}

/// All bytes of it: fromLatin1() alone ends at the first zero.
QString latin1(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.constData(), bytes.size());
}

QString streamed(const char* type, const QVariant& value, QDataStream::Version version)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(version);
    stream << value;
    return QLatin1String(type) + latin1(bytes) + QLatin1Char(')');
}

/// "@" starts what is no text: a text that begins with it gets a second one.
QString markedText(const QString& text)
{
    if (text.contains(QChar(0)))
        return QStringLiteral("@String(%1)").arg(text);
    return text.startsWith(QLatin1Char('@')) ? QLatin1Char('@') + text : text;
}

QString textOf(const QVariant& value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
        return QStringLiteral("@Invalid()");
    case QMetaType::QByteArray:
        return QLatin1String("@ByteArray(") + latin1(value.toByteArray()) + QLatin1Char(')');
    case QMetaType::QString:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Bool:
    case QMetaType::Double:
        return markedText(value.toString());
    case QMetaType::QDateTime:
        return streamed("@DateTime(", value, QDataStream::Qt_5_6);
    default:
        return streamed("@Variant(", value, QDataStream::Qt_4_0);
    }
}

/// A list of one stands as a streamed value: "a" alone would be read as a text.
bool isWrittenAsList(const QVariant& value)
{
    return value.userType() == QMetaType::QStringList ||
           (value.userType() == QMetaType::QVariantList && value.toList().size() != 1);
}

} // namespace

QByteArray iniValue(const QVariant& value)
{
    if (!isWrittenAsList(value))
        return quotedIfNeeded(textOf(value));
    const QVariantList list = value.toList();
    if (list.isEmpty())
        return QByteArrayLiteral("@Invalid()");
    QByteArrayList entries;
    for (const QVariant& entry : list)
        entries << quotedIfNeeded(textOf(entry));
    return entries.join(", ");
}

QString normalisedIniKey(const QString& key)
{
    return key.split(QLatin1Char('/'), Qt::SkipEmptyParts).join(QLatin1Char('/'));
}

QByteArray iniKey(const QString& key)
{
    QByteArray result;
    for (const QChar c : key) {
        const ushort code = c.unicode();
        if (c == QLatin1Char('/'))
            result += '\\';
        else if (isPlainInKey(c))
            result += char(code);
        else if (code <= 0xff)
            result += '%' + QByteArray::number(code, 16).rightJustified(2, '0').toUpper();
        else
            result += "%U" + QByteArray::number(code, 16).rightJustified(4, '0').toUpper();
    }
    return result;
}

QByteArray iniGroupLine(const QString& group)
{
    if (group.isEmpty())
        return QByteArrayLiteral("[General]");
    if (group.compare(QLatin1String("general"), Qt::CaseInsensitive) == 0)
        return "[%" + group.toLatin1() + ']';
    return '[' + iniKey(group) + ']';
}

QString plainIniName(const QByteArray& name)
{
    QString result;
    for (int i = 0; i < name.size(); ++i) {
        if (name.at(i) == '\\') {
            result += QLatin1Char('/');
            continue;
        }
        const bool isWide = name.at(i) == '%' && i + 1 < name.size() && name.at(i + 1) == 'U';
        const int from = i + (isWide ? 2 : 1);
        const int digits = isWide ? 4 : 2;
        bool isNumber = name.at(i) == '%' && from + digits <= name.size();
        const int code = isNumber ? name.mid(from, digits).toInt(&isNumber, 16) : 0;
        result += isNumber ? QChar(code) : QChar(QLatin1Char(name.at(i)));
        if (isNumber)
            i = from + digits - 1;
    }
    return result;
}

} // namespace ky
