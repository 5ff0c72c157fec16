#include "EchoClient.h"

#include <QElapsedTimer>
#include <QTcpSocket>
#include <QThread>

namespace site {

namespace {

/// An empty request of type 2000.
const QByteArray kRequest = QByteArray::fromHex("5a0100010000000007d0e0c000000002");

bool exchange(QTcpSocket& socket)
{
    socket.write(kRequest);
    int received = 0;
    while (received < 16) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(30000))
            return false;
        received += socket.readAll().size();
    }
    return true;
}

} // namespace

int longestEchoGap(const QString& ip, quint16 port, int seconds)
{
    QTcpSocket socket;
    socket.connectToHost(ip, port);
    if (!socket.waitForConnected(10000))
        return -1;
    socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    QElapsedTimer whole;
    whole.start();
    qint64 last = 0;
    qint64 longest = -1;
    while (whole.elapsed() < seconds * 1000) {
        if (!exchange(socket))
            return longest < 0 ? -1 : int(whole.elapsed() - last);
        longest = std::max(longest, whole.elapsed() - last);
        last = whole.elapsed();
        QThread::msleep(20);
    }
    return int(longest);
}

} // namespace site
