#pragma once

#include <QtGlobal>

#include <sys/types.h>

/// What the kernel says of threads and processes, for a test that has to act once another thread is
/// blocked.
namespace TaskState {

/// Waits until this thread of the process waits for something and stays so. False at the limit.
bool waitUntilAsleep(pid_t thread, int limitMs = 10000);
/// The same for all threads of the process but the caller's. Whom the test woke before, by data or
/// by an event, has dealt with it then.
bool waitUntilOthersSleep(int limitMs = 10000);

/// Whether a signal was sent to the process and its handler has not begun.
bool isSignalPending(qint64 pid, int signalNumber);

} // namespace TaskState
