#pragma once

#include "support/KeyFile.h"

#include <QStringList>

namespace ky {

/// Folder of NetworkManager's keyfiles.
QString profileFolder();

/// File names in a folder of keyfiles, hidden ones too, by name whatever the case, without
/// what a killed process has left beside them. Empty if there is no such folder.
QStringList profileFiles(const QString& folder);

/// A keyfile and what it is called, without its folder.
struct Profile
{
    QString fileName;
    KeyFile file;

    bool isFound() const { return !fileName.isEmpty(); }
};

/// The keyfile of this name in profileFolder(). Empty for a name with a folder in it
/// and for a file that a killed process has left there.
KeyFile profileNamed(const QString& fileName);

/// The first profile, in the order of profileFiles(), whose key has this value. An empty value does
/// not find profiles that lack the key.
Profile findProfile(const QString& folder, const char* group, const char* key,
                    const QString& value);

} // namespace ky
