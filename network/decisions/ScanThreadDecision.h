#pragma once

#include <QString>

#include <optional>

namespace ky {

/// What one cycle of WifiScanThread compares. Levels in dBm.
struct ScanThreadInput
{
    int nowDbm = 0;
    std::optional<int> best5GDbm;
    std::optional<int> best24GDbm;
    bool isOnlyTo5G = false;
    int switchingDb = 0;
    int autoSwitchDbm = 0;
};

enum class ScanThreadMove
{
    Stay,
    ReportOnly24G, ///< there is a 2.4 GHz best, but only 5 GHz is wanted
    Switch5G,
    Switch24G,
    AutoSwitch5G
};

struct ScanThreadDecision
{
    ScanThreadMove move = ScanThreadMove::Stay;
    bool asksToRepeat = false; ///< else the thread ends after the move
};

/// What WifiScanThread does. Its signs differ from the live step's on purpose and stay apart:
/// the 5 GHz test is on the absolute difference, the 2.4 GHz test fires for a weaker candidate
/// only, and the test at the floor does not compare the two levels.
ScanThreadDecision decideScanThread(const ScanThreadInput& input);

/// The log line of a move; empty for Stay.
QString scanThreadLine(ScanThreadMove move, const ScanThreadInput& input);

} // namespace ky
