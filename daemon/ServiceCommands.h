#pragma once

#include "daemon/Subsystem.h"

namespace ky {

/// The commands of the service itself: echo, commands, version, subscribe.
class ServiceCommands : public Subsystem
{
    Q_OBJECT

public:
    explicit ServiceCommands(const DaemonContext& context);

private:
    Answer echo(const Request& request) const;
    Answer commands() const;
    Answer version() const;
    Answer subscribe(const Request& request);
};

} // namespace ky
