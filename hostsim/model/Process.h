#pragma once

#include <string>

namespace hostsim {

/// The name of the program that started this one: "sh", "bash".
std::string parentProgram();

/// Whether the run that owns the folder is still there.
bool isRunAlive(const std::string& folder);

/// Notes this process as the owner of the folder.
void markRun(const std::string& folder);

/// Folder of this program's file.
std::string programFolder();

} // namespace hostsim
