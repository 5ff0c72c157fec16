#include "network/tools/HexPairs.h"

#include <QStringList>

namespace ky {

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
