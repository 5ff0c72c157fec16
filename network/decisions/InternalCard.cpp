#include "network/decisions/InternalCard.h"

#include <QNetworkInterface>

namespace ky {

namespace {

constexpr char kInternalMask[] = "255.255.255.0";
constexpr char kInternalGateway[] = "192.168.192.1";
constexpr int kWiredType = 0;
constexpr int kWirelessType = 1;

bool hasInternalAddress(const QVariantMap& record)
{
    return record.value(QStringLiteral("ip")).toString() == QLatin1String(kInternalAddress);
}

QString nameOf(const QVariantMap& record)
{
    return record.value(QStringLiteral("name")).toString();
}

int cardType(const QString& name, const QString& wirelessCardName)
{
    const bool isWireless =
        name == wirelessCardName ||
        QNetworkInterface::interfaceFromName(name).type() == QNetworkInterface::Wifi;
    return isWireless ? kWirelessType : kWiredType;
}

} // namespace

std::optional<InternalCard> findInternalCard(const QMap<QString, QVariantMap>& cardsByMac)
{
    for (auto card = cardsByMac.begin(); card != cardsByMac.end(); ++card) {
        if (hasInternalAddress(*card))
            return InternalCard{nameOf(*card), card.key()};
    }
    return std::nullopt;
}

std::optional<InternalCard> storedInternalCard(const QVariantList& records)
{
    InternalCard internal;
    for (const QVariant& entry : records) {
        const QVariantMap record = entry.toMap();
        if (!hasInternalAddress(record))
            continue;
        internal = {nameOf(record), record.value(QStringLiteral("mac")).toString()};
        if (internal.name.isEmpty() || internal.mac.isEmpty())
            return std::nullopt;
    }
    return internal;
}

QVariantList wiredCardRecords(const QMap<QString, QVariantMap>& cardsByMac,
                              const QString& wirelessCardName)
{
    QVariantList records;
    for (auto card = cardsByMac.begin(); card != cardsByMac.end(); ++card) {
        const int type = cardType(nameOf(*card), wirelessCardName);
        if (type != kWiredType)
            continue;
        QVariantMap record = *card;
        record.insert(QStringLiteral("mac"), card.key());
        record.insert(QStringLiteral("networkCardType"), type);
        records.append(record);
    }
    return records;
}

QVariantMap chooseAddress(const QList<QNetworkAddressEntry>& entries)
{
    QVariantMap chosen;
    for (const QNetworkAddressEntry& entry : entries) {
        if (entry.ip().protocol() != QAbstractSocket::IPv4Protocol)
            continue;
        const QString before = chosen.value(QStringLiteral("ip")).toString();
        if (!before.isEmpty() && before != QLatin1String(kInternalAddress))
            continue;
        chosen.insert(QStringLiteral("ip"), entry.ip().toString());
        chosen.insert(QStringLiteral("mask"), entry.netmask().toString());
    }
    return chosen;
}

QVariantMap wiredReport(const KernelCard& card, const QString& gateway, const QString& storedMac)
{
    QVariantMap report;
    if (dotted(card.address) == QLatin1String(kInternalAddress)) {
        report.insert(QStringLiteral("Mac"), card.hardwareAddress);
        report.insert(QStringLiteral("ip"), dotted(card.address));
        report.insert(QStringLiteral("mask"), dotted(card.mask));
        if (!gateway.isEmpty())
            report.insert(QStringLiteral("gateway"), gateway);
    }
    if (!storedMac.isEmpty())
        report.insert(QStringLiteral("Mac"), storedMac);
    return report;
}

QVariantMap internalAddressRequest(const QString& cardName)
{
    return {{QStringLiteral("name"), cardName},
            {QStringLiteral("ip"), QLatin1String(kInternalAddress)},
            {QStringLiteral("mask"), QLatin1String(kInternalMask)},
            {QStringLiteral("gateway"), QLatin1String(kInternalGateway)},
            {QStringLiteral("dhcp"), false}};
}

} // namespace ky
