#include "network/decisions/RemovalNames.h"

#include <algorithm>
#include <iterator>
#include <net/if.h>

namespace ky {

namespace {

bool isLetterOrDigit(QChar c)
{
    return c.unicode() < 0x80 && c.isLetterOrNumber();
}

bool isLetterOrDigitOfAnyScript(QChar c)
{
    return c.isLetterOrNumber();
}

/// The kernel accepts it in a name, and grep takes it literally.
bool fitsCardName(QChar c)
{
    return c.unicode() > 0x20 && c.unicode() != 0x7f && !c.isSpace() &&
           !QStringLiteral("/:*[]^$\\").contains(c);
}

// What NetworkManager writes into keyfiles and lists, and the older names of some.
constexpr const char* kConnectionTypes[] = {"6lowpan",
                                            "802-11-olpc-mesh",
                                            "802-11-wireless",
                                            "802-3-ethernet",
                                            "adsl",
                                            "bluetooth",
                                            "bond",
                                            "bridge",
                                            "cdma",
                                            "dummy",
                                            "ethernet",
                                            "generic",
                                            "gsm",
                                            "hsr",
                                            "infiniband",
                                            "ip-tunnel",
                                            "ipvlan",
                                            "loopback",
                                            "macsec",
                                            "macvlan",
                                            "olpc-mesh",
                                            "ovs-bridge",
                                            "ovs-dpdk",
                                            "ovs-interface",
                                            "ovs-patch",
                                            "ovs-port",
                                            "pppoe",
                                            "team",
                                            "tun",
                                            "veth",
                                            "vlan",
                                            "vpn",
                                            "vrf",
                                            "vxlan",
                                            "wifi",
                                            "wifi-p2p",
                                            "wimax",
                                            "wireguard",
                                            "wpan"};

} // namespace

bool isCardName(const QString& name)
{
    const int size = name.toUtf8().size();
    return size > 0 && size < IFNAMSIZ && !name.startsWith(QLatin1Char('-')) &&
           std::all_of(name.begin(), name.end(), fitsCardName) &&
           std::any_of(name.begin(), name.end(), isLetterOrDigitOfAnyScript);
}

bool isNetworkManagerType(const QString& type)
{
    return std::any_of(std::begin(kConnectionTypes), std::end(kConnectionTypes),
                       [&type](const char* known) { return type == QLatin1String(known); });
}

bool isConnectionType(const QString& type)
{
    const auto fits = [](QChar c) {
        return isLetterOrDigit(c) || c == QLatin1Char('-') || c == QLatin1Char('_');
    };
    return !type.isEmpty() && isLetterOrDigit(type.front()) &&
           std::all_of(type.begin(), type.end(), fits);
}

} // namespace ky
