#pragma once

#include <QString>
#include <QVariantMap>

namespace ky {

/// What `iw <card> link` says of the access point in use.
struct LinkState
{
    QString ssid; ///< as printed, escapes included
    QString bssid;
    int signalDbm = 0;
    int frequencyMhz = 0;

    bool isAssociated() const { return !ssid.isEmpty() && !bssid.isEmpty(); }
};

/// Reads the output of `iw <card> link`; what is missing or damaged stays empty or 0.
LinkState parseIwLink(const QString& text);

/// The map that the daemon gets of a link: "qualityValue", "qualityMax" (both always 0), "ssid",
/// "bssid", "signalLevel" (dBm), "frequenc" (MHz).
QVariantMap linkRecord(const LinkState& link);

/// What `iwconfig` says of a card.
struct IwconfigState
{
    QString ssid;
    QString bssid; ///< in lower case
    int qualityValue = 0;
    int qualityMax = 0;
    int signalDbm = 0;
    int frequencyMhz = 0;
};

/// Reads text in the layout of `iwconfig`; what is missing or damaged stays empty or 0.
IwconfigState parseIwconfig(const QString& text);

} // namespace ky
