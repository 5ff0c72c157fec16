#include "model/Radio.h"

#include <algorithm>

namespace hostsim {

namespace {

bool isAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

std::string flagsOfNetwork(const AccessPoint& ap, const std::string& shownSsid)
{
    std::string flags = ap.security == "psk"   ? "[WPA2-PSK-CCMP][ESS]"
                        : ap.security == "eap" ? "[WPA2-EAP-CCMP][ESS]"
                                               : "[ESS]";
    return isAscii(shownSsid) ? flags : flags + "[UTF-8]";
}

ScanRow rowOf(const AccessPoint& ap, const std::string& shownSsid)
{
    return {ap.bssid, ap.frequency, ap.level, flagsOfNetwork(ap, shownSsid), shownSsid};
}

bool wasAskedFor(const Card& card, const std::string& ssid)
{
    const auto& asked = card.supplicant.askedSsids;
    return std::find(asked.begin(), asked.end(), ssid) != asked.end();
}

} // namespace

bool isHeard(const Host& host, const AccessPoint& ap)
{
    return ap.on && ap.level >= host.reachDbm;
}

const AccessPoint* strongest(const Host& host, const Card& card, const std::string& ssid,
                             bool withHidden)
{
    const AccessPoint* best = nullptr;
    // A radio that is off receives nothing.
    if (!card.up || card.blocked)
        return best;
    for (const AccessPoint& ap : host.accessPoints) {
        const bool isFound = !ap.hidden || withHidden || wasAskedFor(card, ssid);
        if (ap.ssid == ssid && isFound && isHeard(host, ap) && (!best || ap.level > best->level))
            best = &ap;
    }
    return best;
}

std::vector<ScanRow> scanRows(const Host& host, const Card& card)
{
    std::vector<ScanRow> rows;
    std::vector<ScanRow> named; // a hidden network that was asked for is listed twice
    for (const AccessPoint& ap : host.accessPoints) {
        if (!isHeard(host, ap))
            continue;
        // A hidden network announces itself with an empty SSID.
        rows.push_back(rowOf(ap, ap.hidden ? "" : ap.ssid));
        if (ap.hidden && wasAskedFor(card, ap.ssid))
            named.push_back(rowOf(ap, ap.ssid));
    }
    rows.insert(rows.end(), named.begin(), named.end());
    return rows;
}

void associate(Card& card, const AccessPoint& ap)
{
    card.link.bssid = ap.bssid;
    card.link.ssid = ap.ssid;
    card.link.keyManagement = ap.security == "psk"   ? "WPA2-PSK"
                              : ap.security == "eap" ? "WPA2/IEEE 802.1X/EAP"
                                                     : "NONE";
    card.link.weakSinceMs = 0;
}

void dissociate(Card& card)
{
    card.link = {};
}

bool isHotspot(const Card& card)
{
    return card.isWifi() && !card.link.bssid.empty() && card.link.bssid == card.mac;
}

} // namespace hostsim
