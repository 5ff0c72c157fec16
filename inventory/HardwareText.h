#pragma once

#include <QString>
#include <QVariantList>

#include <optional>

namespace ky {

/// An amount of 1-KiB blocks for people: "0", whole "MB", or whole "GB" from 1048576 blocks on;
/// what is left over is cut.
QString sizeText(qint32 kibiBlocks);

/// The rows of `df -T`: "Filesystem", "Used", "Size", "Use%", all texts. "Size" is used plus
/// available, so that reserved blocks do not count. Rows of fewer than seven words are skipped; the
/// head has more, and stays in the list. A number that 32 bits do not hold reads as 0.
QVariantList parseDisks(const QString& text);

/// The "model name" of each line of /proc/cpuinfo that has one: what stands behind the colon, or
/// nothing if there is not exactly one colon.
QVariantList parseProcessors(const QString& text);

/// The interfaces of `ifconfig -a` whose names begin with "en", "eth" or "wl": "name", and "mac"
/// where the block has an address.
QVariantList parseNetworkCards(const QString& text);

/// A thermal zone as `grep . …/type` prints it.
struct ThermalZone
{
    QString filePath; ///< of its temperature
    QString name;
};

/// The zones of the output: one for each line "path:name".
QList<ThermalZone> parseThermalZones(const QString& text);

/// The temperature in degrees Celsius in a file that has it in thousandths, in its last line. 0
/// for a text that is no number, nothing if the file cannot be opened.
std::optional<double> readTemperature(const QString& path);

} // namespace ky
