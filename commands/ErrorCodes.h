#pragma once

namespace ky {

/// Codes that answers carry as "ret_code"; 0 is success. Their texts are in the tables.
enum ErrorCode
{
    kUnknownCommand = 40001,
    kBadArgument = 40002,
    kUploadFailed = 40003,
    kAnswerTooLarge = 40004,
    kOutOfMemory = 40005,
    kSettingsNotStored = 40007,

    kPeerSilent = 40101,
    kTooManyCalls = 40102,
    kReplyTooLarge = 40103,

    kCanFailed = 40201,
    kCanFileFailed = 40202,
    kTooManyCanPorts = 40203,
    kSerialNotOpened = 40211,
    kSerialNotSent = 40212,
    kNoSerialAnswer = 40213,
    kSerialFileFailed = 40214,

    kCardNotRead = 40300,
    kDeviceNotConnected = 40301,
    kDriverNotDisabled = 40302,
    kNoAnswerToPing = 40303,
    kWifiNotJoined = 40310,
    kWifiNotConnected = 40311,
    kNoSuchProfile = 40312,
    kNoSuchWifiCard = 40313,
    kNotForgotten = 40314,
    kWifiFailed = 40350,
    kAddressFailed = 40351,
    kHotspotFailed = 40352,
    kScanThreadBusy = 40353,

    kNoClockState = 40401,
    kNoZones = 40402,
    kTimeNotSet = 40403,
    kNotSynchronised = 40404,
    kVolumeNotSet = 40501,
    kSoundCardNotChanged = 40502,
};

} // namespace ky
