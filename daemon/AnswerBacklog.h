#pragma once

#include <QHash>
#include <QString>

namespace ky {

class AnswerSink;

/// Bounds what waits for clients that ask and do not read their answers: without it one of them
/// could fill the memory of the daemon.
///
/// Thread: the daemon's.
class AnswerBacklog
{
public:
    explicit AnswerBacklog(AnswerSink& sink);

    /// Counts an answer in. False when the client has been cut off instead, since more than 64 MiB
    /// wait for it already. One answer may have any size.
    bool admit(qintptr handle, int size);

private:
    struct Line
    {
        QString peer;
        quint64 takenBytes = 0;
        qint64 waitingBytes = 0;
        qint64 uncountedBytes = 0; ///< small answers are counted together, since asking costs
    };

    AnswerSink& _sink;
    QHash<qintptr, Line> _lines;
};

} // namespace ky
