#pragma once

#include <QString>

namespace ky {

struct ShellResult
{
    bool hasRun = false; ///< the shell ended in time with a status that counts as success
    QString text;        ///< what it printed, or why it failed
};

/// Runs `/bin/sh -c line` and waits for the shell, at most `limitMs`. See PublicClass::processCmd
/// for what counts as success. Thread: any. The cost does not grow with the process: nothing of
/// it is copied.
ShellResult runShell(const QString& line, int limitMs);

} // namespace ky
