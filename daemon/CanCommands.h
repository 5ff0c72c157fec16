#pragma once

#include "daemon/Subsystem.h"

#include <QMutex>
#include <QSet>

#include <functional>
#include <memory>

class CanObject;

namespace ky {

/// The CAN ports: requests are answered when the manager reports their end, received frames are
/// published. Frames that arrive within a few milliseconds leave in one event.
///
/// Thread: the manager has one of its own, since a write may wait for the bus. Setting an interface
/// up takes seconds, and no frame of another port may wait for that: it is done by a second manager
/// in a second thread, which opens no port.
class CanCommands : public Subsystem
{
    Q_OBJECT

public:
    explicit CanCommands(const DaemonContext& context);
    ~CanCommands() override;

private:
    using Action = std::function<void(CanObject&, const QVariantMap&)>;

    void connectManager();
    void registerRequests();
    void registerPortFile();
    void start(const Request& request, const Ticket& ticket, const Action& action);
    bool isAdmitted(const QString& name) const;
    void open(const Request& request, const Ticket& ticket);
    void send(const Request& request, const Ticket& ticket);
    Answer config(const Request& request);
    Answer savePorts(const Request& request);
    void take(const QVariantMap& frame);
    void publishTaken();

    OwnThread _thread{QStringLiteral("can")};
    std::unique_ptr<CanObject> _can; ///< lives in _thread
    Ticket _ticket;                  ///< of the request in progress; touched in _thread only
    OwnThread _setupThread{QStringLiteral("can setup")};
    std::unique_ptr<CanObject> _setup; ///< lives in _setupThread; sets up, and writes the port file
    QSet<QString> _openedNames;        ///< each has a thread for good

    QMutex _takenMutex; // guards _taken between the manager's thread and the daemon's
    QVariantList _taken;
};

} // namespace ky
