#include "daemon/ServiceCommands.h"

#include "daemon/CommandTable.h"
#include "host/PublicClass.h"

#include <QCoreApplication>
#include <QJsonDocument>

namespace ky {

namespace {

constexpr char kDatabase[] = "appInfo/commands.db";

} // namespace

ServiceCommands::ServiceCommands(const DaemonContext& context)
    : Subsystem(context)
{
    addCommand("echo", [this](const Request& request) { return echo(request); });
    addCommand("commands", [this](const Request&) { return commands(); });
    addCommand("version", [this](const Request&) { return version(); });
    addCommand("subscribe", [this](const Request& request) { return subscribe(request); });
}

Answer ServiceCommands::echo(const Request& request) const
{
    const QByteArray json =
        request.json.isValid()
            ? PublicClass::init()->qVariantToByteArray(request.json, QJsonDocument::Compact)
            : QByteArray();
    return Answer::areas(json, request.data);
}

Answer ServiceCommands::commands() const
{
    QVariantList rows;
    const QList<CommandRow> table = readCommandRows(QLatin1String(kDatabase), kServicePort);
    for (const CommandRow& row : table) {
        const bool isEvent = context().events.has(row.name);
        if (!isEvent && !context().relay.hasCommand(row.number))
            continue;
        rows << QVariantMap{
            {QStringLiteral("number"), row.number},
            {QStringLiteral("name"), row.name},
            {QStringLiteral("kind"), isEvent ? QStringLiteral("event") : QStringLiteral("command")},
            {QStringLiteral("summary"), row.summary}};
    }
    return Answer::ok({{QStringLiteral("commands"), rows}});
}

Answer ServiceCommands::version() const
{
    return Answer::ok({{QStringLiteral("daemon"), QCoreApplication::applicationVersion()},
                       {QStringLiteral("qt"), QString::fromLatin1(qVersion())},
                       {QStringLiteral("version"), PublicClass::init()->version},
                       {QStringLiteral("tbx_name"), PublicClass::init()->tbxName},
                       {QStringLiteral("hardware_type"), PublicClass::init()->hardwareType}});
}

Answer ServiceCommands::subscribe(const Request& request)
{
    const QVariantMap arguments = request.arguments();
    QStringList events = context().events.names();
    if (arguments.contains(QStringLiteral("events")))
        events = arguments.value(QStringLiteral("events")).toStringList();
    for (const QString& event : events) {
        if (!context().events.has(event))
            return Answer::error(kBadArgument, QStringLiteral("event [%1]: unknown").arg(event));
    }
    context().events.subscribe(request.handle, events);
    return Answer::ok({{QStringLiteral("events"), events}});
}

} // namespace ky
