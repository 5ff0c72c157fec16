#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "cli/Table.h"

namespace ky {

namespace {

const QList<Column>& cardColumns()
{
    static const QList<Column> columns = {
        {"index", "INDEX"}, {"name", "NAME"}, {"fullName", "DRIVER AND NAME"}};
    return columns;
}

int runGet(Invocation& call)
{
    return call.ask("audio_get", {}, [&call](const QVariantMap& answer) {
        const QVariant volume = answer.value(QStringLiteral("volume"));
        call.print(volume.isValid() ? QStringLiteral("volume  %1 %\n\n").arg(volume.toInt())
                                    : QStringLiteral("volume  cannot be read\n\n"));
        call.print(tableText(answer.value(QStringLiteral("list")).toList(), cardColumns()));
    });
}

int runSet(Invocation& call)
{
    return call.ask("audio_set", {{QStringLiteral("volume"), call.argument(0)}});
}

int runCard(Invocation& call)
{
    return call.ask("audio_card", {{QStringLiteral("index"), call.argument(0)}});
}

int runReset(Invocation& call)
{
    return call.ask("audio_reset");
}

int runDevices(Invocation& call)
{
    return call.ask("audio_devices", {}, [&call](const QVariantMap& answer) {
        call.print(tableText(answer.value(QStringLiteral("devices")).toList(),
                             {{"index", "INDEX"}, {"name", "NAME"}, {"type", "TYPE"}}));
    });
}

} // namespace

const Group& audioGroup()
{
    static const Group group = {
        "audio",
        "output volume and sound cards",
        {{"get", "", "Shows the output volume and the sound cards", {}, "kyctl audio get", runGet},
         {"set", "VOLUME", "Sets the output volume, 0 to 100", {}, "kyctl audio set 40", runSet},
         {"card", "INDEX", "Makes a sound card the default", {}, "kyctl audio card 1", runCard},
         {"reset", "", "Makes the card named PCH the default", {}, "kyctl audio reset", runReset},
         {"devices", "", "Lists the HDA sound cards", {}, "kyctl audio devices", runDevices}}};
    return group;
}

} // namespace ky
