#include "host/OutputDrain.h"

#include "host/QuietThread.h"

#include <cerrno>
#include <mutex>
#include <sys/epoll.h>
#include <unistd.h>

namespace ky {

namespace {

int drainSet = -1;

/// Reads once; false when the job has closed its end.
bool discard(int fd)
{
    char buffer[16384];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    return n > 0 || (n < 0 && (errno == EAGAIN || errno == EINTR));
}

void* drainLoop(void*)
{
    epoll_event events[16];
    for (;;) {
        const int count = epoll_wait(drainSet, events, 16, -1);
        for (int i = 0; i < count; ++i) {
            const int fd = events[i].data.fd;
            if (discard(fd))
                continue;
            // Taken out first: a shell that is being started holds a copy for a moment, and the
            // set would go on telling of a number that is somebody else's by then.
            epoll_ctl(drainSet, EPOLL_CTL_DEL, fd, nullptr);
            close(fd);
        }
    }
    return nullptr;
}

void startDrain()
{
    drainSet = epoll_create1(EPOLL_CLOEXEC);
    startQuietThread(drainLoop, nullptr);
}

} // namespace

void drainUntilClosed(int fd)
{
    static std::once_flag started;
    std::call_once(started, startDrain);
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (epoll_ctl(drainSet, EPOLL_CTL_ADD, fd, &event) != 0)
        close(fd);
}

} // namespace ky
