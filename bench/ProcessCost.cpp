// `bench_process small|large` prints what one command costs in microseconds, by processCmd and by a
// bare posix_spawn, called in turn. A large process has 300 threads and 1 GiB of memory in use.

#include "host/PublicClass.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

extern char** environ;

namespace {

constexpr int kThreads = 300;
constexpr size_t kResident = size_t(1) << 30;
constexpr int kCalls = 300;

void spawnTrue()
{
    char shell[] = "/bin/sh";
    char option[] = "-c";
    char line[] = "true";
    char* arguments[] = {shell, option, line, nullptr};
    pid_t pid = -1;
    if (posix_spawn(&pid, shell, nullptr, nullptr, arguments, environ) == 0)
        waitpid(pid, nullptr, 0);
}

void runTrue()
{
    QString output;
    PublicClass::init()->processCmd(QStringLiteral("true"), output, 20000, true);
}

/// Threads that sleep until the end of the process.
class Sleepers
{
public:
    explicit Sleepers(int count)
    {
        for (int i = 0; i < count; ++i)
            _threads.emplace_back([this] {
                std::unique_lock<std::mutex> lock(_mutex);
                _wake.wait(lock, [this] { return _isDone; });
            });
    }
    ~Sleepers()
    {
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _isDone = true;
        }
        _wake.notify_all();
        for (std::thread& thread : _threads)
            thread.join();
    }
    Sleepers(const Sleepers&) = delete;
    Sleepers& operator=(const Sleepers&) = delete;

private:
    std::mutex _mutex;
    std::condition_variable _wake;
    bool _isDone = false;
    std::vector<std::thread> _threads;
};

} // namespace

template <typename Call>
double microsecondsOf(Call call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    const auto time = std::chrono::steady_clock::now() - start;
    return std::chrono::duration<double, std::micro>(time).count();
}

double median(std::vector<double>& values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const bool isLarge = argc == 2 && strcmp(argv[1], "large") == 0;
    const Sleepers sleepers(isLarge ? kThreads : 0);
    const std::vector<char> resident(isLarge ? kResident : 0, 'r');

    std::vector<double> command;
    std::vector<double> bare;
    for (int i = 0; i < kCalls; ++i) {
        command.push_back(microsecondsOf(runTrue));
        bare.push_back(microsecondsOf(spawnTrue));
    }
    printf("%.1f %.1f\n", median(command), median(bare));
    return resident.empty() || resident.back() == 'r' ? 0 : 1;
}
