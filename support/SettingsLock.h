#pragma once

#include <QLockFile>
#include <QString>

namespace ky {

/// The lock that QSettings takes beside a file (".lock") while it saves: another process, or a
/// QSettings object of this one, does not save in between.
///
/// It only orders the writers, and it must not keep a setting from being stored: one that cannot be
/// made (a folder that takes no new file), or that one holder does not give up for a second (left
/// by a crash, a stray file of that name), is passed over. QSettings does the same, but waits much
/// longer.
class SettingsLock
{
public:
    /// Blocks while others save, for the whole of 10 s at most.
    explicit SettingsLock(const QString& file);

private:
    QLockFile _lock;
};

} // namespace ky
