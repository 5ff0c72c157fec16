#include "model/MachineClock.h"
#include "model/Radio.h"
#include "model/Time.h"
#include "tools/Faults.h"
#include "tools/Tools.h"

namespace hostsim {

namespace {

constexpr char kBanner[] = "wpa_cli v2.10\n"
                           "Copyright (c) 2004-2022, Jouni Malinen <j@w1.fi> and contributors\n\n"
                           "This software may be distributed under the terms of the BSD license.\n"
                           "See README for more details.\n\n\n\nInteractive mode\n\n";

int scan(Call& call, const std::string& name)
{
    call.store().change([&](Host& host) {
        Card& card = *host.card(name);
        if (!card.up || card.blocked)
            call.out("FAIL\n");
        else
            call.out(startScan(host, card, nowMs()) ? "OK\n" : "FAIL-BUSY\n");
    });
    return 0;
}

int scanResult(Call& call, const Card& card)
{
    call.out("bssid / frequency / signal level / flags / ssid\n");
    for (const ScanRow& row : card.supplicant.scan)
        call.out(row.bssid + "\t" + std::to_string(row.frequency) + "\t" +
                 std::to_string(row.level) + "\t" + row.flags + "\t" + wirelessEscaped(row.ssid) +
                 "\n");
    return 0;
}

int roam(Call& call, const std::string& name)
{
    call.store().change([&](Host& host) {
        Card& card = *host.card(name);
        const AccessPoint* target = host.accessPoint(call.arg(3));
        const bool isPossible = target && isHeard(host, *target) && !card.link.ssid.empty() &&
                                !isHotspot(card) && target->ssid == card.link.ssid;
        if (isPossible)
            associate(card, *target);
        call.out(isPossible ? "OK\n" : "FAIL\n");
    });
    return 0;
}

std::string enterpriseLines(const Card& card)
{
    const bool isTls = card.link.eapMethod == "tls";
    std::string text = "Supplicant PAE state=AUTHENTICATED\nsuppPortStatus=Authorized\n"
                       "EAP state=SUCCESS\n";
    text += isTls ? "selectedMethod=13 (EAP-TLS)\n" : "selectedMethod=25 (EAP-PEAP)\n";
    text += "eap_tls_version=TLSv1.2\nEAP TLS cipher=ECDHE-ECDSA-AES256-GCM-SHA384\n"
            "tls_session_reused=0\n";
    if (!isTls)
        text += "EAP-PEAPv1 Phase2 method=MSCHAPV2\n";
    return text + "eap_session_id=" + (isTls ? "0d" : "19") +
           "eb626775b837a3f29873fb2483a5933d69709b00c5fd905c5c61cb514dce7ff9"
           "9ef02f257fdfe825e2a035c8be0dc5d260104fafdbde9d223ab26ff3e7fc034d\n";
}

std::string connectionLines(const Host& host, const Card& card)
{
    const AccessPoint* ap = host.accessPoint(card.link.bssid);
    const bool isOpen = card.link.keyManagement == "NONE";
    const std::string cipher = isOpen ? "NONE" : "CCMP";
    return "bssid=" + card.link.bssid + "\nfreq=" + std::to_string(ap ? ap->frequency : 2437) +
           "\nssid=" + wirelessEscaped(card.link.ssid) +
           "\nid=0\nmode=" + (isHotspot(card) ? "AP" : "station") +
           "\nwifi_generation=4\npairwise_cipher=" + cipher + "\ngroup_cipher=" + cipher +
           "\nkey_mgmt=" + card.link.keyManagement + "\nwpa_state=COMPLETED\n";
}

std::string idleState(const Card& card)
{
    if (!card.up || card.blocked)
        return "INTERFACE_DISABLED";
    return card.supplicant.staleAddress.empty() ? "INACTIVE" : "SCANNING";
}

int status(Call& call, const Host& host, const Card& card)
{
    const bool isConnected = !card.link.bssid.empty();
    call.out(isConnected ? connectionLines(host, card) : "wpa_state=" + idleState(card) + "\n");
    std::string address = card.supplicant.staleAddress;
    if (!card.ip.addresses.empty())
        address = card.ip.addresses.front().substr(0, card.ip.addresses.front().find('/'));
    if (!address.empty())
        call.out("ip_address=" + address + "\n");
    call.out("p2p_device_address=" + card.supplicant.p2pMac + "\naddress=" + card.mac + "\n");
    if (isConnected && !card.link.eapMethod.empty())
        call.out(enterpriseLines(card));
    call.out("uuid=" + card.supplicant.uuid + "\n");
    return 0;
}

// Without a command the real one becomes interactive and never ends by itself.
int interactive(Call& call, const std::string& name)
{
    call.out(kBanner);
    call.out("Could not connect to wpa_supplicant: " + name + " - re-trying\n");
    call.flush();
    waitForEndOfRun(call.folder());
    return 0;
}

} // namespace

int wpaCli(Call& call)
{
    if (call.arg(0) != "-i" || !call.has(2))
        return interactive(call, call.arg(0) == "-i" ? call.arg(1) : "");
    const std::string name = call.arg(1);
    const std::string command = call.arg(2);
    const Host host = call.host();
    const Card* card = host.card(name);
    if (!card || !card->isWifi() || !host.networkManager)
        return call.fail(255, "Failed to connect to non-global ctrl_ifname: " + name +
                                  "  error: No such file or directory\n");
    if (command == "scan")
        return scan(call, name);
    if (command == "scan_result" || command == "scan_results")
        return scanResult(call, *card);
    if (command == "roam")
        return roam(call, name);
    if (command == "status")
        return status(call, host, *card);
    call.out("Unknown command '" + command + "'\n");
    return 255;
}

} // namespace hostsim
