#include "network/tools/NmcliDeviceTable.h"

#include <QStringList>

#include <algorithm>

namespace ky {

namespace {

constexpr const char* kKeys[] = {"device", "type", "state", "connection"};

QVariantMap deviceOf(const QString& line)
{
    // The tool pads its lines, so the part behind the last blank is empty as a rule.
    const QString lastPart = line.split(QLatin1Char(' ')).last();
    QVariantMap device;
    for (const char* key : kKeys)
        device.insert(QLatin1String(key), lastPart);
    return device;
}

bool isConnectedHotspot(const QVariantMap& device)
{
    const QString state = device.value(QStringLiteral("state")).toString();
    return device.value(QStringLiteral("connection")) == QLatin1String("MyHostspot") &&
           (state.contains(QStringLiteral(u"已连接")) ||
            state.contains(QLatin1String("connected")));
}

} // namespace

std::optional<QList<QVariantMap>> parseDeviceTable(const QString& text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.size() < 2)
        return std::nullopt;
    lines.removeFirst();
    QList<QVariantMap> devices;
    for (const QString& line : qAsConst(lines))
        devices.append(deviceOf(line));
    return devices;
}

bool holdsConnectedHotspot(const QList<QVariantMap>& devices)
{
    return std::any_of(devices.begin(), devices.end(), isConnectedHotspot);
}

} // namespace ky
