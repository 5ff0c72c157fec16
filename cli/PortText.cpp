#include "cli/PortText.h"

#include <QStringList>

namespace ky {

std::optional<QVariantList> parsePortWords(const QStringList& words, const QVariantMap& others)
{
    QVariantList records;
    for (const QString& word : words) {
        const int sign = word.lastIndexOf(QLatin1Char('='));
        bool isNumber = false;
        const int baudRate = word.mid(sign + 1).toInt(&isNumber);
        if (sign < 1 || !isNumber || baudRate < 1)
            return {};
        QVariantMap record = others;
        record.insert(QStringLiteral("portName"), word.left(sign));
        record.insert(QStringLiteral("baudRate"), baudRate);
        records << record;
    }
    return records;
}

int parityNumber(const QString& name)
{
    if (name == QLatin1String("none"))
        return 0;
    // 1 is not in use: the numbers are those of the port's own enumeration.
    const int index = QStringList({QStringLiteral("even"), QStringLiteral("odd"),
                                   QStringLiteral("space"), QStringLiteral("mark")})
                          .indexOf(name);
    return index < 0 ? -1 : index + 2;
}

} // namespace ky
