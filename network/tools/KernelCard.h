#pragma once

#include <QString>

#include <netinet/in.h>

namespace ky {

/// What the kernel says of one card. An address that it does not have is 0.0.0.0.
struct KernelCard
{
    QString hardwareAddress; ///< upper case, with colons
    in_addr address{};
    in_addr broadcast{};
    in_addr mask{};
};

/// "10.0.0.7".
QString dotted(in_addr address);

/// Asks for the hardware address on a datagram socket. False if there is no such card.
bool readHardwareAddress(int socket, const char* name, KernelCard& card);
/// Asks for the three IPv4 addresses.
void readAddresses(int socket, const char* name, KernelCard& card);

} // namespace ky
