#pragma once

#include "model/Host.h"

#include <string>

namespace hostsim {

/// Changes one value. `path` is keys and indexes separated by dots. It may begin with the name of
/// an access point or card ("ap2.level", "wlan0.blocked"); entries of a list may be named as well
/// ("sound.PCH.controls.Headphone.value"), and "+" appends one. `value` is JSON; anything else is
/// taken as text. Throws std::runtime_error if there is no such place or the value does not fit.
Host withValue(const Host& host, const std::string& path, const std::string& value);

/// The value at a path as JSON, but a text without quotes. Throws like withValue().
std::string valueAt(const Host& host, const std::string& path);

} // namespace hostsim
