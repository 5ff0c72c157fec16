#pragma once

#include "model/Host.h"

#include <string>

namespace hostsim {

/// The scene of a run that names none: a robot with two wired cards, Wi-Fi, CAN and sound.
std::string defaultScene();

/// The scene of a file, or the default one without a name. Throws std::runtime_error.
Host sceneOf(const std::string& file);

} // namespace hostsim
