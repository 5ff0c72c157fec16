#include "daemon/LinkReports.h"

namespace ky {

namespace {

QString now()
{
    return timeText(QDateTime::currentDateTime());
}

} // namespace

LinkReports::LinkReports(const DaemonContext& context)
    : Subsystem(context)
{
    context.linkRelay.addCommand(QStringLiteral("link_lost"), [this](const Request& request) {
        return takeLink(false, request);
    });
    context.linkRelay.addCommand(QStringLiteral("link_good"), [this](const Request& request) {
        return takeLink(true, request);
    });
    context.reportRelay.addCommand(QStringLiteral("host_report"),
                                   [this](const Request& request) { return takeReport(request); });
    addCommand("link_status", [this](const Request&) { return status(); });
}

Answer LinkReports::takeLink(bool isGood, const Request& request)
{
    const QString state = isGood ? QStringLiteral("good") : QStringLiteral("lost");
    _lastHeard = now();
    _message = request.arguments.text("msg");
    if (!isGood)
        ++_lostCount;
    if (state != _state) {
        _state = state;
        _stateSince = _lastHeard;
    }
    publish("event_link", {{QStringLiteral("state"), _state}, {QStringLiteral("msg"), _message}});
    return Answer::ok();
}

Answer LinkReports::takeReport(const Request& request)
{
    _report = request.object();
    _reportTime = now();
    publish("event_host_report", {{QStringLiteral("report"), _report}});
    return Answer::ok();
}

Answer LinkReports::status() const
{
    return Answer::ok({{QStringLiteral("state"), _state},
                       {QStringLiteral("since"), _stateSince},
                       {QStringLiteral("last_heard"), _lastHeard},
                       {QStringLiteral("msg"), _message},
                       {QStringLiteral("lost_count"), _lostCount},
                       {QStringLiteral("report"), _report},
                       {QStringLiteral("report_time"), _reportTime}});
}

} // namespace ky
