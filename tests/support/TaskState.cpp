#include "TaskState.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QFile>
#include <QList>

#include <dirent.h>
#include <sched.h>
#include <unistd.h>

namespace {

// A thread that waits for a lock for a moment is not asleep: so often the same sleep is seen.
constexpr int kLooks = 20;

QByteArray statusOf(const QByteArray& folder)
{
    QFile file(QFile::decodeName("/proc/" + folder + "/status"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray valueOf(const QByteArray& status, const QByteArray& key)
{
    const int at = status.indexOf('\n' + key + ":\t");
    if (at < 0)
        return {};
    const int begin = at + key.size() + 3;
    return status.mid(begin, status.indexOf('\n', begin) - begin);
}

/// How often a sleeping thread has gone to sleep so far; empty for one that runs or could run.
QByteArray sleepOf(pid_t thread)
{
    const QByteArray status = statusOf("self/task/" + QByteArray::number(thread));
    return valueOf(status, "State").startsWith('S') ? valueOf(status, "voluntary_ctxt_switches")
                                                    : QByteArray();
}

QList<pid_t> otherThreads()
{
    QList<pid_t> threads;
    DIR* const folder = opendir("/proc/self/task");
    while (const dirent* const entry = folder ? readdir(folder) : nullptr) {
        const pid_t thread = pid_t(QByteArray(entry->d_name).toInt());
        if (thread > 0 && thread != gettid())
            threads << thread;
    }
    if (folder)
        closedir(folder);
    return threads;
}

/// The sleeps of all of them; empty if one is awake.
QList<QByteArray> sleepsOf(const QList<pid_t>& threads)
{
    QList<QByteArray> sleeps;
    for (pid_t thread : threads) {
        sleeps << QByteArray::number(thread) + ' ' + sleepOf(thread);
        if (sleeps.last().endsWith(' '))
            return {};
    }
    return sleeps;
}

template<typename Threads>
bool waitUntilAllSleep(Threads threads, int limitMs)
{
    const QDeadlineTimer limit(limitMs);
    QList<QByteArray> before;
    int looks = 0;
    while (looks < kLooks && !limit.hasExpired()) {
        const QList<pid_t> watched = threads();
        const QList<QByteArray> now = sleepsOf(watched);
        looks = now.size() == watched.size() && now == before ? looks + 1 : 0;
        before = now;
        sched_yield();
    }
    return looks == kLooks;
}

} // namespace

bool TaskState::waitUntilAsleep(pid_t thread, int limitMs)
{
    return waitUntilAllSleep([thread] { return QList<pid_t>{thread}; }, limitMs);
}

bool TaskState::waitUntilOthersSleep(int limitMs)
{
    return waitUntilAllSleep(otherThreads, limitMs);
}

bool TaskState::isSignalPending(qint64 pid, int signalNumber)
{
    const QByteArray status = statusOf(QByteArray::number(pid));
    const quint64 pending = valueOf(status, "ShdPnd").toULongLong(nullptr, 16) |
                            valueOf(status, "SigPnd").toULongLong(nullptr, 16);
    return (pending >> (signalNumber - 1) & 1) != 0;
}
