#pragma once

#include "model/Host.h"

namespace hostsim {

// Which keys a scene has, for reading and writing alike: `fields(archive, value)` hands each key
// and its field to the archive, in the order of the text. Archive::Of says whether the archive
// may write to the value.

template <typename Archive, typename T>
using Of = typename Archive::template Of<T>;

template <typename Archive>
void fields(Archive& a, Of<Archive, Traffic>& v)
{
    a("rxPackets", v.rxPackets)("rxBytes", v.rxBytes);
    a("txPackets", v.txPackets)("txBytes", v.txBytes);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Lease>& v)
{
    a("address", v.address)("prefix", v.prefix)("gateway", v.gateway)("dns", v.dns);
    a("address6", v.address6)("gateway6", v.gateway6);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, ScanRow>& v)
{
    a("bssid", v.bssid)("frequency", v.frequency)("level", v.level)("flags", v.flags);
    a("ssid", v.ssid);
}

// A card is one flat object, whichever part of the struct a key belongs to.
template <typename Archive>
void fields(Archive& a, Of<Archive, Card>& v)
{
    a("name", v.name)("type", v.type)("mac", v.mac)("driver", v.driver);
    a("description", v.description)("mtu", v.mtu)("queueLength", v.queueLength);
    a("up", v.up)("carrier", v.carrier)("blocked", v.blocked)("lease", v.lease);
    a("traffic", v.traffic)("profile", v.nm.profile)("path", v.nm.path);
    a("keptDown", v.nm.keptDown)("addresses", v.ip.addresses)("addresses6", v.ip.addresses6);
    a("gateway", v.ip.gateway)("gateway6", v.ip.gateway6)("dns", v.ip.dns);
    a("p2pMac", v.supplicant.p2pMac)("supplicantUuid", v.supplicant.uuid);
    a("bssid", v.link.bssid)("ssid", v.link.ssid)("keyManagement", v.link.keyManagement);
    a("eapMethod", v.link.eapMethod)("server", v.hostapd);
    a("staleAddress", v.supplicant.staleAddress)("idleSinceMs", v.nm.idleSinceMs);
    a("weakSinceMs", v.link.weakSinceMs)("scanEndsMs", v.supplicant.scanEndsMs);
    a("scanFor", v.supplicant.scanFor)("askedSsids", v.supplicant.askedSsids);
    a("scan", v.supplicant.scan)("bitRate", v.can.bitRate)("restartMs", v.can.restartMs);
    a("interrupt", v.interrupt)("timing", v.can.timing);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Identity>& v)
{
    a("identity", v.identity)("password", v.password)("eap", v.eap)("keyPassword", v.keyPassword);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, AccessPoint>& v)
{
    a("name", v.name)("ssid", v.ssid)("bssid", v.bssid)("frequency", v.frequency);
    a("level", v.level)("security", v.security)("password", v.password);
    a("identities", v.identities)("hidden", v.hidden)("on", v.on)("lease", v.lease);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Profile>& v)
{
    a("uuid", v.uuid)("file", v.file)("text", v.text)("usedAt", v.usedAt);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Clock>& v)
{
    a("offsetMs", v.offsetMs)("ntp", v.ntp)("synchronized", v.synchronized);
    a("localRtc", v.localRtc)("zone", v.zone);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, MixerControl>& v)
{
    a("name", v.name)("capabilities", v.capabilities)("capture", v.capture);
    a("maximum", v.maximum)("value", v.value)("gain", v.gain);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, SoundCard>& v)
{
    a("id", v.id)("driver", v.driver)("name", v.name)("longName", v.longName);
    a("controls", v.controls);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, ThermalZone>& v)
{
    a("type", v.type)("milliCelsius", v.milliCelsius);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Disk>& v)
{
    a("filesystem", v.filesystem)("type", v.type)("mountedOn", v.mountedOn)("blocks", v.blocks);
    a("used", v.used)("available", v.available)("pseudo", v.pseudo)("automount", v.automount);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Fault>& v)
{
    a("tool", v.tool)("match", v.match)("kind", v.kind)("text", v.text)("error", v.error);
    a("status", v.status)("ms", v.ms)("times", v.times);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Platform>& v)
{
    a("functions", v.functions)("volume", v.volume)("ntpServer", v.ntpServer)("ntp", v.ntp);
}

template <typename Archive>
void fields(Archive& a, Of<Archive, Host>& v)
{
    a("pace", v.pace)("reachDbm", v.reachDbm)("autoconnectMs", v.autoconnectMs);
    a("selfRoam", v.selfRoam)("networkManager", v.networkManager)("cards", v.cards);
    a("accessPoints", v.accessPoints)("peers", v.peers)("names", v.names)("sysctl", v.sysctl);
    a("files", v.files)("services", v.services)("clock", v.clock)("sound", v.sound);
    a("thermal", v.thermal)("disks", v.disks)("platform", v.platform)("faults", v.faults);
    a("profiles", v.profiles)("nextUuids", v.nextUuids)("nextPath", v.nextPath);
}

} // namespace hostsim
