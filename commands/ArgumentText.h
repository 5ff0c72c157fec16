#pragma once

#include "commands/Argument.h"

#include <QString>

namespace ky {

/// What a value of this argument has to be, in the words behind "not" or "is": "0 or 1", "a whole
/// number from 0 to 100", "an IPv4 address".
QString expectationOf(const Argument& row);

/// When the argument has to be there, and what holds without it, as a part of a sentence:
/// "required", "required unless dhcp", "5000". Empty: it may be left out, and nothing holds then.
QString presenceOf(const Argument& row);

} // namespace ky
