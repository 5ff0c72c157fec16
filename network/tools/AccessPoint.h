#pragma once

#include <QString>
#include <QVariantMap>

namespace ky {

/// One row of a scan. The numbers are kept as the tool printed them, since that is how they are
/// handed on; text that is no number counts as 0.
struct AccessPoint
{
    QString bssid;
    QString frequency; ///< MHz
    QString rssi;      ///< dBm
    QString ssid;      ///< decoded
    bool isEncrypted = false;

    int frequencyMhz() const { return frequency.toInt(); }
    int signalDbm() const { return rssi.toInt(); }
};

/// The record that the daemon gets: "ssid", "bssid", "frequency", "rssi", "is_encrypted".
QVariantMap accessPointRecord(const AccessPoint& accessPoint);

} // namespace ky
