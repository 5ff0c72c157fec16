#pragma once

#include <QStringList>

namespace ky {

/// The words that may stand in the place of the last of these, which has been typed in part or not
/// at all: groups, verbs, options, and the names of commands and events where they are wanted.
/// `words` are those behind the program's name.
QStringList completionsOf(const QStringList& words);

} // namespace ky
