#include "network/tools/WpaCliStatus.h"

#include <QStringList>

namespace ky {

QString wpaStatusValue(const QString& output, const QString& key)
{
    QString value;
    const QStringList lines = output.split(QLatin1Char('\n'));
    for (const QString& rawLine : lines) {
        const QString line = rawLine.simplified();
        const int sign = line.indexOf(QLatin1Char('='));
        if (sign >= 0 && line.leftRef(sign) == key)
            value = line.mid(sign + 1);
    }
    return value;
}

bool isWpaCompleted(const QString& output)
{
    return wpaStatusValue(output, QStringLiteral("wpa_state")) == QLatin1String("COMPLETED");
}

} // namespace ky
