#pragma once

namespace hostsim {

// Texts that the build puts into the program, each from a file that CMakeLists.txt names.

/// The scene of a run that names none: a robot with two wired cards, Wi-Fi, CAN and sound.
extern const char kDefaultScene[];

/// What iw 5.19 prints for a command that it does not know.
extern const char kIwUsage[];

} // namespace hostsim
