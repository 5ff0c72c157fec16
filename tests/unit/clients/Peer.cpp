#include "Peer.h"

#include <QElapsedTimer>
#include <QtEndian>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr int kHeaderSize = 16;
constexpr int kStepMs = 20;

sockaddr_in loopback(quint16 port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int listenOnLoopback(int backlog, quint16* port)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(fd, backlog) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        qFatal("no loopback listener for the test");
    *port = ntohs(address.sin_port);
    return fd;
}

bool isReadable(int fd, int limitMs)
{
    pollfd entry = {fd, POLLIN, 0};
    return ::poll(&entry, 1, limitMs) > 0;
}

} // namespace

bool Connection::receive(int limitMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!_isStopped && timer.elapsed() < limitMs) {
        if (!isReadable(_fd, kStepMs))
            continue;
        char bytes[65536];
        const ssize_t count = ::recv(_fd, bytes, sizeof bytes, 0);
        if (count <= 0)
            return false;
        _pending.append(bytes, int(count));
        return true;
    }
    return false;
}

QByteArray Connection::read(int count, int limitMs)
{
    while (_pending.size() < count && receive(limitMs)) {
    }
    const QByteArray bytes = _pending.left(count);
    _pending.remove(0, bytes.size());
    return bytes;
}

QByteArray Connection::readFrame(int limitMs)
{
    QByteArray frame = read(kHeaderSize, limitMs);
    if (frame.size() < kHeaderSize)
        return {};
    const auto size = qFromBigEndian<quint32>(frame.constData() + 4);
    frame += read(int(size), limitMs);
    return frame.size() == kHeaderSize + int(size) ? frame : QByteArray();
}

QByteArray Connection::readToEnd(int limitMs)
{
    while (receive(limitMs)) {
    }
    QByteArray bytes;
    bytes.swap(_pending);
    return bytes;
}

void Connection::waitForEnd(int limitMs)
{
    while (receive(limitMs))
        _pending.clear();
}

bool Connection::write(const QByteArray& bytes)
{
    int at = 0;
    while (at < bytes.size() && !_isStopped) {
        pollfd entry = {_fd, POLLOUT, 0};
        if (::poll(&entry, 1, kStepMs) <= 0)
            continue;
        const ssize_t count = ::send(_fd, bytes.constData() + at, size_t(bytes.size() - at),
                                     MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count <= 0)
            return false;
        at += int(count);
    }
    return at == bytes.size();
}

void Connection::reset()
{
    const linger now = {1, 0};
    ::setsockopt(_fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

void Connection::pause(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (!_isStopped && timer.elapsed() < ms)
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(ms, kStepMs)));
}

Peer::Peer(Script script)
    : _listener(listenOnLoopback(16, &_port))
    , _thread([this, script = std::move(script)] { serve(script); })
{}

Peer::~Peer()
{
    _isStopped = true;
    _thread.join();
    ::close(_listener);
}

void Peer::serve(const Script& script)
{
    while (!_isStopped) {
        if (!isReadable(_listener, kStepMs))
            continue;
        const int fd = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        const int isOn = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &isOn, sizeof isOn);
        ++_connections;
        Connection connection(fd, _isStopped);
        script(connection);
        ::close(fd);
    }
}

SilentAddress::SilentAddress()
    : _listener(listenOnLoopback(0, &_port))
{
    // One connection fits the queue; those behind it wait for an answer that never comes.
    const sockaddr_in address = loopback(_port);
    for (int& filler : _fillers) {
        filler = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        ::connect(filler, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
}

SilentAddress::~SilentAddress()
{
    for (const int filler : _fillers)
        ::close(filler);
    ::close(_listener);
}

quint16 refusedPort()
{
    quint16 port = 0;
    ::close(listenOnLoopback(1, &port));
    return port;
}

QByteArray rawFrame(quint16 type, quint16 number, quint16 revCommand, quint16 jsonSize,
                    const QByteArray& body)
{
    QByteArray frame(kHeaderSize, '\0');
    frame[0] = 0x5A;
    frame[1] = 0x01;
    qToBigEndian(number, frame.data() + 2);
    qToBigEndian(quint32(body.size()), frame.data() + 4);
    qToBigEndian(type, frame.data() + 8);
    qToBigEndian(revCommand, frame.data() + 10);
    qToBigEndian(jsonSize, frame.data() + 12);
    frame[15] = 2;
    return frame + body;
}

QByteArray answerTo(const QByteArray& request, const QByteArray& json, const QByteArray& data)
{
    const quint16 type = typeOf(request);
    return rawFrame(quint16(type + 10000), numberOf(request), type, quint16(json.size()),
                    json + data);
}

quint16 typeOf(const QByteArray& frame)
{
    return qFromBigEndian<quint16>(frame.constData() + 8);
}

quint16 numberOf(const QByteArray& frame)
{
    return qFromBigEndian<quint16>(frame.constData() + 2);
}
