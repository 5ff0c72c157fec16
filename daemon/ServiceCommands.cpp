#include "daemon/ServiceCommands.h"

#include "commands/Catalogue.h"
#include "host/PublicClass.h"

#include <QCoreApplication>
#include <QJsonDocument>

namespace ky {

namespace {

QVariantMap listed(const Command& row, int number)
{
    return {
        {QStringLiteral("number"), number},
        {QStringLiteral("name"), QLatin1String(row.name)},
        {QStringLiteral("kind"), row.isEvent ? QStringLiteral("event") : QStringLiteral("command")},
        {QStringLiteral("summary"), QString::fromUtf8(row.summary)}};
}

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
    QMap<int, QVariantMap> rows;
    const QMap<QString, int>& numbers = context().relay.numbers();
    for (auto entry = numbers.cbegin(); entry != numbers.cend(); ++entry) {
        const Command* row = findCommand(entry.key());
        if (row && (row->isEvent || context().relay.hasCommand(*entry)))
            rows.insert(*entry, listed(*row, *entry));
    }
    QVariantList list;
    for (const QVariantMap& row : qAsConst(rows))
        list << row;
    return Answer::ok({{QStringLiteral("commands"), list}});
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
    QStringList events = context().events.names();
    if (request.arguments.has("events"))
        events = request.arguments.value("events").toStringList();
    for (const QString& event : events) {
        if (!context().events.has(event))
            return Answer::badArgument(
                QStringLiteral("argument [events]: no event [%1]").arg(event));
    }
    context().events.subscribe(request.handle, events);
    return Answer::ok({{QStringLiteral("events"), events}});
}

} // namespace ky
