#pragma once

#include "cli/CommandLine.h"

#include <QAbstractSocket>
#include <QElapsedTimer>
#include <QObject>

#include <functional>

class SCStatusTcp;

namespace ky {

/// The diagnostic client with the owner that it needs: it tells its socket's states to its parent.
/// The time limit counts from the making of this object, for connecting, sending and the answer
/// together.
class StatusProbe : public QObject
{
    Q_OBJECT

public:
    explicit StatusProbe(const GlobalOptions& options);

    /// Connects, waiting at most the time limit. Empty on success, else a sentence for people.
    QString connectPeer();
    /// Sends one frame and waits for the first bytes of the answer. Empty on success.
    QString send(quint16 command, const QByteArray& json, const QByteArray& data, quint16 number);
    /// Serves the connection until `isDone` says so, the peer goes, or `limitMs` have passed
    /// (negative: no limit). False if the peer went.
    bool serve(const std::function<bool()>& isDone, int limitMs);

    /// Why the answer is missing, as noAnswerSentence() takes it: the client's own words, or that
    /// the connection was closed. Empty: the time ran out.
    QString reason() const;

    /// What is left of the time limit; at least 1.
    int remainingMs() const;

    SCStatusTcp& client() { return *_client; }

public slots:
    void stateChanged(QAbstractSocket::SocketState state);
    void receiveTcpError(QAbstractSocket::SocketError error);

signals:
    void connectionEnded();

private:
    GlobalOptions _options;
    SCStatusTcp* _client;
    QElapsedTimer _clock;
    bool _isConnected = false;
};

} // namespace ky
