#include "inventory/ToolProcess.h"

#include <QThread>

#include <csignal>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace ky {

namespace {

constexpr int kKilledLimitMs = 200;

void reap(ToolProcess* tool)
{
    tool->moveToThread(QThread::currentThread()); // allowed: it belongs to no thread by then
    tool->waitForFinished(-1);
    delete tool;
}

/// Whoever deletes a QProcess waits for its end, so it goes to a thread that may wait.
void reapLater(std::unique_ptr<ToolProcess> tool)
{
    tool->moveToThread(nullptr);
    ToolProcess* process = tool.release();
    try {
        std::thread(reap, process).detach();
    } catch (const std::system_error&) {
        // No thread to be had: the process stays unreaped, which harms less than waiting for it.
    }
}

} // namespace

ToolProcess::ToolProcess()
{
    setStandardErrorFile(nullDevice()); // nobody reads it, and it would be kept without limit
    connect(this, &QProcess::readyReadStandardOutput, this, [this] {
        if (bytesAvailable() > kMaxOutput)
            killGroup();
    });
}

void ToolProcess::killGroup()
{
    const qint64 pid = processId();
    if (pid > 0)
        ::kill(-pid_t(pid), SIGKILL);
}

void ToolProcess::setupChildProcess()
{
    setpgid(0, 0);
}

void closeTool(std::unique_ptr<ToolProcess> tool)
{
    if (tool->state() == QProcess::NotRunning)
        return;
    tool->killGroup();
    if (!tool->waitForFinished(kKilledLimitMs) && tool->state() != QProcess::NotRunning)
        reapLater(std::move(tool));
}

} // namespace ky
