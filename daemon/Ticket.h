#pragma once

#include "daemon/Answer.h"

namespace ky {

class Relay;

/// The right to answer one request later. A copy may be kept anywhere; the first answer counts.
class Ticket
{
public:
    Ticket() = default;

    /// Sends the answer, unless the client has gone. Thread: any, as long as the daemon lives.
    void answer(const Answer& answer) const;
    bool isValid() const { return _relay != nullptr; }

private:
    friend class Relay;
    Relay* _relay = nullptr;
    quint64 _id = 0;
};

} // namespace ky
