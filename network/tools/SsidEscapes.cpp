#include "network/tools/SsidEscapes.h"

#include <QByteArray>

namespace ky {

namespace {

const QLatin1String kEscape("\\x");

/// Bytes up to the first zero: `constData()` ends there for fromUtf8().
QString textOfHex(const QByteArray& hex)
{
    return QString::fromUtf8(QByteArray::fromHex(hex).constData());
}

/// Moves the collected hexadecimal digits to the text they stand for.
void flushHex(QByteArray& hex, QString& text)
{
    text += textOfHex(hex);
    hex.clear();
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

QString decodeSsidEscapes(const QString& text)
{
    if (!text.contains(kEscape))
        return text;

    QString decoded;
    QByteArray hex;
    bool escapeSeen = false;
    bool inHex = false;
    for (int i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\\')) {
            escapeSeen = true;
            inHex = false;
        } else if (escapeSeen && c == QLatin1Char('x')) {
            escapeSeen = false;
            inHex = true;
        } else if (inHex) {
            hex += text.mid(i, 2).toLatin1();
            ++i;
            inHex = false;
        } else {
            flushHex(hex, decoded);
            decoded += c;
            escapeSeen = false;
        }
    }
    flushHex(hex, decoded);
    return decoded;
}

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

} // namespace ky
