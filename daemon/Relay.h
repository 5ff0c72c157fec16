#pragma once

#include "daemon/AnswerBacklog.h"
#include "daemon/Request.h"
#include "daemon/Ticket.h"

#include <QHash>
#include <QMap>
#include <QObject>

#include <functional>
#include <memory>

namespace ky {

class AnswerSink;

/// The object that the service hands requests to: finds the row of the command by its number, reads
/// the arguments by it, runs its handler, and sends the answer.
///
/// A request may ask for more than there is memory for: it is answered with that error.
///
/// Thread: the daemon's. Only Ticket::answer() may come from another one.
class Relay : public QObject
{
    Q_OBJECT

public:
    /// Answers at once; runs in the daemon's thread, so it must be short.
    using Handler = std::function<Answer(const Request&)>;
    /// Answers by the ticket, whenever it can.
    using LateHandler = std::function<void(const Request&, const Ticket&)>;

    /// `numbers`: the command table, name to number.
    explicit Relay(const QMap<QString, int>& numbers, QObject* parent = nullptr);

    /// Null: nothing is answered any more.
    void setSink(AnswerSink* sink);

    /// The row tells what the arguments have to be; they are read and judged before the handler
    /// runs. By name: the row that the catalogue has.
    void addCommand(const Command& row, Handler handler);
    void addCommand(const QString& name, Handler handler);
    void addLateCommand(const Command& row, LateHandler handler);
    void addLateCommand(const QString& name, LateHandler handler);
    bool hasCommand(int number) const { return _rows.contains(quint16(number)); }

    /// What the handler answers, or that there is not enough memory for it. Thread: any.
    static Answer attempt(const Handler& handler, const Request& request);

    /// What is wrong with the rows added so far: a name that the catalogue or the table does not
    /// have, a number that serves twice. Empty when all is well.
    QString firstProblem() const { return _firstProblem; }

    AnswerSink* sink() const { return _sink; }
    const QMap<QString, int>& numbers() const { return _numbers; }

public slots:
    /// The service calls this for each request, queued.
    void slotRevInterface(QString name, qintptr handle, quint16 answerType, quint16 number,
                          QByteArray data, QVariant json);

private:
    friend class Ticket;

    struct Open
    {
        qintptr handle = 0;
        quint16 answerType = 0;
        quint16 number = 0;
        QString peer;
    };

    /// One of the two handlers is set.
    struct Row
    {
        const Command* command = nullptr;
        Handler atOnce;
        LateHandler later;
    };

    void addRow(Row row);
    void addRow(const QString& name, Row row);
    void note(const QString& problem);
    void serve(const Row& row, Request& request);
    void start(const LateHandler& handler, const Request& request);
    Ticket openTicket(const Request& request);
    void answerTicket(quint64 id, const Answer& answer);
    void send(qintptr handle, quint16 answerType, quint16 number, const Answer& answer);

    QMap<QString, int> _numbers;
    QHash<quint16, Row> _rows;
    QHash<quint64, Open> _open;
    quint64 _lastTicket = 0;
    QString _firstProblem;
    AnswerSink* _sink = nullptr;
    std::unique_ptr<AnswerBacklog> _backlog; ///< there is one while there is a sink
};

} // namespace ky
