#pragma once

#include <QString>
#include <QVariant>

#include <optional>

namespace ky {

/// The volume that a request asks for: an integer from 0 to 100; a missing one is 0. Nothing for
/// any other value, also for one that is no number at all.
std::optional<int> requestedVolume(const QVariant& value);

/// The percentage that a platform script prints, 0 for a text that is none.
int volumeOfScript(const QString& output);

/// The percentage in the first line of a board's read line. It prints the last two digits before
/// the percent sign: "00%" is 100, and a volume of one digit prints nothing and reads as 0.
int volumeOfMixer(const QString& output);

} // namespace ky
