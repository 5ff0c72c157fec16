#pragma once

#include <QByteArray>

class QUdpSocket;

namespace ky {

/// Takes the next datagram that waits in `socket`, which may be null, as a whole. False when there
/// is none.
bool readDatagram(QUdpSocket* socket, QByteArray& data);

} // namespace ky
