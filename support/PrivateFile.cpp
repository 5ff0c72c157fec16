#include "support/PrivateFile.h"

#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ky {

namespace {

constexpr mode_t kPrivateMode = 0600;

} // namespace

bool makePrivateFile(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat facts = {};
    if (stat(name.constData(), &facts) == 0 || errno != ENOENT)
        return false;
    // Not O_EXCL: the name may be a link to a file that is still to be made.
    const int fd = open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY, kPrivateMode);
    if (fd < 0)
        return false;
    fchmod(fd, kPrivateMode); // a umask may have taken the owner's bits as well
    close(fd);
    return true;
}

bool replacePrivateFile(const QString& path, const QByteArray& content, QString* error)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    const bool isNew = makePrivateFile(path); // replaceFile() keeps the mode of what it finds
    if (replaceFile(path, content, error))
        return true;
    if (isNew)
        QFile::remove(path);
    return false;
}

} // namespace ky
