#pragma once

#include "daemon/DaemonNetwork.h"
#include "daemon/OwnThread.h"

#include <memory>

namespace ky {

class FrameCourier;

/// The one object that administers the network, on a thread of its own, since its operations block
/// for seconds. Every subsystem with network commands shares it.
///
/// Making it blocks for what the object does to the host at start; so does its end for what runs
/// or waits on the thread.
class NetworkHost
{
public:
    explicit NetworkHost(FrameCourier& courier);
    ~NetworkHost();
    NetworkHost(const NetworkHost&) = delete;
    NetworkHost& operator=(const NetworkHost&) = delete;

    OwnThread& thread() { return _thread; }
    /// To be used on its thread only.
    DaemonNetwork& network() { return *_network; }

private:
    OwnThread _thread;
    std::unique_ptr<DaemonNetwork> _network;
};

} // namespace ky
