#include "daemon/DaemonNetwork.h"

#include "host/PublicClass.h"

#include <QTimer>

namespace ky {

QVariantMap DaemonNetwork::supervision() const
{
    const PublicClass* host = PublicClass::init();
    const bool isCycling = _autoConnectSSIDTimer && _autoConnectSSIDTimer->isActive();
    return {{QStringLiteral("is_cycling"), isCycling},
            {QStringLiteral("is_permitted"), host->autoConnectEnabled},
            {QStringLiteral("is_paused"), host->autoConnectPaused},
            {QStringLiteral("is_roaming"), _isEnabledRoaming},
            {QStringLiteral("is_reporting"), _isDisconnectionSendError},
            {QStringLiteral("method"), _disconnectionMethod},
            {QStringLiteral("period_ms"), _autoConnectWaitTime},
            {QStringLiteral("wireless_is_off"), _isDisableWirelessNetworkCard}};
}

bool DaemonNetwork::findWirelessCard(QString& card)
{
    card = _wirelessCardName;
    if (!getWirelessCardName(card))
        return false;
    if (card.isEmpty())
        setLastError(QStringLiteral("wireless card: several, and no name is set"));
    return !card.isEmpty();
}

} // namespace ky
