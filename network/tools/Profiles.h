#pragma once

#include "support/KeyFile.h"

#include <QStringList>

namespace ky {

/// Folder of NetworkManager's keyfiles.
QString profileFolder();

/// Names of the files in a folder of keyfiles, hidden ones included, sorted by name ignoring case.
/// Leftovers of a killed process are skipped. Empty if there is no such folder.
QStringList profileFiles(const QString& folder);

/// A keyfile and what it is called, without its folder.
struct Profile
{
    QString fileName;
    KeyFile file;

    bool isFound() const { return !fileName.isEmpty(); }
};

/// The keyfile of this name in profileFolder(). A name with a folder in it, or that of a leftover,
/// gives an empty one.
KeyFile profileNamed(const QString& fileName);

/// The first profile, in the order of profileFiles(), whose key has this value. An empty value does
/// not find profiles that lack the key.
Profile findProfile(const QString& folder, const char* group, const char* key,
                    const QString& value);

} // namespace ky
