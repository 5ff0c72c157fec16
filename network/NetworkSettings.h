#pragma once

/// The settings file of the network, below the working directory, and its keys.
namespace ky::settings {

constexpr char kFile[] = "appInfo/setting/WirelessCard.ini";
/// Of the daemon's main settings file: where the certificates of Wi-Fi networks go.
constexpr char kCertificateFolder[] = "AppInfo/networkBackup";

constexpr char kWirelessCardName[] = "WirelessCard/CardName";
constexpr char kWirelessCardBanned[] = "WirelessCard/CardStatus"; ///< true: switched off
constexpr char kWiredCardName[] = "AlxWirelessCard/CardName";
constexpr char kWiredCardBanned[] = "AlxWirelessCard/CardStatus";
constexpr char kPingIp[] = "WirelessCard/PingIP";
constexpr char kDisconnectionMethod[] = "WirelessCard/DisconnectionMethod";
constexpr char kIsDisconnectionSendError[] = "WirelessCard/isDisconnectionSendError";
constexpr char kPingUrl[] = "WirelessCard/PingUrl";
constexpr char kIsSwitchOnlyTo5G[] = "WirelessCard/isSwitchOnlyTo5G";
constexpr char kStartScanningSignal[] = "WirelessCard/startScanningSignal";
constexpr char kSwitchingSignal[] = "WirelessCard/switchingSignal";
constexpr char kAutoSwitchBestApSignal[] = "WirelessCard/autoSwitchBestAPSignal";
constexpr char kIsResetWirelessCard[] = "WirelessCard/isResetWirelessNetworkCard";
constexpr char kAutoConnectWaitTime[] = "WirelessCard/autoConnectWaitTime";
constexpr char kDisableIpv6[] = "WirelessCard/disableIPV6";
constexpr char kIsEnabledRoaming[] = "WirelessCard/isEnabledRoaming";
constexpr char kWirelessCardDriver[] = "WirelessCard/WirelessCardDriver";
constexpr char kIsPermanentlyDisabled[] = "WirelessCard/isPermanentlyDisabled";
constexpr char kHotspotSsid[] = "hotsport/ssid";
constexpr char kHotspotPassword[] = "hotsport/passwd";
constexpr char kHotspotRunning[] = "hotsport/is_hotspot";
constexpr char kHmiIp[] = "HMI/ip";

} // namespace ky::settings
