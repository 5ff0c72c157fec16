#pragma once

/// Every shell line with which the network asks a tool of the host, each once; ky::shellLine()
/// fills the markers. The texts are exact, blanks and quotes included: what looks like the same
/// line twice differs in one of them. Lines that are put together from the fields of a request are
/// built in NmcliAddressLines and NmcliWifiLines.
namespace ky::lines {

// nmcli: profiles
constexpr char kReloadProfiles[] = "sudo nmcli connection reload";
constexpr char kShowActiveProfiles[] = "nmcli connection show --active";
constexpr char kShowProfilesOfSsid[] = "nmcli connection show | grep '%1'";
constexpr char kShowProfilesHolding[] = "nmcli connection show | grep %1"; ///< of a card, of a type
constexpr char kDeleteProfile[] = "nmcli connection delete %1";
constexpr char kDeleteInternalProfile[] = "nmcli connection delete '%1'";
constexpr char kProfileUp[] = "sudo nmcli connection up %1";
constexpr char kProfileUpOnCard[] = "sudo nmcli connection up %1 ifname %2";
constexpr char kAddressedProfileUp[] = "sudo nmcli connection up '%1' ifname %2";
constexpr char kProfileDown[] = "sudo nmcli connection down '%1'";
constexpr char kAutoconnectProfile[] = "nmcli connection modify '%1' connection.autoconnect yes";

// nmcli: devices
constexpr char kDeviceStatus[] = "nmcli device status";
constexpr char kDeviceShow[] = "nmcli device show %1";
constexpr char kConnectDevice[] = "nmcli device connect %1";
constexpr char kJoinByNameOnly[] = " nmcli d wifi connect '%1'";

// nmcli: hotspot
constexpr char kOpenHotspot[] =
    "nmcli device wifi hotspot ifname %1 con-name %2 ssid '%3' password '%4' ";
constexpr char kAutoconnectHotspot[] = "nmcli connection modify %1 connection.autoconnect yes";
constexpr char kDeleteHotspotBeforeOpening[] = "sudo nmcli connection delete %1 ";
constexpr char kCloseHotspot[] = "sudo nmcli connection delete MyHostspot";

// wpa_cli
constexpr char kWpaScan[] = "sudo wpa_cli -i %1 scan";
constexpr char kWpaScanResult[] = "sudo wpa_cli -i %1 scan_result";
constexpr char kWpaStatus[] = "sudo wpa_cli -i %1 status";
constexpr char kWpaStatusOfProfile[] = "sudo wpa_cli -i %1 status ";
constexpr char kWpaRoam[] = "sudo wpa_cli -i %1 roam '%2' ";

// iw
constexpr char kIwLink[] = "iw %1 link";
constexpr char kIwPowerSaveOff[] = "sudo iw %1 set power_save off";

// ifconfig
constexpr char kIfconfig[] = "ifconfig";
constexpr char kListWirelessCards[] =
    "ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1";
constexpr char kCardUp[] = "ifconfig %1 up";
constexpr char kCardDown[] = "ifconfig %1 down";
constexpr char kHotspotCardDown[] = "sudo ifconfig %1 down";

// The platform script, which is the first marker
constexpr char kScriptFunctions[] = "sudo %1 function";
constexpr char kScriptBan[] = "sudo %1 wireless ban %2";
constexpr char kScriptOn[] = "sudo %1 wireless on %2";

// Others
constexpr char kRestartNetworkManager[] = "service network-manager restart";
constexpr char kApplyNetplan[] = "sudo netplan apply";
constexpr char kStartHostapd[] = "sudo hostapd %1 &";
constexpr char kSetIpv6[] = "sudo sysctl -w net.ipv6.conf.default.disable_ipv6=%1;"
                            "sudo sysctl -w net.ipv6.conf.all.disable_ipv6=%1";
constexpr char kPing[] = "ping -c 1 %1 |grep % ";
constexpr char kLshw[] = "lshw -c network";

} // namespace ky::lines
