#include "service/OrderlyEnd.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QTimer>

#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace ky {

namespace {

/// The kernel does not tell when its peer has acknowledged the last byte.
constexpr int kLookMs = 50;

/// Bytes that the kernel has taken and the peer has not acknowledged.
int waitingInTheKernel(const QTcpSocket& socket)
{
    int waiting = 0;
    ::ioctl(int(socket.socketDescriptor()), SIOCOUTQ, &waiting);
    return waiting;
}

/// Looks at the socket from time to time, and ends with it.
class OrderlyEnd : public QTimer
{
public:
    OrderlyEnd(QTcpSocket* socket, int limitMs)
        : QTimer(socket)
        , _socket(socket)
        , _limitMs(limitMs)
        , _waiting(waitingInTheKernel(*socket))
    {
        _stalled.start();
        connect(socket, &QIODevice::readyRead, this, [socket] { socket->readAll(); });
        connect(socket, &QIODevice::bytesWritten, this, [this] { _stalled.restart(); });
        connect(socket, &QAbstractSocket::disconnected, this, &QTimer::stop);
        connect(this, &QTimer::timeout, this, &OrderlyEnd::look);
        start(kLookMs);
    }

private:
    void look()
    {
        const int waiting = waitingInTheKernel(*_socket);
        if (waiting == 0 && _socket->bytesToWrite() == 0) {
            _socket->disconnectFromHost();
            return;
        }
        if (waiting < _waiting)
            _stalled.restart();
        _waiting = waiting;
        if (_stalled.hasExpired(_limitMs))
            _socket->abort();
    }

    QTcpSocket* const _socket;
    const int _limitMs;
    QElapsedTimer _stalled;
    int _waiting;
};

} // namespace

void endWhenAllIsTaken(QTcpSocket* socket, int limitMs)
{
    if (waitingInTheKernel(*socket) == 0 && socket->bytesToWrite() == 0) {
        socket->disconnectFromHost();
        return;
    }
    new OrderlyEnd(socket, limitMs);
    socket->readAll(); // a full buffer would stop the socket from reading on
}

} // namespace ky
