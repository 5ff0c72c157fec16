#include "network/decisions/RoamingDecision.h"

#include <cstdint>

namespace ky {

namespace {

// Levels are what a tool printed, so a difference may leave the range of int.
bool clearsMargin(std::optional<int> bestDbm, int nowDbm, int marginDb)
{
    return bestDbm && std::int64_t(*bestDbm) - nowDbm >= marginDb;
}

bool leavesFloor(std::optional<int> bestDbm, int nowDbm, int floorDbm)
{
    return bestDbm && nowDbm <= floorDbm && nowDbm < *bestDbm;
}

} // namespace

bool is5GHz(RoamReason reason)
{
    return reason == RoamReason::Margin5G || reason == RoamReason::Floor5G;
}

bool needsScan(int nowDbm, const RoamLimits& limits)
{
    return nowDbm <= limits.startScanningDbm;
}

// WifiScanThread decides by signs of its own, on purpose: see ScanThreadDecision.
RoamReason chooseRoam(const RoamLevels& levels, const RoamLimits& limits)
{
    const int now = levels.nowDbm;
    std::optional<int> best24G = levels.best24GDbm;
    if (limits.isOnlyTo5G)
        best24G.reset();

    if (clearsMargin(levels.best5GDbm, now, limits.switchingDb))
        return RoamReason::Margin5G;
    if (clearsMargin(best24G, now, limits.switchingDb))
        return RoamReason::Margin24G;
    if (leavesFloor(levels.best5GDbm, now, limits.autoSwitchDbm))
        return RoamReason::Floor5G;
    if (leavesFloor(best24G, now, limits.autoSwitchDbm))
        return RoamReason::Floor24G;
    return RoamReason::Stay;
}

} // namespace ky
