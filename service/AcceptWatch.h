#pragma once

#include <QObject>
#include <QPointer>

class QSocketNotifier;
class QTcpServer;

namespace ky {

/// Makes a listening server tell of an accept that fails. QTcpServer keeps the first error of its
/// socket. After a client that first error is "would block", which then hides every later one, and
/// the server is woken for the waiting client again and again. Here such a failure pauses the
/// server and is told by QTcpServer::acceptError().
///
/// Thread: that of the server, whose child it is.
class AcceptWatch : public QObject
{
public:
    explicit AcceptWatch(QTcpServer* server);

    /// To be called for every connection that the server accepts.
    void noteAccepted();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QTcpServer* _server;
    QPointer<QSocketNotifier> _notifier; ///< by which the server is woken
    unsigned _accepted = 0;
};

} // namespace ky
