#include "cli/Groups.h"
#include "cli/Invocation.h"
#include "support/HostLimits.h"
#include "support/JsonText.h"

#include <limits>

namespace ky {

namespace {

// The daemon waits for its peer meanwhile; a second for the way there and back.
constexpr int kSlackMs = limits::kPeerConnectMs + 1000;

int runCall(Invocation& call)
{
    QVariantMap request{{QStringLiteral("ip"), call.argument(0)},
                        {QStringLiteral("port"), call.argument(1)},
                        {QStringLiteral("command"), call.argument(2)},
                        {QStringLiteral("timeout_ms"), call.global().timeoutMs}};
    if (!call.argument(3).isEmpty()) {
        const QVariant json = parseJson(call.argument(3).toUtf8());
        if (json.type() != QVariant::Map)
            return call.wrong(QStringLiteral("'%1' is not a JSON object").arg(call.argument(3)));
        request.insert(QStringLiteral("json"), json);
    }
    if (!fitsJsonArea(request))
        return call.wrong(QLatin1String(kJsonAreaRule));
    const int longestMs = std::numeric_limits<int>::max() - kSlackMs;
    call.peer().setTimeoutMs(qMin(call.global().timeoutMs, longestMs) + kSlackMs);
    const PeerReply reply = call.peer().ask(QStringLiteral("peer_call"), request);
    const int status = call.show(reply);
    const QVariantMap result = reply.map.value(QStringLiteral("result")).toMap();
    const bool isError = !result.value(QStringLiteral("err_msg")).toString().isEmpty();
    return status == kDone && isError ? kPeerError : status;
}

} // namespace

const Group& peerGroup()
{
    static const Group group = {"peer",
                                "ask another daemon through this one",
                                {{"call",
                                  "IP PORT COMMAND [JSON]",
                                  "Has the daemon ask another one, and shows what that answered",
                                  {},
                                  "kyctl peer call 10.0.0.8 19208 version",
                                  runCall}}};
    return group;
}

} // namespace ky
