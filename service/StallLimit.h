#pragma once

class QTcpSocket;

namespace ky {

/// Aborts the socket once its peer has taken none of what waits for it for `limitMs`; the limit
/// begins anew with every byte that goes out. What the kernel still has to send counts as waiting:
/// a slow peer lives on that for longer than the socket can hand anything over. It ends with the
/// connection. Thread: that of the socket.
void abortWhenPeerStalls(QTcpSocket* socket, int limitMs);

} // namespace ky
