#include "network/SystemNetwork.h"

#include <QTimer>

void SystemNetwork::startWaitTimer()
{
    _autoConnectSSIDTimer->start(_autoConnectWaitTime);
}

void SystemNetwork::slotAutoConnectEth1Ethernet()
{
    startWaitTimer();
}
