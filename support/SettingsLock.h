#pragma once

#include <QLockFile>
#include <QString>

namespace ky {

/// The lock that QSettings takes beside a file (".lock") while it saves: another process, or a
/// QSettings object of this one, does not save in between.
///
/// Who holds it has read the old content already, and a value stored in spite of that would be gone
/// with the holder's save: nothing is to be stored then. A lock that protects nothing is passed
/// over: one that cannot be made (a folder that takes no new file), one of a process that is gone,
/// and a file of that name that names no process.
class SettingsLock
{
public:
    /// Blocks while others save, for the whole of 10 s at most.
    explicit SettingsLock(const QString& file);

    /// Whether somebody has not given it up in that time; then `holder()` tells who.
    bool isHeldByOthers() const { return !_holder.isEmpty(); }
    const QString& holder() const { return _holder; }

private:
    QLockFile _lock;
    QString _holder;
};

} // namespace ky
