#include "network/Leftovers.h"

#include "host/PublicClass.h"
#include "network/NetworkSettings.h"
#include "network/tools/Profiles.h"
#include "support/AtomicFile.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace ky {

namespace {

QString folderOf(const QString& file)
{
    return QFileInfo(file).path();
}

QString certificateFolder()
{
    PublicClass* host = PublicClass::init();
    if (host->settingsFile.isEmpty())
        return {};
    return host->readIni(host->settingsFile, QLatin1String(settings::kCertificateFolder))
        .toString();
}

} // namespace

void clearNetworkLeftovers()
{
    const PublicClass* host = PublicClass::init();
    for (const QString& folder :
         {certificateFolder(), folderOf(QLatin1String(settings::kFile)),
          host->applicationDir + QStringLiteral("/appInfo/backupFile"),
          QCoreApplication::applicationDirPath() + QStringLiteral("/appInfo/setting")})
        clearLeftovers(folder);
    if (host->hardwareType < 0)
        return; // the host is left as it is
    for (const QString& folder : {profileFolder(), hostPath(paths::kNetplanFolder),
                                  folderOf(hostPath(paths::kModuleBlacklist))})
        clearLeftovers(folder);
}

} // namespace ky
