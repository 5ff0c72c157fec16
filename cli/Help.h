#pragma once

#include "cli/Verb.h"

namespace ky {

/// The help of kyctl (both null), of a group (`verb` null) or of a verb.
QString helpText(const Group* group, const Verb* verb);

} // namespace ky
