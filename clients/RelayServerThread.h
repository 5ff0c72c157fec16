#pragma once

#include "host/BaseThread.h"

#include <QMutex>
#include <QString>

/// A byte pump between a client that has been accepted already and a server, by default the
/// service of this machine. It opens the connection to the server, waits for the client's first
/// message, copies in both directions, reconnects a lost server, and ends when the client goes or
/// stays silent. Its sockets are connections of the service, which take frames out of what they
/// read: only what that leaves is copied.
///
/// Thread: run() is the thread, without an event loop. Everything else belongs to the owner's
/// thread. stopThread() and the destructor block until run() has noticed: one pass (about 110 ms),
/// 3 s in a silent wait, 5 s while a server is being connected for the first time or again.
class Q_DECL_EXPORT RelayServerThread : public BaseThread
{
    Q_OBJECT

public:
    explicit RelayServerThread(QObject* parent = nullptr);
    ~RelayServerThread() override;

    /// Takes over the connected descriptor `handle` and relays it to the server, once a relay that
    /// is ending has gone; closes it where no thread can be had. A relay that is running goes on as
    /// it is: the values are only stored then, and the descriptor stays the caller's.
    void transaction(const QString& ip, quint16 port, qintptr handle);

    QString ip() const;
    quint16 port() const;
    qintptr handle() const;

public slots:
    void stopThread() override;

protected:
    void run() override;

private:
    bool endRelay();

    qintptr _handle = 0;
    quint16 _port = 19208;
    QString _ip = QStringLiteral("127.0.0.1");

    bool _isRelaying = false; ///< a client has been taken over, and its relay has not ended

    mutable QMutex _mutex; ///< guards what transaction() and run() share: all of the above
};
