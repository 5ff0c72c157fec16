#include "cli/FileContent.h"
#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/StatusProbe.h"
#include "cli/Table.h"
#include "clients/SCStatusTcp.h"
#include "support/JsonText.h"
#include "wire/FrameHead.h"

#include <optional>

namespace ky {

namespace {

constexpr quint16 kProbeNumber = 1;

/// One answer of the peer, for scripts.
QByteArray responseJson(int command, const QByteArray& data, int number, int elapsedMs)
{
    QVariantMap map{{QStringLiteral("type"), command},
                    {QStringLiteral("number"), number},
                    {QStringLiteral("elapsed_ms"), elapsedMs},
                    {QStringLiteral("data_hex"), QString::fromLatin1(data.toHex())}};
    const QVariant json = parseJson(data);
    if (json.isValid())
        map.insert(QStringLiteral("data"), json);
    return jsonText(map, QJsonDocument::Compact) + '\n';
}

/// Connects, sends, and waits until the answer to this request is whole. The reports are printed
/// as they come.
int exchange(Invocation& call, quint16 command, const QByteArray& json, const QByteArray& data)
{
    StatusProbe probe(call.global());
    bool isAnswered = false;
    if (!call.global().isJson)
        QObject::connect(
            &probe.client(), &SCStatusTcp::sigPrintInfo, &probe,
            [](const QString& text) { printOut(printableText(text).toUtf8() + '\n'); });
    QObject::connect(&probe.client(), &SCStatusTcp::sigChangedText, &probe,
                     [&](bool isFrame, int type, const QByteArray& bytes, const QByteArray&,
                         int number, int elapsedMs) {
                         if (!isFrame)
                             return;
                         if (call.global().isJson)
                             printReceived(responseJson(type, bytes, number, elapsedMs));
                         isAnswered |= revCommandOf(type) == command && number == kProbeNumber;
                     });
    QString problem = probe.connectPeer();
    if (problem.isEmpty())
        problem = probe.send(command, json, data, kProbeNumber);
    if (problem.isEmpty()) {
        probe.serve([&] { return isAnswered; }, probe.remainingMs());
        if (!isAnswered)
            problem = noAnswerSentence(probe.reason(), call.global());
    }
    if (problem.isEmpty())
        return kDone;
    call.complain(problem);
    return kNoAnswer;
}

int runProbe(Invocation& call)
{
    const QByteArray json = call.option("--json-area").toUtf8();
    QString problem;
    std::optional<QByteArray> data = call.option("--data").toUtf8();
    if (call.has("--data-file"))
        data = contentOfFile(call.option("--data-file"), &problem);
    if (!data)
        return call.wrong(problem);
    PeerReply failure;
    const std::optional<int> command = call.peer().numberOf(call.argument(0), &failure);
    if (!command)
        return call.show(failure);
    return exchange(call, quint16(*command), json, *data);
}

} // namespace

const Group& probeGroup()
{
    static const Group group = {
        "probe",
        "show a request and its answer, byte by byte",
        {{"",
          "TYPE",
          "Sends one frame and prints the diagnostic reports of it and of what comes back",
          {{"--json-area", "JSON", "the JSON area, sent as it is"},
           {"--data", "TEXT", "the data area"},
           {"--data-file", "FILE", "the data area from a file"}},
          "kyctl probe echo --json-area '{\"a\":1}' --data hello",
          runProbe}}};
    return group;
}

} // namespace ky
