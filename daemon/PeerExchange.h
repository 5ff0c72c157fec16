#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

namespace ky {

/// One request to a peer.
struct PeerRequest
{
    QString ip;
    quint16 port = 0;
    QVariant command; ///< number, or name in the table of that port
    int number = 0;
    QVariant json;
    QByteArray data;
    int limitMs = 5000;
};

/// What came back.
struct PeerResult
{
    QString error;      ///< empty when the peer answered
    QVariantMap result; ///< the result map of the client
    QByteArray data;
    QVariant json; ///< JSON area; invalid if there was none, or none that parses
};

/// Connects, asks, waits for the answer and closes the connection. Runs an event loop in the
/// calling thread, which must not be the daemon's. Blocks for at most `limitMs`, and up to 6 s
/// where a connect hangs.
PeerResult exchangeWithPeer(const PeerRequest& request);

} // namespace ky
