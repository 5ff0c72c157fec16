#pragma once

#include <QByteArray>

namespace ky {

/// Writes all of it where the descriptor stands. On false errno tells why.
bool writeAll(int fd, const QByteArray& content);

/// Writes over what an existing file holds, for files that cannot be replaced by a rename. Owner,
/// mode and links stay as they are. A regular file gets its room first, and its old content again
/// if the new one does not go in. Null on success, else the call that failed, its reason in errno.
const char* writeInPlace(const QByteArray& path, const QByteArray& content);

} // namespace ky
