#include "daemon/EventHub.h"

#include "daemon/Answer.h"
#include "daemon/AnswerSink.h"
#include "daemon/DaemonLog.h"
#include "support/JsonText.h"
#include "wire/FrameWriter.h"

namespace ky {

namespace {

// Well above what kernels keep for one connection; seconds of two full CAN buses.
constexpr qint64 kMostWaitingBytes = 16 * 1024 * 1024;

} // namespace

EventHub::EventHub(const QMap<QString, int>& numbers)
{
    for (auto row = numbers.cbegin(); row != numbers.cend(); ++row) {
        if (row.key().startsWith(QLatin1String("event_")))
            _numbers.insert(row.key(), row.value());
    }
}

void EventHub::subscribe(qintptr handle, const QStringList& events)
{
    const QString peer = _sink ? _sink->peerOf(handle) : QString();
    if (events.isEmpty() || peer.isEmpty())
        _subscribers.remove(handle);
    else
        _subscribers.insert(
            handle, {peer, QSet<QString>(events.begin(), events.end()), _sink->takenBytes(handle)});
}

void EventHub::publish(const QString& event, const QVariantMap& map)
{
    if (!_sink || !has(event) || _subscribers.isEmpty())
        return;
    QVariantMap body = map;
    body.insert(QStringLiteral("event"), event);
    body.insert(QStringLiteral("create_on"), timeText(QDateTime::currentDateTime()));
    const QByteArray frame = buildFrame(quint16(_numbers.value(event)), ++_lastNumber, {},
                                        jsonText(body, QJsonDocument::Compact));
    for (auto it = _subscribers.begin(); it != _subscribers.end();) {
        if (!it->events.contains(event)) {
            ++it;
            continue;
        }
        // Who has gone is forgotten, also when the handle already serves someone else.
        if (_sink->peerOf(it.key()) != it->peer) {
            it = _subscribers.erase(it);
            continue;
        }
        if (isBehind(it.key(), *it, frame.size())) {
            KY_WARNING << QStringLiteral("[subscriber %1: does not read, cut off]").arg(it->peer);
            _sink->cut(it.key());
            it = _subscribers.erase(it);
            continue;
        }
        _sink->send(it.key(), frame);
        ++it;
    }
}

/// Counts an event in. Answers go the same way and count as taken, too; the sum never falls below
/// zero, so they cannot hide for long that a subscriber takes nothing more.
bool EventHub::isBehind(qintptr handle, Subscriber& subscriber, int size)
{
    const quint64 taken = _sink->takenBytes(handle);
    const qint64 step = qMax<qint64>(0, qint64(taken - subscriber.takenBytes));
    subscriber.takenBytes = taken;
    subscriber.waitingBytes = qMax<qint64>(0, subscriber.waitingBytes - step) + size;
    return subscriber.waitingBytes > kMostWaitingBytes;
}

} // namespace ky
