#include "model/Address.h"

#include <arpa/inet.h>

namespace hostsim {

std::optional<uint32_t> parseIp4(const std::string& text)
{
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1)
        return std::nullopt;
    return ntohl(address.s_addr);
}

std::string ip4Text(uint32_t address)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += std::to_string((address >> shift) & 0xff) + (shift > 0 ? "." : "");
    return text;
}

uint32_t maskOf(int prefix)
{
    return prefix <= 0 ? 0 : ~uint32_t(0) << (32 - prefix);
}

std::optional<Network> parseNetwork(const std::string& text)
{
    const size_t slash = text.find('/');
    const auto address = parseIp4(text.substr(0, slash));
    if (!address || slash == std::string::npos)
        return std::nullopt;
    const std::string prefix = text.substr(slash + 1);
    if (prefix.empty() || prefix.size() > 2 ||
        prefix.find_first_not_of("0123456789") != std::string::npos || std::stoi(prefix) > 32)
        return std::nullopt;
    return Network{*address, std::stoi(prefix)};
}

} // namespace hostsim
