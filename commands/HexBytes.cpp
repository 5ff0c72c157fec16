#include "commands/HexBytes.h"

namespace ky {

std::optional<QByteArray> bytesOfHex(const QString& text)
{
    QByteArray digits;
    for (const QChar c : text) {
        if (c == QLatin1Char(' '))
            continue;
        if (!QStringLiteral("0123456789abcdefABCDEF").contains(c))
            return {};
        digits += char(c.unicode());
    }
    if (digits.size() % 2 != 0)
        return {};
    return QByteArray::fromHex(digits);
}

QString hexOfBytes(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

} // namespace ky
