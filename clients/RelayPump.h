#pragma once

#include <QString>

class BaseThread;
class TcpSocket;

namespace ky {

/// The two directions of a relay and the rules by which it ends. The log lines are those of the
/// thread's run().
class RelayPump
{
public:
    /// Both sockets are connected and belong to the calling thread.
    RelayPump(TcpSocket& client, TcpSocket& server, const QString& ip, quint16 port);

    /// Copies until the client goes or stays silent, or `thread` is told to stop.
    void run(const BaseThread& thread);

private:
    bool takeFirstMessage();
    bool copy();
    void copyFromServer();
    void reconnect();

    TcpSocket& _client;
    TcpSocket& _server;
    const QString _ip;
    const quint16 _port;
    const bool _isConnected =
        true;                 ///< the first connect; what the first message sets _isPumping to
    bool _isPumping = false;  ///< false: waiting for the client's first message
    bool _isWaitAuth = false; ///< the first silent wait has passed
    int _idleCount = 0;       ///< passes since the client's last bytes
};

} // namespace ky
