#pragma once

#include "model/StateFolder.h"

#include <string>

namespace hostsim {

/// The name of the program that started this one: "sh", "bash".
std::string parentProgram();

/// Whether the run that owns the folder is still there.
bool isRunAlive(const StateFolder& folder);

/// Notes this process as the owner of the folder.
void markRun(const StateFolder& folder);

/// Waits for a child and gives its exit status, 128 + N after a signal.
int waitForExit(int pid);

/// Folder of this program's file.
std::string programFolder();

} // namespace hostsim
