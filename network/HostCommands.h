#pragma once

#include "support/IniFile.h"

#include <QString>

class BaseObject;

namespace ky {

/// Runs a shell line on the host (`limitMs` at most) for an object whose last error takes the
/// output of a command that failed. True when it ran.
bool runOnHost(BaseObject& owner, const QString& line, int limitMs, QString& output);
bool runOnHost(BaseObject& owner, const QString& line, int limitMs);

/// Runs a line whose `nmcli` must report success in words; any other output becomes the last error
/// of `owner`, as that of a command that failed does.
bool runForSuccessWords(BaseObject& owner, const QString& line, int limitMs);

/// Stores values of the network's settings file at once, all of them or none. What cannot be stored
/// is a warning in the log, under the name of the operation, and the last error of `owner`:
/// "settings not stored: …". The operation itself goes on.
bool storeSettings(BaseObject& owner, const char* operation, const IniValues& values);

} // namespace ky
