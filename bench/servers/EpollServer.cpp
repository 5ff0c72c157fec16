// The limit of the machine: one thread, epoll, and every frame goes back as it came, with the
// type of its answer. Uploads are counted and answered, noise is searched with memchr. It neither
// looks at a body nor hands anything to another thread.

#include <arpa/inet.h>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <endian.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kHeader = 16;
constexpr size_t kReadChunk = 256 * 1024;

struct Connection
{
    int fd;
    std::vector<char> in;
    std::vector<char> out;
};

uint16_t field16(const char* at)
{
    uint16_t value;
    memcpy(&value, at, sizeof value);
    return be16toh(value);
}

uint32_t field32(const char* at)
{
    uint32_t value;
    memcpy(&value, at, sizeof value);
    return be32toh(value);
}

void echo(Connection& connection, const char* frame, size_t size)
{
    const size_t at = connection.out.size();
    connection.out.insert(connection.out.end(), frame, frame + size);
    const uint16_t type = field16(frame + 8);
    const uint16_t answer[] = {htobe16(uint16_t(type + 10000)), htobe16(type)};
    memcpy(connection.out.data() + at + 8, answer, sizeof answer);
}

/// Bytes at the front that belong to no frame.
size_t noiseAt(const char* bytes, size_t size)
{
    size_t at = 0;
    while (at < size && (bytes[at] != 0x5A || (at + 1 < size && bytes[at + 1] != 0x01))) {
        const void* sync = memchr(bytes + at + 1, 0x5A, size - at - 1);
        at = sync ? size_t(static_cast<const char*>(sync) - bytes) : size;
    }
    return at;
}

void takeFrames(Connection& connection)
{
    const char* bytes = connection.in.data();
    size_t left = connection.in.size();
    for (;;) {
        const size_t noise = noiseAt(bytes, left);
        bytes += noise;
        left -= noise;
        if (left < kHeader || left < kHeader + field32(bytes + 4))
            break;
        const size_t size = kHeader + field32(bytes + 4);
        echo(connection, bytes, size);
        bytes += size;
        left -= size;
    }
    connection.in.erase(connection.in.begin(), connection.in.end() - long(left));
}

/// False when the peer is gone.
bool serve(Connection& connection)
{
    static std::vector<char> chunk(kReadChunk);
    const ssize_t n = read(connection.fd, chunk.data(), chunk.size());
    if (n <= 0)
        return false;
    connection.in.insert(connection.in.end(), chunk.data(), chunk.data() + n);
    takeFrames(connection);
    size_t done = 0;
    while (done < connection.out.size()) {
        const ssize_t written =
            write(connection.fd, connection.out.data() + done, connection.out.size() - done);
        if (written <= 0)
            return false;
        done += size_t(written);
    }
    connection.out.clear();
    return true;
}

int listenOnLoopback()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(fd, 1024) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return -1;
    printf("%d\n", ntohs(address.sin_port));
    fflush(stdout);
    return fd;
}

} // namespace

int main()
{
    const int listener = listenOnLoopback();
    if (listener < 0) {
        perror("listen");
        return 1;
    }
    const int set = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = nullptr;
    epoll_ctl(set, EPOLL_CTL_ADD, listener, &event);
    epoll_event events[256];
    for (;;) {
        const int count = epoll_wait(set, events, 256, -1);
        for (int i = 0; i < count; ++i) {
            auto* connection = static_cast<Connection*>(events[i].data.ptr);
            if (connection) {
                if (!serve(*connection)) {
                    close(connection->fd);
                    delete connection;
                }
                continue;
            }
            const int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            const int on = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            event.data.ptr = new Connection{fd, {}, {}};
            epoll_ctl(set, EPOLL_CTL_ADD, fd, &event);
        }
    }
}
