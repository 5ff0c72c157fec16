#pragma once

#include <QByteArray>
#include <QString>

namespace ky {

/// Replaces the content of `path` as a whole: written aside in the same folder, flushed to the
/// disk, renamed. A power cut leaves the old or the new content. Owner, group and mode of a file
/// that exists are kept; a new one gets 0644. A missing folder is made. A symbolic link keeps
/// pointing at its target, which gets the new content.
/// On false the file is as it was and `error` (may be null) names the call and the reason.
/// Thread: any; blocks for one disk flush.
bool replaceFile(const QString& path, const QByteArray& content, QString* error = nullptr);

} // namespace ky
