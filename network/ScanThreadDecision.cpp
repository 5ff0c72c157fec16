#include "network/ScanThreadDecision.h"

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

} // namespace ky
