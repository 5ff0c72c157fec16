#pragma once

/// The longest that a call of a host tool may take, in milliseconds. The operations of the library
/// hand these to the host; the command catalogue adds them up for those who wait for an answer.
namespace ky::limits {

constexpr int kToolMs = 20000; ///< every tool that has no limit of its own below

// Network
constexpr int kIfconfigMs = 6000;
constexpr int kDeviceShowMs = 10000;
constexpr int kShowProfilesMs = 6000;
constexpr int kLinkMs = 4000;
constexpr int kApListMs = 6000; ///< the scan table, for the list of the network in use
constexpr int kBringUpMs = 15000;
constexpr int kReconnectMs = 8000;
constexpr int kWifiAddressMs = 30000; ///< each of the two calls that change the Wi-Fi's address
constexpr int kReloadProfilesMs = 30000;
constexpr int kStartUpMs = 30000; ///< bringing the stored wired profile up, once at start

// What NetworkManager needs to write its files before the next step reads them.
constexpr int kAfterRemovalMs = 1000;
constexpr int kAfterWifiAddressMs = 3000;
constexpr int kAfterWiredAddressMs = 1000;
constexpr int kAfterRestartMs = 5000;
constexpr int kAfterAddMs = 1000;
constexpr int kAfterReloadMs = 2000;
constexpr int kAfterBringUpMs = 1000;

// Ports
constexpr int kCanPauseMs = 500;      ///< after an interface went down, and after its bit timing
constexpr int kCanQueuePauseMs = 100; ///< after its queue length
constexpr int kSerialSendMs = 10000;
constexpr int kSerialAnswerMs = 10000;
constexpr int kSerialGapMs = 100; ///< silence that ends an answer

// Time, sound, hardware
constexpr int kTimeServerMs = 5000; ///< reaching the time server; its name is resolved besides
constexpr int kSoundCardsMs = 30000;
constexpr int kHardwareToolMs = 30000;

// Peers
constexpr int kPeerConnectMs = 6000; ///< a connect that hangs cannot be called off earlier

} // namespace ky::limits
