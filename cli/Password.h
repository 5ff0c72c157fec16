#pragma once

#include <QString>

#include <optional>

namespace ky {

/// Reads a password, one line of standard input. On a terminal it is asked for, without echo; an
/// interrupt by a signal leaves the terminal as it was. Nothing if the input ends before the line
/// begins, which is not the same as an empty line.
std::optional<QString> askPassword(const QString& prompt);

} // namespace ky
