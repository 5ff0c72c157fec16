#pragma once

/// The absolute paths of the host that the library reads or writes, each once.
namespace ky::paths {

constexpr char kNetworkManagerProfiles[] = "/etc/NetworkManager/system-connections";
constexpr char kNetplanFolder[] = "/etc/netplan/";
constexpr char kModuleBlacklist[] = "/etc/modprobe.d/blacklist.conf";
constexpr char kAsoundConf[] = "/etc/asound.conf";
constexpr char kLocaltime[] = "/etc/localtime";
constexpr char kSoundCards[] = "/proc/asound/cards";
constexpr char kRoutes[] = "/proc/net/route";
constexpr char kThermalZones[] = "/sys/class/thermal";

} // namespace ky::paths
