#include "network/tools/LshwOutput.h"

#include <QStringList>

namespace ky {

QString wiredDriver(const QString& output)
{
    const QStringList lines = output.split(QLatin1Char('\n'));
    bool isWired = false;
    for (const QString& line : lines) {
        if (!isWired) {
            isWired = line.contains(QLatin1String("description: Wired interface"));
            continue;
        }
        if (!line.contains(QLatin1String("configuration:")))
            continue;
        const QStringList words = line.split(QLatin1Char(' '));
        for (const QString& word : words) {
            if (word.contains(QLatin1String("driver=")))
                return QString(word).remove(QLatin1String("driver=")).simplified();
        }
        return {};
    }
    return {};
}

} // namespace ky
