#include "ports/CanFrameMap.h"

#include <algorithm>
#include <cstring>

namespace ky {

namespace {

canid_t withFlag(canid_t identifier, canid_t flag, bool isSet)
{
    return isSet ? identifier | flag : identifier & ~flag;
}

canid_t identifierWord(const QVariantMap& map)
{
    auto identifier = canid_t(map.value(QStringLiteral("frameId")).toInt());
    identifier =
        withFlag(identifier, CAN_EFF_FLAG, map.value(QStringLiteral("frameType")).toInt() == 1);
    return withFlag(identifier, CAN_RTR_FLAG,
                    map.value(QStringLiteral("frameFormat")).toInt() == 1);
}

} // namespace

quint8 canLengthCode(int dataLength, int dataSize, LengthFallback fallback)
{
    if (dataSize % kCanDataSize == 0 && dataLength > 0)
        return quint8(dataLength);
    return fallback == LengthFallback::FullFrame ? quint8(kCanDataSize) : quint8(dataSize);
}

std::optional<CanFrame> buildCanFrame(const QVariantMap& map, LengthFallback fallback,
                                      QString* error)
{
    const QByteArray data = map.value(QStringLiteral("data")).toByteArray();
    if (data.size() > kCanDataSize) {
        *error = QStringLiteral("CAN data [%1 bytes]: a frame holds at most 8").arg(data.size());
        return {};
    }
    const int dataLength = map.value(QStringLiteral("dataLength")).toInt();
    const quint8 lengthCode = canLengthCode(dataLength, data.size(), fallback);
    if (lengthCode > kCanDataSize) {
        *error = QStringLiteral("CAN length code [%1]: a frame holds at most 8").arg(lengthCode);
        return {};
    }
    CanFrame frame = {};
    frame.can_id = identifierWord(map);
    frame.can_dlc = lengthCode;
    memcpy(frame.data, data.constData(), size_t(data.size()));
    return frame;
}

QVariantMap canFrameMap(const CanFrame& frame)
{
    const int dataSize = std::min<int>(frame.can_dlc, kCanDataSize);
    QVariantMap map;
    // In the order of the names, each goes behind the one before without a search.
    const auto append = [&map](const QString& name, const QVariant& value) {
        map.insert(map.constEnd(), name, value);
    };
    append(QStringLiteral("data"), QByteArray(reinterpret_cast<const char*>(frame.data), dataSize));
    append(QStringLiteral("dataLength"), int(frame.can_dlc));
    append(QStringLiteral("frameFormat"), frame.can_id & CAN_RTR_FLAG ? 1 : 0);
    append(QStringLiteral("frameId"), int(frame.can_id & CAN_EFF_MASK));
    append(QStringLiteral("frameType"), frame.can_id & CAN_EFF_FLAG ? 1 : 0);
    return map;
}

CanRead judgeCanRead(qint64 size)
{
    if (size < 0)
        return CanRead::Failed;
    return size < kCanFrameSize ? CanRead::Incomplete : CanRead::Frame;
}

} // namespace ky
