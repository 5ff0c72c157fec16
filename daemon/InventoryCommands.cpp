#include "daemon/InventoryCommands.h"

#include "inventory/SystemAudio.h"
#include "inventory/SystemVersionInfo.h"

namespace ky {

InventoryCommands::InventoryCommands(const DaemonContext& context)
    : Subsystem(context)
{
    _thread.call([this] {
        _audio = std::make_unique<SystemAudio>(nullptr);
        _inventory = std::make_unique<SystemVersionInfo>(nullptr);
    });
    addAudioCommands();
    addThreadCommand(_thread, "hardware_info",
                     [this](const Request&) { return Answer::ok(_inventory->getHardwareInfo()); });
}

InventoryCommands::~InventoryCommands()
{
    _thread.end([this] {
        _audio.reset();
        _inventory.reset();
    });
}

void InventoryCommands::addAudioCommands()
{
    addThreadCommand(_thread, "audio_get", [this](const Request&) {
        return Answer::ok(_audio->getAudioOutputDeviceInfo());
    });
    addThreadCommand(_thread, "audio_set",
                     [this](const Request& request) { return setVolume(request); });
    addThreadCommand(_thread, "audio_card", [this](const Request& request) {
        const bool isSet = _audio->setAudioCard(request.arguments.text("index"));
        return Answer::of(isSet, kSoundCardNotChanged, *_audio);
    });
    addThreadCommand(_thread, "audio_reset", [this](const Request&) {
        return Answer::of(_audio->resetAsoundConf(), kSoundCardNotChanged, *_audio);
    });
    addThreadCommand(_thread, "audio_devices", [this](const Request&) {
        return Answer::ok({{QStringLiteral("devices"), _audio->getAllAudioDevice()}});
    });
}

Answer InventoryCommands::setVolume(const Request& request)
{
    // A mixer that fails leaves the last error alone: an earlier one must not pass for its words.
    _audio->setLastError(QStringLiteral("the mixer did not take or store the volume"));
    return Answer::of(_audio->setAudioOutputDevice(request.arguments.values()), kVolumeNotSet,
                      *_audio);
}

} // namespace ky
