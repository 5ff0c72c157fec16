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
constexpr int kDownNoticedMs = 4000; // until NetworkManager sees that a card was taken down

void finishScan(const Host& host, Card& card)
{
    const AccessPoint* asked =
        card.scanFor.empty() ? nullptr : strongest(host, card, card.scanFor, true);
    if (asked && asked->hidden &&
        std::count(card.askedSsids.begin(), card.askedSsids.end(), card.scanFor) == 0)
        card.askedSsids.push_back(card.scanFor);
    card.scan = scanRows(host, card);
    card.scanEndsMs = 0;
    card.scanFor.clear();
}

void moveToBest(const Host& host, Card& card, int marginDb)
{
    const AccessPoint* best = strongest(host, card, card.ssid, true);
    const AccessPoint* current = host.accessPoint(card.bssid);
    if (best && (!current || best->level >= current->level + marginDb))
        associate(card, *best);
}

void lose(Card& card, int64_t now)
{
    if (!card.addresses.empty())
        card.staleAddress = card.addresses.front().substr(0, card.addresses.front().find('/'));
    deactivate(card);
    card.idleSinceMs = now;
}

void keepLink(const Host& host, Card& card, int64_t now)
{
    const AccessPoint* current = host.accessPoint(card.bssid);
    if (!current || !isHeard(host, *current) || current->ssid != card.ssid) {
        if (const AccessPoint* other = strongest(host, card, card.ssid, true))
            return associate(card, *other);
        return lose(card, now);
    }
    if (current->level >= kSelfRoamDbm) {
        card.weakSinceMs = 0;
        return;
    }
    if (card.weakSinceMs == 0)
        card.weakSinceMs = now;
    if (host.selfRoam && now - card.weakSinceMs >= kSelfRoamMs * host.pace)
        moveToBest(host, card, 1);
}

bool isUsable(const Host& host, const Card& card, const Profile& profile)
{
    const Keyfile keyfile(profile.text);
    return keyfile.raw("connection", "autoconnect") != "false" && fits(keyfile, card) &&
           tryJoining(host, card, keyfile) == Joining::Done;
}

void connectByItself(Host& host, Card& card)
{
    Profile* latest = nullptr;
    for (Profile& profile : host.profiles)
        if (isUsable(host, card, profile) && (!latest || profile.usedAt > latest->usedAt))
            latest = &profile;
    if (latest)
        activate(host, card, *latest);
}

bool mayConnect(const Host& host, const Card& card, int64_t now)
{
    return host.networkManager && !card.isActive() && !card.keptDown && card.isManaged() &&
           host.autoconnectMs >= 0 && now - card.idleSinceMs >= host.autoconnectMs;
}

// However hostapd ends, the kernel closes its access point.
void closeDeadServer(Card& card)
{
    if (card.server == 0 || ::kill(card.server, 0) == 0)
        return;
    card.server = 0;
    dissociate(card);
}

void passRadioTime(Host& host, Card& card, int64_t now)
{
    closeDeadServer(card);
    const bool isOn = card.up && !card.blocked;
    if (!isOn && !card.bssid.empty()) {
        dissociate(card);
        card.idleSinceMs = now;
    } else if (!card.bssid.empty() && !isHotspot(card)) {
        keepLink(host, card, now);
    } else if (isOn && card.isActive() && card.bssid.empty()) {
        if (Profile* profile = host.profile(card.profile))
            activate(host, card, *profile);
    }
    const bool isFinished = card.scanEndsMs > 0 && now >= card.scanEndsMs;
    if (isFinished && isOn) {
        finishScan(host, card);
        if (host.selfRoam && !card.bssid.empty())
            moveToBest(host, card, 5);
    } else if (isOn && card.bssid.empty() && card.scanEndsMs == 0) {
        card.scan = scanRows(host, card); // an idle card scans on and on
    }
}

void passCardTime(Host& host, Card& card, int64_t now)
{
    if (card.isWifi())
        passRadioTime(host, card, now);
    const bool isGone = !card.up || card.blocked || !card.carrier;
    if (card.isActive() && isGone && now - card.idleSinceMs >= kDownNoticedMs)
        deactivate(card);
    if (mayConnect(host, card, now) && !isGone)
        connectByItself(host, card);
}

void startLoopback(Host& host, Card& card)
{
    Keyfile keyfile;
    keyfile.setText("connection", "id", "lo");
    keyfile.setRaw("connection", "uuid", newUuid(host));
    keyfile.setRaw("connection", "type", "loopback");
    keyfile.setRaw("connection", "interface-name", "lo");
    card.profile = keyfile.raw("connection", "uuid");
    card.path = 1;
    card.addresses = {"127.0.0.1/8"};
    card.addresses6 = {"::1/128"};
    host.profiles.push_back(
        {card.profile, std::string(kVolatileFolder) + "/lo.nmconnection", keyfile.toText(), 0});
}

// Everything that passing time can change; far cheaper than the whole as JSON, and every call of
// a stand-in passes here several times.
std::string fingerprint(const Host& host)
{
    std::string text;
    for (const Card& card : host.cards) {
        text += card.profile + '|' + card.bssid + '|' + card.ssid + '|' + card.staleAddress + '|';
        for (const int64_t number : {int64_t(card.path), card.scanEndsMs, card.weakSinceMs,
                                     card.idleSinceMs, int64_t(card.askedSsids.size())})
            text += std::to_string(number) + '|';
        for (const ScanRow& row : card.scan)
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
        if (card.isWifi() && card.p2pMac.empty())
            card.p2pMac = "42" + card.mac.substr(2);
        if (card.isWifi() && card.supplicantUuid.empty())
            card.supplicantUuid = "362db47b-a53a-5191-88fb-5458b986b2e4";
    }
    reloadProfiles(host, state);
    passTime(host, nowMs());
}

bool passTime(Host& host, int64_t now)
{
    const std::string before = fingerprint(host);
    for (Card& card : host.cards)
        passCardTime(host, card, now);
    return fingerprint(host) != before;
}

bool startScan(Host& host, Card& card, int64_t now, const std::string& ssid)
{
    if (card.scanEndsMs > 0)
        return false;
    card.scanEndsMs = now + static_cast<int64_t>(kScanMs * host.pace);
    card.scanFor = ssid;
    return true;
}

} // namespace hostsim
