#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr Field kTable[] = {
    {"commands", "a list of `number`, `name`, `kind` (`command` or `event`) and `summary`"},
};

constexpr Field kVersions[] = {
    {"daemon", "version of the daemon"},
    {"qt", "version of Qt"},
    {"version", "version of the robot's software, from the settings"},
    {"tbx_name", "controller model, from the settings"},
    {"hardware_type", "board family, from the settings"},
};

constexpr Argument kWanted[] = {
    list("events", "names of events; all without it, none if the list is empty", 100),
};
constexpr Field kSubscribed[] = {
    {"events", "the events that this connection gets from now on"},
};

constexpr Field kLinkStatus[] = {
    {"state", "`unknown`, `good` or `lost`"},
    {"since", "when the state began"},
    {"last_heard", "when link supervision reported last"},
    {"msg", "what it said"},
    {"lost_count", "losses reported so far"},
    {"report", "the last report of the host"},
    {"report_time", "when that came"},
};

constexpr Field kStored[] = {
    {"size", "bytes on the disk"},
    {"sha256", "their SHA-256"},
    {"path", "where they are"},
};

constexpr Argument kMessage[] = {
    text("msg", "what is told with it", 0, 65536),
};

constexpr Field kLinkEvent[] = {
    {"state", "`good` or `lost`"},
    {"msg", "what link supervision said"},
};
constexpr Field kReportEvent[] = {
    {"report", "the report as it came"},
};

constexpr Command kRows[] = {
    command("echo", 2000, "answers with both areas as they came")
        .fixed()
        .takesData("anything")
        .like(R"({"a":1})"),
    command("commands", 2001, "the table of commands and events").answers(kTable),
    command("version", 2002, "versions of the daemon and its host").answers(kVersions),
    command("subscribe", 2003, "asks for events on this connection")
        .takes(kWanted)
        .answers(kSubscribed)
        .like(R"({"events":["event_link"]})"),
    command("link_status", 2004, "what link supervision and the host report said last")
        .answers(kLinkStatus),
    command("upload", 5104, "stores the data area as a file, answers with its size and SHA-256")
        .fixed()
        .takesData("the file")
        .answers(kStored)
        .fails(kUploadFailed)
        .within(takes::kHashOfUpload)
        .needs(Right::Administer)
        .changesHost(),
    event("event_link", 2900, "the link was lost or is good again").answers(kLinkEvent),
    event("event_host_report", 2901, "a report of addresses and Wi-Fi arrived")
        .answers(kReportEvent),
    command("link_lost", 4802, "link supervision: the link is lost")
        .onPort(kLinkPort)
        .fixed()
        .takes(kMessage)
        .needs(Right::Operate)
        .like(R"({"msg":"no answer from 10.0.0.1"})"),
    command("link_good", 4803, "link supervision: the link is good")
        .onPort(kLinkPort)
        .fixed()
        .takes(kMessage)
        .needs(Right::Operate),
    command("host_report", 6950, "addresses and Wi-Fi of this host")
        .onPort(kReportPort)
        .fixed()
        .takesData("the report, a JSON object with any keys")
        .needs(Right::Operate),
};

constexpr ErrorText kErrors[] = {
    {kUnknownCommand, "unknown command"},
    {kBadArgument, "an argument is missing or wrong"},
    {kUploadFailed, "the upload is not on the disk"},
    {kAnswerTooLarge, "the answer is more than one frame can hold"},
    {kOutOfMemory, "the command needs more memory than there is"},
    {kSettingsNotStored, "the command was carried out, but its settings were not stored"},
};

} // namespace

constexpr CommandGroup kServiceCommands = {"The service itself", {2000, 2099}, {2900, 2909},
                                           {40000, 40099},       kRows,        kErrors};
static_assert(isSound(kServiceCommands));

} // namespace ky
