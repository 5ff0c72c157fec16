#include "network/decisions/SupervisionDecision.h"

namespace ky {

namespace {

constexpr int kMethodPing = 1;
constexpr int kMethodUrl = 2;

} // namespace

CycleRoad chooseRoad(const SupervisionState& state)
{
    // Without roaming, a card that is off or a pause changes nothing, and HTTP is not probed.
    if (!state.isRoamingEnabled)
        return chooseProbe(state) == Probe::Ping ? CycleRoad::Watch : CycleRoad::Wait;
    if (state.isCardDisabled)
        return CycleRoad::Stop;
    return state.isPaused ? CycleRoad::Wait : CycleRoad::Work;
}

Probe chooseProbe(const SupervisionState& state)
{
    if (state.method == kMethodUrl && state.hasUrlTarget)
        return Probe::Url;
    if (state.method == kMethodPing && state.hasPingTarget)
        return Probe::Ping;
    return Probe::None;
}

ProbeOutcome judgeProbe(const SupervisionState& state, bool isLinkGood)
{
    const LinkReport report = reportOf(state, isLinkGood);
    if (isLinkGood)
        return {report, AfterProbe::Wait};
    return {report, state.isRepairingByReset ? AfterProbe::Repair : AfterProbe::Roam};
}

LinkReport reportOf(const SupervisionState& state, bool isLinkGood)
{
    if (!state.isReporting)
        return LinkReport::None;
    return isLinkGood ? LinkReport::Good : LinkReport::Lost;
}

bool isWatchingWanted(bool isReporting, bool isRoamingEnabled, int method, const QString& pingIp)
{
    return isReporting && !isRoamingEnabled && method == kMethodPing && !pingIp.isEmpty();
}

} // namespace ky
