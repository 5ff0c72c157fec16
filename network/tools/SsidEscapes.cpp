#include "network/tools/SsidEscapes.h"

#include <QByteArray>

namespace ky {

namespace {

/// Moves the collected hexadecimal digits to the text they stand for.
void flushHex(QByteArray& hex, QString& text)
{
    const QByteArray bytes = QByteArray::fromHex(hex);
    text += QString::fromUtf8(bytes.constData()); // ends at a NUL
    hex.clear();
}

} // namespace

QString decodeSsidEscapes(const QString& text)
{
    if (!text.contains(QLatin1String("\\x")))
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

} // namespace ky
