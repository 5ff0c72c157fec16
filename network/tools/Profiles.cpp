#include "network/tools/Profiles.h"

#include "support/AtomicFile.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QDir>

#include <algorithm>

namespace ky {

QString profileFolder()
{
    return hostPath(paths::kNetworkManagerProfiles);
}

QStringList profileFiles(const QString& folder)
{
    // NoSort means "as this QDir sorts", and that is by name, ignoring case. Unsorted would be the
    // folder's own order, which differs from one file system to the next.
    QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::NoSort);
    names.erase(std::remove_if(names.begin(), names.end(), isAsideName), names.end());
    return names;
}

KeyFile profileNamed(const QString& fileName)
{
    if (fileName.contains(QLatin1Char('/')) || isAsideName(fileName))
        return KeyFile();
    return KeyFile::read(profileFolder() + QLatin1Char('/') + fileName);
}

Profile findProfile(const QString& folder, const char* group, const char* key, const QString& value)
{
    const QStringList names = profileFiles(folder);
    for (const QString& name : names) {
        Profile profile{name, KeyFile::read(folder + QLatin1Char('/') + name)};
        if (profile.file.holds(group, key, value))
            return profile;
    }
    return {};
}

} // namespace ky
