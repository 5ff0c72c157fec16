#include "network/tools/NmcliAddressLines.h"

#include "support/ShellLine.h"

namespace ky {

namespace {

// Exact, double blanks included.
constexpr char kModifyWithGateway[] =
    "nmcli connection modify '%1' ipv4.addresses %2/%3  ipv4.gateway %4 ipv4.method manual";
constexpr char kModifyWithoutGateway[] =
    "nmcli connection modify '%1' ipv4.addresses %2/%3  ipv4.method manual";
constexpr char kModifyToDhcp[] = "nmcli connection modify '%1' ipv4.method auto";
constexpr char kWiredAddWithGateway[] =
    "nmcli connection add type ethernet con-name \"%1\" ifname %2 ipv4.addresses %3/%4  "
    "ipv4.gateway %5 ipv4.method manual";
constexpr char kWiredAddWithoutGateway[] =
    "nmcli connection add type ethernet con-name \"%1\" ifname %2 ipv4.addresses %3/%4  "
    "ipv4.method manual";
constexpr char kWiredAddDhcp[] =
    "nmcli connection add type ethernet con-name \"%1\" ifname %2 ipv4.method auto";
// %4 stands here twice and %5 not at all: the prefix length is the gateway, too. It stays so.
constexpr char kInternalAdd[] =
    "nmcli connection add type ethernet con-name '%1' ifname %2 ipv4.addresses %3/%4  "
    "ipv4.gateway %4 ipv4.method manual";

} // namespace

bool isReservedAddress(const QString& ip)
{
    return ip.contains(QLatin1String("192.168.192."));
}

QString panelGateway(const QString& gateway)
{
    return gateway.simplified() == QLatin1String("...") ? QString() : gateway;
}

QString modifyToManualLine(const QString& uuid, const Addressing& addressing)
{
    if (addressing.gateway.isEmpty())
        return shellLine(kModifyWithoutGateway, uuid, addressing.ip, addressing.prefixLength);
    return shellLine(kModifyWithGateway, uuid, addressing.ip, addressing.prefixLength,
                     addressing.gateway);
}

QString modifyToDhcpLine(const QString& uuid)
{
    return shellLine(kModifyToDhcp, uuid);
}

QString addWiredLine(const QString& connection, const QString& card, const Addressing& addressing)
{
    if (addressing.isDhcp)
        return shellLine(kWiredAddDhcp, connection, card);
    if (addressing.gateway.isEmpty())
        return shellLine(kWiredAddWithoutGateway, connection, card, addressing.ip,
                         addressing.prefixLength);
    return shellLine(kWiredAddWithGateway, connection, card, addressing.ip, addressing.prefixLength,
                     addressing.gateway);
}

QString addInternalLine(const QString& connection, const QString& card,
                        const Addressing& addressing)
{
    return shellLine(kInternalAdd, connection, card, addressing.ip, addressing.prefixLength,
                     addressing.gateway);
}

} // namespace ky
