#pragma once

#include <QString>
#include <QVariant>

namespace ky {

/// One value of an INI file; invalid if the file or the key is not there. It is the value of the
/// last writeIniValue() that has returned, however short ago. Thread: any.
QVariant readIniValue(const QString& file, const QString& key);

/// Stores one value at once, replacing the file as a whole; the other keys, the owner and the mode
/// stay, a missing folder is made. Other writers of the file that lock it as QSettings does are
/// waited for, at most 5 s. Thread: any; blocks for disk flushes.
bool writeIniValue(const QString& file, const QString& key, const QVariant& value);

} // namespace ky
