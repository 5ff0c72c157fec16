#include "clients/Datagrams.h"

#include <QHostAddress>
#include <QUdpSocket>

#include <algorithm>

namespace ky {

bool readDatagram(QUdpSocket* socket, QByteArray& data)
{
    if (!socket || !socket->hasPendingDatagrams())
        return false;
    data = QByteArray(int(std::max<qint64>(socket->pendingDatagramSize(), 0)), Qt::Uninitialized);
    QHostAddress sender;
    quint16 senderPort = 0;
    const qint64 size = socket->readDatagram(data.data(), data.size(), &sender, &senderPort);
    data.truncate(int(std::max<qint64>(size, 0)));
    return true;
}

} // namespace ky
