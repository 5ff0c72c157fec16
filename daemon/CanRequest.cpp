#include "daemon/CanRequest.h"

#include "daemon/HexText.h"

#include <linux/can.h>

namespace ky {

namespace {

bool isNumber(const QVariant& value)
{
    switch (int(value.type())) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

/// A key that is missing is sound: whoever needs it asks for it first.
QString numberProblem(const QVariantMap& map, const QString& key, uint most)
{
    if (!map.contains(key))
        return {};
    const QVariant value = map.value(key);
    const double number = value.toDouble();
    const bool isWhole = isNumber(value) && number >= 0 && number <= most && number == uint(number);
    return isWhole ? QString()
                   : QStringLiteral("argument [%1]: not a whole number from 0 to %2")
                         .arg(key, QString::number(most));
}

QString dataProblem(const QVariantMap& map)
{
    const QVariant data = map.value(QStringLiteral("data"), QString());
    if (data.type() != QVariant::String)
        return QStringLiteral("argument [data]: not a text in hexadecimal");
    const QString hex = data.toString();
    return bytesOfHex(hex) ? QString()
                           : QStringLiteral("argument [data]: not hexadecimal: %1").arg(hex);
}

} // namespace

QString canRequestProblem(const QVariantMap& map)
{
    const QString frameId = QStringLiteral("frameId");
    const QString frameType = QStringLiteral("frameType");
    if (!map.contains(frameId))
        return QStringLiteral("argument [frameId]: missing");
    const bool isExtended = map.value(frameType).toDouble() == 1;
    for (const QString& problem :
         {numberProblem(map, frameType, 1), numberProblem(map, QStringLiteral("frameFormat"), 1),
          numberProblem(map, frameId, isExtended ? CAN_EFF_MASK : CAN_SFF_MASK),
          numberProblem(map, QStringLiteral("dataLength"), CAN_MAX_DLEN), dataProblem(map)}) {
        if (!problem.isEmpty())
            return problem;
    }
    return {};
}

} // namespace ky
