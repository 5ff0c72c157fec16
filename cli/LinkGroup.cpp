#include "cli/Groups.h"
#include "cli/Invocation.h"

namespace ky {

namespace {

int runStatus(Invocation& call)
{
    return call.ask("link_status");
}

} // namespace

const Group& linkGroup()
{
    static const Group group = {"link",
                                "what link supervision reports",
                                {{"status",
                                  "",
                                  "Shows whether the link is good, and the last host report",
                                  {},
                                  "kyctl link status",
                                  runStatus}}};
    return group;
}

} // namespace ky
