// The library's own share of the hardware report: everything but its four commands, which are run
// bare in between. Prints one table row for each measure: the middle of the runs and the goal.

#include "inventory/HardwareText.h"
#include "inventory/SystemVersionInfo.h"

#include <QElapsedTimer>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kRuns = 51;

double timeMs(const std::function<void()>& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

double middle(std::vector<double> runs)
{
    std::nth_element(runs.begin(), runs.begin() + kRuns / 2, runs.end());
    return runs[kRuns / 2];
}

/// A shell line with nothing around it: spawned, its output read to the end, reaped.
void runBare(const char* shell, const char* line)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        qFatal("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const char* words[] = {shell, "-c", line, nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, shell, &actions, nullptr, const_cast<char**>(words), environ) != 0)
        qFatal("cannot start %s", shell);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char buffer[65536];
    while (read(ends[0], buffer, sizeof buffer) > 0) {
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
}

void runFourBare()
{
    runBare("/bin/bash", "df -T");
    runBare("/bin/bash", "cat /proc/cpuinfo | grep 'model name'");
    runBare("/bin/bash", "ifconfig -a");
    runBare("/bin/sh", "grep . /sys/class/thermal/thermal_zone*/type");
}

void print(const char* what, double ms, const char* goal)
{
    std::printf("| %-48s | %9.3f | %-6s |\n", what, ms, goal);
}

/// In turns, so that both have the same load of the machine.
void measureReport()
{
    SystemVersionInfo info(nullptr);
    std::vector<double> whole;
    std::vector<double> bare;
    for (int i = 0; i < kRuns; ++i) {
        bare.push_back(timeMs(runFourBare));
        whole.push_back(timeMs([&info] {
            if (info.getHardwareInfo().value(QStringLiteral("disk")).toList().isEmpty())
                qFatal("no disks");
        }));
    }
    print("hardware report, ms", middle(whole), "");
    print("its four commands bare, ms", middle(bare), "");
    print("own share, ms", middle(whole) - middle(bare), "5");
}

void measureDisks()
{
    const QString table =
        QStringLiteral("/dev/sda1 ext4 4112096 718752 3167248 19% /mnt/disk\n").repeated(500);
    std::vector<double> runs;
    for (int i = 0; i < kRuns; ++i)
        runs.push_back(timeMs([&table] {
            if (ky::parseDisks(table).size() != 500)
                qFatal("disks were lost");
        }));
    print("table of 500 disks, ms", middle(runs), "");
}

} // namespace

int main()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.inventory=false"));
    std::printf("| %-48s | %9s | %-6s |\n|%s|%s:|%s|\n", "inventory, middle of 51 runs in turns",
                "middle", "goal", QByteArray(50, '-').constData(), QByteArray(10, '-').constData(),
                QByteArray(8, '-').constData());
    measureReport();
    measureDisks();
    return 0;
}
