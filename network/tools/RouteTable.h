#pragma once

#include <QByteArray>

#include <optional>

namespace ky {

/// The gateway in one line of the kernel's route table, if the line holds the name anywhere (so a
/// line of eth10 also answers for eth1) and its route goes through a gateway.
std::optional<QByteArray> gatewayInRoute(const QByteArray& line, const char* device);

} // namespace ky
