#include "clients/Texts.h"

#include <limits>
#include <new>

namespace ky {

namespace {

bool isDigit(QChar c)
{
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

} // namespace

QString textUpToZero(const QByteArray& bytes)
{
    return QString::fromUtf8(bytes.constData(),
                             int(qstrnlen(bytes.constData(), uint(bytes.size()))));
}

QByteArray hexOf(const QByteArray& bytes)
{
    constexpr int kLongest = (std::numeric_limits<int>::max() - 4096) / 2;
    if (bytes.size() > kLongest)
        throw std::bad_alloc();
    return bytes.toHex();
}

QString fillPlaces(const QString& text, const QStringList& values)
{
    QString filled;
    int at = 0;
    while (at < text.size()) {
        int end = at + 1;
        while (text[at] == QLatin1Char('%') && end < text.size() && end < at + 3 &&
               isDigit(text[end]))
            ++end;
        const int place = text.midRef(at + 1, end - at - 1).toInt();
        if (place >= 1 && place <= values.size())
            filled += values[place - 1];
        else
            filled += text.midRef(at, end - at);
        at = end;
    }
    return filled;
}

} // namespace ky
