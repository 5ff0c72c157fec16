#include "cli/EventWatch.h"

#include "cli/Invocation.h"
#include "cli/RunLimits.h"
#include "cli/StatusProbe.h"
#include "clients/SCStatusTcp.h"
#include "support/JsonText.h"
#include "wire/FrameHead.h"

namespace ky {

namespace {

constexpr quint16 kSubscribeNumber = 1;

/// What has come in so far.
struct Progress
{
    int subscribe = 0; ///< number of the command
    int left = -1;     ///< lines to wait for; negative: no end
    bool isSubscribed = false;
    PeerReply answer;
};

void printLines(const QStringList& lines, Progress* progress)
{
    const QStringList wanted = lines.mid(0, progress->left); // a negative number takes all
    if (wanted.isEmpty())
        return;
    printReceived(wanted.join(QLatin1Char('\n')).toUtf8() + '\n');
    if (progress->left > 0)
        progress->left -= wanted.size();
}

void take(const EventWatch& watch, int type, const QByteArray& data, Progress* progress)
{
    if (type == answerTypeOf(quint16(progress->subscribe))) {
        progress->isSubscribed = true;
        progress->answer = readReply(data, {});
        return;
    }
    const QVariantMap map = parseJson(data).toMap();
    if (map.contains(QStringLiteral("event")))
        printLines(watch.lines(map, data), progress);
}

QByteArray eventsJson(const QStringList& events)
{
    return events.isEmpty()
               ? QByteArray()
               : jsonText(QVariantMap{{QStringLiteral("events"), events}}, QJsonDocument::Compact);
}

/// Waits for what was subscribed to; empty at the end that was asked for.
QString serveEvents(Invocation& call, const EventWatch& watch, int limitMs, StatusProbe& probe,
                    Progress* progress)
{
    QString problem = probe.connectPeer();
    if (problem.isEmpty())
        problem = probe.send(quint16(progress->subscribe), eventsJson(watch.events), {},
                             kSubscribeNumber);
    if (!problem.isEmpty())
        return problem;
    probe.serve([progress] { return progress->isSubscribed; }, probe.remainingMs());
    if (!progress->isSubscribed)
        return noAnswerSentence(probe.reason(), call.global());
    if (progress->answer.code != 0)
        return {};
    if (!probe.serve([progress] { return progress->left == 0; }, limitMs))
        return noAnswerSentence(probe.reason(), call.global());
    return {};
}

} // namespace

int watchEvents(Invocation& call, const EventWatch& watch)
{
    Progress progress;
    const std::optional<RunLimits> limits =
        readRunLimits(call.option("--count"), call.option("--for"));
    if (!limits)
        return call.wrong(QLatin1String(kRunLimitsRule));
    progress.left = limits->count;
    PeerReply failure;
    const auto subscribe = call.peer().numberOf(QStringLiteral("subscribe"), &failure);
    if (!subscribe)
        return call.show(failure);
    progress.subscribe = *subscribe;

    StatusProbe probe(call.global());
    QObject::connect(
        &probe.client(), &SCStatusTcp::sigChangedText, &probe,
        [&](bool isFrame, int type, const QByteArray& data, const QByteArray&, int, int) {
            if (isFrame)
                take(watch, type, data, &progress);
        });
    const QString problem = serveEvents(call, watch, limits->forMs, probe, &progress);
    if (!problem.isEmpty()) {
        call.complain(problem);
        return kNoAnswer;
    }
    return progress.answer.code != 0 ? call.show(progress.answer) : int(kDone);
}

std::vector<Option> watchOptions()
{
    return {{"--count", "N", "end after so many lines"}, {"--for", "SECONDS", "end after so long"}};
}

} // namespace ky
