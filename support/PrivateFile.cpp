#include "support/PrivateFile.h"

#include "support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ky {

namespace {

constexpr mode_t kPrivateMode = 0600;

} // namespace

bool makePrivateFile(const QString& path)
{
    // O_EXCL: what another process makes at this moment is its own, with the mode that it chose.
    const QByteArray name = QFile::encodeName(fileBehindLinks(path));
    const int fd = open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPrivateMode);
    if (fd < 0)
        return false;
    fchmod(fd, kPrivateMode); // a umask may have taken the owner's bits as well
    close(fd);
    return true;
}

bool replacePrivateFile(const QString& path, const QByteArray& content, QString* error)
{
    const QString target = fileBehindLinks(path);
    QDir().mkpath(QFileInfo(target).absolutePath());
    const bool isNew = makePrivateFile(target); // replaceFile() keeps the mode of what it finds
    if (replaceFile(target, content, error))
        return true;
    if (isNew)
        QFile::remove(target);
    return false;
}

} // namespace ky
