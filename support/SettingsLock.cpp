#include "support/SettingsLock.h"

#include <QElapsedTimer>
#include <QThread>

namespace ky {

namespace {

constexpr int kPollMs = 5;
constexpr int kNamelessMs = 1000; // a lock file is empty only until its maker has written it
constexpr int kLongestMs = 10000;

/// The process that the lock file names; empty if it names none. What is left of a process that is
/// gone QLockFile removes by itself.
QString holderOf(const QLockFile& lock)
{
    qint64 process = 0;
    QString host;
    QString program;
    if (!lock.getLockInfo(&process, &host, &program))
        return {};
    return QStringLiteral("%1 (process %2)").arg(program).arg(process);
}

} // namespace

SettingsLock::SettingsLock(const QString& file)
    : _lock(file + QStringLiteral(".lock"))
{
    QElapsedTimer total;
    QElapsedTimer nameless;
    total.start();
    nameless.start();
    while (!_lock.tryLock(0) && _lock.error() == QLockFile::LockFailedError) {
        const QString holder = holderOf(_lock);
        if (!holder.isEmpty())
            nameless.start();
        if (total.hasExpired(kLongestMs))
            _holder = holder;
        if (nameless.hasExpired(kNamelessMs) || total.hasExpired(kLongestMs))
            return;
        QThread::msleep(kPollMs);
    }
}

} // namespace ky
