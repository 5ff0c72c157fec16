#include "service/FrameWriter.h"

#include <QtEndian>

#include <cstring>
#include <limits>

namespace ky {

namespace {

constexpr quint8 kMarker15 = 2;
/// What a QByteArray can hold, with room for its own head.
constexpr qint64 kMaxFrame = std::numeric_limits<int>::max() - 4096;

} // namespace

QByteArray buildFrame(quint16 type, quint16 number, const QByteArray& json, const QByteArray& data)
{
    if (kHeaderSize + qint64(json.size()) + data.size() > kMaxFrame)
        return {};
    VantHeader header;
    header.number = qToBigEndian(number);
    header.dataSize = qToBigEndian(quint32(json.size()) + quint32(data.size()));
    header.type = qToBigEndian(type);
    header.revCommand = qToBigEndian(quint16(type - kAnswerOffset));
    header.jsonSize = qToBigEndian(quint16(json.size()));
    header.marker15 = kMarker15;

    QByteArray frame(kHeaderSize + json.size() + data.size(), Qt::Uninitialized);
    char* to = frame.data();
    std::memcpy(to, &header, kHeaderSize);
    to += kHeaderSize;
    if (!json.isEmpty())
        std::memcpy(to, json.constData(), size_t(json.size()));
    if (!data.isEmpty())
        std::memcpy(to + json.size(), data.constData(), size_t(data.size()));
    return frame;
}

} // namespace ky
