#pragma once

#include "support/KeyFile.h"

#include <QStringList>

namespace ky {

/// Folder of NetworkManager's keyfiles.
QString profileFolder();

/// File names in a folder of keyfiles, hidden ones too, in the folder's own order. Empty if there
/// is no such folder.
QStringList profileFiles(const QString& folder);

/// A keyfile and what it is called, without its folder.
struct Profile
{
    QString fileName;
    KeyFile file;

    bool isFound() const { return !fileName.isEmpty(); }
};

/// The first profile, in the folder's own order, whose key has this value. An empty value does not
/// find profiles that lack the key.
Profile findProfile(const QString& folder, const char* group, const char* key,
                    const QString& value);

} // namespace ky
