#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Table.h"

#include <QDateTime>

namespace ky {

namespace {

constexpr char kClockFormat[] = "yyyy-MM-dd hh:mm:ss";
constexpr int kNtpPort = 123;

QString stateText(const QVariantMap& state)
{
    const auto text = [&state](const char* key) {
        return valueText(state.value(QLatin1String(key)));
    };
    const bool isAuto = state.value(QStringLiteral("isAutoSync")).toBool();
    QList<QStringList> rows{
        {QStringLiteral("clock"), text("Localtime")},
        {QStringLiteral("zone"), text("Timezone")},
        {QStringLiteral("synchronisation"),
         isAuto ? QStringLiteral("every %1 min").arg(text("timeSyncInterval"))
                : QStringLiteral("off")},
        {QStringLiteral("server"),
         text("ntpTimeServerUrl") + QLatin1Char(':') + text("ntpTimePort")},
    };
    if (!text("udpErrorString").isEmpty())
        rows << QStringList{QStringLiteral("last failure"), text("udpErrorString")};
    return alignColumns(rows).join(QLatin1Char('\n')) + QLatin1Char('\n');
}

int runStatus(Invocation& call)
{
    return call.ask("time_status", {},
                    [&call](const QVariantMap& answer) { call.print(stateText(answer)); });
}

int runZones(Invocation& call)
{
    return call.ask("time_zones", {{QStringLiteral("filter"), call.argument(0)}},
                    [&call](const QVariantMap& answer) {
                        for (const QVariant& zone : answer.value(QStringLiteral("zones")).toList())
                            call.print(valueText(zone) + QLatin1Char('\n'));
                    });
}

/// Takes "HOST" or "HOST:PORT" apart. An address of version 6 has colons of its own and takes no
/// port here.
bool readServer(const QString& text, QVariantMap* request)
{
    const bool hasPort = text.count(QLatin1Char(':')) == 1;
    bool isNumber = true;
    const uint port = hasPort ? text.section(QLatin1Char(':'), 1).toUInt(&isNumber) : kNtpPort;
    const QString host = hasPort ? text.section(QLatin1Char(':'), 0, 0) : text;
    request->insert(QStringLiteral("url"), host);
    request->insert(QStringLiteral("port"), port);
    return isNumber && port >= 1 && port <= 0xffff && !host.isEmpty();
}

int setAutomatic(Invocation& call, QVariantMap request)
{
    if (!call.has("--server") || !call.has("--interval"))
        return call.wrong(QStringLiteral("--auto needs --server and --interval"));
    if (!readServer(call.option("--server"), &request))
        return call.wrong(
            QStringLiteral("'%1' is not HOST or HOST:PORT").arg(call.option("--server")));
    bool isNumber = false;
    const uint minutes = call.option("--interval").toUInt(&isNumber);
    if (!isNumber)
        return call.wrong(
            QStringLiteral("'%1' is not a number of minutes").arg(call.option("--interval")));
    request.insert(QStringLiteral("isAuto"), true);
    request.insert(QStringLiteral("timeSyncInterval"), minutes);
    return call.ask("time_set", request);
}

int setByHand(Invocation& call, QVariantMap request)
{
    const QString time = call.option("--at");
    if (!QDateTime::fromString(time, QLatin1String(kClockFormat)).isValid())
        return call.wrong(
            QStringLiteral("'%1' is not a time like '2026-05-01 12:00:00'").arg(time));
    request.insert(QStringLiteral("isAuto"), false);
    request.insert(QStringLiteral("localDateTime"), time);
    return call.ask("time_set", request);
}

int runSet(Invocation& call)
{
    const QString zone = call.option("--zone");
    if (zone.isEmpty())
        return call.wrong(QStringLiteral("--zone is needed: the time zone is always set, too"));
    if (call.has("--auto") == call.has("--at"))
        return call.wrong(QStringLiteral("either --auto or --at is needed"));
    QVariantMap request{{QStringLiteral("timezone"), zone}};
    if (call.has("--gmt")) {
        bool isNumber = false;
        request.insert(QStringLiteral("GMT"), call.option("--gmt").toDouble(&isNumber));
        if (!isNumber)
            return call.wrong(
                QStringLiteral("'%1' is not a number of hours").arg(call.option("--gmt")));
    }
    return call.has("--auto") ? setAutomatic(call, request) : setByHand(call, request);
}

int runSync(Invocation& call)
{
    return call.ask("time_sync", {},
                    [&call](const QVariantMap& answer) { call.print(stateText(answer)); });
}

} // namespace

const Group& timeGroup()
{
    static const Group group = {
        "time",
        "clock, time zone and synchronisation",
        {{"status",
          "",
          "Shows the clock, the time zone and what keeps the clock",
          {},
          "kyctl time status",
          runStatus},
         {"zones",
          "[FILTER]",
          "Lists the time zones that the host knows, or those with this text in them",
          {},
          "kyctl time zones asia",
          runZones},
         {"set",
          "",
          "Sets the time zone, and the clock or the server that keeps it",
          {{"--zone", "ZONE", "the time zone (see kyctl time zones)"},
           {"--auto", "", "have a server keep the clock; needs --server and --interval"},
           {"--server", "HOST[:PORT]", "the server, by default on port 123"},
           {"--interval", "MIN", "minutes between exchanges; 0: only one now"},
           {"--at", "TIME", "set the clock to this local time"},
           {"--gmt", "HOURS", "offset from UTC, kept for the operator only"}},
          "kyctl time set --zone Asia/Shanghai --auto --server ntp.example.org --interval 60",
          runSet},
         {"sync", "", "Makes one exchange with the server now", {}, "kyctl time sync", runSync}}};
    return group;
}

} // namespace ky
