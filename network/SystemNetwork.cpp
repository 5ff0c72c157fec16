#include "network/SystemNetwork.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/HostPreparation.h"
#include "network/Leftovers.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/decisions/SupervisionDecision.h"
#include "network/tools/InterfaceText.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

#include <QSettings>
#include <QTimer>

using namespace ky;

namespace {

constexpr int kSysctlLimitMs = limits::kToolMs;

constexpr int kNamesFromTable = -1; ///< hardwareType that knows no card names
constexpr int kShortestWaitMs = 5000;
constexpr int kWaitForTooShortMs = 6000;

QVariant setting(const QSettings& settings, const char* key)
{
    return settings.value(QLatin1String(key));
}

QString textOr(const QVariant& value, const char* fallback)
{
    const QString text = value.toString();
    return text.isEmpty() ? QString::fromLatin1(fallback) : text;
}

/// Whether a key holds a value. A comparison with an empty text would not do: a false that this
/// process itself has stored is still a boolean, and equal to it.
bool holdsValue(const QVariant& stored)
{
    const bool isText =
        stored.userType() == QMetaType::QString || stored.userType() == QMetaType::QByteArray;
    return stored.isValid() && !(isText && stored.toByteArray().isEmpty());
}

/// Takes the stored value, or notes the present one to be stored where there is none.
template <typename T>
void takeOrCreate(const QSettings& settings, const char* key, T& member, IniValues* missing)
{
    const QVariant stored = setting(settings, key);
    if (holdsValue(stored))
        member = stored.value<T>();
    else
        missing->emplace_back(QLatin1String(key), member);
}

} // namespace

SystemNetwork::SystemNetwork(QObject* parent)
    : BaseObject(parent)
{
    qRegisterMetaType<uint16_t>("uint16_t"); // for queued connections to sigChangedText
    clearNetworkLeftovers();
    if (PublicClass::init()->hardwareType >= 0) {
        checkDHCP();
        {
            const QSettings settings(QLatin1String(settings::kFile), QSettings::IniFormat);
            _wirelessCardName = textOr(setting(settings, settings::kWirelessCardName), "wlp1s0");
            _isDisableWirelessNetworkCard =
                setting(settings, settings::kWirelessCardBanned).toBool();
            _aLXB10NetworkCardName = textOr(setting(settings, settings::kWiredCardName), "eth0");
        }
        prepareWirelessCard(*this, _isDisableWirelessNetworkCard, _wirelessCardName);
        prepareWiredAddress(*this);
        resetAPSetting();
        const QSettings settings(QLatin1String(settings::kFile), QSettings::IniFormat);
        _hmiIp = setting(settings, settings::kHmiIp).toString();
    }

    KY_INFO << "[=========QNetworkInterface[Start]=============]";
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : interfaces) {
        const QStringList lines = describeInterface(interface);
        for (const QString& line : lines)
            KY_INFO << line;
        if (PublicClass::init()->hardwareType != kNamesFromTable)
            continue;
        if (interface.type() == QNetworkInterface::Wifi)
            _wirelessCardName = interface.name();
        if (interface.type() == QNetworkInterface::Ethernet)
            _aLXB10NetworkCardName = interface.name();
    }
    KY_INFO << "[=========QNetworkInterface[End]=============]";
    KY_DEBUG << "[_wirelessCardName:" << _wirelessCardName
             << "isDisabled:" << _isDisableWirelessNetworkCard << "]";
    KY_DEBUG << "[_aLXB10NetworkCardName:" << _aLXB10NetworkCardName;
}

SystemNetwork::~SystemNetwork()
{
    for (QTimer* timer : {_autoConnectSSIDTimer, _reservedTimer}) {
        if (timer)
            timer->stop();
        delete timer;
    }
}

qint64 SystemNetwork::getRequstHandle() const
{
    return requstHandle;
}

void SystemNetwork::setRequstHandle(const qint64& handle)
{
    requstHandle = handle;
}

int SystemNetwork::getRequstNumber() const
{
    return requstNumber;
}

void SystemNetwork::setRequstNumber(int number)
{
    requstNumber = number;
}

void SystemNetwork::setIsDisableWirelessNetworkCard(bool isDisabled)
{
    _isDisableWirelessNetworkCard = isDisabled;
}

void SystemNetwork::setEnabledRoaming(bool isEnabled)
{
    _isEnabledRoaming = isEnabled;
    storeSettings(*this, __func__, {{QLatin1String(settings::kIsEnabledRoaming), isEnabled}});
}

void SystemNetwork::resetAPSetting()
{
    const QSettings settings(QLatin1String(settings::kFile), QSettings::IniFormat);
    _pingIp = setting(settings, settings::kPingIp).toString();
    _disconnectionMethod = setting(settings, settings::kDisconnectionMethod).toInt();
    _isDisconnectionSendError = setting(settings, settings::kIsDisconnectionSendError).toBool();
    _pingUrl = setting(settings, settings::kPingUrl).toString();

    IniValues missing;
    takeOrCreate(settings, settings::kIsSwitchOnlyTo5G, _isSwitchOnlyTo5G, &missing);
    takeOrCreate(settings, settings::kStartScanningSignal, _startScanningSignal, &missing);
    takeOrCreate(settings, settings::kSwitchingSignal, _switchingSignal, &missing);
    takeOrCreate(settings, settings::kAutoSwitchBestApSignal, _autoSwitchBestAPSignal, &missing);
    takeOrCreate(settings, settings::kIsResetWirelessCard, _isResetWirelessNetworkCard, &missing);
    takeOrCreate(settings, settings::kAutoConnectWaitTime, _autoConnectWaitTime, &missing);
    if (!missing.empty())
        storeSettings(*this, __func__, missing);
    // Too short a wait becomes 6000, not the shortest allowed; the file keeps what it has.
    if (_autoConnectWaitTime < kShortestWaitMs)
        _autoConnectWaitTime = kWaitForTooShortMs;

    const QVariant storedIpv6 = setting(settings, settings::kDisableIpv6);
    const int disableIpv6 = storedIpv6.isValid() ? int(storedIpv6.toBool()) : 1;
    if (!_isDisableWirelessNetworkCard) {
        QString output;
        PublicClass::init()->processCmd(shellLine(lines::kSetIpv6, disableIpv6), output,
                                        kSysctlLimitMs, true);
    }
    _isEnabledRoaming = setting(settings, settings::kIsEnabledRoaming).toBool();

    KY_DEBUG << "=====================";
    KY_DEBUG << "_pingIp:" << _pingIp;
    KY_DEBUG << "_disconnectionMethod:" << _disconnectionMethod;
    KY_DEBUG << "_isDisconnectionSendError:" << _isDisconnectionSendError;
    KY_DEBUG << "_pingUrl:" << _pingUrl;
    KY_DEBUG << "_isSwitchOnlyTo5G:" << _isSwitchOnlyTo5G;
    KY_DEBUG << "_startScanningSignal:" << _startScanningSignal;
    KY_DEBUG << "_switchingSignal:" << _switchingSignal;
    KY_DEBUG << "_autoSwitchBestAPSignal:" << _autoSwitchBestAPSignal;
    KY_DEBUG << "_autoConnectWaitTime:" << _autoConnectWaitTime;
    KY_DEBUG << "_isEnabledRoaming:" << _isEnabledRoaming;
    KY_DEBUG << "_isResetWirelessNetworkCard:" << _isResetWirelessNetworkCard;
    KY_DEBUG << "disableIpv6:" << disableIpv6;
    KY_DEBUG << "=====================";

    // The one configuration in which supervision starts from settings alone.
    if (isWatchingWanted(_isDisconnectionSendError, _isEnabledRoaming, _disconnectionMethod,
                         _pingIp))
        setAutoConnect(true);
}
