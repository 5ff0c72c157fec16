#include "support/InPlaceWrite.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace ky {

namespace {

/// What can be put back; nothing if this process may write the file but not read it.
std::optional<QByteArray> contentOf(const QByteArray& path)
{
    QFile file(QFile::decodeName(path));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

/// Takes the room before anything is overwritten, so that a full disk is noticed with the old
/// content intact. A file system that cannot do so is no failure.
bool reserve(int fd, qint64 size)
{
    return size == 0 || fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, size) == 0 ||
           (errno != ENOSPC && errno != EDQUOT && errno != EFBIG);
}

bool overwrite(int fd, const QByteArray& content)
{
    return lseek(fd, 0, SEEK_SET) == 0 && writeAll(fd, content) &&
           ftruncate(fd, content.size()) == 0 && fsync(fd) == 0;
}

const char* overwriteFile(int fd, const QByteArray& path, const QByteArray& content)
{
    const std::optional<QByteArray> before = contentOf(path);
    if (!reserve(fd, content.size()))
        return "write";
    if (overwrite(fd, content))
        return nullptr;
    const int reason = errno;
    if (before)
        overwrite(fd, *before);
    errno = reason;
    return "write";
}

} // namespace

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

const char* writeInPlace(const QByteArray& path, const QByteArray& content)
{
    static std::mutex mutex; // two writers at once would leave a mixture
    const std::lock_guard<std::mutex> locker(mutex);
    // A pipe without a reader is a failure and not a reason to wait.
    const int fd = open(path.constData(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return "open";
    struct stat facts = {};
    const bool isRegular = fstat(fd, &facts) == 0 && S_ISREG(facts.st_mode);
    const char* failed = isRegular               ? overwriteFile(fd, path, content)
                         : writeAll(fd, content) ? nullptr
                                                 : "write";
    const int reason = errno;
    close(fd);
    errno = reason;
    return failed;
}

} // namespace ky
