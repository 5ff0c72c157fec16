#include "host/HttpApi.h"
#include "host/PublicClass.h"
#include "network/LiveRoaming.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/SystemNetwork.h"
#include "network/decisions/SupervisionDecision.h"

#include <QTimer>

using namespace ky;

namespace {

constexpr char kDaemonIp[] = "127.0.0.1";
constexpr int kDaemonPort = 19207;
constexpr int kLinkLostType = 4802;
constexpr int kLinkGoodType = 4803;
constexpr int kFrameNumber = 123;

QByteArray lostLinkJson(const QString& target)
{
    const QVariantMap message{{QStringLiteral("msg"),
                               QStringLiteral("The network has been disconnected:%1").arg(target)}};
    return PublicClass::init()->qVariantToByteArray(message, QJsonDocument::Compact);
}

void sendReport(SystemNetwork& network, LinkReport report, const QString& target)
{
    if (report == LinkReport::None)
        return;
    const bool isGood = report == LinkReport::Good;
    emit network.sigWriteTcpClient(QLatin1String(kDaemonIp), kDaemonPort,
                                   isGood ? kLinkGoodType : kLinkLostType, kFrameNumber,
                                   isGood ? QByteArray() : lostLinkJson(target));
}

bool isUrlGood(const QString& url)
{
    if (!HttpApi::init()->getUrl(url))
        return false;
    KY_LOG_DEBUG_AS(kyNetworkLog, "slotAutoConnectEth1Ethernet")
        << "[" << HttpApi::init()->getReq().toString() << "]";
    return true;
}

/// Probes the link as the settings ask and reports. Without a probe, roaming is what is left.
AfterProbe probeLink(SystemNetwork& network, const SupervisionState& state, const QString& pingIp,
                     const QString& pingUrl)
{
    const Probe probe = chooseProbe(state);
    if (probe == Probe::None)
        return AfterProbe::Roam;
    const bool isGood = probe == Probe::Url ? isUrlGood(pingUrl) : network.pingIP(pingIp);
    const ProbeOutcome outcome = judgeProbe(state, isGood);
    sendReport(network, outcome.report, probe == Probe::Url ? pingUrl : pingIp);
    return outcome.next;
}

} // namespace

void SystemNetwork::initAutoConnect()
{
    _isDisableWirelessNetworkCard =
        PublicClass::init()
            ->readIni(QLatin1String(settings::kFile), QLatin1String(settings::kWirelessCardBanned))
            .toBool();
    KY_DEBUG << "[_wirelessCardName:" << _wirelessCardName
             << "isDisabled:" << _isDisableWirelessNetworkCard << "]";
    if (_isDisableWirelessNetworkCard)
        setWirelessCardStatus(true, _wirelessCardName);
    else if (getWirelessCardName(_wirelessCardName))
        setAutoConnect(true);
}

void SystemNetwork::setAutoConnect(bool on)
{
    if (!on) {
        if (!_autoConnectSSIDTimer || isWatchingWanted(_isDisconnectionSendError, _isEnabledRoaming,
                                                       _disconnectionMethod, _pingIp))
            return;
        disconnect(_autoConnectSSIDTimer, &QTimer::timeout, this,
                   &SystemNetwork::slotAutoConnectEth1Ethernet);
        _autoConnectSSIDTimer->stop();
        return;
    }
    if (!PublicClass::init()->autoConnectEnabled)
        return;
    if (!_autoConnectSSIDTimer) {
        _autoConnectSSIDTimer = new QTimer(this);
        _autoConnectSSIDTimer->setSingleShot(true);
    }
    connect(_autoConnectSSIDTimer, &QTimer::timeout, this,
            &SystemNetwork::slotAutoConnectEth1Ethernet, Qt::UniqueConnection);
    KY_DEBUG << "[_autoConnectSSIDTimer->start" << _autoConnectWaitTime << "]";
    _autoConnectSSIDTimer->stop();
    startWaitTimer();
}

void SystemNetwork::startWaitTimer()
{
    if (_autoConnectSSIDTimer) // none yet when the daemon calls the slot itself
        _autoConnectSSIDTimer->start(_autoConnectWaitTime);
}

void SystemNetwork::slotAutoConnectEth1Ethernet()
{
    SupervisionState state;
    state.isRoamingEnabled = _isEnabledRoaming;
    state.isCardDisabled = _isDisableWirelessNetworkCard;
    state.isPaused = PublicClass::init()->autoConnectPaused;
    state.method = _disconnectionMethod;
    state.hasPingTarget = !_pingIp.isEmpty();
    state.hasUrlTarget = !_pingUrl.isEmpty();
    state.isReporting = _isDisconnectionSendError;
    state.isRepairingByReset = _isResetWirelessNetworkCard;

    const CycleRoad road = chooseRoad(state);
    if (road == CycleRoad::Stop)
        return;
    if (road == CycleRoad::Work && _wirelessUUID.isEmpty())
        _wirelessUUID = getCurrentWifiUUid();
    if (road == CycleRoad::Watch) {
        sendReport(*this, reportOf(state, pingIP(_pingIp)), _pingIp);
    } else if (road == CycleRoad::Work && !_wirelessUUID.isEmpty()) { // a profile to restore
        const AfterProbe next = probeLink(*this, state, _pingIp, _pingUrl);
        if (next == AfterProbe::Repair)
            reconnectWifi(*this, _wirelessCardName);
        else if (next == AfterProbe::Roam)
            roamOnce(
                *this, _wirelessCardName,
                {_startScanningSignal, _switchingSignal, _autoSwitchBestAPSignal,
                 _isSwitchOnlyTo5G},
                [this](const QString& kind, const QString& text) { roamingReported(kind, text); });
    }
    startWaitTimer();
}
