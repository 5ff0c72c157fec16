#pragma once

#include "daemon/DaemonSettings.h"
#include "daemon/EventHub.h"
#include "daemon/OwnThread.h"
#include "daemon/Relay.h"

#include <QObject>

namespace ky {

class FrameCourier;

/// What every subsystem of the daemon shares.
struct DaemonContext
{
    Relay& relay;       ///< of the service
    Relay& linkRelay;   ///< of the port that link supervision reports to
    Relay& reportRelay; ///< of the port that the host report goes to
    EventHub& events;
    FrameCourier& courier;
    const DaemonSettings& settings;
};

/// One subsystem of the daemon: owns its objects of the library and registers a row for each of
/// its commands, in its constructor. See docs/extending.md.
///
/// Thread: the daemon's; see addThreadCommand() for objects that block.
class Subsystem : public QObject
{
    Q_OBJECT

public:
    explicit Subsystem(const DaemonContext& context);

protected:
    /// A command that is answered at once. The handler must be short: nobody else is served
    /// meanwhile.
    void addCommand(const char* name, Relay::Handler handler);

    /// A command that is answered later, by its ticket.
    void addLateCommand(const char* name, Relay::LateHandler handler);

    /// A command that runs in `thread`, where the objects live that it uses; answered when the
    /// handler returns. The others are served meanwhile.
    void addThreadCommand(OwnThread& thread, const char* name, Relay::Handler handler);

    /// Sends an event to everyone who subscribed to it.
    void publish(const char* event, const QVariantMap& map);

    const DaemonContext& context() const { return _context; }
    FrameCourier& courier() const { return _context.courier; }

private:
    DaemonContext _context;
};

} // namespace ky
