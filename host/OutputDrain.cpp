#include "host/OutputDrain.h"

#include <cerrno>
#include <mutex>
#include <pthread.h>
#include <signal.h>
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
            if (!discard(fd))
                close(fd); // leaves the set by itself: no other descriptor names this pipe end
        }
    }
    return nullptr;
}

/// The thread takes no signals: they belong to the daemon's own threads.
void startDrain()
{
    drainSet = epoll_create1(EPOLL_CLOEXEC);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    if (pthread_create(&thread, nullptr, drainLoop, nullptr) == 0)
        pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
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
