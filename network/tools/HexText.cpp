#include "network/tools/HexText.h"

#include <QStringList>

namespace ky {

namespace {

const QLatin1String kEscape("\\x");

/// Bytes up to the first zero: `constData()` ends there for fromUtf8().
QString textOfHex(const QByteArray& hex)
{
    return QString::fromUtf8(QByteArray::fromHex(hex).constData());
}

bool isTrailingDigit(QChar c)
{
    return (c >= QLatin1Char('0') && c <= QLatin1Char('9')) ||
           (c >= QLatin1Char('A') && c <= QLatin1Char('F')) || c == QLatin1Char('|');
}

int runEnd(const QString& text, int from)
{
    while (from < text.size() && !text.at(from).isSpace())
        ++from;
    return from;
}

/// Finds what \\x(\S*)[0-9|A-F]{2,2} captures: the longest run behind the first "\x" that has two
/// such digits behind it. By hand, since an expression tries each "\x" of a long run anew.
bool findHexRun(const QString& text, int* from, int* size)
{
    int at = text.indexOf(kEscape);
    while (at >= 0) {
        const int end = runEnd(text, at);
        int digits = end - 2;
        while (digits >= at + 2 &&
               !(isTrailingDigit(text.at(digits)) && isTrailingDigit(text.at(digits + 1))))
            --digits;
        if (digits >= at + 2) {
            *from = at + 2;
            *size = digits - *from;
            return true;
        }
        at = text.indexOf(kEscape, end);
    }
    return false;
}

} // namespace

QString decodeHexRun(const QString& text, QString* run)
{
    int from = 0;
    int size = 0;
    if (!findHexRun(text, &from, &size))
        return text;
    const QString captured = text.mid(from, size);
    const QString digits = QString(captured).remove(kEscape);
    if (run)
        *run = digits;
    QString decoded = text;
    if (!captured.isEmpty())
        decoded.replace(captured, textOfHex(digits.toLatin1()));
    return decoded.remove(kEscape);
}

QString hexPairsAsDecimals(const QString& text)
{
    QStringList decimals;
    for (int i = 0; i < text.size(); i += 2) {
        bool isNumber = false;
        const uint number = text.midRef(i, 2).toUInt(&isNumber, 16);
        decimals << (isNumber ? QString::number(number) : QStringLiteral("?"));
    }
    return decimals.join(QLatin1Char(' '));
}

} // namespace ky
