#include "model/Time.h"

#include "model/Activation.h"
#include "model/MachineClock.h"
#include "model/Profiles.h"
#include "model/Radio.h"

#include <algorithm>

#include <csignal>

namespace hostsim {

namespace {

constexpr int kScanMs = 3500;
constexpr int kSelfRoamDbm = -70;
constexpr int kSelfRoamMs = 3000;
constexpr int kDownNoticedMs = 4000; // until NetworkManager notices that a card was taken down

void finishScan(const Host& host, Card& card)
{
    const AccessPoint* asked = card.supplicant.scanFor.empty()
                                   ? nullptr
                                   : strongest(host, card, card.supplicant.scanFor, true);
    if (asked && asked->hidden &&
        std::count(card.supplicant.askedSsids.begin(), card.supplicant.askedSsids.end(),
                   card.supplicant.scanFor) == 0)
        card.supplicant.askedSsids.push_back(card.supplicant.scanFor);
    card.supplicant.scan = scanRows(host, card);
    card.supplicant.scanEndsMs = 0;
    card.supplicant.scanFor.clear();
}

void moveToBest(const Host& host, Card& card, int marginDb)
{
    const AccessPoint* best = strongest(host, card, card.link.ssid, true);
    const AccessPoint* current = host.accessPoint(card.link.bssid);
    if (best && (!current || best->level >= current->level + marginDb))
        associate(card, *best);
}

// The supplicant goes on showing the address for a while after the link is gone.
void loseLink(Card& card, int64_t now)
{
    if (!card.ip.addresses.empty())
        card.supplicant.staleAddress =
            card.ip.addresses.front().substr(0, card.ip.addresses.front().find('/'));
    deactivate(card);
    card.nm.idleSinceMs = now;
}

void keepLink(const Host& host, Card& card, int64_t now)
{
    const AccessPoint* current = host.accessPoint(card.link.bssid);
    if (!current || !isHeard(host, *current) || current->ssid != card.link.ssid) {
        if (const AccessPoint* other = strongest(host, card, card.link.ssid, true))
            return associate(card, *other);
        return loseLink(card, now);
    }
    if (current->level >= kSelfRoamDbm) {
        card.link.weakSinceMs = 0;
        return;
    }
    if (card.link.weakSinceMs == 0)
        card.link.weakSinceMs = now;
    // One bad reading is no reason to roam.
    if (host.selfRoam && now - card.link.weakSinceMs >= kSelfRoamMs * host.pace)
        moveToBest(host, card, 1);
}

bool isUsable(const Host& host, const Card& card, const Profile& profile)
{
    const Keyfile keyfile(profile.text);
    return keyfile.raw("connection", "autoconnect") != "false" && fits(keyfile, card) &&
           tryJoining(host, card, keyfile) == Joining::Done;
}

// Of several usable profiles NetworkManager takes the one that was used last.
void autoconnect(Host& host, Card& card)
{
    Profile* latest = nullptr;
    for (Profile& profile : host.profiles)
        if (isUsable(host, card, profile) && (!latest || profile.usedAt > latest->usedAt))
            latest = &profile;
    if (latest)
        activate(host, card, *latest);
}

bool mayAutoconnect(const Host& host, const Card& card, int64_t now)
{
    return host.networkManager && !card.isActive() && !card.nm.keptDown && card.isManaged() &&
           host.autoconnectMs >= 0 && now - card.nm.idleSinceMs >= host.autoconnectMs;
}

// However hostapd ends, its access point ends with it.
void closeDeadHotspot(Card& card)
{
    if (card.hostapd == 0 || ::kill(card.hostapd, 0) == 0)
        return;
    card.hostapd = 0;
    dissociate(card);
}

void runRadioTimers(Host& host, Card& card, int64_t now)
{
    closeDeadHotspot(card);
    // A card that is switched off loses its link at once, but NetworkManager takes kDownNoticedMs
    // to notice. If it is on again before that, the connection is restored.
    const bool isOn = card.up && !card.blocked;
    if (!isOn && !card.link.bssid.empty()) {
        dissociate(card);
        card.nm.idleSinceMs = now;
    } else if (!card.link.bssid.empty() && !isHotspot(card)) {
        keepLink(host, card, now);
    } else if (isOn && card.isActive() && card.link.bssid.empty()) {
        if (Profile* profile = host.profile(card.nm.profile))
            activate(host, card, *profile);
    }
    const bool isFinished = card.supplicant.scanEndsMs > 0 && now >= card.supplicant.scanEndsMs;
    if (isFinished && isOn) {
        finishScan(host, card);
        // After a scan even a good link is left for a clearly better one.
        if (host.selfRoam && !card.link.bssid.empty())
            moveToBest(host, card, 5);
    } else if (isOn && card.link.bssid.empty() && card.supplicant.scanEndsMs == 0) {
        card.supplicant.scan = scanRows(host, card); // an idle card keeps scanning
    }
}

void runCardTimers(Host& host, Card& card, int64_t now)
{
    if (card.isWifi())
        runRadioTimers(host, card, now);
    const bool isGone = !card.up || card.blocked || !card.carrier;
    if (card.isActive() && isGone && now - card.nm.idleSinceMs >= kDownNoticedMs)
        deactivate(card);
    if (mayAutoconnect(host, card, now) && !isGone)
        autoconnect(host, card);
}

void startLoopback(Host& host, Card& card)
{
    Keyfile keyfile;
    keyfile.setText("connection", "id", "lo");
    keyfile.setRaw("connection", "uuid", newUuid(host));
    keyfile.setRaw("connection", "type", "loopback");
    keyfile.setRaw("connection", "interface-name", "lo");
    card.nm.profile = keyfile.raw("connection", "uuid");
    card.nm.path = 1;
    card.ip.addresses = {"127.0.0.1/8"};
    card.ip.addresses6 = {"::1/128"};
    host.profiles.push_back(
        {card.nm.profile, std::string(kVolatileFolder) + "/lo.nmconnection", keyfile.toText(), 0});
}

// Everything that passTime() may change. To compare this is much cheaper than to compare the whole
// state, and every call of a stand-in does it several times.
std::string fingerprint(const Host& host)
{
    std::string text;
    for (const Card& card : host.cards) {
        text += card.nm.profile + '|' + card.link.bssid + '|' + card.link.ssid + '|' +
                card.supplicant.staleAddress + '|';
        for (const int64_t number :
             {int64_t(card.nm.path), card.supplicant.scanEndsMs, card.link.weakSinceMs,
              card.nm.idleSinceMs, int64_t(card.supplicant.askedSsids.size())})
            text += std::to_string(number) + '|';
        for (const ScanRow& row : card.supplicant.scan)
            text += row.bssid + std::to_string(row.level) + row.flags + row.ssid;
    }
    return text;
}

} // namespace

void startHost(Host& host, const StateFolder& state)
{
    for (Card& card : host.cards) {
        if (card.type == "loopback" && !card.isActive())
            startLoopback(host, card);
        // Both only have to look right: nothing else refers to them.
        if (card.isWifi() && card.supplicant.p2pMac.empty())
            card.supplicant.p2pMac = "42" + card.mac.substr(2);
        if (card.isWifi() && card.supplicant.uuid.empty())
            card.supplicant.uuid = "362db47b-a53a-5191-88fb-5458b986b2e4";
    }
    reloadProfiles(host, state);
    passTime(host, nowMs());
}

bool passTime(Host& host, int64_t now)
{
    const std::string before = fingerprint(host);
    for (Card& card : host.cards)
        runCardTimers(host, card, now);
    return fingerprint(host) != before;
}

bool startScan(Host& host, Card& card, int64_t now, const std::string& ssid)
{
    if (card.supplicant.scanEndsMs > 0)
        return false;
    card.supplicant.scanEndsMs = now + static_cast<int64_t>(kScanMs * host.pace);
    card.supplicant.scanFor = ssid;
    return true;
}

} // namespace hostsim
