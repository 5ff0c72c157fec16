#include "daemon/DaemonHome.h"

#include "support/AtomicFile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace ky {

namespace {

constexpr char kDefaults[] = ":/kynetwork/home";
constexpr const char* kFolders[] = {"appInfo/setting", "appInfo/backupFile", "data"};

QString homeProblem(const QString& path, const QString& reason)
{
    return QStringLiteral("home [%1]: %2").arg(path, reason);
}

QString makeFolder(const QString& path)
{
    // mkpath() keeps its reason to itself; the first missing folder tells it.
    if (QDir().mkpath(path) && ::access(QFile::encodeName(path).constData(), W_OK) == 0)
        return {};
    if (QFileInfo::exists(path) && !QFileInfo(path).isDir())
        errno = ENOTDIR;
    return homeProblem(path, QString::fromLocal8Bit(std::strerror(errno)));
}

QString copyDefault(const QString& resource, const QString& target)
{
    if (QFile::exists(target))
        return {};
    QFile file(resource);
    QString error;
    if (!file.open(QIODevice::ReadOnly) || !replaceFile(target, file.readAll(), &error))
        return homeProblem(target, error);
    return {};
}

} // namespace

QString defaultHome(bool isRoot, const QString& xdgStateHome, const QString& userHome)
{
    if (!xdgStateHome.isEmpty())
        return xdgStateHome + QStringLiteral("/kyhostd");
    return isRoot ? QStringLiteral("/var/lib/kyhostd")
                  : userHome + QStringLiteral("/.local/state/kyhostd");
}

QString prepareHome(const QString& home)
{
    const QDir folder(home);
    for (const char* name : kFolders) {
        const QString problem = makeFolder(folder.filePath(QLatin1String(name)));
        if (!problem.isEmpty())
            return problem;
    }
    QDirIterator defaults(QLatin1String(kDefaults), QDir::Files, QDirIterator::Subdirectories);
    while (defaults.hasNext()) {
        const QString resource = defaults.next();
        const QString problem =
            copyDefault(resource, folder.filePath(resource.mid(int(std::strlen(kDefaults)) + 1)));
        if (!problem.isEmpty())
            return problem;
    }
    return {};
}

QString defaultSettingsFile(const QString& home)
{
    return home + QStringLiteral("/appInfo/setting/kyhostd.ini");
}

} // namespace ky
