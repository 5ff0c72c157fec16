#include "network/tools/HostapdConf.h"

#include <QList>

namespace ky {

namespace {

/// The lines of a text, each with the line feed that ends it.
QList<QByteArray> linesOf(const QByteArray& text)
{
    QList<QByteArray> lines;
    for (int from = 0; from < text.size();) {
        const int end = text.indexOf('\n', from);
        const int next = end < 0 ? text.size() : end + 1;
        lines.append(text.mid(from, next - from));
        from = next;
    }
    return lines;
}

QByteArray settingLine(const QByteArray& key, const QString& value)
{
    return key + '=' + value.toUtf8() + '\n';
}

} // namespace

QByteArray rewrittenHostapdConf(const QByteArray& text, const QString& ssid,
                                const QString& passPhrase)
{
    QByteArray rewritten;
    for (const QByteArray& line : linesOf(text)) {
        const int separator = line.indexOf('=');
        const QByteArray key = separator < 0 ? QByteArray() : line.left(separator).simplified();
        if (key == "ssid")
            rewritten += settingLine(key, ssid);
        else if (key == "wpa_passphrase")
            rewritten += settingLine(key, passPhrase);
        else
            rewritten += line;
    }
    return rewritten;
}

bool fitsHostapdConf(const QString& value)
{
    return !value.contains(QLatin1Char('\n')) && !value.contains(QLatin1Char('\r')) &&
           !value.contains(QChar::Null);
}

} // namespace ky
