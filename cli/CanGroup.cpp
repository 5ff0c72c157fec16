#include "cli/CanText.h"
#include "cli/EventWatch.h"
#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/PortText.h"
#include "cli/Table.h"
#include "support/JsonText.h"

namespace ky {

namespace {

int runList(Invocation& call)
{
    return call.ask("can_list", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(
            answer.value(QStringLiteral("ports")).toList(),
            {{"portName", "PORT"}, {"baudRate", "BAUD"}, {"state", "STATE"}, {"isOpen", "OPEN"}}));
    });
}

int runConfig(Invocation& call)
{
    return call.ask("can_config", {{QStringLiteral("portName"), call.argument(0)},
                                   {QStringLiteral("baudRate"), call.argument(1)}});
}

int runOpen(Invocation& call)
{
    return call.ask("can_open", {{QStringLiteral("portName"), call.argument(0)}});
}

int runClose(Invocation& call)
{
    return call.ask("can_close", {{QStringLiteral("portName"), call.argument(0)}});
}

int runSend(Invocation& call)
{
    auto frame = parseCanText(call.argument(1));
    if (!frame)
        return call.wrong(QStringLiteral("'%1' is no frame; write ID#DATA, such as 123#0102")
                              .arg(call.argument(1)));
    frame->insert(QStringLiteral("portName"), call.argument(0));
    return call.ask("can_send", *frame);
}

QStringList frameLines(const Invocation& call, const QVariantMap& event)
{
    QStringList lines;
    const QVariantList frames = event.value(QStringLiteral("frames")).toList();
    for (const QVariant& frame : frames) {
        const QVariantMap map = frame.toMap();
        const QString port = map.value(QStringLiteral("portName")).toString();
        if (!call.arguments().isEmpty() && !call.arguments().contains(port))
            continue;
        lines << (call.global().isJson ? QString::fromUtf8(jsonText(map, QJsonDocument::Compact))
                                       : canLine(map));
    }
    return lines;
}

int runWatch(Invocation& call)
{
    return watchEvents(call, {{QStringLiteral("event_can_frames")},
                              [&call](const QVariantMap& event, const QByteArray&) {
                                  return frameLines(call, event);
                              }});
}

/// The list of ports finds out under "name" whether a saved port is open.
QVariantMap withName(QVariantMap port)
{
    port.insert(QStringLiteral("name"), port.value(QStringLiteral("portName")));
    return port;
}

int runSave(Invocation& call, const QStringList& words)
{
    auto ports = parsePortWords(words, {});
    if (!ports || ports->isEmpty())
        return call.wrong(QStringLiteral("save takes ports as NAME=BAUD, such as can0=250000"));
    for (QVariant& port : *ports)
        port = withName(port.toMap());
    return call.ask("can_ports_save", {{QStringLiteral("ports"), *ports},
                                       {QStringLiteral("applyConfig"), call.has("--apply")}});
}

int runPorts(Invocation& call)
{
    const QString action = call.argument(0);
    if (action == QLatin1String("save"))
        return runSave(call, call.arguments().mid(1));
    if (action == QLatin1String("remove") && call.arguments().size() == 2)
        return call.ask("can_ports_remove", {{QStringLiteral("portName"), call.argument(1)}});
    return call.wrong(QStringLiteral("can ports takes: save NAME=BAUD…, or remove NAME"));
}

} // namespace

const Group& canGroup()
{
    static const Group group = {
        "can",
        "CAN ports",
        {{"list", "", "Lists saved ports and interfaces", {}, "kyctl can list", runList},
         {"config",
          "PORT BAUD",
          "Sets up an interface: down, bit timing, queue length, up",
          {},
          "kyctl can config can0 250000",
          runConfig},
         {"open", "PORT", "Opens a port", {}, "kyctl can open can0", runOpen},
         {"send",
          "PORT FRAME",
          "Sends a frame: ID#DATA, 3 digits for a standard, 8 for an extended ID, ID#R for a "
          "remote frame",
          {},
          "kyctl can send can0 18FF50E5#0102A0",
          runSend},
         {"watch", "[PORT…]",
          "Prints received frames, one line each, until Ctrl-C; with --json one object each",
          watchOptions(), "kyctl can watch can0", runWatch},
         {"close", "PORT", "Closes a port", {}, "kyctl can close can0", runClose},
         {"ports",
          "ACTION PORT…",
          "save NAME=BAUD…: replaces the file of ports; remove NAME: takes one out",
          {{"--apply", "", "set each interface up before saving"}},
          "kyctl can ports save can0=250000 can1=500000",
          runPorts}}};
    return group;
}

} // namespace ky
