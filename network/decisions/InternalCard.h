#pragma once

#include <QMap>
#include <QVariantMap>

#include <optional>

namespace ky {

/// The card of the controller's internal link. It is known by the address 192.168.192.5.
struct WiredCard
{
    QString name;
    QString mac;
};

/// The first card, in the order of hardware addresses, that has the internal address now.
std::optional<WiredCard> findInternalCard(const QMap<QString, QVariantMap>& cardsByMac);

/// The card that had it when the start-up file was written, the last one if there are several; a
/// nameless one if none had. Nothing if a record with the address lacks its name or its "mac".
std::optional<WiredCard> storedInternalCard(const QVariantList& records);

/// The records of the start-up file: those of all wired cards, with the "mac" and the
/// "networkCardType" 0 by which they are known when they are read back.
QVariantList wiredCardRecords(const QMap<QString, QVariantMap>& cardsByMac,
                              const QString& wirelessCardName);

/// What puts a card back on the internal link.
QVariantMap internalAddressRequest(const QString& cardName);

} // namespace ky
