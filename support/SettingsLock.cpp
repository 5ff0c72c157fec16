#include "support/SettingsLock.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <sys/stat.h>
#include <utility>

namespace ky {

namespace {

constexpr int kPollMs = 5;
constexpr int kStuckMs = 1000;    // a save takes the time of two disk flushes
constexpr int kLongestMs = 10000; // with ever new holders in front

/// Tells one holder from the next: each makes the lock file anew.
std::pair<ino_t, qint64> holderOf(const QByteArray& lockFile)
{
    struct stat facts = {};
    if (stat(lockFile.constData(), &facts) != 0)
        return {0, 0};
    return {facts.st_ino, qint64(facts.st_ctim.tv_sec) * 1000000000 + facts.st_ctim.tv_nsec};
}

} // namespace

SettingsLock::SettingsLock(const QString& file)
    : _lock(file + QStringLiteral(".lock"))
{
    const QByteArray name = QFile::encodeName(file + QStringLiteral(".lock"));
    std::pair<ino_t, qint64> holder;
    QElapsedTimer total;
    QElapsedTimer sinceHolder;
    total.start();
    sinceHolder.start();
    while (!_lock.tryLock(0) && _lock.error() == QLockFile::LockFailedError) {
        const auto now = holderOf(name);
        if (std::exchange(holder, now) != now)
            sinceHolder.start();
        if (sinceHolder.hasExpired(kStuckMs) || total.hasExpired(kLongestMs))
            return;
        QThread::msleep(kPollMs);
    }
}

} // namespace ky
