#include "network/decisions/ScanThreadDecision.h"

#include <cstdint>
#include <cstdlib>

namespace ky {

namespace {

ScanThreadMove moveTo24G(const ScanThreadInput& input)
{
    const bool isWeaker = std::int64_t(input.nowDbm) - *input.best24GDbm >= input.switchingDb;
    return isWeaker ? ScanThreadMove::Switch24G : ScanThreadMove::Stay;
}

ScanThreadDecision decideWithout5G(const ScanThreadInput& input)
{
    if (input.isOnlyTo5G && input.best24GDbm)
        return {ScanThreadMove::ReportOnly24G, true};
    if (input.best24GDbm)
        return {moveTo24G(input), false};
    return {ScanThreadMove::Stay, true};
}

} // namespace

ScanThreadDecision decideScanThread(const ScanThreadInput& input)
{
    if (!input.best5GDbm)
        return decideWithout5G(input);

    const std::int64_t difference = std::int64_t(*input.best5GDbm) - input.nowDbm;
    if (std::llabs(difference) >= input.switchingDb)
        return {ScanThreadMove::Switch5G, true};
    if (!input.isOnlyTo5G && input.best24GDbm)
        return {moveTo24G(input), false};
    if (input.autoSwitchDbm >= input.nowDbm)
        return {ScanThreadMove::AutoSwitch5G, false};
    return {ScanThreadMove::Stay, false};
}

QString scanThreadLine(ScanThreadMove move, const ScanThreadInput& input)
{
    const int best5G = input.best5GDbm.value_or(0);
    const int best24G = input.best24GDbm.value_or(0);
    const QString switchText = QStringLiteral("Switch AP:[%1>%2(%3)]");
    switch (move) {
    case ScanThreadMove::Switch5G:
        return switchText.arg(best5G).arg(input.nowDbm).arg(input.switchingDb);
    case ScanThreadMove::Switch24G:
        return switchText.arg(best24G).arg(input.nowDbm).arg(input.switchingDb);
    case ScanThreadMove::AutoSwitch5G:
        return QStringLiteral("Auto Switch AP:[%1>%2]").arg(best5G).arg(input.nowDbm);
    case ScanThreadMove::ReportOnly24G: // arg() fills %3 second: there is no %2
        return QStringLiteral("Not Switch AP:[CurrentRssi:%1 Max2.4GRssi:%3]")
            .arg(input.nowDbm)
            .arg(best24G);
    case ScanThreadMove::Stay:
        break;
    }
    return {};
}

} // namespace ky
