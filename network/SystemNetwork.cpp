#include "network/SystemNetwork.h"

#include <QTimer>

SystemNetwork::SystemNetwork(QObject* parent)
    : BaseObject(parent)
{}

SystemNetwork::~SystemNetwork()
{
    for (QTimer* timer : {_autoConnectSSIDTimer, _reservedTimer}) {
        if (timer)
            timer->stop();
        delete timer;
    }
}
