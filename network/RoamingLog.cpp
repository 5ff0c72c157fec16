#include "network/RoamingLog.h"

#include "network/NetworkLog.h"

namespace ky {

namespace {

QStringList stayTexts(const RoamLevels& levels)
{
    QStringList texts;
    if (levels.best5GDbm)
        texts << QStringLiteral("Not Switch AP:CurrentRssi:%1 Max5GRssi:%2")
                     .arg(levels.nowDbm)
                     .arg(*levels.best5GDbm);
    if (levels.best24GDbm) // arg() fills %3 second: there is no %2
        texts << QStringLiteral("Not Switch AP:CurrentRssi:%1 Max2.4GRssi:%3")
                     .arg(levels.nowDbm)
                     .arg(*levels.best24GDbm);
    return texts;
}

QString moveText(const char* pattern, int nowDbm, std::optional<int> bestDbm, int limit)
{
    return QString::fromLatin1(pattern).arg(nowDbm).arg(bestDbm.value_or(0)).arg(limit);
}

} // namespace

void reportRoaming(const RoamListener& listener, const char* kind, const QString& text)
{
    qCInfo(kyNetworkLog).noquote().nospace() << "[info][" << kind << "][" << text << ']';
    listener(QLatin1String(kind), text);
}

QStringList roamDecisionTexts(RoamReason reason, const RoamLevels& levels, const RoamLimits& limits)
{
    switch (reason) {
    case RoamReason::Margin5G:
        return {moveText("Switch AP(5G):%1->%2(%3)", levels.nowDbm, levels.best5GDbm,
                         limits.switchingDb)};
    case RoamReason::Margin24G:
        return {moveText("Switch AP(2.4G):%1->%2(%3)", levels.nowDbm, levels.best24GDbm,
                         limits.switchingDb)};
    case RoamReason::Floor5G: // the doubled word is what readers of the log look for
        return {moveText("Auto Switch Switch AP(5G):%1->%2(%3)", levels.nowDbm, levels.best5GDbm,
                         limits.autoSwitchDbm)};
    case RoamReason::Floor24G:
        return {moveText("Auto Switch AP(2.4G):%1->%2(%3)", levels.nowDbm, levels.best24GDbm,
                         limits.autoSwitchDbm)};
    case RoamReason::Stay:
        break;
    }
    return stayTexts(levels);
}

void logScanTable(const ScanTable& table, const char* function)
{
    if (!table.isSingleRow && table.lineCount > 0)
        KY_LOG_DEBUG_AS(kyNetworkLog, function) << "[list.size:" << table.lineCount << "]";
}

} // namespace ky
