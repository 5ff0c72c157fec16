#include "daemon/Subsystem.h"

namespace ky {

Subsystem::Subsystem(const DaemonContext& context)
    : _context(context)
{}

void Subsystem::addCommand(const char* name, Relay::Handler handler)
{
    _context.relay.addCommand(QLatin1String(name), std::move(handler));
}

void Subsystem::addLateCommand(const char* name, Relay::LateHandler handler)
{
    _context.relay.addLateCommand(QLatin1String(name), std::move(handler));
}

void Subsystem::addThreadCommand(OwnThread& thread, const char* name, Relay::Handler handler)
{
    addLateCommand(name, [&thread, handler](const Request& request, const Ticket& ticket) {
        thread.post(
            [handler, request, ticket] { ticket.answer(Relay::attempt(handler, request)); });
    });
}

void Subsystem::publish(const char* event, const QVariantMap& map)
{
    _context.events.publish(QLatin1String(event), map);
}

} // namespace ky
