#include "daemon/SignalPipe.h"

#include <QCoreApplication>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace ky {

namespace {

int writeEnd = -1;

/// Only what is safe inside a signal handler.
void noteSignal(int)
{
    const int savedErrno = errno;
    const char byte = 1;
    // A full pipe holds a signal already.
    [[maybe_unused]] const ssize_t written = ::write(writeEnd, &byte, 1);
    errno = savedErrno;
}

void handle(int signalNumber, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signalNumber, &action, nullptr);
}

} // namespace

SignalPipe::SignalPipe()
{
    if (::pipe2(_fds, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    writeEnd = _fds[1];
    _notifier = std::make_unique<QSocketNotifier>(_fds[0], QSocketNotifier::Read);
    QObject::connect(_notifier.get(), &QSocketNotifier::activated, _notifier.get(), [this] {
        char bytes[16];
        while (::read(_fds[0], bytes, sizeof bytes) > 0) {
        }
        QCoreApplication::quit();
    });
    handle(SIGTERM, noteSignal);
    handle(SIGINT, noteSignal);
    // A reader of the log that goes away must not take the daemon along.
    handle(SIGPIPE, SIG_IGN);
}

SignalPipe::~SignalPipe()
{
    // Only here, when the daemon has ended: until then a second signal is taken as the first was
    // and changes nothing, so that it cuts no work short. What ends a daemon that hangs is
    // limitEnd().
    handle(SIGTERM, SIG_DFL);
    handle(SIGINT, SIG_DFL);
    _notifier.reset();
    ::close(_fds[0]);
    ::close(_fds[1]);
}

} // namespace ky
