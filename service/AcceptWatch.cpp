#include "service/AcceptWatch.h"

#include <QEvent>
#include <QSocketNotifier>
#include <QTcpServer>

#include <poll.h>

namespace ky {

namespace {

bool isReadable(qintptr descriptor)
{
    pollfd waiting = {int(descriptor), POLLIN, 0};
    return poll(&waiting, 1, 0) > 0;
}

QSocketNotifier* notifierOf(const QTcpServer& server)
{
    const auto notifiers = server.findChildren<QSocketNotifier*>();
    for (QSocketNotifier* notifier : notifiers) {
        if (notifier->type() == QSocketNotifier::Read && notifier->isEnabled() &&
            notifier->socket() == server.socketDescriptor())
            return notifier;
    }
    return nullptr;
}

} // namespace

AcceptWatch::AcceptWatch(QTcpServer* server)
    : QObject(server)
    , _server(server)
{}

void AcceptWatch::noteAccepted()
{
    ++_accepted;
    // The server has another one each time it begins to listen, and disables the one before.
    if (_notifier && _notifier->isEnabled())
        return;
    _notifier = notifierOf(*_server);
    if (_notifier)
        _notifier->installEventFilter(this);
}

bool AcceptWatch::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::SockAct || watched != _notifier)
        return false;
    const unsigned before = _accepted;
    const QPointer<AcceptWatch> self(this);
    watched->event(event);
    // A client that still waits after a round without one cannot be accepted.
    if (self && _notifier && _notifier->isEnabled() && _accepted == before &&
        isReadable(_notifier->socket())) {
        _server->pauseAccepting();
        emit _server->acceptError(QAbstractSocket::SocketResourceError);
    }
    return true;
}

} // namespace ky
