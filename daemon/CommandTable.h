#pragma once

#include <QString>

namespace ky {

/// Makes sure that the command database at `path` has every row of the catalogue; creates it if
/// there is none. Existing rows stay as they are, so a number that was given out never changes. A
/// database that lacks nothing is not written to.
///
/// Empty on success, else one line that names the file and the reason. A file that cannot be read
/// is left to SqliteClass, which tells why.
QString provideCommandTable(const QString& path);

} // namespace ky
