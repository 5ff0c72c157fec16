#include "commands/Durations.h"
#include "commands/ErrorCodes.h"
#include "commands/Soundness.h"
#include "commands/Tables.h"

namespace ky {

namespace {

constexpr int kLongestWaitMs = 120000;

constexpr Argument kCall[] = {
    argument(ValueKind::Address, "ip", "address of the other daemon").required(),
    whole("port", "its port", 1, 65535).required(),
    argument(ValueKind::Command, "command", "what to ask, by number or name").required(),
    object("json", "JSON area of the request"),
    whole("timeout_ms", "how long to wait for its answer", 1, kLongestWaitMs)
        .unit("ms")
        .orElse("5000"),
};
constexpr Field kReply[] = {
    {"result", "what the blocking client made of the answer"},
    {"json", "JSON area of the answer, if there is one"},
    {"reply", "its data area, if that is JSON"},
    {"text", "else, if it is UTF-8"},
    {"base64", "else"},
};

// Through this host one reaches what trusts it, this daemon included: it takes the highest right.
constexpr Command kRows[] = {
    command("peer_call", 2100, "asks another daemon and answers with its answer")
        .takes(kCall)
        .takesData("data area of the request, if the arguments are in the JSON area")
        .answers(kReply)
        .fails(kPeerSilent, kTooManyCalls, kReplyTooLarge)
        .within(kLongestWaitMs + limits::kPeerConnectMs)
        .needs(Right::Administer)
        .like(R"({"ip":"10.0.0.8","port":19208,"command":"version"})"),
};

constexpr ErrorText kErrors[] = {
    {kPeerSilent, "the other daemon did not answer"},
    {kTooManyCalls, "too many calls are under way"},
    {kReplyTooLarge, "the answer of the other daemon is too large"},
};

} // namespace

constexpr CommandGroup kPeerCommands = {"Other daemons", {2100, 2199}, {0, 0},
                                        {40100, 40199},  kRows,        kErrors};
static_assert(isSound(kPeerCommands));

} // namespace ky
