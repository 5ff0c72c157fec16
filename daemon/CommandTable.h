#pragma once

#include <QString>

namespace ky {

/// Sees to it that the command database at `path` has all rows of the catalogue, and makes it where
/// there is none. Rows that are there stay as they are, so a number never changes once it is given;
/// a database that lacks nothing is not written to.
///
/// Empty on success, else one line that names the file and the reason. A file that cannot be read
/// is left to SqliteClass, which tells why.
QString provideCommandTable(const QString& path);

} // namespace ky
