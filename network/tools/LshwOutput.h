#pragma once

#include <QString>

namespace ky {

/// The driver of the first "Wired interface" in the output of `lshw -c network`, from the first
/// "configuration:" line behind it. Empty if there is none.
QString wiredDriver(const QString& output);

} // namespace ky
