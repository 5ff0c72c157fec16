#include "service/StallLimit.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace ky {

namespace {

constexpr int kMostLookMs = 1000;
constexpr int kLooksInALimit = 15;

/// Bytes that the kernel has taken and the peer has not acknowledged.
int waitingInTheKernel(const QTcpSocket& socket)
{
    int waiting = 0;
    ::ioctl(int(socket.socketDescriptor()), SIOCOUTQ, &waiting);
    return waiting;
}

/// Looks at the socket from time to time, and ends with it.
class StallLimit : public QTimer
{
public:
    StallLimit(QTcpSocket* socket, int limitMs)
        : QTimer(socket)
        , _waiting(waitingInTheKernel(*socket))
    {
        _stalled.start();
        connect(socket, &QIODevice::bytesWritten, this, [this] { _stalled.restart(); });
        connect(socket, &QAbstractSocket::disconnected, this, &QTimer::stop);
        connect(this, &QTimer::timeout, this, [this, socket, limitMs] { look(socket, limitMs); });
        start(std::min(kMostLookMs, limitMs / kLooksInALimit));
    }

private:
    void look(QTcpSocket* socket, int limitMs)
    {
        const int waiting = waitingInTheKernel(*socket);
        if (waiting < _waiting)
            _stalled.restart();
        _waiting = waiting;
        if (_stalled.hasExpired(limitMs))
            socket->abort();
    }

    QElapsedTimer _stalled;
    int _waiting;
};

} // namespace

void abortWhenPeerStalls(QTcpSocket* socket, int limitMs)
{
    new StallLimit(socket, limitMs);
}

} // namespace ky
