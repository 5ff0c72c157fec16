#include "network/tools/RouteTable.h"

#include <cstdio>

namespace ky {

namespace {

constexpr unsigned kThroughGateway = 2;

} // namespace

std::optional<QByteArray> gatewayInRoute(const QByteArray& line, const char* device)
{
    unsigned destination = 0;
    unsigned gateway = 0;
    unsigned flags = 0;
    unsigned mask = 0;
    const int read = std::sscanf(line.constData(), "%*s %x %x %x %*x %*x %*x %x %*x %*x %*x\n",
                                 &destination, &gateway, &flags, &mask);
    if (read != 4 || !line.contains(device) || !(flags & kThroughGateway))
        return std::nullopt;
    char text[sizeof "255.255.255.255"] = {};
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", gateway & 0xff, gateway >> 8 & 0xff,
                  gateway >> 16 & 0xff, gateway >> 24 & 0xff);
    return QByteArray(text);
}

} // namespace ky
