#include "support/AsideFile.h"

#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ky {

namespace {

/// A short name of its own: one made of the target's would be too long for a target whose name has
/// all the 255 bytes that a name may have.
constexpr char kPrefix[] = ".kynew-";
constexpr char kOpenPart[] = "XXXXXX";
constexpr int kOpenPartSize = sizeof kOpenPart - 1;
constexpr int kMaxTries = 100;

bool lock(int fd, int how)
{
    int result = 0;
    while ((result = flock(fd, how)) != 0 && errno == EINTR) {
    }
    return result == 0;
}

/// Whether the file still has its name. One that clearLeftovers() found before it was locked has
/// lost it.
bool isNamed(int fd)
{
    struct stat facts = {};
    return fstat(fd, &facts) != 0 || facts.st_nlink > 0;
}

int makeAside(QByteArray* path)
{
    const QByteArray pattern = *path;
    for (int tries = 0; tries < kMaxTries; ++tries) {
        *path = pattern;
        const int fd = mkostemp(path->data(), O_CLOEXEC);
        if (fd < 0)
            break;
        lock(fd, LOCK_EX); // without it, on file systems that have none: no worse than unlocked
        if (isNamed(fd))
            return fd;
        close(fd);
        errno = EAGAIN;
    }
    path->clear();
    return -1;
}

/// Removes the file unless a living writer has it locked.
void removeUnlessInWork(const QByteArray& path)
{
    const int fd = open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return;
    struct stat facts = {};
    if (fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode) && lock(fd, LOCK_EX | LOCK_NB))
        unlink(path.constData());
    close(fd);
}

bool isLetterOrDigit(QChar c)
{
    return c.unicode() < 0x80 && c.isLetterOrNumber();
}

} // namespace

AsideFile::AsideFile(const QByteArray& folder)
    : _path(folder + '/' + kPrefix + kOpenPart)
    , _fd(makeAside(&_path))
{}

AsideFile::~AsideFile()
{
    // Removed while it is locked: nobody takes it for a leftover in between.
    if (!_path.isEmpty())
        unlink(_path.constData());
    if (_fd >= 0)
        close(_fd);
}

bool AsideFile::renameTo(const QByteArray& target)
{
    if (rename(_path.constData(), target.constData()) != 0)
        return false;
    _path.clear();
    return true;
}

bool isAsideName(const QString& fileName)
{
    const QString prefix = QLatin1String(kPrefix);
    return fileName.size() == prefix.size() + kOpenPartSize && fileName.startsWith(prefix) &&
           std::all_of(fileName.begin() + prefix.size(), fileName.end(), isLetterOrDigit);
}

void clearLeftovers(const QString& folder)
{
    if (folder.isEmpty())
        return; // to QDir that is the working directory
    const QStringList names =
        QDir(folder).entryList({QLatin1String(kPrefix) + QLatin1Char('*')},
                               QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDir::Unsorted);
    for (const QString& name : names) {
        if (isAsideName(name))
            removeUnlessInWork(QFile::encodeName(folder + QLatin1Char('/') + name));
    }
}

} // namespace ky
