#pragma once

#include <QSocketNotifier>

#include <memory>

namespace ky {

/// Brings SIGTERM and SIGINT into the event loop, where they quit the application. A signal that
/// comes before exec() is kept. Commands that the daemon runs have their own default handling.
class SignalPipe
{
public:
    SignalPipe();
    ~SignalPipe();
    SignalPipe(const SignalPipe&) = delete;
    SignalPipe& operator=(const SignalPipe&) = delete;

    bool isReady() const { return _notifier != nullptr; }

private:
    int _fds[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> _notifier;
};

} // namespace ky
