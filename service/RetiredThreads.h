#pragma once

class QThread;
class TcpSocket;

namespace ky {

/// Ends a connection whose listener no longer knows it, without waiting for it: the socket is
/// aborted and destroyed in its own thread, which then ends. The thread objects are cleared away
/// by later calls, at the latest with the application object, which waits for them, all
/// together for up to 2 s.
/// Thread: that of the listener. The socket must not be used afterwards.
void retireConnection(TcpSocket* socket);

} // namespace ky
