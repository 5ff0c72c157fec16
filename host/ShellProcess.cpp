#include "host/ShellProcess.h"

#include "host/LastCommand.h"
#include "host/OutputDrain.h"
#include "host/QuietThread.h"

#include <QDeadlineTimer>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace ky {

namespace {

constexpr int kMaxOutput = 64 * 1024 * 1024;
constexpr int kPollWithoutPidfdMs = 5;
constexpr int kKilledLimitMs = 2000;

/// One descriptor, closed when its owner goes.
class Descriptor
{
public:
    explicit Descriptor(int fd = -1)
        : _fd(fd)
    {}
    Descriptor(Descriptor&& other) noexcept
        : _fd(std::exchange(other._fd, -1))
    {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(_fd, other._fd);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const { return _fd; }
    bool isOpen() const { return _fd >= 0; }
    /// In a process without standard descriptors a new one may get their numbers, and would be
    /// closed when the child gets its own.
    bool leaveStandardNumbers()
    {
        if (_fd <= STDERR_FILENO)
            *this = Descriptor(fcntl(_fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        return isOpen();
    }
    int release() { return std::exchange(_fd, -1); }
    void reset()
    {
        if (_fd >= 0)
            close(_fd);
        _fd = -1;
    }

private:
    int _fd;
};

/// One output stream of the shell: both ends of the pipe and what has come.
///
/// The writing end stays open here until the shell has ended, so that the close of the shell's own
/// copy, moments before its end, does not wake us twice for nothing.
class Stream
{
public:
    bool open()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return false;
        _end = Descriptor(ends[0]);
        _writeEnd = Descriptor(ends[1]);
        return _end.leaveStandardNumbers() && _writeEnd.leaveStandardNumbers() &&
               fcntl(_end.get(), F_SETFL, O_NONBLOCK) == 0;
    }

    int fd() const { return _end.get(); }
    int writeEnd() const { return _writeEnd.get(); }
    const QByteArray& content() const { return _content; }

    /// Reads once what is there; closes at the end of the stream.
    void read()
    {
        char buffer[65536];
        const ssize_t n = ::read(_end.get(), buffer, sizeof buffer);
        if (n > 0)
            keep(buffer, int(n));
        else if (n == 0 || (errno != EAGAIN && errno != EINTR))
            _end.reset();
    }

    /// Reads what the shell had written when it ended, and no more: a job in the background may
    /// never stop printing. What such a job still holds open goes to the drain.
    void finish()
    {
        _writeEnd.reset();
        const int before = _content.size();
        read();
        if (_content.size() > before)
            readRest();
        if (_end.isOpen())
            drainUntilClosed(_end.release());
    }

private:
    void readRest()
    {
        int left = 0;
        if (ioctl(_end.get(), FIONREAD, &left) == 0) {
            for (const int until = _content.size() + left;
                 _end.isOpen() && _content.size() < std::min(until, kMaxOutput);)
                read();
        }
        if (_end.isOpen())
            read();
    }

    void keep(const char* bytes, int count)
    {
        _content.append(bytes, std::min(count, kMaxOutput - _content.size()));
    }

    Descriptor _end;
    Descriptor _writeEnd;
    QByteArray _content;
};

/// What posix_spawn() is told: own process group, no signal blocked or ignored, empty standard
/// input, and no descriptor of ours beside the two pipes.
class SpawnSetup
{
public:
    SpawnSetup(int out, int err)
    {
        posix_spawn_file_actions_init(&_actions);
        posix_spawn_file_actions_addopen(&_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&_actions, out, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&_actions, err, STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&_actions, STDERR_FILENO + 1);

        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_init(&_attributes);
        posix_spawnattr_setsigmask(&_attributes, &none);
        posix_spawnattr_setsigdefault(&_attributes, &all);
        posix_spawnattr_setpgroup(&_attributes, 0);
        posix_spawnattr_setflags(&_attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                   POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnSetup()
    {
        posix_spawnattr_destroy(&_attributes);
        posix_spawn_file_actions_destroy(&_actions);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    int spawn(const QByteArray& line, pid_t* pid) const
    {
        char shell[] = "/bin/sh";
        char option[] = "-c";
        QByteArray text = line;
        char* arguments[] = {shell, option, text.data(), nullptr};
        return posix_spawn(pid, shell, &_actions, &_attributes, arguments, environ);
    }

private:
    posix_spawn_file_actions_t _actions;
    posix_spawnattr_t _attributes;
};

void* reap(void* pid)
{
    while (waitpid(pid_t(reinterpret_cast<intptr_t>(pid)), nullptr, 0) < 0 && errno == EINTR) {
    }
    return nullptr;
}

void reapLater(pid_t pid)
{
    startQuietThread(reap, reinterpret_cast<void*>(intptr_t(pid)));
}

/// A running shell: its streams, its end, its time limit.
class ShellProcess
{
public:
    /// 0, or the errno of what failed.
    int start(const QByteArray& line)
    {
        if (!_out.open() || !_err.open())
            return errno;
        const int failure = SpawnSetup(_out.writeEnd(), _err.writeEnd()).spawn(line, &_pid);
        if (failure == 0) {
            // Absent before Linux 5.3: see waitOnce(). The descriptor closes on exec by itself.
            _pidfd = Descriptor(int(syscall(SYS_pidfd_open, _pid, 0)));
        }
        return failure;
    }

    /// True when the shell ended by itself before the limit. It is reaped in either case: by
    /// another thread, if the kill does not end it at once. That is so for a program of another
    /// user, as under sudo, and for one that hangs in a driver.
    bool waitForEnd(int limitMs)
    {
        const bool isInTime = waitUntil(QDeadlineTimer(std::max(limitMs, 0)));
        if (!isInTime) {
            kill(-_pid, SIGKILL);
            if (!waitUntil(QDeadlineTimer(kKilledLimitMs)))
                reapLater(_pid);
        }
        _out.finish();
        _err.finish();
        return isInTime;
    }

    int status() const { return _status.value_or(0); }
    bool isReaped() const { return _status.has_value(); }
    const QByteArray& out() const { return _out.content(); }
    const QByteArray& err() const { return _err.content(); }

private:
    bool waitUntil(const QDeadlineTimer& deadline)
    {
        while (!hasEnded()) {
            if (deadline.hasExpired())
                return false;
            waitOnce(deadline.remainingTime());
        }
        return true;
    }

    bool hasEnded() { return _isGone || (_mayHaveEnded && tryReap()); }

    bool tryReap()
    {
        int status = 0;
        const pid_t ended = waitpid(_pid, &status, WNOHANG);
        if (ended == _pid)
            _status = status;
        _isGone = ended != 0;
        return _isGone;
    }

    /// Waits until a stream has something, the shell ends or the time is up. Without a pidfd the
    /// end is found by asking every few milliseconds.
    void waitOnce(qint64 remainingMs)
    {
        pollfd waits[] = {
            {_pidfd.get(), POLLIN, 0}, {_out.fd(), POLLIN, 0}, {_err.fd(), POLLIN, 0}};
        const int limit = _pidfd.isOpen() ? int(remainingMs)
                                          : int(std::min<qint64>(remainingMs, kPollWithoutPidfdMs));
        if (poll(waits, 3, limit) < 0)
            return;
        if (waits[1].revents != 0)
            _out.read();
        if (waits[2].revents != 0)
            _err.read();
        _mayHaveEnded = !_pidfd.isOpen() || waits[0].revents != 0;
    }

    Stream _out;
    Stream _err;
    pid_t _pid = -1;
    Descriptor _pidfd;
    bool _mayHaveEnded = false;
    bool _isGone = false;
    std::optional<int> _status;
};

/// A search that found nothing has run: grep says so with status 1 and not a word.
bool isEmptySearch(const QString& line, const ShellProcess& shell)
{
    return WIFEXITED(shell.status()) && WEXITSTATUS(shell.status()) == 1 && shell.out().isEmpty() &&
           shell.err().isEmpty() && lastCommandWord(line) == QLatin1String("grep");
}

QString howItEnded(int status)
{
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return QStringLiteral("ended by signal %1 (%2)")
            .arg(number)
            .arg(QString::fromLocal8Bit(strsignal(number)));
    }
    return QStringLiteral("exit status %1").arg(WEXITSTATUS(status));
}

/// All of it: the conversion from a QByteArray alone would end at the first zero byte.
QString textOf(const QByteArray& output)
{
    return QString::fromUtf8(output.constData(), output.size());
}

QString failureText(const ShellProcess& shell, const QString& otherwise)
{
    if (!shell.err().isEmpty())
        return textOf(shell.err());
    if (!shell.out().isEmpty())
        return textOf(shell.out());
    return otherwise;
}

} // namespace

ShellResult runShell(const QString& line, int limitMs)
{
    if (line.contains(QChar::Null))
        return {false, QStringLiteral("a command line cannot hold a zero byte")};
    ShellProcess shell;
    const int failure = shell.start(line.toUtf8());
    if (failure != 0)
        return {
            false,
            QStringLiteral("start of /bin/sh: %1").arg(QString::fromLocal8Bit(strerror(failure)))};

    if (!shell.waitForEnd(limitMs))
        return {false, failureText(shell, QStringLiteral("not ended in %1 ms").arg(limitMs))};
    if (!shell.isReaped())
        return {false, QStringLiteral("exit status of /bin/sh was taken by another part of the "
                                      "process")};
    const bool isSuccess = WIFEXITED(shell.status()) && WEXITSTATUS(shell.status()) == 0;
    if (isSuccess || isEmptySearch(line, shell))
        return {true, textOf(shell.out())};
    return {false, failureText(shell, howItEnded(shell.status()))};
}

} // namespace ky
