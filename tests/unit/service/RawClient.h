#pragma once

#include <QByteArray>
#include <QtEndian>

#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/// A blocking POSIX client on loopback, independent of the code under test. Every wait has a
/// limit.
class RawClient
{
public:
    static constexpr int kLimitMs = 20000;

    RawClient() = default;
    ~RawClient() { close(); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    /// Takes a descriptor, on the local address 127.0.0.`source`.
    bool prepare(int source = 1)
    {
        _fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in local = address(0x7f000000u + quint32(source), 0);
        const int one = 1;
        setsockopt(_fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        setsockopt(_fd, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &one, sizeof one);
        setsockopt(_fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        const timeval limit{kLimitMs / 1000, 0};
        setsockopt(_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(_fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        return bind(_fd, reinterpret_cast<sockaddr*>(&local), sizeof local) == 0;
    }

    /// The same, with a number from 500 on: those that it frees later are not the next to be given.
    bool prepareFarAway()
    {
        const bool isReady = prepare();
        const int moved = fcntl(_fd, F_DUPFD_CLOEXEC, 500);
        ::close(_fd);
        _fd = moved;
        return isReady && moved >= 0;
    }

    /// Gives the kernel little room for what this client has not read yet. Before it connects.
    bool keepLittle() const
    {
        const int bytes = 32 * 1024;
        return setsockopt(_fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes) == 0;
    }

    bool connectTo(quint16 port, int source = 1)
    {
        const sockaddr_in peer = address(0x7f000001u, port);
        return (_fd >= 0 || prepare(source)) &&
               connect(_fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
    }

    bool send(const QByteArray& bytes) const
    {
        int done = 0;
        while (done < bytes.size()) {
            const ssize_t n =
                ::send(_fd, bytes.constData() + done, size_t(bytes.size() - done), MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            done += int(n);
        }
        return true;
    }

    /// Exactly `count` bytes, or fewer if the peer ends or the limit passes.
    QByteArray receive(int count) const
    {
        QByteArray bytes(count, Qt::Uninitialized);
        int done = 0;
        while (done < count) {
            const ssize_t n = recv(_fd, bytes.data() + done, size_t(count - done), 0);
            if (n <= 0)
                break;
            done += int(n);
        }
        bytes.truncate(done);
        return bytes;
    }

    /// One whole frame; empty if the peer ends first.
    QByteArray receiveFrame() const
    {
        const QByteArray head = receive(16);
        if (head.size() < 16)
            return {};
        return head + receive(int(qFromBigEndian<quint32>(head.constData() + 4)));
    }

    /// Bytes that have come and are still to be received.
    int unread() const
    {
        int count = 0;
        ioctl(_fd, FIONREAD, &count);
        return count;
    }

    /// Whether the peer ends the connection within the limit; what it still sends is discarded.
    bool isEndedByPeer() const
    {
        char buffer[65536];
        for (;;) {
            const ssize_t n = recv(_fd, buffer, sizeof buffer, 0);
            if (n == 0 || (n < 0 && errno == ECONNRESET))
                return true;
            if (n < 0)
                return false;
        }
    }

    void close()
    {
        if (_fd >= 0)
            ::close(_fd);
        _fd = -1;
    }

    /// Ends with a reset instead of an orderly close.
    void reset()
    {
        const linger hard{1, 0};
        setsockopt(_fd, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        close();
    }

private:
    static sockaddr_in address(quint32 ip, quint16 port)
    {
        sockaddr_in a = {};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(ip);
        a.sin_port = htons(port);
        return a;
    }

    int _fd = -1;
};
