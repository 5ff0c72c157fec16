#pragma once

#include <QByteArray>
#include <QList>

/// One request of the recorded round.
struct RecordedRequest
{
    QByteArray command;  ///< name in the command table
    QByteArray json;     ///< JSON area; empty: none
    QByteArray data;     ///< data area
    int onPort = 0;      ///< 0 the service, 1 and 2 the side ports
    bool isFresh = true; ///< false: the host stays as the request before has left it
};

/// Every command of the daemon: without arguments, with good ones, with each argument missing, of
/// another type, and with hostile values; then what else clients send. "PORT" in a text stands for
/// the daemon's own port.
QList<RecordedRequest> recordedRequests();
