#include "cli/CommandHelp.h"
#include "cli/FileContent.h"
#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Table.h"
#include "support/JsonText.h"

#include <optional>

namespace ky {

namespace {

int runCall(Invocation& call)
{
    QVariant json;
    const QString text = call.argument(1);
    if (!text.isEmpty()) {
        json = parseJson(text.toUtf8());
        if (json.type() != QVariant::Map)
            return call.wrong(QStringLiteral("'%1' is not a JSON object").arg(text));
        if (!fitsJsonArea(json))
            return call.wrong(QLatin1String(kJsonAreaRule));
    }
    QString problem;
    std::optional<QByteArray> data = QByteArray();
    if (call.has("--data"))
        data = contentOfFile(call.option("--data"), &problem);
    if (!data)
        return call.wrong(problem);
    return call.show(call.peer().ask(call.argument(0), json, *data));
}

/// The catalogue tells what the peer can do without asking it; "--peer" asks a peer that may be of
/// another version, or another daemon.
int runCommands(Invocation& call)
{
    if (!call.has("--peer")) {
        call.print(call.global().isJson
                       ? QString::fromUtf8(jsonText(commandList(), QJsonDocument::Compact)) +
                             QLatin1Char('\n')
                       : commandTable());
        return kDone;
    }
    return call.show(call.peer().commands(), [&call](const QVariantMap& answer) {
        call.print(tableText(
            answer.value(QStringLiteral("commands")).toList(),
            {{"number", "NUMBER"}, {"name", "NAME"}, {"kind", "KIND"}, {"summary", "SUMMARY"}}));
    });
}

int runVersion(Invocation& call)
{
    return call.ask("version");
}

} // namespace

const Group& callGroup()
{
    static const Group group = {
        "call",
        "send any command, by name or number",
        {{"",
          "COMMAND [JSON]",
          "Sends one request and prints the data area of its answer; 'call NAME --help' tells what "
          "a command takes",
          {{"--data", "FILE", "content of the data area of the request"}},
          "kyctl call echo '{\"a\":1}'",
          runCall}}};
    return group;
}

const Group& commandsGroup()
{
    static const Group group = {
        "commands",
        "list what the peer can do",
        {{"",
          "",
          "Lists the commands and events of a peer of this version; 'call NAME --help' tells more",
          {{"--peer", "", "ask the peer for its own list"}},
          "kyctl commands",
          runCommands}}};
    return group;
}

const Group& versionGroup()
{
    static const Group group = {"version",
                                "versions of the peer",
                                {{"",
                                  "",
                                  "Shows the versions of the daemon and its host",
                                  {},
                                  "kyctl version",
                                  runVersion}}};
    return group;
}

} // namespace ky
