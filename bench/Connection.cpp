#include "Connection.h"

#include "wire/FrameHead.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace ky::bench {

namespace {

constexpr int kAnswerLimitMs = 30000;
constexpr size_t kInitialBuffer = 64 * 1024;
constexpr unsigned kSources = 250;

[[noreturn]] void fail(const char* what)
{
    throw std::runtime_error(std::string(what) + ": " + strerror(errno));
}

sockaddr_in loopback(uint32_t host, uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + host);
    address.sin_port = htons(port);
    return address;
}

} // namespace

std::string makeFrame(uint16_t type, uint16_t number, const std::string& json,
                      const std::string& data)
{
    FrameHead head;
    head.number = number;
    head.dataSize = uint32_t(json.size() + data.size());
    head.type = type;
    head.revCommand = revCommandOf(type);
    head.jsonSize = uint16_t(json.size());
    std::string frame(kHeaderSize, '\0');
    writeFrameHead(head, frame.data());
    return frame + json + data;
}

std::string makeRequest(uint16_t number)
{
    // Compact and in the order of its keys, so an answer has the same length.
    const std::string json = R"({"accuracy":0.25,"card":"wlan0","frequency":5180,"isOpen":true,)"
                             R"("ssid":"workshop","text":"abcdefghi"})";
    return makeFrame(kEcho, number, json, std::string(60, 'd'));
}

void setNumber(std::string& frame, uint16_t number)
{
    FrameHead head = readFrameHead(frame.data());
    head.number = number;
    writeFrameHead(head, frame.data());
}

Connection::Connection(uint16_t port, unsigned source)
    : _fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    , _in(kInitialBuffer)
{
    if (_fd < 0)
        fail("socket");
    const int on = 1;
    setsockopt(_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(_fd, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
    const sockaddr_in from = loopback(source % kSources, 0);
    const sockaddr_in to = loopback(0, port);
    if (bind(_fd, reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0)
        fail("bind");
    if (connect(_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0)
        fail("connect");
}

Connection::Connection(Connection&& other) noexcept
    : _fd(std::exchange(other._fd, -1))
    , _expected(other._expected)
    , _in(std::move(other._in))
    , _filled(other._filled)
{}

Connection::~Connection()
{
    if (_fd >= 0)
        close(_fd);
}

void Connection::send(const char* bytes, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::send(_fd, bytes, size, MSG_NOSIGNAL);
        if (n < 0 && errno != EINTR)
            fail("send");
        if (n <= 0)
            continue;
        bytes += n;
        size -= size_t(n);
    }
}

/// Counts and removes the whole answers at the front of what has been read.
int Connection::takeWhole()
{
    int count = 0;
    size_t at = 0;
    while (_filled - at >= size_t(kHeaderSize)) {
        const FrameHead head = readFrameHead(_in.data() + at);
        const size_t size = kHeaderSize + size_t(head.dataSize);
        if (size > _in.size())
            _in.resize(size * 2);
        if (_filled - at < size)
            break;
        if (head.type != answerTypeOf(kEcho) && head.type != answerTypeOf(kUploadType))
            throw std::runtime_error("answer of type " + std::to_string(head.type));
        if (head.number != _expected++)
            throw std::runtime_error("an answer is missing or out of order");
        at += size;
        ++count;
    }
    memmove(_in.data(), _in.data() + at, _filled - at);
    _filled -= at;
    return count;
}

int Connection::takeAnswers()
{
    const ssize_t n = recv(_fd, _in.data() + _filled, _in.size() - _filled, 0);
    if (n == 0)
        throw std::runtime_error("the server has closed the connection");
    if (n < 0)
        fail("recv");
    _filled += size_t(n);
    return takeWhole();
}

void Connection::waitForAnswers(int count)
{
    pollfd wait = {_fd, POLLIN, 0};
    while (count > 0) {
        if (poll(&wait, 1, kAnswerLimitMs) <= 0)
            throw std::runtime_error("no answer in time");
        count -= takeAnswers();
    }
}

void Connection::drain() const
{
    int left = 1;
    while (left > 0) {
        if (ioctl(_fd, SIOCOUTQ, &left) != 0)
            fail("SIOCOUTQ");
        if (left > 0)
            usleep(200);
    }
}

void Connection::finish()
{
    shutdown(_fd, SHUT_WR);
    char rest[64];
    while (recv(_fd, rest, sizeof rest, 0) > 0) {
    }
}

} // namespace ky::bench
