#pragma once

class QTcpSocket;

namespace ky {

/// Disconnects the socket once its peer has taken all that was written to it, the bytes that the
/// kernel still has to send included; at once if nothing waits. What the peer sends meanwhile is
/// discarded: closed over unread bytes, the connection would end with a reset, and the kernel would
/// forget what it had to send.
///
/// A peer that takes nothing for `limitMs` is cut. Every byte that it takes begins the limit anew.
///
/// Thread: that of the socket. The caller has disconnected its own slot from readyRead().
void endWhenAllIsTaken(QTcpSocket* socket, int limitMs);

} // namespace ky
