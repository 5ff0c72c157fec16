#include "tools/Tools.h"

#include <algorithm>
#include <regex>

namespace hostsim {

namespace {

constexpr int kNoCard = 19;

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

// The card that /etc/asound.conf makes the default one, else the first.
size_t defaultCard(const Call& call)
{
    const std::string conf = readFile(call.store().privatePath("/etc/asound.conf"));
    std::smatch match;
    if (std::regex_search(conf, match, std::regex("defaults\\.ctl\\.card\\s+(\\d+)")))
        return std::stoul(match[1]);
    return 0;
}

int failNoCard(Call& call)
{
    const std::string missing = call.pick("No such file or directory", "没有那个文件或目录");
    return call.fail(1, "ALSA lib control.c:1528:(snd_ctl_open_noupdate) Invalid CTL default\n"
                        "amixer: Mixer attach default error: " +
                            missing + "\n");
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
        return failNoCard(call);
    const std::string verb = call.arg(0);
    const std::string name = call.arg(1);
    if (verb == "set" || verb == "sset")
        change(call, card, name, call.arg(2));
    bool isFound = false;
    for (const MixerControl& control : call.host().sound[card].controls) {
        if (verb != "scontents" && control.name != name)
            continue;
        call.out(mixerText(control));
        isFound = true;
    }
    if (isFound || verb == "scontents")
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
