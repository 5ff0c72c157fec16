#include "network/tools/AccessPoint.h"

#include <limits>

namespace ky {

namespace {

constexpr int kHighest24GhzMhz = 4999;

} // namespace

QVariantMap accessPointRecord(const AccessPoint& accessPoint)
{
    return {{QStringLiteral("ssid"), accessPoint.ssid},
            {QStringLiteral("bssid"), accessPoint.bssid},
            {QStringLiteral("frequency"), accessPoint.frequency},
            {QStringLiteral("rssi"), accessPoint.rssi},
            {QStringLiteral("is_encrypted"), accessPoint.isEncrypted}};
}

bool isRoamTarget(const AccessPoint& accessPoint, const QString& ssid, const QString& bssid)
{
    return accessPoint.ssid == ssid && accessPoint.bssid != bssid;
}

void BandList::add(const AccessPoint& accessPoint)
{
    // The lowest int has no negative; it comes from a damaged row only.
    const int level = qMax(accessPoint.signalDbm(), -std::numeric_limits<int>::max());
    _byNegatedLevel.insert(-level, accessPoint);
}

std::optional<AccessPoint> BandList::strongest() const
{
    if (_byNegatedLevel.isEmpty())
        return std::nullopt;
    return _byNegatedLevel.first();
}

void BandLists::add(const AccessPoint& accessPoint)
{
    BandList& band = accessPoint.frequencyMhz() > kHighest24GhzMhz ? fiveGhz : twoFourGhz;
    band.add(accessPoint);
}

} // namespace ky
