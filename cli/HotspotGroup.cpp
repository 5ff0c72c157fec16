#include "cli/Groups.h"
#include "cli/Invocation.h"

namespace ky {

namespace {

int runStart(Invocation& call)
{
    return call.ask("hotspot_start", {{QStringLiteral("ssid"), call.argument(0)},
                                      {QStringLiteral("passwd"), call.argument(1)}});
}

int runStop(Invocation& call)
{
    return call.ask("hotspot_stop");
}

int runFix(Invocation& call)
{
    return call.ask("hotspot_fix");
}

int runStatus(Invocation& call)
{
    return call.ask("hotspot_status");
}

} // namespace

const Group& hotspotGroup()
{
    static const Group group = {
        "hotspot",
        "the host's own access point",
        {{"start",
          "SSID PASSWORD",
          "Opens an access point",
          {},
          "kyctl hotspot start robot-7 secret12",
          runStart},
         {"stop", "", "Closes it", {}, "kyctl hotspot stop", runStop},
         {"fix", "", "Opens it again as it was opened last", {}, "kyctl hotspot fix", runFix},
         {"status", "", "Shows what is known of it", {}, "kyctl hotspot status", runStatus}}};
    return group;
}

} // namespace ky
