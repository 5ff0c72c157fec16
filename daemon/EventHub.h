#pragma once

#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>
#include <QVariantMap>

namespace ky {

class AnswerSink;

/// Sends events to the connections that asked for them. An event is a frame of the number that
/// the command table has for its name, with a map in the data area: what the event has to say,
/// "event" (its name) and "create_on".
///
/// Thread: the daemon's.
class EventHub
{
public:
    /// `numbers`: the command table; names that begin with "event_" are events.
    explicit EventHub(const QMap<QString, int>& numbers);

    void setSink(AnswerSink* sink) { _sink = sink; }

    QStringList names() const { return _numbers.keys(); }
    bool has(const QString& event) const { return _numbers.contains(event); }

    /// Replaces what the connection asked for before; an empty list asks for nothing.
    void subscribe(qintptr handle, const QStringList& events);

    /// Sends one event; does nothing for a name that the table does not have. Subscribers of it
    /// that have gone are forgotten. One that has stopped reading, so that 16 MiB of events wait
    /// for it, is cut off: what it has not taken would fill the memory.
    void publish(const QString& event, const QVariantMap& map);

    int subscriberCount() const { return _subscribers.size(); }

private:
    struct Subscriber
    {
        QString peer;
        QSet<QString> events;
        quint64 takenBytes = 0; ///< by the connection, when the last event was sent
        qint64 waitingBytes = 0;
    };

    bool isBehind(qintptr handle, Subscriber& subscriber, int size);

    QMap<QString, int> _numbers;
    QHash<qintptr, Subscriber> _subscribers;
    quint16 _lastNumber = 0;
    AnswerSink* _sink = nullptr;
};

} // namespace ky
