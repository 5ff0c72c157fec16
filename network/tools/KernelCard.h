#pragma once

#include <QNetworkInterface>
#include <QVariantMap>

#include <netinet/in.h>

namespace ky {

/// The controller's internal wired address, known to the robot's other computers.
constexpr char kInternalAddress[] = "192.168.192.5";

/// "ip" and "mask" of the first IPv4 address of a card; the internal address yields to any IPv4
/// address listed behind it. Empty for a card without one.
QVariantMap chooseAddress(const QList<QNetworkAddressEntry>& entries);

/// What the kernel says of one card. An address that it does not have is 0.0.0.0.
struct KernelCard
{
    QString hardwareAddress; ///< upper case, with colons
    in_addr address{};
    in_addr broadcast{};
    in_addr mask{};
};

/// What the card adds to the report of the wired card: "Mac", "ip", "mask" and, if there is one,
/// "gateway" of the card with the internal address; nothing of any other. A stored hardware address
/// goes over "Mac", whatever the card.
QVariantMap wiredReport(const KernelCard& card, const QString& gateway, const QString& storedMac);

/// "10.0.0.7".
QString dotted(in_addr address);

/// Asks for the hardware address on a datagram socket. False if there is no such card.
bool readHardwareAddress(int socket, const char* name, KernelCard& card);
/// Asks for the three IPv4 addresses.
void readAddresses(int socket, const char* name, KernelCard& card);

} // namespace ky
