#pragma once

#include "model/Host.h"

#include <string>

namespace hostsim {

/// The host as JSON text, keys in the order of the struct.
std::string toJson(const Host& host);

/// Reads a scene or a state. Throws std::runtime_error, which says where, for text that is not
/// JSON, an unknown key or a value of the wrong type.
Host fromJson(const std::string& text);

} // namespace hostsim
