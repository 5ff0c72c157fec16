#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace hostsim {

/// An IPv4 address in host byte order; nothing for text that is not four decimal parts.
std::optional<uint32_t> parseIp4(const std::string& text);
std::string ip4Text(uint32_t address);
uint32_t maskOf(int prefix);

/// An address with its prefix: "10.0.0.5/24".
struct Network
{
    uint32_t address = 0;
    int prefix = 0;

    uint32_t mask() const { return maskOf(prefix); }
    uint32_t broadcast() const { return address | ~mask(); }
    bool holds(uint32_t other) const { return (address & mask()) == (other & mask()); }
};
std::optional<Network> parseNetwork(const std::string& text);

} // namespace hostsim
