#include "network/Profiles.h"

#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QDir>

namespace ky {

QString profileFolder()
{
    return hostPath(paths::kNetworkManagerProfiles);
}

QStringList profileFiles(const QString& folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::NoSort);
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
