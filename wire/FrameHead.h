#pragma once

#include <QtGlobal>

#include <limits>

namespace ky {

constexpr int kHeaderSize = 16;
constexpr char kSync = 0x5A;
constexpr char kVersion = 0x01;
constexpr char kMarker15 = 2;            ///< last byte of the header; nobody reads it
constexpr quint16 kAnswerOffset = 10000; ///< what an answer's type adds to the request's
constexpr quint16 kUploadType = 5104;    ///< its data area is streamed to a file
/// What a QByteArray can hold, with room for its own head: the largest frame there can be.
constexpr int kMaxFrame = std::numeric_limits<int>::max() - 4096;

/// The fields of a header in host byte order. The client readers show two of them crosswise: what
/// came as `type` is reported as "revCommand", and the header field `revCommand`, which in an
/// answer is the type of the request, as "sendCommand".
struct FrameHead
{
    quint16 number = 0;
    quint32 dataSize = 0;
    quint16 type = 0;
    quint16 revCommand = 0;
    quint16 jsonSize = 0;
};

constexpr quint16 answerTypeOf(quint16 requestType)
{
    return quint16(requestType + kAnswerOffset);
}

/// `type` minus 10000 in 16 bits: the request's type in an answer, and a wrapped number in a
/// request below 10000, which every writer sends.
constexpr quint16 revCommandOf(quint16 type)
{
    return quint16(type - kAnswerOffset);
}

/// Reads the 16 bytes at `bytes`, whatever they hold.
FrameHead readFrameHead(const char* bytes);

/// Writes 16 bytes to `bytes`, sync and version first.
void writeFrameHead(const FrameHead& head, char* bytes);

/// Whether a strict reader sees a frame at the start of these bytes: both the sync byte and the
/// version are there.
bool startsFrame(const char* bytes, int size);

/// Where, behind the first byte, a strict reader sees the next frame; `size` if nowhere. A sync
/// byte at the very end is no start: the version behind it is missing.
int findNextFrame(const char* bytes, int size);

} // namespace ky
