#pragma once

#include <QByteArray>
#include <QString>

namespace ky {

/// Replaces the content of `path` as a whole: written aside in the same folder, flushed to the
/// disk, renamed. A power cut leaves the old or the new content. Owner, group and mode of a file
/// that exists are kept; a new one gets 0644. A missing folder is made. A symbolic link keeps
/// pointing at its target, which gets the new content.
///
/// A file that no rename can replace (it is a mount point, its folder takes no new names from this
/// process, or it is a device or a pipe) is written in place: its room is reserved first, and what
/// it held is put back if the new content does not go in. Only then may a power cut, or somebody
/// who reads at that moment, see half.
///
/// On false the file is as it was and `error` (may be null) names the call and the reason.
/// Thread: any; blocks for one disk flush.
bool replaceFile(const QString& path, const QByteArray& content, QString* error = nullptr);

/// The file behind any number of links, which may be one that is still to be made: the name that
/// replaceFile() gives its content to.
QString fileBehindLinks(QString path);

/// The kernel's own words at the end of an error text of replaceFile().
QString reasonIn(const QString& error);

/// Whether replaceFile() makes such names for what it writes aside: ".kynew-" and six letters or
/// digits. Whoever lists a folder passes over them.
bool isAsideName(const QString& fileName);

/// Removes what was written aside in `folder` by processes that were killed before the rename. What
/// a writer is still at, in whatever process, stays. Nothing is reported: what cannot be removed is
/// passed over by its name. Thread: any.
void clearLeftovers(const QString& folder);

} // namespace ky
