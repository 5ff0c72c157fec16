#pragma once

#include "network/tools/KernelCard.h"

#include <QMap>
#include <QNetworkAddressEntry>
#include <QVariantMap>

#include <optional>

namespace ky {

/// The controller's internal wired address, known to the robot's other computers.
constexpr char kInternalAddress[] = "192.168.192.5";

/// The card of the controller's internal link. It is known by the internal address.
struct InternalCard
{
    QString name;
    QString mac;
};

/// The first card, in the order of hardware addresses, that has the internal address now.
std::optional<InternalCard> findInternalCard(const QMap<QString, QVariantMap>& cardsByMac);

/// The card that had it when the start-up file was written, the last one if there are several; a
/// nameless one if none had. Nothing if a record with the address lacks its name or its "mac".
std::optional<InternalCard> storedInternalCard(const QVariantList& records);

/// The records of the start-up file: those of all wired cards, with the "mac" and the
/// "networkCardType" 0 by which they are known when they are read back.
QVariantList wiredCardRecords(const QMap<QString, QVariantMap>& cardsByMac,
                              const QString& wirelessCardName);

/// "ip" and "mask" of the first IPv4 address of a card; the internal address yields to any IPv4
/// address listed behind it. Empty for a card without one.
QVariantMap chooseAddress(const QList<QNetworkAddressEntry>& entries);

/// What the card adds to the report of the wired card: "Mac", "ip", "mask" and, if there is one,
/// "gateway" of the card with the internal address; nothing of any other. A stored hardware address
/// goes over "Mac", whatever the card.
QVariantMap wiredReport(const KernelCard& card, const QString& gateway, const QString& storedMac);

/// What puts a card back on the internal link.
QVariantMap internalAddressRequest(const QString& cardName);

} // namespace ky
