#pragma once

#include "LogCapture.h"
#include "RawClient.h"
#include "RelayRecorder.h"

#include "service/HCTcpServer.h"

#include <QDeadlineTimer>
#include <QVector>

#include <chrono>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <thread>

/// How often Qt said that a socket was touched from a thread that is not its own.
inline int threadWarnings()
{
    return LogCapture::with("notifier").size() + LogCapture::with("another thread").size() +
           LogCapture::with("QThread").size();
}

/// A listener whose connections can be given to it directly.
class OpenServer : public HCTcpServer
{
public:
    OpenServer()
        : HCTcpServer(nullptr)
    {}
    using HCTcpServer::incomingConnection;
};

inline bool isOpen(qintptr handle)
{
    return fcntl(int(handle), F_GETFD) != -1;
}

inline bool isClosedSoon(qintptr handle)
{
    const QDeadlineTimer limit(5000);
    while (isOpen(handle) && !limit.hasExpired())
        std::this_thread::yield();
    return !isOpen(handle);
}

/// Whether the kernel soon has taken all that it will for a peer that reads nothing. The thread of
/// the connection may go on writing meanwhile.
inline bool isStuck(qintptr handle)
{
    const QDeadlineTimer limit(10000);
    int before = 0;
    int looks = 0;
    while (looks < 50 && !limit.hasExpired()) {
        int waiting = 0;
        ioctl(int(handle), SIOCOUTQ, &waiting);
        looks = waiting > 0 && waiting == before ? looks + 1 : 0;
        before = waiting;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return looks == 50;
}

/// The limit under which this process can open just so many more descriptors.
inline rlim_t limitThatLeaves(int free)
{
    int fd = 0;
    for (; free > 0; ++fd) {
        if (!isOpen(fd))
            --free;
    }
    return rlim_t(fd);
}

/// Lowers the number of descriptors that the process may have, for as long as it lives.
class DescriptorLimit
{
public:
    explicit DescriptorLimit(rlim_t limit)
    {
        getrlimit(RLIMIT_NOFILE, &_before);
        const rlimit tight = {limit, _before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &tight);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &_before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit _before = {};
};

/// Takes every free number below a limit, and lowers the limit to it.
class FullTable
{
public:
    explicit FullTable(int limit)
        : _limit(rlim_t(limit))
    {
        for (int fd = 0; fd < limit; ++fd) {
            if (!isOpen(fd) && dup2(STDERR_FILENO, fd) == fd)
                _taken << fd;
        }
    }
    ~FullTable()
    {
        for (int fd : qAsConst(_taken))
            close(fd);
    }
    FullTable(const FullTable&) = delete;
    FullTable& operator=(const FullTable&) = delete;

    /// False if the number was in use before.
    bool giveBack(int fd) { return _taken.removeOne(fd) && close(fd) == 0; }

private:
    DescriptorLimit _limit;
    QVector<int> _taken;
};

inline QVector<qintptr> seenHandles(const RelayRecorder& relay)
{
    QVector<qintptr> handles;
    for (const auto& request : relay.requests)
        handles << request.handle;
    return handles;
}
