#include "model/Activation.h"

#include "model/MachineClock.h"
#include "model/Radio.h"
#include "model/Words.h"

#include <algorithm>
#include <cstdio>
#include <functional>

namespace hostsim {

namespace {

constexpr char kHotspotAddress[] = "10.42.0.1/24"; // NetworkManager's for a shared connection

bool hasEapMethod(const Keyfile& keyfile, const std::string& eap)
{
    const auto methods = split(keyfile.raw("802-1x", "eap"), ';');
    return std::find(methods.begin(), methods.end(), eap) != methods.end();
}

bool matches(const Identity& known, const Keyfile& keyfile)
{
    if (!hasEapMethod(keyfile, known.eap) || keyfile.text("802-1x", "identity") != known.identity)
        return false;
    if (known.eap == "tls")
        return keyfile.has("802-1x", "client-cert") && keyfile.has("802-1x", "private-key") &&
               keyfile.text("802-1x", "private-key-password") == known.keyPassword;
    return keyfile.text("802-1x", "password") == known.password;
}

// An open network rejects a profile with security settings.
bool acceptsSecrets(const AccessPoint& ap, const Keyfile& keyfile)
{
    if (ap.security == "psk")
        return keyfile.text("wifi-security", "psk") == ap.password;
    if (ap.security != "eap")
        return !keyfile.hasGroup("wifi-security");
    return std::any_of(ap.identities.begin(), ap.identities.end(),
                       [&](const Identity& known) { return matches(known, keyfile); });
}

bool isHotspotProfile(const Keyfile& keyfile)
{
    return keyfile.raw("wifi", "mode") == "ap";
}

const AccessPoint* networkOf(const Host& host, const Card& card, const Keyfile& keyfile)
{
    return strongest(host, card, keyfile.ssid(), keyfile.raw("wifi", "hidden") == "true");
}

const Lease& leaseFor(const Host& host, const Card& card, const Keyfile& keyfile)
{
    const AccessPoint* ap = card.isWifi() ? networkOf(host, card, keyfile) : nullptr;
    return ap ? ap->lease : card.lease;
}

// Looks random but never changes for a connection, like a stable privacy address.
std::string linkLocalAddress(const std::string& seed)
{
    const size_t hash = std::hash<std::string>()(seed);
    char text[64];
    std::snprintf(text, sizeof text, "fe80::%x:%x:%x:%x/64",
                  static_cast<unsigned>(hash & 0x7fff) + 0x1000,
                  static_cast<unsigned>(hash >> 16 & 0x7fff) + 0x1000,
                  static_cast<unsigned>(hash >> 32 & 0x7fff) + 0x1000,
                  static_cast<unsigned>(hash >> 48 & 0x7fff) + 0x1000);
    return text;
}

// The address that the kernel itself derives from the MAC, as on a hotspot.
std::string eui64Address(const std::string& mac)
{
    unsigned b[6] = {};
    std::sscanf(mac.c_str(), "%x:%x:%x:%x:%x:%x", b, b + 1, b + 2, b + 3, b + 4, b + 5);
    char text[64];
    const unsigned first = (b[0] ^ 2) << 8 | b[1];
    std::snprintf(text, sizeof text, first ? "fe80::%x:%x:%x:%x/64" : "fe80:%.0x:%x:%x:%x/64",
                  first, b[2] << 8 | 0xff, 0xfe00 | b[3], b[4] << 8 | b[5]);
    return text;
}

void configure(const Host& host, Card& card, const Keyfile& keyfile)
{
    const std::string method = keyfile.raw("ipv4", "method");
    card.ip.addresses6 = {linkLocalAddress(card.name + keyfile.raw("connection", "uuid"))};
    card.ip.addresses.clear();
    card.ip.gateway.clear();
    card.ip.dns.clear();
    if (method == "manual") {
        card.ip.addresses = {keyfile.address()};
        card.ip.gateway = keyfile.gateway();
        for (const std::string& server : split(keyfile.raw("ipv4", "dns"), ';'))
            if (!server.empty())
                card.ip.dns.push_back(server);
    } else if (method == "shared") {
        card.ip.addresses = {kHotspotAddress};
        card.ip.addresses6 = {eui64Address(card.mac)};
    } else {
        const Lease& lease = leaseFor(host, card, keyfile);
        card.ip.addresses = {lease.address + "/" + std::to_string(lease.prefix)};
        card.ip.gateway = lease.gateway;
        card.ip.gateway6 = lease.gateway6;
        if (!lease.address6.empty())
            card.ip.addresses6.insert(card.ip.addresses6.begin(), lease.address6);
        card.ip.dns = lease.dns;
    }
}

void connectRadio(const Host& host, Card& card, const Keyfile& keyfile)
{
    if (isHotspotProfile(keyfile)) {
        card.link.bssid = card.mac;
        card.link.ssid = keyfile.ssid();
        card.link.keyManagement = "UNKNOWN";
        return;
    }
    if (const AccessPoint* ap = networkOf(host, card, keyfile)) {
        associate(card, *ap);
        if (ap->security == "eap")
            card.link.eapMethod = hasEapMethod(keyfile, "tls") ? "tls" : "peap";
        // A profile marked as hidden asks for its SSID, which makes the network known to scans.
        if (ap->hidden && keyfile.raw("wifi", "hidden") == "true" &&
            std::count(card.supplicant.askedSsids.begin(), card.supplicant.askedSsids.end(),
                       ap->ssid) == 0)
            card.supplicant.askedSsids.push_back(ap->ssid);
    }
}

Joining tryRadio(const Host& host, const Card& card, const Keyfile& keyfile)
{
    if (isHotspotProfile(keyfile))
        return Joining::Done;
    const AccessPoint* ap = networkOf(host, card, keyfile);
    if (!ap)
        return Joining::NoNetwork;
    return acceptsSecrets(*ap, keyfile) ? Joining::Done : Joining::NoSecrets;
}

} // namespace

// A Wi-Fi card that is down or blocked finds no network, and that is what it reports; NotReady is
// left for wired ones.
Joining tryJoining(const Host& host, const Card& card, const Keyfile& keyfile)
{
    if (card.isWifi()) {
        const Joining radio = tryRadio(host, card, keyfile);
        if (radio != Joining::Done)
            return radio;
    }
    if (!card.up || card.blocked || !card.carrier)
        return Joining::NotReady;
    const bool asksDhcp = keyfile.raw("ipv4", "method") == "auto";
    const bool isAnswered = !leaseFor(host, card, keyfile).address.empty();
    return asksDhcp && !isAnswered ? Joining::NoLease : Joining::Done;
}

Joining activate(Host& host, Card& card, Profile& profile)
{
    const Keyfile keyfile(profile.text);
    const Joining result = tryJoining(host, card, keyfile);
    deactivate(card);
    card.nm.keptDown = result != Joining::Done;
    if (result != Joining::Done)
        return result;
    card.nm.profile = profile.uuid;
    card.nm.path = host.nextPath++;
    card.supplicant.staleAddress.clear();
    // By the simulated clock, which is the one that NetworkManager has.
    profile.usedAt = (nowMs() + host.clock.offsetMs) / 1000;
    configure(host, card, keyfile);
    if (card.isWifi())
        connectRadio(host, card, keyfile);
    return result;
}

void deactivate(Card& card)
{
    // NetworkManager leaves the loopback alone.
    if (card.type == "loopback")
        return;
    card.nm.profile.clear();
    card.nm.path = 0;
    card.ip = {};
    card.nm.idleSinceMs = nowMs();
    dissociate(card);
}

} // namespace hostsim
