#include "daemon/Relay.h"

#include "daemon/AnswerSink.h"
#include "daemon/DaemonLog.h"
#include "wire/FrameHead.h"

#include <QThread>

#include <new>

namespace ky {

void Ticket::answer(const Answer& answer) const
{
    if (!_relay)
        return;
    if (QThread::currentThread() == _relay->thread()) {
        _relay->answerTicket(_id, answer);
        return;
    }
    Relay* relay = _relay;
    const quint64 id = _id;
    QMetaObject::invokeMethod(
        relay, [relay, id, answer] { relay->answerTicket(id, answer); }, Qt::QueuedConnection);
}

Relay::Relay(const QMap<QString, int>& numbers, QObject* parent)
    : QObject(parent)
    , _numbers(numbers)
{}

void Relay::addCommand(const QString& name, Handler handler)
{
    addRow(name, {std::move(handler), nullptr});
}

void Relay::addLateCommand(const QString& name, LateHandler handler)
{
    addRow(name, {nullptr, std::move(handler)});
}

void Relay::addRow(const QString& name, Row row)
{
    const int number = _numbers.value(name);
    QString problem;
    if (number <= 0 || number > 0xffff - kAnswerOffset)
        problem = QStringLiteral("command [%1]: no usable number in the table").arg(name);
    else if (hasCommand(number))
        problem = QStringLiteral("command [%1]: number %2 serves already").arg(name).arg(number);
    if (problem.isEmpty())
        _rows.insert(quint16(number), std::move(row));
    else if (_firstProblem.isEmpty())
        _firstProblem = problem;
}

void Relay::slotRevInterface(QString name, qintptr handle, quint16 answerType, quint16 number,
                             QByteArray data, QVariant json)
{
    const Request request{name, handle, answerType, number, data, json};
    // By number: the name that came along is that of another port's table on the side listeners.
    const auto row = _rows.constFind(request.command());
    if (row == _rows.constEnd()) {
        send(handle, answerType, number,
             Answer::error(kUnknownCommand,
                           QStringLiteral("unknown command [%1]").arg(request.command())));
        return;
    }
    if (row->atOnce)
        send(handle, answerType, number, attempt(row->atOnce, request));
    else
        start(row->later, request);
}

Answer Relay::attempt(const Handler& handler, const Request& request)
{
    try {
        return handler(request);
    } catch (const std::bad_alloc&) {
        return Answer::noMemory();
    }
}

void Relay::start(const LateHandler& handler, const Request& request)
{
    const Ticket ticket = openTicket(request);
    try {
        handler(request, ticket);
    } catch (const std::bad_alloc&) {
        ticket.answer(Answer::noMemory());
    }
}

void Relay::setSink(AnswerSink* sink)
{
    _sink = sink;
    _backlog.reset();
    if (sink)
        _backlog = std::make_unique<AnswerBacklog>(*sink);
}

Ticket Relay::openTicket(const Request& request)
{
    Ticket ticket;
    ticket._relay = this;
    ticket._id = ++_lastTicket;
    _open.insert(ticket._id, {request.handle, request.answerType, request.number,
                              _sink ? _sink->peerOf(request.handle) : QString()});
    return ticket;
}

void Relay::answerTicket(quint64 id, const Answer& answer)
{
    const auto found = _open.constFind(id);
    if (found == _open.constEnd())
        return;
    const Open open = *found;
    _open.erase(found);
    // The handle may be another client's by now.
    if (_sink && !open.peer.isEmpty() && _sink->peerOf(open.handle) == open.peer)
        send(open.handle, open.answerType, open.number, answer);
    else
        KY_DEBUG << "client of a late answer has gone:" << open.peer;
}

void Relay::send(qintptr handle, quint16 answerType, quint16 number, const Answer& answer)
{
    if (!_sink)
        return;
    const QByteArray frame = answer.frame(answerType, number, QDateTime::currentDateTime());
    if (_backlog->admit(handle, frame.size()))
        _sink->send(handle, frame);
}

} // namespace ky
