#pragma once

#include "model/StateFolder.h"

#include <string>

namespace hostsim {

/// The name of the program that started this one: "sh", "bash".
std::string parentProgram();

/// Whether the run that owns the folder is still going.
bool isRunAlive(const StateFolder& folder);

/// Records this process as the owner of the folder.
void markRun(const StateFolder& folder);

/// Waits for a child. Returns its exit status, or 128 + N after signal N.
int waitForExit(int pid);

/// The folder that this program's file is in.
std::string programFolder();

} // namespace hostsim
