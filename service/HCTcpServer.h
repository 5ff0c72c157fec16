#pragma once

#include <QMap>
#include <QSet>
#include <QTcpServer>
#include <QVariantMap>

class TcpSocket;

namespace ky {
class AcceptWatch;
}

/// Accepts TCP connections, gives each a TcpSocket and a thread of its own, and routes answers to
/// them by handle (the socket descriptor). Any number of clients is taken.
///
/// Thread: all of it on the thread of the relay object. The map of connections has no lock and
/// rests on that rule. A connection whose descriptor number the kernel hands out again is torn
/// down before the new one is entered, so no late notice of the old one meets the new one.
/// Each connection needs two descriptors and a thread; while the process is out of either, new
/// clients are disconnected at once, with a warning, and the others notice nothing.
class Q_DECL_EXPORT HCTcpServer : public QTcpServer
{
    Q_OBJECT

public:
    explicit HCTcpServer(QObject* parent = nullptr);
    /// Calls stopListen().
    ~HCTcpServer() override;

    /// The object that receives the requests of connections made later; not owned. Its slot is
    /// looked up when a connection comes in, so it may call this in its constructor.
    void setRelayObject(QObject* relayObject);

    /// Text of the last failure of this class; it hides the one of QTcpServer.
    QString errorString() const;
    void setErrorString(const QString& errorString);

    /// Listens on the IPv4 any-address. False, with errorString() set, while it listens already or
    /// when the port cannot be had.
    bool startListen(quint16 port);
    /// Cuts every connection and stops listening. Returns at once: each connection ends in its own
    /// thread, and its thread with it. For teardown: the server then forgets its clients.
    void stopListen();
    /// Asks every connection to end once its peer has taken what was written to it. Returns at
    /// once; an entry leaves when its connection has ended. What a peer still sends is discarded.
    /// One that takes none of its answers for 15 s is cut; a slow one gets them all.
    void KickAllClients();

    /// Queues a finished frame for one client. False, with errorString() set, if there is no
    /// connection of that handle; bytes to a peer that has just gone are lost.
    bool sendDataToClient(qintptr handle, const QByteArray& data);
    /// Writes a finished frame and blocks until the socket's thread has written it, at most about
    /// 15 s. A write that took too long is not reported.
    bool waitWrite2Client(qintptr handle, const QByteArray& data);
    /// Cuts one client, with what still waits to be written to it. Returns at once; its entry
    /// leaves when its thread has done so. False, with errorString() set, if there is no
    /// connection of that handle.
    bool abortClient(qintptr handle);
    /// "ip", "port" and "name" of a connection. The handle must be one of a live connection.
    QVariantMap getSocketPeerInfo(qintptr handle);

public slots:
    /// Tears down a connection that has ended. Blocks until its thread has ended too.
    void slotDisconnected(qintptr handle);

protected:
    void incomingConnection(qintptr handle) override;

private:
    TcpSocket* socketOf(qintptr handle, const char* operation);
    enum class Turn
    {
        First,
        Last
    };

    void enterConnection(qintptr handle);
    void enterWaiting(qintptr handle, Turn turn);
    void tearDown(qintptr handle);
    void resumeLater(QAbstractSocket::SocketError error);
    void resume();
    void forget(qintptr handle);

    QMap<qintptr, TcpSocket*> _tcpSocketMap;
    QObject* _relayObject = nullptr;
    QString _errorString;

    QObject* _notices; ///< receives the ends of connections; made anew by stopListen()
    ky::AcceptWatch* _acceptWatch;
    QSet<qintptr> _waitingHandles; ///< accepted while a former owner of the number is in the map
};
