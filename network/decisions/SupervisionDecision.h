#pragma once

#include <QString>

namespace ky {

/// What decides a cycle of link supervision.
struct SupervisionState
{
    bool isRoamingEnabled = false;
    bool isCardDisabled = false;
    bool isPaused = false;
    int method = 0; ///< 0 no check, 1 ping, 2 HTTP
    bool hasPingTarget = false;
    bool hasUrlTarget = false;
    bool isReporting = false;        ///< the daemon hears how each probe went
    bool isRepairingByReset = false; ///< a lost link is connected anew
};

enum class CycleRoad
{
    Stop,  ///< not even the next cycle
    Wait,  ///< nothing but the next cycle
    Watch, ///< probe and report, repair nothing
    Work   ///< probe, repair or roam, if there is a profile
};

enum class Probe
{
    None,
    Ping,
    Url
};

enum class LinkReport
{
    None,
    Good,
    Lost
};

enum class AfterProbe
{
    Wait,
    Repair,
    Roam
};

struct ProbeOutcome
{
    LinkReport report = LinkReport::None;
    AfterProbe next = AfterProbe::Wait;
};

CycleRoad chooseRoad(const SupervisionState& state);

/// The probe of a working cycle; a method without its target is none. A watching cycle pings or
/// does nothing: see chooseRoad().
Probe chooseProbe(const SupervisionState& state);

/// What a probe of a working cycle leads to.
ProbeOutcome judgeProbe(const SupervisionState& state, bool isLinkGood);

/// The report of a probe, the same in watching and working cycles.
LinkReport reportOf(const SupervisionState& state, bool isLinkGood);

/// Whether the settings alone ask for a cycle that watches and reports. Such a cycle starts by
/// itself and is not stopped from outside.
bool isWatchingWanted(bool isReporting, bool isRoamingEnabled, int method, const QString& pingIp);

} // namespace ky
