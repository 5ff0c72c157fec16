#include "clients/Datagrams.h"

#include <QHostAddress>
#include <QUdpSocket>

#include <algorithm>

namespace ky {

namespace {

constexpr qint64 kLargestDatagram = 65535;

} // namespace

bool readDatagram(QUdpSocket* socket, QByteArray& data)
{
    if (!socket || !socket->isValid())
        return false;
    // Read even when nothing waits: a peer that refused leaves its refusal in the place of a
    // datagram, and without a read the socket would not report the next arrival.
    const qint64 pending = socket->pendingDatagramSize();
    data = QByteArray(int(pending < 0 ? kLargestDatagram : pending), Qt::Uninitialized);
    QHostAddress sender;
    quint16 senderPort = 0;
    const qint64 size = socket->readDatagram(data.data(), data.size(), &sender, &senderPort);
    data.truncate(int(std::max<qint64>(size, 0)));
    return size >= 0;
}

} // namespace ky
