#include "clients/FrameHead.h"

#include "service/VantHeader.h"

#include <QtEndian>

#include <cstring>

namespace ky {

namespace {

constexpr char kSync = 0x5A;
constexpr char kVersion = 0x01;

} // namespace

FrameHead readFrameHead(const char* bytes)
{
    VantHeader header;
    std::memcpy(&header, bytes, sizeof header);
    FrameHead head;
    head.number = qFromBigEndian(header.number);
    head.dataSize = qFromBigEndian(header.dataSize);
    head.type = qFromBigEndian(header.type);
    head.revCommand = qFromBigEndian(header.revCommand);
    head.jsonSize = qFromBigEndian(header.jsonSize);
    return head;
}

bool startsFrame(const char* bytes, int size)
{
    return size >= 2 && bytes[0] == kSync && bytes[1] == kVersion;
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
