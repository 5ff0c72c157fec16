#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace ky {

/// Finds the address of a host name; empty if there is none. Blocks for as long as it takes.
using LookUp = std::function<QString(const QString& host)>;

/// The first IPv4 address that the system's resolver gives.
QString ipv4AddressOf(const QString& host);

/// Looks up in a thread of its own; nothing if that took longer than `limitMs`. The resolver cannot
/// be called off: the thread is left behind, and ends with the process at the latest.
std::optional<QString> lookUpWithin(int limitMs, const QString& host, const LookUp& lookUp);

} // namespace ky
