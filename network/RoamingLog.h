#pragma once

#include "network/decisions/RoamingDecision.h"
#include "network/tools/WpaCliScan.h"

#include <QStringList>

namespace ky {

/// Writes a line that is read by tools that follow a robot's path. It carries no function name.
void logForFollowers(const QString& text);

/// What the log tells of a decision: one line for a move, up to two for staying.
QStringList roamLogLines(RoamReason reason, const RoamLevels& levels, const RoamLimits& limits);

/// Tells the log how many lines a scan table had, in the name of the function that reads it; one of
/// a single row is not told.
void logScanTable(const ScanTable& table, const char* function);

} // namespace ky
