#include "network/tools/InterfaceText.h"

#include <QMetaEnum>

namespace ky {

QString interfaceFlagNames(int bits)
{
    static constexpr const char* kNames[] = {"IsUp,",       "IsRunning,",      "CanBroadcast,",
                                             "IsLoopBack,", "IsPointToPoint,", "CanMulticast"};
    QString names;
    int bit = 1;
    for (const char* name : kNames) {
        if (bits & bit)
            names += QLatin1String(name);
        bit <<= 1;
    }
    return names;
}

QStringList describeInterface(const QNetworkInterface& interface)
{
    const int type = interface.type();
    const char* typeName = QMetaEnum::fromType<QNetworkInterface::InterfaceType>().valueToKey(type);
    return {
        QStringLiteral("[QNetworkInterface:%1]").arg(interface.index()),
        QStringLiteral("[name:%1]").arg(interface.name()),
        QStringLiteral("[humanReadableName:%1]").arg(interface.humanReadableName()),
        QStringLiteral("[flags:%1(%2)]").arg(int(interface.flags())).arg(interfaceFlagNames(type)),
        QStringLiteral("[type:%1(%2)]").arg(type).arg(QLatin1String(typeName)),
        QStringLiteral("[hardwareAddress:%1]").arg(interface.hardwareAddress())};
}

} // namespace ky
