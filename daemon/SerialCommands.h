#pragma once

#include "daemon/Subsystem.h"

#include <memory>

class SystemSerialPort;

namespace ky {

class SerialTalk;

/// The serial port: what it receives and its errors are published.
///
/// Thread: the port has one of its own, since an exchange takes up to 20 s.
class SerialCommands : public Subsystem
{
    Q_OBJECT

public:
    explicit SerialCommands(const DaemonContext& context);
    ~SerialCommands() override;

protected:
    std::unique_ptr<SystemSerialPort> _port; ///< lives in _thread

private:
    void makePort();
    void noteRequest(const Request& request);
    void addPortCommand(const char* name, const Relay::Handler& handler);
    void registerPort();
    void registerPortFile();
    void exchange(const Request& request, const Ticket& ticket);

    OwnThread _thread{QStringLiteral("serial")};
    std::unique_ptr<SerialTalk> _talk; ///< lives in _thread
};

} // namespace ky
