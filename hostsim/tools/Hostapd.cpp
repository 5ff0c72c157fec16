#include "model/Files.h"
#include "model/Process.h"
#include "model/Radio.h"
#include "tools/Tools.h"

#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

#include <unistd.h>

namespace hostsim {

namespace {

volatile std::sig_atomic_t isStopAsked = 0;

std::string valueOf(const std::string& text, const std::string& key)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (startsWith(line, key + "="))
            return line.substr(key.size() + 1);
    return {};
}

void openAccessPoint(const Call& call, const std::string& name, const std::string& ssid)
{
    call.store().change([&](Host& host) {
        Card& card = *host.card(name);
        card.up = true;
        card.link.ssid = ssid;
        card.link.bssid = card.mac;
        card.link.keyManagement = "UNKNOWN";
        card.hostapd = ::getpid();
    });
}

void closeAccessPoint(const Call& call, const std::string& name)
{
    call.store().change([&](Host& host) {
        if (Card* card = host.card(name)) {
            card->hostapd = 0;
            dissociate(*card);
        }
    });
}

// Signals end the loop in serveUntilEnd(), so that the access point is closed properly.
void catchSignals()
{
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        std::signal(number, [](int) { isStopAsked = 1; });
}

void serveUntilEnd(const Call& call)
{
    while (!isStopAsked && isRunAlive(call.folder()))
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

int failInterface(Call& call, const std::string& path, const std::string& reason)
{
    call.out(reason + "Failed to set up interface with " + path +
             "\nFailed to initialize interface\n");
    return 1;
}

} // namespace

int hostapd(Call& call)
{
    // Options are ignored; the configuration file comes last.
    const std::string path = call.args().empty() ? "" : call.args().back();
    const std::string text = readFile(path);
    if (text.empty())
        return failInterface(call, path,
                             "Could not open configuration file '" + path + "' for reading.\n");
    const std::string name = valueOf(text, "interface");
    const Host host = call.host();
    const Card* card = host.card(name);
    const size_t length = valueOf(text, "wpa_passphrase").size();
    if (length != 0 && (length < 8 || length > 63))
        return failInterface(call, path,
                             "Line 1: invalid WPA passphrase length " + std::to_string(length) +
                                 " (expected 8..63)\n1 errors found in configuration file '" +
                                 path + "'\n");
    if (!card || !card->isWifi()) {
        call.out("Could not read interface " + name +
                 " flags: No such device\n"
                 "nl80211: Driver does not support authentication/association or connect "
                 "commands\nnl80211 driver initialization failed.\n" +
                 name + ": interface state UNINITIALIZED->DISABLED\n" + name +
                 ": AP-DISABLED \nhostapd_free_hapd_data: Interface " + name + " wasn't started\n");
        return 1;
    }
    catchSignals();
    openAccessPoint(call, name, valueOf(text, "ssid"));
    call.out(name + ": interface state UNINITIALIZED->ENABLED\n" + name + ": AP-ENABLED \n");
    call.flush();
    serveUntilEnd(call);
    closeAccessPoint(call, name);
    call.out(name + ": interface state ENABLED->DISABLED\n" + name + ": AP-DISABLED \n");
    return 0;
}

} // namespace hostsim
