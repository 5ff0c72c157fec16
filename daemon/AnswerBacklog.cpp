#include "daemon/AnswerBacklog.h"

#include "daemon/AnswerSink.h"
#include "daemon/DaemonLog.h"

namespace ky {

namespace {

constexpr qint64 kMostWaitingBytes = qint64(64) * 1024 * 1024;
constexpr qint64 kCountedTogether = qint64(1024) * 1024;

} // namespace

AnswerBacklog::AnswerBacklog(AnswerSink& sink)
    : _sink(sink)
{}

bool AnswerBacklog::admit(qintptr handle, int size)
{
    Line& line = _lines[handle];
    line.uncountedBytes += size;
    if (line.uncountedBytes < kCountedTogether)
        return true;
    const QString peer = _sink.peerOf(handle);
    const quint64 taken = _sink.takenBytes(handle);
    if (taken == 0) { // a kernel that does not tell
        line.uncountedBytes = 0;
        return true;
    }
    if (peer != line.peer)
        line = {peer, taken, 0, size};
    // Events go the same way and count as taken too; the sum never falls below zero.
    const auto step = qMax<qint64>(0, qint64(taken - line.takenBytes));
    line.waitingBytes = qMax<qint64>(0, line.waitingBytes - step);
    line.takenBytes = taken;
    if (line.waitingBytes > kMostWaitingBytes) {
        KY_WARNING << QStringLiteral("[client %1: does not read its answers, cut off]").arg(peer);
        _lines.remove(handle);
        _sink.cut(handle);
        return false;
    }
    line.waitingBytes += line.uncountedBytes;
    line.uncountedBytes = 0;
    return true;
}

} // namespace ky
