#pragma once

#include "support/HostLimits.h"

/// The longest that the operations behind the commands take, in milliseconds: the limits of the
/// tools that they run, added up. tst_CommandLimits runs each operation and compares.
namespace ky::takes {

using namespace limits;

// How many the limits allow for, where an operation goes through all that the host has.
constexpr int kCards = 6;
constexpr int kStoredProfiles = 4;
constexpr int kCanPorts = 4;

constexpr int kOneTool = kToolMs;
constexpr int kTwoTools = 2 * kToolMs;

constexpr int kFindWirelessCard = kToolMs;
constexpr int kConnectionInUse = kToolMs + kShowProfilesMs;
constexpr int kCardAddresses = kIfconfigMs + kDeviceShowMs;
constexpr int kListedCard = kCardAddresses + kShowProfilesMs;
constexpr int kNamedCard = kCardAddresses + kConnectionInUse;
constexpr int kWirelessCard = 2 * kFindWirelessCard + kNamedCard;
constexpr int kAllCards = kCards * kListedCard;

constexpr int kLink = kFindWirelessCard + kLinkMs;
constexpr int kLinkAndStatus = kLink + kToolMs;
constexpr int kScan = 2 * kFindWirelessCard + 3 * kToolMs;
constexpr int kScanOfNetwork = kLinkMs + kToolMs + kApListMs;
constexpr int kRoam = kFindWirelessCard + kToolMs;

// A cycle of link supervision that probes and repairs, and one that roams.
constexpr int kRepairCycle = 3 * kToolMs + kReconnectMs;
constexpr int kRoamCycle = kLinkMs + 3 * kToolMs;
constexpr int kSupervisionCycle = kRepairCycle > kRoamCycle ? kRepairCycle : kRoamCycle;

constexpr int kRemoveProfiles = kToolMs + kStoredProfiles * kToolMs + kAfterRemovalMs;
constexpr int kRemoveCardProfiles = kReloadProfilesMs + kRemoveProfiles;
constexpr int kJoin = kRemoveProfiles + 2 * kToolMs;
constexpr int kBringUp = 2 * kFindWirelessCard + kBringUpMs + kToolMs + kAfterRestartMs;
constexpr int kJoinByDescription = kFindWirelessCard + kRemoveProfiles + 2 * kToolMs + kAfterAddMs +
                                   kAfterReloadMs + kBringUp + kAfterBringUpMs;
constexpr int kPasswordInUse = kFindWirelessCard + kConnectionInUse;

constexpr int kWifiAddress = kFindWirelessCard + kConnectionInUse + 2 * kWifiAddressMs +
                             kAfterWifiAddressMs + kReloadProfilesMs;
constexpr int kWiredAddress =
    kRemoveCardProfiles + 2 * kToolMs + kAfterWiredAddressMs + kReloadProfilesMs;
constexpr int kSsidAddress =
    kJoin + kFindWirelessCard + kShowProfilesMs + 2 * kToolMs + kReloadProfilesMs;
constexpr int kInternalAddress = 3 * kToolMs;
constexpr int kHostReport = kFindWirelessCard + kNamedCard + kLinkMs + kListedCard;
constexpr int kSwitchCard = kToolMs + kConnectionInUse + kToolMs + kRemoveProfiles + kToolMs;
constexpr int kHotspot = kFindWirelessCard + 4 * kToolMs;

constexpr int kSetUpCan = 4 * kToolMs + 2 * kCanPauseMs + kCanQueuePauseMs;
constexpr int kSetUpSavedCan = kCanPorts * kSetUpCan;
constexpr int kSerialExchange = kSerialSendMs + kSerialAnswerMs + 2 * kSerialGapMs;

constexpr int kSetTime = 4 * kToolMs + kTimeServerMs;
constexpr int kClockExchange = kTimeServerMs + kTimeServerMs + 2 * kToolMs;
constexpr int kSynchronise = 3 * kClockExchange + 3 * kToolMs;

constexpr int kSoundCards = 2 * kSoundCardsMs;
constexpr int kHardware = 3 * kHardwareToolMs + kToolMs;

constexpr int kHashOfUpload = 60000; ///< of the largest package, on the slowest board

} // namespace ky::takes
