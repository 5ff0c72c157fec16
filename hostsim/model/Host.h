#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace hostsim {

/// What an interface has carried, as `ifconfig` shows it.
struct Traffic
{
    long rxPackets = 0;
    long rxBytes = 0;
    long txPackets = 0;
    long txBytes = 0;
};

/// What the network behind a card or access point hands out by DHCP. Empty address: no server.
struct Lease
{
    std::string address;
    int prefix = 24;
    std::string gateway;
    std::vector<std::string> dns;
    std::string address6; ///< with prefix, from a router advertisement; empty: none
    std::string gateway6;
};

/// Addresses and routes of a card, whether set by NetworkManager or by ifconfig.
struct IpSettings
{
    std::vector<std::string> addresses; ///< IPv4 with prefix: "10.0.0.5/24"
    std::vector<std::string> addresses6;
    std::string gateway;
    std::string gateway6;
    std::vector<std::string> dns;
};

/// What NetworkManager knows of a card.
struct ManagerState
{
    std::string profile;     ///< UUID of the active profile, empty for none
    int path = 0;            ///< number of the active connection
    bool keptDown = false;   ///< taken down by hand or by a failure: not brought up by itself
    int64_t idleSinceMs = 0; ///< start of the delay before it connects by itself
};

/// The access point that a Wi-Fi card uses, all empty without one.
struct WifiLink
{
    std::string bssid; ///< the card's own address on a hotspot
    std::string ssid;
    std::string keyManagement;
    std::string eapMethod;
    int64_t weakSinceMs = 0; ///< since when it has been too weak, 0 while it is not
};

/// One row of the supplicant's table of scan results.
struct ScanRow
{
    std::string bssid;
    int frequency = 0;
    int level = 0;
    std::string flags;
    std::string ssid;
};

/// What the supplicant knows of a Wi-Fi card beyond its link.
struct SupplicantState
{
    std::string p2pMac;
    std::string uuid;
    std::string staleAddress;            ///< shown by `wpa_cli status` for a while after a loss
    int64_t scanEndsMs = 0;              ///< end of the scan in progress; 0: none
    std::string scanFor;                 ///< SSID that this scan asks for by name
    std::vector<std::string> askedSsids; ///< hidden networks that a directed scan has found
    std::vector<ScanRow> scan;
};

struct CanState
{
    int bitRate = 0;
    int restartMs = 0;
    std::string timing;
};

/// One network interface: what the kernel knows, and a part for each program that knows more.
struct Card
{
    std::string name;
    std::string type = "ethernet"; ///< loopback, ethernet, wifi, can, vcan, dummy, radiotap
    std::string mac;
    std::string driver;
    std::string description; ///< what `lshw` calls it; empty: by type
    int mtu = 1500;
    int queueLength = 1000;
    int interrupt = 0; ///< shown by `ifconfig`; 0: none
    bool up = true;
    bool carrier = true;  ///< wired: a cable is in; CAN: the bus is there
    bool blocked = false; ///< Wi-Fi: the radio is switched off (rfkill)
    Lease lease;          ///< wired: what DHCP gives here
    Traffic traffic;

    IpSettings ip;
    ManagerState nm;
    WifiLink link;
    SupplicantState supplicant;
    int hostapd = 0; ///< process number of the hostapd that runs on the card, 0 for none
    CanState can;

    bool isWifi() const { return type == "wifi"; }
    bool isCan() const { return type == "can" || type == "vcan"; }
    bool isManaged() const { return type == "ethernet" || type == "wifi" || type == "loopback"; }
    bool isActive() const { return !nm.profile.empty(); }
    bool isRunning() const;
};

inline bool Card::isRunning() const
{
    if (!up || blocked)
        return false;
    if (type == "dummy" || type == "radiotap")
        return false;
    return isWifi() ? !link.bssid.empty() : carrier;
}

/// A user that an 802.1X network accepts.
struct Identity
{
    std::string identity;
    std::string password; ///< for peap and ttls
    std::string eap = "peap";
    std::string keyPassword; ///< for tls: pass phrase of the private key
};

struct AccessPoint
{
    std::string name; ///< its name for `hostsim set`: "ap2"
    std::string ssid;
    std::string bssid;
    int frequency = 2412;
    int level = -50;
    std::string security = "psk"; ///< open, psk, eap
    std::string password;
    std::vector<Identity> identities;
    bool hidden = false;
    bool on = true;
    Lease lease;
};

/// A profile as NetworkManager holds it in memory: text and path of its keyfile (a path of the
/// simulated host), and when it was last up, in seconds since 1970.
struct Profile
{
    std::string uuid;
    std::string file;
    std::string text;
    int64_t usedAt = 0;
};

struct Clock
{
    int64_t offsetMs = 0; ///< simulated clock minus the machine's
    bool ntp = false;
    bool synchronized = false;
    bool localRtc = false;
    std::string zone = "Etc/UTC"; ///< what /etc/localtime links to at first; empty: no link
};

struct MixerControl
{
    std::string name;
    std::string capabilities = "pvolume";
    bool capture = false;
    int maximum = 100;
    int value = 50;
    std::string gain; ///< " [-20.00dB] [on]"; empty for a control that has neither
};

struct SoundCard
{
    std::string id;
    std::string driver = "HDA-Intel";
    std::string name = "HDA Intel";
    std::string longName = "HDA Intel at 0xfebe0000 irq 36";
    std::vector<MixerControl> controls;
};

struct ThermalZone
{
    std::string type;
    int milliCelsius = 45000;
};

struct Disk
{
    std::string filesystem;
    std::string type;
    std::string mountedOn;
    int64_t blocks = 0;
    int64_t used = 0;
    int64_t available = 0;
    bool pseudo = false;    ///< only shown by `df -a`
    bool automount = false; ///< dashes in all number columns
};

/// A tool that misbehaves. The first entry that matches tool and arguments applies.
struct Fault
{
    std::string tool;
    std::string match;         ///< must occur in the arguments; empty: any call
    std::string kind = "fail"; ///< fail, missing, hang, garbage, busy, slow
    std::string text;          ///< for standard output
    std::string error;
    int status = 1;
    int ms = 0;     ///< slow: delay before the tool does its work
    int times = -1; ///< calls still to be hit; -1: all
};

struct Platform
{
    std::vector<std::string> functions; ///< what the platform script says it can do
    int volume = 50;
    std::string ntpServer;
    bool ntp = false;
};

/// The whole simulated host: the scene, and what has become of it since.
struct Host
{
    double pace = 0;          ///< 1: waits as long as real tools do; 0: not at all
    int reachDbm = -92;       ///< weaker access points are not heard
    int autoconnectMs = 4000; ///< delay before NetworkManager connects by itself; -1: never
    bool selfRoam = false;    ///< the supplicant moves by itself below -70 dBm
    bool networkManager = true;
    std::vector<Card> cards;
    std::vector<AccessPoint> accessPoints;
    std::vector<std::string> peers;           ///< addresses and names that answer a ping
    std::map<std::string, std::string> names; ///< host names that resolve
    std::map<std::string, std::string> sysctl;
    std::map<std::string, std::string> files; ///< initial private files, by path
    std::vector<std::string> services;
    Clock clock;
    std::vector<SoundCard> sound;
    std::vector<ThermalZone> thermal;
    std::vector<Disk> disks;
    Platform platform;
    std::vector<Fault> faults;

    std::vector<Profile> profiles;
    std::vector<std::string> nextUuids; ///< handed out before random ones
    int nextPath = 2;

    /// Null for a name, address or profile that the host does not have.
    Card* card(const std::string& name);
    const Card* card(const std::string& name) const;
    AccessPoint* accessPoint(const std::string& bssid);
    const AccessPoint* accessPoint(const std::string& bssid) const;
    Profile* profile(const std::string& uuidOrId);
    const Profile* profile(const std::string& uuidOrId) const;
    bool ipv6On() const;
};

} // namespace hostsim
