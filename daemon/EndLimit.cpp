#include "daemon/EndLimit.h"

#include <csignal>
#include <unistd.h>

namespace ky {

namespace {

/// Only what is safe inside a signal handler.
void endNow(int)
{
    static constexpr char kText[] = "kyhostd: work in progress did not end in time\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, kText, sizeof kText - 1);
    ::_exit(1);
}

} // namespace

void limitEnd(unsigned seconds)
{
    struct sigaction action = {};
    action.sa_handler = endNow;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    ::alarm(seconds);
}

} // namespace ky
