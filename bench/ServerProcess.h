#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <sys/types.h>

namespace ky::bench {

/// Which of the machine's processors a program may use.
enum class Processors
{
    One, ///< the first one
    All
};

void pinThisProcess(Processors processors);

/// A server under test: started when made, ended when destroyed. It prints its port as the first
/// line of its standard output.
class ServerProcess
{
public:
    /// Throws std::runtime_error if the program cannot be started or does not say its port.
    ServerProcess(const QStringList& command, Processors processors,
                  const QStringList& environment = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    uint16_t port() const { return _port; }
    int threads() const;
    /// Processor time that it has used, to a microsecond or so.
    double processorSeconds() const;
    qint64 residentBytes() const;
    /// The most that it was since it started or since resetPeak().
    qint64 peakBytes() const;
    void resetPeak() const;

private:
    QString statusField(const char* name) const;

    pid_t _pid = -1;
    uint16_t _port = 0;
};

/// Starts any program, whose output is left alone, with a standard output to read if `output` is
/// given.
pid_t startProgram(const QStringList& command, Processors processors,
                   const QStringList& environment, int* output);
void endProgram(pid_t pid);

} // namespace ky::bench
