#pragma once

#include <optional>

namespace ky {

/// The operator's limits of roaming, as link supervision uses them.
struct RoamLimits
{
    int startScanningDbm = 0; ///< a link above this level is left alone
    int switchingDb = 0;      ///< smallest gain worth a move
    int autoSwitchDbm = 0;    ///< at this level or below any gain will do
    bool isOnlyTo5G = false;  ///< 2.4 GHz candidates are ignored
};

/// Levels in dBm: of the link, and of the strongest candidate of each band.
struct RoamLevels
{
    int nowDbm = 0;
    std::optional<int> best5GDbm;
    std::optional<int> best24GDbm;
};

enum class RoamReason
{
    Margin5G,
    Margin24G,
    Floor5G,
    Floor24G,
    Stay
};

/// Whether the rule moves to the best of 5 GHz; of the others, all but Stay move to that of 2.4
/// GHz.
bool is5GHz(RoamReason reason);

/// Whether a link at this level looks for a better access point.
bool needsScan(int nowDbm, const RoamLimits& limits);

/// The rule that fires. 5 GHz is preferred by the order of the rules alone: one of 5 GHz that
/// clears the margin wins over a stronger one of 2.4 GHz.
RoamReason chooseRoam(const RoamLevels& levels, const RoamLimits& limits);

} // namespace ky
