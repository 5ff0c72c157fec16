#include "pty/Pty.h"

#include <QElapsedTimer>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

Pty::Pty()
{
    char path[64] = {};
    int slave = -1;
    termios raw = {};
    cfmakeraw(&raw);
    cfsetspeed(&raw, B9600);
    raw.c_cflag |= CREAD | CLOCAL | CS8;
    if (openpty(&_fd, &slave, path, &raw, nullptr) != 0)
        qFatal("openpty: %s", strerror(errno));
    ::close(slave);
    fcntl(_fd, F_SETFD, FD_CLOEXEC);
    _path = QString::fromLocal8Bit(path);
}

Pty::~Pty()
{
    vanish();
}

void Pty::write(const QByteArray& bytes)
{
    if (::write(_fd, bytes.constData(), size_t(bytes.size())) != bytes.size())
        qFatal("pty write: %s", strerror(errno));
}

QByteArray Pty::read(int size, int limitMs)
{
    QByteArray bytes;
    QElapsedTimer clock;
    clock.start();
    while (bytes.size() < size && clock.elapsed() < limitMs) {
        pollfd wait = {_fd, POLLIN, 0};
        if (poll(&wait, 1, int(limitMs - clock.elapsed())) != 1 || !(wait.revents & POLLIN))
            continue;
        char chunk[256];
        const ssize_t n = ::read(_fd, chunk, sizeof chunk);
        if (n > 0)
            bytes.append(chunk, int(n));
    }
    return bytes;
}

termios Pty::settings() const
{
    termios settings = {};
    if (tcgetattr(_fd, &settings) != 0)
        qFatal("tcgetattr: %s", strerror(errno));
    return settings;
}

void Pty::vanish()
{
    if (_fd >= 0)
        ::close(_fd);
    _fd = -1;
}
