#pragma once

#include <QMap>
#include <QString>
#include <QVariantMap>

#include <optional>

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

/// Whether a link that is on `bssid` of the network `ssid` could roam to this access point.
bool isRoamTarget(const AccessPoint& accessPoint, const QString& ssid, const QString& bssid);

/// The candidates of one band, strongest first. Of two with the same level the later one stays.
class BandList
{
public:
    void add(const AccessPoint& accessPoint);
    int size() const { return _byNegatedLevel.size(); }
    std::optional<AccessPoint> strongest() const;

private:
    QMap<int, AccessPoint> _byNegatedLevel;
};

/// The candidates of both bands. 5000 MHz is the lowest frequency of the 5 GHz band.
struct BandLists
{
    BandList fiveGhz;
    BandList twoFourGhz;

    void add(const AccessPoint& accessPoint);
};

} // namespace ky
