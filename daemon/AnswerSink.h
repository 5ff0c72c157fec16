#pragma once

#include <QByteArray>
#include <QString>

namespace ky {

/// Where answers and events leave by. Thread: the daemon's.
class AnswerSink
{
public:
    virtual ~AnswerSink() = default;

    /// Queues a finished frame; false if the connection is gone.
    virtual bool send(qintptr handle, const QByteArray& frame) = 0;
    /// Who is at the other end now ("10.0.0.7:51312"); empty if the connection is gone. A handle
    /// serves again after a close, so whoever answers later compares this first.
    virtual QString peerOf(qintptr handle) = 0;
    /// How many bytes the other end has taken so far, by its kernel's word; 0 if that is unknown.
    virtual quint64 takenBytes(qintptr handle) = 0;
    /// Ends the connection, with what waits to be sent to it.
    virtual void cut(qintptr handle) = 0;
};

} // namespace ky
