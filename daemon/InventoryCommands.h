#pragma once

#include "daemon/Subsystem.h"

#include <memory>

class SystemAudio;
class SystemVersionInfo;

namespace ky {

/// Sound and hardware: SystemAudio and SystemVersionInfo, on a thread of their own.
class InventoryCommands : public Subsystem
{
    Q_OBJECT

public:
    explicit InventoryCommands(const DaemonContext& context);
    ~InventoryCommands() override;

private:
    void addAudioCommands();
    Answer setVolume(const Request& request);

    OwnThread _thread{QStringLiteral("inventory")};
    std::unique_ptr<SystemAudio> _audio;           // lives in the thread
    std::unique_ptr<SystemVersionInfo> _inventory; // lives in the thread
};

} // namespace ky
