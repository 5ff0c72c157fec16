#pragma once

#include <QString>

namespace ky {

/// Asks for a password on the terminal, without echo; empty if standard input is no terminal.
/// An interrupt by a signal leaves the terminal as it was.
QString askPassword(const QString& prompt);

} // namespace ky
