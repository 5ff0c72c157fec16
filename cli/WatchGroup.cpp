#include "cli/EventWatch.h"
#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Table.h"

namespace ky {

namespace {

/// "2026-05-01T12:00:00.123Z  event_link  msg=gone state=lost"
QString eventLine(const QVariantMap& event)
{
    QStringList words;
    for (auto entry = event.cbegin(); entry != event.cend(); ++entry) {
        if (entry.key() != QLatin1String("event") && entry.key() != QLatin1String("create_on"))
            words << valueText(entry.key()) + QLatin1Char('=') + valueText(entry.value());
    }
    return QStringLiteral("%1  %2  %3")
        .arg(valueText(event.value(QStringLiteral("create_on"))),
             valueText(event.value(QStringLiteral("event"))), words.join(QLatin1Char(' ')));
}

int runWatch(Invocation& call)
{
    const bool isJson = call.global().isJson;
    return watchEvents(call,
                       {call.arguments(), [isJson](const QVariantMap& map, const QByteArray& text) {
                            return QStringList(isJson ? QString::fromUtf8(text) : eventLine(map));
                        }});
}

} // namespace

const Group& watchGroup()
{
    static const Group group = {
        "watch",
        "print events as they come",
        {{"", "[EVENT…]", "Prints the named events, or all, one line each, until Ctrl-C",
          watchOptions(), "kyctl watch event_link --count 1", runWatch}}};
    return group;
}

} // namespace ky
