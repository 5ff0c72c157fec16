#include "wire/FrameHead.h"

#include <QtEndian>

#include <cstring>

namespace ky {

namespace {

// Where the fields stand; all numbers are big-endian. Byte 14 is always zero.
constexpr int kSyncAt = 0;
constexpr int kVersionAt = 1;
constexpr int kNumberAt = 2;
constexpr int kDataSizeAt = 4;
constexpr int kTypeAt = 8;
constexpr int kRevCommandAt = 10;
constexpr int kJsonSizeAt = 12;
constexpr int kMarkerAt = 15;

} // namespace

FrameHead readFrameHead(const char* bytes)
{
    FrameHead head;
    head.number = qFromBigEndian<quint16>(bytes + kNumberAt);
    head.dataSize = qFromBigEndian<quint32>(bytes + kDataSizeAt);
    head.type = qFromBigEndian<quint16>(bytes + kTypeAt);
    head.revCommand = qFromBigEndian<quint16>(bytes + kRevCommandAt);
    head.jsonSize = qFromBigEndian<quint16>(bytes + kJsonSizeAt);
    return head;
}

void writeFrameHead(const FrameHead& head, char* bytes)
{
    std::memset(bytes, 0, kHeaderSize);
    bytes[kSyncAt] = kSync;
    bytes[kVersionAt] = kVersion;
    qToBigEndian(head.number, bytes + kNumberAt);
    qToBigEndian(head.dataSize, bytes + kDataSizeAt);
    qToBigEndian(head.type, bytes + kTypeAt);
    qToBigEndian(head.revCommand, bytes + kRevCommandAt);
    qToBigEndian(head.jsonSize, bytes + kJsonSizeAt);
    bytes[kMarkerAt] = kMarker15;
}

bool startsFrame(const char* bytes, int size)
{
    return size >= 2 && bytes[kSyncAt] == kSync && bytes[kVersionAt] == kVersion;
}

int findNextFrame(const char* bytes, int size)
{
    int at = 1;
    while (at < size) {
        const void* sync = std::memchr(bytes + at, kSync, size_t(size - at));
        if (!sync)
            return size;
        at = int(static_cast<const char*>(sync) - bytes);
        if (startsFrame(bytes + at, size - at))
            return at;
        ++at;
    }
    return size;
}

} // namespace ky
