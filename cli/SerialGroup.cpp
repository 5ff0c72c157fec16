#include "cli/EventWatch.h"
#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/PortText.h"
#include "cli/Table.h"

namespace ky {

namespace {

int runList(Invocation& call)
{
    return call.ask("serial_list", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(answer.value(QStringLiteral("ports")).toList(),
                             {{"portName", "PORT"}, {"baudRate", "BAUD"}, {"state", "STATE"}}));
    });
}

int numberOption(const Invocation& call, const char* name, int usual)
{
    return call.has(name) ? call.option(name).toInt() : usual;
}

/// The line's settings as options give them; empty if one makes no sense.
QVariantMap lineSettings(const Invocation& call)
{
    const int dataBits = numberOption(call, "--data", 8);
    const int stopBits = numberOption(call, "--stop", 1);
    const int parity =
        parityNumber(call.has("--parity") ? call.option("--parity") : QStringLiteral("none"));
    if (dataBits < 1 || stopBits < 1 || parity < 0)
        return {};
    return {{QStringLiteral("dataBits"), dataBits},
            {QStringLiteral("stopBits"), stopBits},
            {QStringLiteral("parity"), parity}};
}

std::vector<Option> lineOptions()
{
    return {{"--data", "BITS", "data bits, 5 to 8; usually 8"},
            {"--stop", "BITS", "stop bits: 1, 2, or 3 for one and a half; usually 1"},
            {"--parity", "NAME", "none, even, odd, space or mark; usually none"}};
}

constexpr char kWrongLine[] = "--data, --stop or --parity makes no sense";

int runOpen(Invocation& call)
{
    QVariantMap request = lineSettings(call);
    const int baudRate = call.argument(1).isEmpty() ? 9600 : call.argument(1).toInt();
    if (request.isEmpty() || baudRate < 1)
        return call.wrong(request.isEmpty() ? QLatin1String(kWrongLine)
                                            : QStringLiteral("the baud rate is a number"));
    request.insert(QStringLiteral("portName"), call.argument(0));
    request.insert(QStringLiteral("baudRate"), baudRate);
    return call.ask("serial_open", request);
}

int runClose(Invocation& call)
{
    return call.ask("serial_close");
}

/// The bytes of the arguments in hexadecimal: pairs, or with --text the words as they are.
QString bytesArgument(const Invocation& call)
{
    const QString joined = call.arguments().join(QLatin1Char(' '));
    return call.has("--text") ? QString::fromLatin1(joined.toUtf8().toHex()) : joined;
}

int runWrite(Invocation& call)
{
    return call.ask("serial_write", {{QStringLiteral("data"), bytesArgument(call)}});
}

int runExchange(Invocation& call)
{
    const bool isText = call.has("--text");
    return call.ask("serial_exchange", {{QStringLiteral("data"), bytesArgument(call)}},
                    [&call, isText](const QVariantMap& answer) {
                        const QByteArray bytes = QByteArray::fromHex(
                            answer.value(QStringLiteral("data")).toString().toLatin1());
                        call.print((isText ? valueText(QString::fromUtf8(bytes))
                                           : QString::fromLatin1(bytes.toHex(' '))) +
                                   QLatin1Char('\n'));
                    });
}

QString serialLine(const QVariantMap& event)
{
    const bool isData = event.contains(QStringLiteral("data"));
    const QByteArray bytes =
        QByteArray::fromHex(event.value(QStringLiteral("data")).toString().toLatin1());
    QString text = isData
                       ? QString::fromLatin1(bytes.toHex(' '))
                       : QStringLiteral("error: ") + valueText(event.value(QStringLiteral("text")));
    if (event.value(QStringLiteral("isClosed")).toBool())
        text += QStringLiteral(" (port closed)");
    return QStringLiteral("%1  %2").arg(valueText(event.value(QStringLiteral("create_on"))), text);
}

int runWatch(Invocation& call)
{
    const bool isJson = call.global().isJson;
    return watchEvents(
        call, {{QStringLiteral("event_serial_data"), QStringLiteral("event_serial_error")},
               [isJson](const QVariantMap& event, const QByteArray& text) {
                   return QStringList(isJson ? QString::fromUtf8(text) : serialLine(event));
               }});
}

int runPorts(Invocation& call)
{
    const QString action = call.argument(0);
    if (action == QLatin1String("remove") && call.arguments().size() == 2)
        return call.ask("serial_ports_remove", {{QStringLiteral("portName"), call.argument(1)}});
    if (action != QLatin1String("save"))
        return call.wrong(QStringLiteral("serial ports takes: save NAME=BAUD…, or remove NAME"));
    const QVariantMap settings = lineSettings(call);
    const auto ports = parsePortWords(call.arguments().mid(1), settings);
    if (settings.isEmpty() || !ports)
        return call.wrong(
            settings.isEmpty()
                ? QLatin1String(kWrongLine)
                : QStringLiteral("save takes ports as NAME=BAUD, such as ttyS1=9600"));
    return call.ask("serial_ports_save", {{QStringLiteral("ports"), *ports}});
}

} // namespace

const Group& serialGroup()
{
    static const std::vector<Option> text = {
        {"--text", "", "the words are text, not hexadecimal pairs"}};
    static const Group group = {
        "serial",
        "the serial port",
        {{"list", "", "Lists saved and present ports", {}, "kyctl serial list", runList},
         {"open", "PORT [BAUD]", "Opens a port, closing another one", lineOptions(),
          "kyctl serial open ttyS1 115200 --parity even", runOpen},
         {"write", "BYTES…", "Sends bytes", text, "kyctl serial write AA BB 00 9B 00 CC", runWrite},
         {"exchange", "BYTES…", "Sends bytes and prints the answer", text,
          "kyctl serial exchange --text 'status?'", runExchange},
         {"watch", "", "Prints received bytes and errors, one line each, until Ctrl-C",
          watchOptions(), "kyctl serial watch", runWatch},
         {"close", "", "Closes the port", {}, "kyctl serial close", runClose},
         {"ports", "ACTION PORT…",
          "save NAME=BAUD…: replaces the file of ports; remove NAME: takes one out", lineOptions(),
          "kyctl serial ports save ttyS1=9600", runPorts}}};
    return group;
}

} // namespace ky
