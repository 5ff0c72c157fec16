#pragma once

#include "network/tools/AccessPoint.h"

#include <QMap>
#include <QString>

#include <optional>

namespace ky {

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

/// Level of an access point in dBm; nothing if there is none.
std::optional<int> levelOf(const std::optional<AccessPoint>& accessPoint);

} // namespace ky
