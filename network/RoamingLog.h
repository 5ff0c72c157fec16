#pragma once

#include "network/decisions/RoamingDecision.h"
#include "network/tools/WpaCliScan.h"

#include <QStringList>

#include <functional>

namespace ky {

// Kinds of reports on roaming.
constexpr char kRoamCurrentAp[] = "CurrentAP";
constexpr char kRoamApList[] = "ApList";
constexpr char kRoamText[] = "text";

/// Takes a report on roaming; see SystemNetwork::roamingReported().
using RoamListener = std::function<void(const QString& kind, const QString& text)>;

/// Logs `[info][kind][text]` and hands both to the listener. Tools that follow a robot's path read
/// this line, so it carries no function name; the listener is called even when the log is off.
void reportRoaming(const RoamListener& listener, const char* kind, const QString& text);

/// The texts that report a decision: one for a move, up to two for staying.
QStringList roamDecisionTexts(RoamReason reason, const RoamLevels& levels,
                              const RoamLimits& limits);

/// Logs how many lines a scan table had, under the name of the function that reads it. A table of
/// a single row is not logged.
void logScanTable(const ScanTable& table, const char* function);

} // namespace ky
