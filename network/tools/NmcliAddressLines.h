#pragma once

#include <QString>

namespace ky {

/// The addressing of one profile, as it comes from a request: any text may stand here.
struct Addressing
{
    bool isDhcp = false;
    QString ip;
    QString prefixLength; ///< decimal, or empty
    QString gateway;      ///< empty for none
};

/// Whether an address is in the network of the internal link, 192.168.192.x, which no request may
/// use. By substring: "10.192.168.192.1" counts as well.
bool isReservedAddress(const QString& ip);

/// The gateway of a request, where a panel sends "..." for a field that was left empty.
QString panelGateway(const QString& gateway);

// The lines below are shell lines for `nmcli`; any text in them reaches it as exactly that text.

/// Sets a fixed address on a profile, with or without gateway, whatever `isDhcp` says.
QString modifyToManualLine(const QString& uuid, const Addressing& addressing);
QString modifyToDhcpLine(const QString& uuid);
/// Makes the profile of a wired card.
QString addWiredLine(const QString& connection, const QString& card, const Addressing& addressing);
/// Makes the profile of the internal wired card. The gateway that the tool is given is the prefix
/// length; that of the request goes nowhere.
QString addInternalLine(const QString& connection, const QString& card,
                        const Addressing& addressing);

} // namespace ky
