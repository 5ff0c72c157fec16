#include "network/tools/AccessPoint.h"

namespace ky {

QVariantMap accessPointRecord(const AccessPoint& accessPoint)
{
    return {{QStringLiteral("ssid"), accessPoint.ssid},
            {QStringLiteral("bssid"), accessPoint.bssid},
            {QStringLiteral("frequency"), accessPoint.frequency},
            {QStringLiteral("rssi"), accessPoint.rssi},
            {QStringLiteral("is_encrypted"), accessPoint.isEncrypted}};
}

} // namespace ky
