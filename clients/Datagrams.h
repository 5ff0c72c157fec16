#pragma once

#include <QByteArray>

class QUdpSocket;

namespace ky {

/// Takes the next datagram that waits in `socket`, which may be null, as a whole. False when there
/// is none. To be called until then: the last call makes the socket report arrivals again.
bool readDatagram(QUdpSocket* socket, QByteArray& data);

} // namespace ky
