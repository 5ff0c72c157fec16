#include "host/QuietThread.h"

#include <pthread.h>
#include <signal.h>

namespace ky {

bool startQuietThread(void* (*run)(void*), void* argument)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const bool isStarted = pthread_create(&thread, nullptr, run, argument) == 0;
    if (isStarted)
        pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return isStarted;
}

} // namespace ky
