#include "model/Files.h"
#include "tools/Tools.h"

#include <algorithm>
#include <sstream>

namespace hostsim {

namespace {

constexpr int kNoCard = 19; // ENODEV: alsactl ends with the error number

std::string mixerText(const MixerControl& control)
{
    const std::string kind = control.capture ? "Capture" : "Playback";
    const int percent =
        control.maximum > 0 ? (control.value * 100 + control.maximum / 2) / control.maximum : 0;
    std::string text = "Simple mixer control '" + control.name +
                       "',0\n  Capabilities: " + control.capabilities + "\n  " + kind +
                       " channels: Front Left - Front Right\n  Limits: " + kind + " 0 - " +
                       std::to_string(control.maximum) + "\n";
    if (!control.capture)
        text += "  Mono:\n";
    for (const char* channel : {"Front Left", "Front Right"})
        text += std::string("  ") + channel + ": " + kind + " " + std::to_string(control.value) +
                " [" + std::to_string(percent) + "%]" + control.gain + "\n";
    return text;
}

// The default card set in /etc/asound.conf, else the first.
size_t defaultCard(const Call& call)
{
    std::istringstream conf(readFile(call.folder().privatePath("/etc/asound.conf")));
    for (std::string word; conf >> word;) {
        size_t index = 0;
        if (word == "defaults.ctl.card" && conf >> index)
            return index;
    }
    return 0;
}

int failNoCard(Call& call, size_t index)
{
    constexpr char text[] =
        "ALSA lib confmisc.c:855:(parse_card) cannot find card '%1'\n"
        "ALSA lib conf.c:5180:(_snd_config_evaluate) function snd_func_card_inum returned error: "
        "%2\n"
        "ALSA lib confmisc.c:422:(snd_func_concat) error evaluating strings\n"
        "ALSA lib conf.c:5180:(_snd_config_evaluate) function snd_func_concat returned error: %2\n"
        "ALSA lib confmisc.c:1334:(snd_func_refer) error evaluating name\n"
        "ALSA lib conf.c:5180:(_snd_config_evaluate) function snd_func_refer returned error: %2\n"
        "ALSA lib conf.c:5703:(snd_config_expand) Evaluate error: %2\n"
        "ALSA lib control.c:1528:(snd_ctl_open_noupdate) Invalid CTL default\n"
        "amixer: Mixer attach default error: %2\n";
    const std::string missing = call.pick("No such file or directory", "没有那个文件或目录");
    return call.fail(1, fill(text, {std::to_string(index), missing}));
}

int percentArgument(const std::string& text, const MixerControl& control)
{
    const int number = std::atoi(text.c_str());
    const bool isPercent = !text.empty() && text.back() == '%';
    const int value = isPercent ? (number * control.maximum + 50) / 100 : number;
    return std::clamp(value, 0, control.maximum);
}

int change(Call& call, size_t card, const std::string& name, const std::string& value)
{
    call.store().change([&](Host& host) {
        for (MixerControl& control : host.sound[card].controls)
            if (control.name == name)
                control.value = percentArgument(value, control);
    });
    return 0;
}

} // namespace

int amixer(Call& call)
{
    const size_t card = defaultCard(call);
    if (card >= call.host().sound.size())
        return failNoCard(call, card);
    const std::string verb = call.arg(0);
    const std::string name = call.arg(1);
    // amixer shows the control after setting it.
    if (verb == "set" || verb == "sset")
        change(call, card, name, call.arg(2));
    const Host host = call.host();
    bool isFound = startsWith(verb, "scont");
    for (const MixerControl& control : host.sound[card].controls) {
        isFound = isFound || control.name == name;
        if (verb == "scontrols")
            call.out("Simple mixer control '" + control.name + "',0\n");
        else if (verb == "scontents" || control.name == name)
            call.out(mixerText(control));
    }
    if (isFound)
        return 0;
    return call.fail(1, "amixer: Unable to find simple control '" + name + "',0\n\n");
}

int alsactl(Call& call)
{
    const std::string id = call.arg(1);
    const Host host = call.host();
    const bool isThere = id.empty() || std::any_of(host.sound.begin(), host.sound.end(),
                                                   [&](const SoundCard& c) { return c.id == id; });
    if (isThere)
        return 0;
    return call.fail(kNoCard, "alsactl: snd_card_iterator_sinit:257: Cannot find soundcard '" + id +
                                  "'...\n");
}

} // namespace hostsim
