#include "daemon/Relay.h"

#include "commands/Catalogue.h"
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

void Relay::addCommand(const Command& row, Handler handler)
{
    addRow({&row, std::move(handler), nullptr});
}

void Relay::addCommand(const QString& name, Handler handler)
{
    addRow(name, {nullptr, std::move(handler), nullptr});
}

void Relay::addLateCommand(const Command& row, LateHandler handler)
{
    addRow({&row, nullptr, std::move(handler)});
}

void Relay::addLateCommand(const QString& name, LateHandler handler)
{
    addRow(name, {nullptr, nullptr, std::move(handler)});
}

void Relay::addRow(const QString& name, Row row)
{
    row.command = findCommand(name);
    if (row.command)
        addRow(std::move(row));
    else
        note(QStringLiteral("command [%1]: not in the catalogue").arg(name));
}

/// The number is that of the table, which a host may have filled otherwise.
void Relay::addRow(Row row)
{
    const QString name = QLatin1String(row.command->name);
    const int number = _numbers.value(name);
    if (number <= 0 || number > 0xffff - kAnswerOffset)
        note(QStringLiteral("command [%1]: no usable number in the table").arg(name));
    else if (hasCommand(number))
        note(QStringLiteral("command [%1]: number %2 serves already").arg(name).arg(number));
    else
        _rows.insert(quint16(number), std::move(row));
}

void Relay::note(const QString& problem)
{
    if (_firstProblem.isEmpty())
        _firstProblem = problem;
}

void Relay::slotRevInterface(QString name, qintptr handle, quint16 answerType, quint16 number,
                             QByteArray data, QVariant json)
{
    Request request{name, handle, answerType, number, data, json, {}, false};
    // By number: the name that came along is that of another port's table on the side listeners.
    const auto row = _rows.constFind(request.command());
    if (row == _rows.constEnd()) {
        send(handle, answerType, number,
             Answer::error(kUnknownCommand,
                           QStringLiteral("unknown command [%1]").arg(request.command())));
        return;
    }
    serve(*row, request);
}

void Relay::serve(const Row& row, Request& request)
{
    const auto answer = [&](const Answer& answer) {
        send(request.handle, request.answerType, request.number, answer);
    };
    QString problem;
    try {
        problem = readArguments(*row.command, &request);
    } catch (const std::bad_alloc&) {
        answer(Answer::noMemory());
        return;
    }
    if (!problem.isEmpty())
        answer(Answer::badArgument(problem));
    else if (row.atOnce)
        answer(attempt(row.atOnce, request));
    else
        start(row.later, request);
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
