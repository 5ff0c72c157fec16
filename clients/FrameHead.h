#pragma once

#include <QByteArray>

namespace ky {

/// The fields of a received header in host byte order. The client readers show two of them
/// crosswise: what came as `type` is reported as "revCommand", and the header field `revCommand`,
/// which in an answer is the type of the request, as "sendCommand".
struct FrameHead
{
    quint16 number = 0;
    quint32 dataSize = 0;
    quint16 type = 0;
    quint16 revCommand = 0;
    quint16 jsonSize = 0;
};

/// Reads the 16 bytes at `bytes`, whatever they hold.
FrameHead readFrameHead(const char* bytes);

/// Whether a strict reader sees a frame at the start of these bytes: both the sync byte and the
/// version are there.
bool startsFrame(const char* bytes, int size);

/// Where, behind the first byte, a strict reader sees the next frame; `size` if nowhere. A sync
/// byte at the very end is no start: the version behind it is missing.
int findNextFrame(const char* bytes, int size);

} // namespace ky
