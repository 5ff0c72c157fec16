#pragma once

#include <QString>
#include <QVariant>

#include <utility>
#include <vector>

namespace ky {

using IniValues = std::vector<std::pair<QString, QVariant>>; ///< "group/key" and its value

/// One value of an INI file; invalid if the file or the key is not there. It is the value of the
/// last writeIniValues() that has returned, however short ago. Thread: any.
QVariant readIniValue(const QString& file, const QString& key);

/// Stores some values at once: one replacement of the file, so that a power cut leaves all of the
/// old ones or all of the new. Everything else in the file stays as it is, byte for byte, with its
/// owner and mode; a new file gets the mode 0600, since settings hold pass phrases, and a missing
/// folder is made. Values that the file has already cost no write. Nothing is written anywhere but
/// in the folder of the file.
///
/// The new text replaces the old one only after it has been read by QSettings: with each value that
/// was set, and with every other key as it was. On false the file is as it was and `error` (may be
/// null) tells why. A device or a pipe takes no settings.
///
/// Other writers that lock the file as QSettings does are waited for, 10 s at most: then nothing is
/// stored, see SettingsLock.
/// Thread: any; blocks for disk flushes.
bool writeIniValues(const QString& file, const IniValues& values, QString* error = nullptr);

/// The words for settings that could not be stored, in the log and as last error of an object whose
/// operation was carried out all the same.
QString notStored(const QString& reason);

/// Whether a last error is one of notStored().
bool isNotStored(const QString& lastError);

} // namespace ky
