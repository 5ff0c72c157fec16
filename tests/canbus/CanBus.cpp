#include "canbus/CanBus.h"

#include <QFile>

#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool isReadable(int fd, int limitMs)
{
    pollfd wait = {fd, POLLIN, 0};
    return poll(&wait, 1, limitMs) == 1;
}

} // namespace

CanBus::CanBus(const QString& folder, const QString& name)
    : _path(QFile::encodeName(folder + QLatin1Char('/') + name))
    , _listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, _path.constData(), sizeof address.sun_path);
    if (bind(_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(_listener, 8) != 0)
        qFatal("CanBus [%s]: %s", _path.constData(), strerror(errno));
}

CanBus::~CanBus()
{
    hangUp();
    close(_listener);
    unlink(_path.constData());
}

int CanBus::accept(int limitMs)
{
    while (isReadable(_listener, limitMs)) {
        hangUp();
        _peer = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC);
        limitMs = 0; // only the last of those that wait
    }
    return _peer;
}

bool CanBus::send(const can_frame& frame)
{
    return ::send(_peer, &frame, sizeof frame, MSG_NOSIGNAL) == ssize_t(sizeof frame);
}

bool CanBus::send(quint32 identifierWord, const QByteArray& data)
{
    return send(canFrame(identifierWord, data));
}

can_frame CanBus::receive(int limitMs)
{
    can_frame frame = {};
    if (isReadable(_peer, limitMs) && read(_peer, &frame, sizeof frame) != ssize_t(sizeof frame))
        frame = {};
    return frame;
}

void CanBus::hangUp()
{
    if (_peer >= 0)
        close(_peer);
    _peer = -1;
}

CanBusFolder::CanBusFolder()
{
    qputenv("KY_CANBUS", QFile::encodeName(_folder.path()));
}

CanBusFolder::~CanBusFolder()
{
    qunsetenv("KY_CANBUS");
}

can_frame canFrame(quint32 identifierWord, const QByteArray& data)
{
    can_frame frame = {};
    frame.can_id = identifierWord;
    frame.can_dlc = quint8(data.size());
    memcpy(frame.data, data.constData(), size_t(qMin(data.size(), 8)));
    return frame;
}

bool kernelHasCan()
{
    const int fd = int(syscall(SYS_socket, AF_CAN, SOCK_RAW, CAN_RAW));
    if (fd >= 0)
        close(fd);
    return fd >= 0;
}
