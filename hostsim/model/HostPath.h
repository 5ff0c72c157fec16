#pragma once

#include "model/Host.h"

#include <string>

namespace hostsim {

/// Changes one value. `path` is keys and indexes parted by dots; the first part may be the name
/// of an access point or card ("ap2.level", "wlan0.blocked"), and any list of named things takes
/// names ("sound.PCH.controls.Headphone.value"), and "+" for a new entry. `value` is JSON, or else
/// taken as a text. Throws std::runtime_error if there is no such place or the value does not fit
/// it.
Host withValue(const Host& host, const std::string& path, const std::string& value);

/// The value at a path as JSON text, a text without its quotes. Throws like withValue().
std::string valueAt(const Host& host, const std::string& path);

} // namespace hostsim
