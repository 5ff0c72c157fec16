#pragma once

#include "commands/Command.h"

#include <QString>

namespace ky {

/// All groups, in the order of their numbers.
Rows<const CommandGroup*> commandGroups();

/// The row of that name; null if there is none. No two rows have the same name.
const Command* findCommand(const QString& name);
/// The row of that number on a port; null if there is none.
const Command* findCommand(int number, int port = kServicePort);

/// How long a client has to wait for the answer, in milliseconds, before it may take it for lost:
/// for what the command runs, for what the thread that serves it may be at, and for the way.
int answerLimitMs(const Command& row);

/// The text of an error code; empty if no group has it.
QString errorTextOf(int code);

} // namespace ky
