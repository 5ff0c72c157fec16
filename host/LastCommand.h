#pragma once

#include <QString>

namespace ky {

/// The first word of the last command of a shell line: what decides the line's exit status. Pipes,
/// lists and line ends part commands, unless they are quoted. "ifconfig | grep w" gives "grep".
QString lastCommandWord(const QString& line);

} // namespace ky
