#pragma once

#include <QString>

namespace ky {

/// What is wrong with a write that was given `size` bytes and took `written`, -1 for a failure;
/// empty if it took them all.
QString serialWriteProblem(qint64 written, qint64 size);

} // namespace ky
