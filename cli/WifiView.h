#pragma once

#include <QVariantMap>

namespace ky {

class Invocation;

/// "site on 02:00:00:00:05:00, 5180 MHz, -61 dBm", or that there is no access point.
QString linkText(const QVariantMap& answer);

/// What `wifi watch` shows, from the answers of `wifi_link`, `wifi_aps` and `wifi_trace`: the link,
/// the candidates of both bands with the strongest first, the last decision and the last roam.
QString wifiViewText(const QVariantMap& link, const QVariantList& accessPoints,
                     const QVariantMap& trace);

/// The verb: the view again and again, in place on a terminal and one after the other elsewhere.
int runWifiWatch(Invocation& call);

} // namespace ky
