#include "time/TimedatectlOutput.h"

namespace ky {

QVariantMap parseTimedatectlStatus(const QString& text)
{
    QVariantMap status;
    if (!text.contains(QLatin1Char('\n')))
        return status;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        QStringList parts = line.split(QStringLiteral(": "));
        if (parts.size() > 1)
            status.insert(parts[0].remove(QLatin1Char(' ')), parts.at(1));
    }
    return status;
}

QStringList parseTimezones(const QString& text)
{
    if (!text.contains(QLatin1Char('\n')))
        return {};
    return text.split(QLatin1Char('\n'));
}

} // namespace ky
