#include "wire/FrameWriter.h"

#include "wire/FrameHead.h"

#include <cstring>

namespace ky {

QByteArray buildFrame(quint16 type, quint16 number, const QByteArray& json, const QByteArray& data)
{
    if (kHeaderSize + qint64(json.size()) + data.size() > kMaxFrame)
        return {};
    FrameHead head;
    head.number = number;
    head.dataSize = quint32(json.size()) + quint32(data.size());
    head.type = type;
    head.revCommand = revCommandOf(type);
    head.jsonSize = quint16(json.size());

    QByteArray frame(kHeaderSize + json.size() + data.size(), Qt::Uninitialized);
    char* to = frame.data();
    writeFrameHead(head, to);
    to += kHeaderSize;
    if (!json.isEmpty())
        std::memcpy(to, json.constData(), size_t(json.size()));
    if (!data.isEmpty())
        std::memcpy(to + json.size(), data.constData(), size_t(data.size()));
    return frame;
}

} // namespace ky
