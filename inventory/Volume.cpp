#include "inventory/Volume.h"

namespace ky {

namespace {

constexpr quint64 kLoudest = 100;

QString withoutPercent(QString text)
{
    return text.remove(QLatin1Char('%'));
}

} // namespace

std::optional<int> requestedVolume(const QVariant& value)
{
    if (!value.isValid() || value.isNull())
        return 0;
    bool isNumber = false;
    const qlonglong volume = value.toLongLong(&isNumber);
    // As an unsigned number, every negative value is too large as well.
    if (!isNumber || quint64(volume) > kLoudest)
        return std::nullopt;
    return int(volume);
}

int volumeOfScript(const QString& output)
{
    return withoutPercent(output).toInt();
}

int volumeOfMixer(const QString& output)
{
    const QString first = withoutPercent(output.section(QLatin1Char('\n'), 0, 0));
    return first == QLatin1String("00") ? 100 : first.toInt();
}

} // namespace ky
