#include "EchoProcess.h"

#include "wire/FrameHead.h"

#include <QByteArray>
#include <QtEndian>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>
#include <vector>

namespace {

/// Frames up to this size come back whole, longer ones with their header only: an upload is
/// measured in one direction.
constexpr quint32 kEchoed = 1024 * 1024;

bool readAll(int fd, char* to, size_t size)
{
    while (size > 0) {
        const ssize_t count = ::recv(fd, to, size, 0);
        if (count <= 0)
            return false;
        to += count;
        size -= size_t(count);
    }
    return true;
}

/// Reads what one call brings, which for a small frame is the whole of it.
bool serveFrame(int fd, std::vector<char>& buffer)
{
    const ssize_t first = ::recv(fd, buffer.data(), buffer.size(), 0);
    if (first <= 0)
        return false;
    auto held = size_t(first);
    if (held < ky::kHeaderSize && !readAll(fd, buffer.data() + held, ky::kHeaderSize - held))
        return false;
    held = std::max<size_t>(held, ky::kHeaderSize);
    const auto body = qFromBigEndian<quint32>(buffer.data() + 4);
    const auto type = qFromBigEndian<quint16>(buffer.data() + 8);
    const bool isEchoed = body <= kEchoed;
    size_t rest = ky::kHeaderSize + size_t(body) - held;
    if (isEchoed && !readAll(fd, buffer.data() + held, rest))
        return false;
    while (!isEchoed && rest > 0) {
        const ssize_t count = ::recv(fd, buffer.data() + ky::kHeaderSize,
                                     std::min(rest, buffer.size() - ky::kHeaderSize), 0);
        if (count <= 0)
            return false;
        rest -= size_t(count);
    }
    qToBigEndian(quint16(type + ky::kAnswerOffset), buffer.data() + 8);
    qToBigEndian(type, buffer.data() + 10);
    if (!isEchoed) {
        qToBigEndian(quint32(0), buffer.data() + 4);
        qToBigEndian(quint16(0), buffer.data() + 12);
    }
    const size_t size = ky::kHeaderSize + (isEchoed ? body : 0);
    return ::send(fd, buffer.data(), size, MSG_NOSIGNAL) == ssize_t(size);
}

[[noreturn]] void serve(int listener)
{
    for (;;) {
        const int fd = ::accept(listener, nullptr, nullptr);
        const int isOn = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &isOn, sizeof isOn);
        std::thread([fd] {
            std::vector<char> buffer(kEchoed + ky::kHeaderSize);
            while (serveFrame(fd, buffer)) {
            }
            ::close(fd);
        }).detach();
    }
}

} // namespace

EchoProcess::EchoProcess()
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(listener, 16) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        qFatal("no loopback listener");
    _port = ntohs(address.sin_port);
    _pid = ::fork();
    if (_pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        serve(listener);
    }
    ::close(listener);
}

EchoProcess::~EchoProcess()
{
    ::kill(_pid, SIGKILL);
    ::waitpid(_pid, nullptr, 0);
}
