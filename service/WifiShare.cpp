#include "service/WifiShare.h"

QString WifiShare::_lastError;

WifiShare::WifiShare()
    : _state(0)
{
    Q_UNUSED(_state)
}
