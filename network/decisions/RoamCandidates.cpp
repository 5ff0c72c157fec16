#include "network/decisions/RoamCandidates.h"

#include <limits>

namespace ky {

namespace {

constexpr int kHighest24GhzMhz = 4999;

} // namespace

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

std::optional<int> levelOf(const std::optional<AccessPoint>& accessPoint)
{
    if (!accessPoint)
        return std::nullopt;
    return accessPoint->signalDbm();
}

} // namespace ky
