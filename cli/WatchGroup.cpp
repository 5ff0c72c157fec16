#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/StatusProbe.h"
#include "cli/Table.h"
#include "clients/SCStatusTcp.h"
#include "support/JsonText.h"

namespace ky {

namespace {

constexpr quint16 kSubscribeNumber = 1;
constexpr int kAnswerOffset = 10000;

/// "2026-05-01T12:00:00.123Z  event_link  msg=gone state=lost"
QString eventLine(const QVariantMap& event)
{
    QStringList words;
    for (auto entry = event.cbegin(); entry != event.cend(); ++entry) {
        if (entry.key() != QLatin1String("event") && entry.key() != QLatin1String("create_on"))
            words << valueText(entry.key()) + QLatin1Char('=') + valueText(entry.value());
    }
    return QStringLiteral("%1  %2  %3\n")
        .arg(valueText(event.value(QStringLiteral("create_on"))),
             valueText(event.value(QStringLiteral("event"))), words.join(QLatin1Char(' ')));
}

/// What has come in so far.
struct Watch
{
    int subscribe = 0; ///< number of the command
    int left = -1;     ///< events to wait for; negative: no end
    bool isSubscribed = false;
    PeerReply answer;
};

void take(Invocation& call, Watch* watch, int type, const QByteArray& data)
{
    const QVariantMap map = parseJson(data).toMap();
    if (type == watch->subscribe + kAnswerOffset) {
        watch->isSubscribed = true;
        watch->answer = readReply(data, {});
    } else if (map.contains(QStringLiteral("event")) && watch->left != 0) {
        call.print(call.global().isJson ? QString::fromUtf8(data) + QLatin1Char('\n')
                                        : eventLine(map));
        --watch->left;
    }
}

QByteArray eventsJson(const QStringList& events)
{
    return events.isEmpty()
               ? QByteArray()
               : jsonText(QVariantMap{{QStringLiteral("events"), events}}, QJsonDocument::Compact);
}

int watchEvents(Invocation& call, Watch* watch, int limitMs)
{
    StatusProbe probe(call.global());
    QObject::connect(
        &probe.client(), &SCStatusTcp::sigChangedText, &probe,
        [&](bool isFrame, int type, const QByteArray& data, const QByteArray&, int, int) {
            if (isFrame)
                take(call, watch, type, data);
        });
    QString problem = probe.connectPeer();
    if (problem.isEmpty())
        problem = probe.send(quint16(watch->subscribe), eventsJson(call.arguments()), {},
                             kSubscribeNumber);
    if (problem.isEmpty())
        probe.serve([watch] { return watch->isSubscribed; }, call.global().timeoutMs);
    if (problem.isEmpty() && !watch->isSubscribed)
        problem = noAnswerSentence(QString(), call.global());
    if (problem.isEmpty() && watch->answer.code != 0)
        return call.show(watch->answer);
    if (problem.isEmpty() && !probe.serve([watch] { return watch->left == 0; }, limitMs))
        problem = noAnswerSentence(QStringLiteral("socketError:1"), call.global());
    if (problem.isEmpty())
        return kDone;
    call.complain(problem);
    return kNoAnswer;
}

int runWatch(Invocation& call)
{
    Watch watch;
    int limitMs = -1;
    if (call.has("--count"))
        watch.left = call.option("--count").toInt();
    if (call.has("--for"))
        limitMs = int(call.option("--for").toDouble() * 1000);
    if ((call.has("--count") && watch.left < 1) || (call.has("--for") && limitMs < 1))
        return call.wrong(QStringLiteral("--count and --for take a number above 0"));
    PeerReply failure;
    watch.subscribe = call.peer().numberOf(QStringLiteral("subscribe"), &failure);
    if (watch.subscribe == 0)
        return call.show(failure);
    return watchEvents(call, &watch, limitMs);
}

} // namespace

const Group& watchGroup()
{
    static const Group group = {
        "watch",
        "print events as they come",
        {{"",
          "[EVENT…]",
          "Prints the named events, or all, one line each, until Ctrl-C",
          {{"--count", "N", "end after so many events"}, {"--for", "SECONDS", "end after so long"}},
          "kyctl watch event_link --count 1",
          runWatch}}};
    return group;
}

} // namespace ky
