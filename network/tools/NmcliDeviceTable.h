#pragma once

#include <QList>
#include <QVariantMap>

#include <optional>

namespace ky {

/// Reads `nmcli device status`: one map for each line behind the head, or nothing for a text
/// without a line feed. All four keys "device", "type", "state" and "connection" hold the last
/// part of the line: the callers are built on that.
std::optional<QList<QVariantMap>> parseDeviceTable(const QString& text);

/// Whether one of these maps is the connected hotspot.
bool holdsConnectedHotspot(const QList<QVariantMap>& devices);

} // namespace ky
