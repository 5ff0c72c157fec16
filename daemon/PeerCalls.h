#pragma once

#include "daemon/PeerExchange.h"
#include "daemon/Subsystem.h"

#include <QSet>
#include <QThread>

namespace ky {

/// `peer_call`: asks another daemon on behalf of an operator. Each call has a thread of its own,
/// since the blocking client runs an event loop where it is called.
class PeerCalls : public Subsystem
{
    Q_OBJECT

public:
    explicit PeerCalls(const DaemonContext& context);
    /// Calls off what is under way; a connect that hangs holds it up for at most 6 s.
    ~PeerCalls() override;

    static constexpr int kMaxCalls = 32;

private:
    void call(const Request& request, const Ticket& ticket);
    void run(const PeerRequest& request, const Ticket& ticket);

    QSet<QThread*> _threads;
    int _lastNumber = 0;
};

/// Fills a request to a peer from the arguments of a call. A text tells what does not fit: a name
/// that no table has, JSON that no frame can tell.
QString readPeerRequest(const Arguments& arguments, PeerRequest* request);

/// Bytes of a data area that are passed on. As JSON it takes several times that.
constexpr int kLargestReply = 16 * 1024 * 1024;

/// What the operator gets: "result" (the client's result map), the JSON area as "json" if there was
/// one, and the data area as "reply" (JSON), "text" (UTF-8) or "base64". A data area of more than
/// kLargestReply is an error.
Answer peerAnswer(const PeerResult& result);

} // namespace ky
