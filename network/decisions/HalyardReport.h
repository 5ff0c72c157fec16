#pragma once

#include <QVariantMap>

namespace ky {

/// Sources of the report for the robot software: the two cards, the link, and the address of the
/// operator panel.
struct HalyardSources
{
    bool hasWifi = false; ///< the wireless card could be read
    QVariantMap wifi;
    bool hasLink = false; ///< the card is associated
    QVariantMap link;
    bool hasWired = false; ///< the wired card could be read
    QVariantMap wired;
    QString hmiIp;
};

/// The report: "ip", "ssid", "rssi", "ap_mac", "mac", "local_mac", "connection_status". Unknown
/// values are left out. "connection_status" is 0 only with neither card connected and the
/// address of a panel set.
QVariantMap halyardReport(const HalyardSources& sources);

} // namespace ky
