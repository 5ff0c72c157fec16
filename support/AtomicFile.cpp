#include "support/AtomicFile.h"

#include "support/AsideFile.h"
#include "support/InPlaceWrite.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ky {

namespace {

constexpr mode_t kNewFileMode = 0644;
constexpr int kMaxLinks = 40;

/// Whether a folder that takes no new name may still hold a file that takes new content.
bool isFolderClosed(int error)
{
    return error == EACCES || error == EPERM || error == EROFS;
}

/// Whether the name stays with its file: a mount point, or a name that others own.
bool isNameFixed(int error)
{
    return error == EBUSY || error == EXDEV || isFolderClosed(error);
}

/// Owner first: changing it clears bits of the mode. A process that may not give files away keeps
/// its own user as owner, which is the best it can do.
bool takeOwnerAndMode(int fd, const QByteArray& from)
{
    struct stat old = {};
    if (stat(from.constData(), &old) != 0)
        return fchmod(fd, kNewFileMode) == 0;
    if (fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM)
        return false;
    return fchmod(fd, old.st_mode & 07777) == 0;
}

/// Without this the new name itself may be lost with the power.
void flushFolder(const QString& path)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(path).absolutePath());
    const int fd = open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    fsync(fd);
    close(fd);
}

bool fail(QString* error, const char* call, const QString& path)
{
    if (error)
        *error = QStringLiteral("%1 [%2]: %3")
                     .arg(QString::fromLatin1(call), path, QString::fromLocal8Bit(strerror(errno)));
    return false;
}

bool replaceInPlace(const QString& target, const QByteArray& content, QString* error)
{
    const char* failed = writeInPlace(QFile::encodeName(target), content);
    return !failed || fail(error, failed, target);
}

bool replaceByRename(const QString& target, const QByteArray& content, bool isThere, QString* error)
{
    const QByteArray name = QFile::encodeName(target);
    AsideFile aside(QFile::encodeName(QFileInfo(target).path()));
    if (aside.fd() < 0)
        return isThere && isFolderClosed(errno) ? replaceInPlace(target, content, error)
                                                : fail(error, "create file in folder of", target);
    if (!writeAll(aside.fd(), content))
        return fail(error, "write", target);
    if (!takeOwnerAndMode(aside.fd(), name))
        return fail(error, "keep owner and mode of", target);
    if (fsync(aside.fd()) != 0)
        return fail(error, "flush", target);
    if (!aside.renameTo(name))
        return isThere && isNameFixed(errno) ? replaceInPlace(target, content, error)
                                             : fail(error, "rename to", target);
    flushFolder(target);
    return true;
}

} // namespace

bool replaceFile(const QString& path, const QByteArray& content, QString* error)
{
    const QString target = fileBehindLinks(path);
    QDir().mkpath(QFileInfo(target).absolutePath());
    struct stat facts = {};
    const bool isThere = stat(QFile::encodeName(target).constData(), &facts) == 0;
    // A link to /dev/null switches a file off; a rename would put a file in the place of the
    // device.
    if (isThere && !S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode))
        return replaceInPlace(target, content, error);
    return replaceByRename(target, content, isThere, error);
}

// The last link may point at a file that is still to be made, so this asks each one and not for a
// canonical path.
QString fileBehindLinks(QString path)
{
    for (int links = 0; links < kMaxLinks && QFileInfo(path).isSymLink(); ++links)
        path = QFileInfo(path).symLinkTarget();
    return path;
}

QString reasonIn(const QString& error)
{
    const QString mark = QStringLiteral("]: ");
    const int at = error.lastIndexOf(mark);
    return at < 0 ? error : error.mid(at + mark.size());
}

} // namespace ky
