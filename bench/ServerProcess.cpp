#include "ServerProcess.h"

#include <QFile>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace ky::bench {

namespace {

void pin(pid_t pid, Processors processors)
{
    const long count = processors == Processors::One ? 1 : sysconf(_SC_NPROCESSORS_ONLN);
    cpu_set_t set;
    CPU_ZERO(&set);
    for (long i = 0; i < count; ++i)
        CPU_SET(size_t(i), &set);
    sched_setaffinity(pid, sizeof set, &set);
}

std::vector<char*> pointersTo(std::vector<QByteArray>& texts)
{
    std::vector<char*> pointers;
    for (QByteArray& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<QByteArray> environmentWith(const QStringList& additions)
{
    std::vector<QByteArray> texts;
    for (char** variable = environ; *variable; ++variable)
        texts.emplace_back(*variable);
    for (const QString& addition : additions)
        texts.push_back(addition.toUtf8());
    return texts;
}

QByteArray readLine(int fd)
{
    QByteArray line;
    char c = 0;
    while (read(fd, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

} // namespace

void pinThisProcess(Processors processors)
{
    pin(0, processors);
}

pid_t startProgram(const QStringList& command, Processors processors,
                   const QStringList& environment, int* output)
{
    int ends[2] = {-1, -1};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output && pipe2(ends, O_CLOEXEC) == 0)
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::vector<QByteArray> arguments;
    for (const QString& argument : command)
        arguments.push_back(argument.toUtf8());
    std::vector<QByteArray> variables = environmentWith(environment);
    pid_t pid = -1;
    // The processors are inherited: the program is pinned before its first thread runs.
    pin(0, processors);
    const int failure = posix_spawnp(&pid, arguments.front().constData(), &actions, nullptr,
                                     pointersTo(arguments).data(), pointersTo(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    if (output) {
        close(ends[1]);
        *output = ends[0];
    }
    if (failure != 0)
        throw std::runtime_error("cannot start " + command.first().toStdString());
    return pid;
}

void endProgram(pid_t pid)
{
    if (pid <= 0)
        return;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

ServerProcess::ServerProcess(const QStringList& command, Processors processors,
                             const QStringList& environment)
{
    int output = -1;
    _pid = startProgram(command, processors, environment, &output);
    _port = readLine(output).toUShort();
    close(output);
    if (_port == 0) {
        endProgram(_pid);
        throw std::runtime_error(command.first().toStdString() + " does not say its port");
    }
}

ServerProcess::~ServerProcess()
{
    endProgram(_pid);
}

QString ServerProcess::statusField(const char* name) const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(_pid));
    if (!status.open(QIODevice::ReadOnly))
        throw std::runtime_error("the server has died");
    const QStringList lines = QString::fromLatin1(status.readAll()).split(QLatin1Char('\n'));
    const auto line = std::find_if(lines.begin(), lines.end(), [name](const QString& text) {
        return text.startsWith(QLatin1String(name) + QLatin1Char(':'));
    });
    return line == lines.end() ? QString() : line->simplified().section(QLatin1Char(' '), 1, 1);
}

double ServerProcess::processorSeconds() const
{
    clockid_t clock = 0;
    timespec time = {};
    if (clock_getcpuclockid(_pid, &clock) != 0 || clock_gettime(clock, &time) != 0)
        throw std::runtime_error("the server has died");
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

int ServerProcess::threads() const
{
    return statusField("Threads").toInt();
}

qint64 ServerProcess::residentBytes() const
{
    return statusField("VmRSS").toLongLong() * 1024;
}

qint64 ServerProcess::peakBytes() const
{
    return statusField("VmHWM").toLongLong() * 1024;
}

void ServerProcess::resetPeak() const
{
    QFile file(QStringLiteral("/proc/%1/clear_refs").arg(_pid));
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

} // namespace ky::bench
