#pragma once

#include <QProcess>

#include <memory>

namespace ky {

/// A tool with a process group of its own, so that what it has started can be ended with it. One
/// that prints without end is killed at kMaxOutput bytes.
class ToolProcess : public QProcess
{
public:
    static constexpr qint64 kMaxOutput = 64LL * 1024 * 1024;

    ToolProcess();

    /// SIGKILL to the tool and all that it started and that is still in its group.
    void killGroup();

protected:
    void setupChildProcess() override;
};

/// What QProcess::close() does, within a moment: that one waits without end for a process that
/// cannot be killed, as one of another user, or one that hangs in a driver. Such a process is
/// reaped by another thread when it ends. A tool that has ended leaves its background jobs alone.
void closeTool(std::unique_ptr<ToolProcess> tool);

} // namespace ky
