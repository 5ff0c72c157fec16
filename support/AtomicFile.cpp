#include "support/AtomicFile.h"

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

/// The file written aside; removed again unless it has been renamed.
class Aside
{
public:
    /// A short name of its own: one made of the target's would be too long for a target whose
    /// name has all the 255 bytes that a name may have.
    explicit Aside(const QByteArray& folder)
        : _path(folder + "/.new-XXXXXX")
        , _fd(mkostemp(_path.data(), O_CLOEXEC))
    {}
    ~Aside()
    {
        if (_fd >= 0)
            close(_fd);
        if (!_path.isEmpty() && _isOpened)
            unlink(_path.constData());
    }
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

    int fd() const { return _fd; }
    bool renameTo(const QByteArray& target)
    {
        if (rename(_path.constData(), target.constData()) != 0)
            return false;
        _path.clear();
        return true;
    }

private:
    QByteArray _path;
    int _fd;
    bool _isOpened = _fd >= 0;
};

bool writeAll(int fd, const QByteArray& content)
{
    qint64 done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.constData() + done, size_t(content.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        done += n;
    }
    return true;
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

/// The file behind any number of links. The last one may point at a file that is still to be made,
/// so this asks each link and not for a canonical path.
QString targetOf(QString path)
{
    for (int links = 0; links < kMaxLinks && QFileInfo(path).isSymLink(); ++links)
        path = QFileInfo(path).symLinkTarget();
    return path;
}

bool fail(QString* error, const char* call, const QString& path)
{
    if (error)
        *error = QStringLiteral("%1 [%2]: %3")
                     .arg(QString::fromLatin1(call), path, QString::fromLocal8Bit(strerror(errno)));
    return false;
}

} // namespace

bool replaceFile(const QString& path, const QByteArray& content, QString* error)
{
    const QString target = targetOf(path);
    QDir().mkpath(QFileInfo(target).absolutePath());
    const QByteArray name = QFile::encodeName(target);

    Aside aside(QFile::encodeName(QFileInfo(target).path()));
    if (aside.fd() < 0)
        return fail(error, "create file in folder of", target);
    if (!writeAll(aside.fd(), content))
        return fail(error, "write", target);
    if (!takeOwnerAndMode(aside.fd(), name))
        return fail(error, "keep owner and mode of", target);
    if (fsync(aside.fd()) != 0)
        return fail(error, "flush", target);
    if (!aside.renameTo(name))
        return fail(error, "rename to", target);
    flushFolder(target);
    return true;
}

} // namespace ky
