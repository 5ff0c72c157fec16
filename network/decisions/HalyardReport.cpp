#include "network/decisions/HalyardReport.h"

namespace ky {

namespace {

/// Puts the address of a card into the report; whether it has one.
bool takeIp(bool isRead, const QVariantMap& card, QVariantMap& report)
{
    const QString ip = isRead ? card.value(QStringLiteral("ip")).toString() : QString();
    if (ip.isEmpty())
        return false;
    report.insert(QStringLiteral("ip"), ip);
    return true;
}

void takeMac(const QVariantMap& card, const QString& key, QVariantMap& report)
{
    const auto mac = card.find(QStringLiteral("Mac"));
    if (mac != card.end())
        report.insert(key, mac->toString().remove(QLatin1Char(':')));
}

void takeLink(const QVariantMap& link, QVariantMap& report)
{
    report.insert(QStringLiteral("ssid"), link.value(QStringLiteral("ssid")));
    report.insert(QStringLiteral("rssi"), link.value(QStringLiteral("signalLevel")));
    report.insert(QStringLiteral("ap_mac"), link.value(QStringLiteral("bssid")));
}

} // namespace

QVariantMap halyardReport(const HalyardSources& sources)
{
    QVariantMap report;
    const bool isWifiUp = takeIp(sources.hasWifi, sources.wifi, report);
    if (sources.hasLink)
        takeLink(sources.link, report);
    takeMac(sources.wifi, QStringLiteral("mac"), report);
    const bool isWiredUp = takeIp(sources.hasWired, sources.wired, report);
    takeMac(sources.wired, QStringLiteral("local_mac"), report);
    if (!sources.hmiIp.isEmpty())
        report.insert(QStringLiteral("ip"), sources.hmiIp);

    // No panel counts as connected: the receiver looks at this only when it has a panel.
    const bool isConnected = isWifiUp || isWiredUp || sources.hmiIp.isEmpty();
    report.insert(QStringLiteral("connection_status"), isConnected ? 1 : 0);
    return report;
}

} // namespace ky
