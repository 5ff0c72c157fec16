#include "daemon/DaemonNetwork.h"

#include "host/PublicClass.h"

#include <QTimer>

#include <algorithm>

namespace ky {

QVariantMap DaemonNetwork::supervision() const
{
    const PublicClass* host = PublicClass::init();
    const bool isCycling = _autoConnectSSIDTimer && _autoConnectSSIDTimer->isActive();
    QVariantMap state{{QStringLiteral("is_cycling"), isCycling},
                      {QStringLiteral("is_permitted"), host->autoConnectEnabled},
                      {QStringLiteral("is_paused"), host->autoConnectPaused},
                      {QStringLiteral("is_roaming"), _isEnabledRoaming},
                      {QStringLiteral("is_reporting"), _isDisconnectionSendError},
                      {QStringLiteral("method"), _disconnectionMethod},
                      {QStringLiteral("period_ms"), _autoConnectWaitTime},
                      {QStringLiteral("wireless_is_off"), _isDisableWirelessNetworkCard}};
    if (!host->autoConnectEnabled)
        state.insert(QStringLiteral("why_not"),
                     QStringLiteral("Host/autoConnectEnabled is not true in the settings file"));
    return state;
}

bool DaemonNetwork::findWirelessCard(QString& card)
{
    return lookForWirelessCard(card) == WirelessCard::Found;
}

DaemonNetwork::WirelessCard DaemonNetwork::lookForWirelessCard(QString& card)
{
    card.clear();
    if (!getWirelessCardName(card))
        return WirelessCard::None;
    if (!card.isEmpty())
        return WirelessCard::Found;
    // A known board has a name from the start, whether or not it has a card of that name.
    card = _wirelessCardName;
    if (card.isEmpty())
        setLastError(QStringLiteral("wireless card: several, and no name is set"));
    else if (!isPresent(card))
        setLastError(QStringLiteral("wireless card: several, and none of them is [%1]").arg(card));
    else
        return WirelessCard::Found;
    return WirelessCard::Ambiguous;
}

void DaemonNetwork::roamingReported(const QString& kind, const QString& text)
{
    emit sigRoamingReported(kind, text);
}

bool DaemonNetwork::isPresent(const QString& card)
{
    const QVariantList interfaces = getAllInterfaces();
    return std::any_of(interfaces.cbegin(), interfaces.cend(), [&card](const QVariant& entry) {
        return entry.toMap().value(QStringLiteral("name")) == card;
    });
}

} // namespace ky
