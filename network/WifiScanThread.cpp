#include "network/WifiScanThread.h"

#include "host/PublicClass.h"
#include "network/NetworkLog.h"
#include "network/RoamingLog.h"
#include "network/decisions/RoamCandidates.h"
#include "network/decisions/ScanThreadDecision.h"
#include "network/tools/FixedScanTable.h"
#include "network/tools/IwOutput.h"
#include "network/tools/SsidEscapes.h"
#include "network/tools/ToolLines.h"
#include "network/tools/WpaCliScan.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QMutexLocker>

using namespace ky;

namespace {

constexpr int kRoamLimitMs = limits::kToolMs;
constexpr char kLinkFile[] = "1.txt";
constexpr qint64 kSliceMs = 50; ///< of a pause: how long it takes to notice an interruption

constexpr char kRun[] = "run"; ///< function name in all log lines of a cycle

IwconfigState readLink()
{
    QFile file(QString::fromLatin1(kLinkFile));
    file.open(QIODevice::ReadOnly); // a missing file is an empty one
    const QByteArray content = file.isOpen() ? file.readAll() : QByteArray();
    return parseIwconfig(QString::fromUtf8(content.constData())); // up to the first zero
}

bool movesTo5G(ScanThreadMove move)
{
    return move == ScanThreadMove::Switch5G || move == ScanThreadMove::AutoSwitch5G;
}

struct Parameters
{
    int queryTimeMs = 0;
    bool isOnlyTo5G = false;
    int startScanningDbm = 0;
    int switchingDb = 0;
    int autoSwitchDbm = 0;
    QString card;
};

bool roam(const QString& card, const QString& bssid)
{
    KY_LOG_DEBUG_AS(kyNetworkLog, "switchAP") << "Switch AP:" << bssid;
    QString output;
    return PublicClass::init()->processCmd(shellLine(lines::kWpaRoam, card, bssid), output,
                                           kRoamLimitMs, true);
}

/// The candidates of the fixed table for a link.
BandLists candidatesFor(const IwconfigState& link)
{
    BandLists lists;
    const ScanTable table = parseScanTable(QLatin1String(kFixedScanTable));
    logScanTable(table, kRun);
    for (int i = 0; i < table.rows.size(); ++i) {
        const AccessPoint& accessPoint = table.rows.at(i);
        if (!isRoamTarget(accessPoint, link.ssid, link.bssid))
            continue;
        lists.add(accessPoint);
        KY_LOG_DEBUG_AS(kyNetworkLog, kRun)
            << "i:" << i << "tempSSID:" << accessPoint.ssid << accessPoint.rssi
            << accessPoint.frequency << accessPoint.bssid;
    }
    KY_LOG_DEBUG_AS(kyNetworkLog, kRun) << "5GAPList.size:" << lists.fiveGhz.size();
    KY_LOG_DEBUG_AS(kyNetworkLog, kRun) << "24GAPList.size:" << lists.twoFourGhz.size();
    return lists;
}

/// One look at the link. True when the thread asks for another. The step of SystemNetwork that
/// looks like this one differs on purpose in defaults and signs.
bool runCycle(const Parameters& parameters)
{
    const IwconfigState link = readLink();
    KY_LOG_DEBUG_AS(kyNetworkLog, kRun)
        << "qualityValue:" << link.qualityValue << "qualityMax:" << link.qualityMax
        << "signalLevel:" << link.signalDbm << "frequenc:" << link.frequencyMhz
        << "ssid:" << link.ssid << "bssid:" << link.bssid;
    if (parameters.startScanningDbm < link.signalDbm)
        return false;

    const BandLists lists = candidatesFor(link);
    const std::optional<AccessPoint> best5G = lists.fiveGhz.strongest();
    const std::optional<AccessPoint> best24G = lists.twoFourGhz.strongest();
    const ScanThreadInput input{link.signalDbm,         levelOf(best5G),
                                levelOf(best24G),       parameters.isOnlyTo5G,
                                parameters.switchingDb, parameters.autoSwitchDbm};
    const ScanThreadDecision decision = decideScanThread(input);
    const QString line = scanThreadLine(decision.move, input);
    if (!line.isEmpty())
        KY_LOG_DEBUG_AS(kyNetworkLog, kRun) << line;
    if (movesTo5G(decision.move))
        roam(parameters.card, best5G->bssid);
    else if (decision.move == ScanThreadMove::Switch24G)
        roam(parameters.card, best24G->bssid);
    return decision.asksToRepeat;
}

/// Sleeps that long, or until the current thread is interrupted.
void pauseFor(int ms)
{
    const QThread* thread = QThread::currentThread();
    const QDeadlineTimer end(qMax(0, ms));
    while (!end.hasExpired() && !thread->isInterruptionRequested()) {
        const qint64 slice = qBound<qint64>(1, end.remainingTime(), kSliceMs);
        QThread::msleep(static_cast<unsigned long>(slice));
    }
}

} // namespace

WifiScanThread::WifiScanThread(QObject* parent)
    : BaseThread(parent)
{}

WifiScanThread::~WifiScanThread()
{
    KY_DEBUG << "end";
    setNeedStop(true);
    requestInterruption(); // the flag alone keeps it going
    stopThread();
}

void WifiScanThread::init(const QVariantMap& config)
{
    const auto value = [&](const char* key) { return config.value(QLatin1String(key)); };
    const QMutexLocker locker(&parameterMutex);
    queryTime = value("queryTime").toInt();
    isSwitchOnlyTo5G = value("isSwitchOnlyTo5G").toBool();
    startScanningSignal = value("startScanningSignal").toInt();
    autoSwitchBestAPSignal = value("autoSwitchBestAPSignal").toInt();
    switchingSignal = value("switchingSignal").toInt();
    wirelessCardName = value("wirelessCardName").toString();
}

bool WifiScanThread::switchAP(const QString& bssid)
{
    QMutexLocker locker(&parameterMutex);
    const QString card = wirelessCardName;
    locker.unlock(); // init() does not wait for the command
    return roam(card, bssid);
}

QString WifiScanThread::hexStringToStr(const QString& text)
{
    return decodeSsidEscapes(text);
}

void WifiScanThread::run()
{
    setResult(0);
    QMutexLocker locker(&parameterMutex);
    const Parameters parameters{queryTime,       isSwitchOnlyTo5G,       startScanningSignal,
                                switchingSignal, autoSwitchBestAPSignal, wirelessCardName};
    locker.unlock();
    // The flag works backwards, and callers know: a thread that nobody has asked to stop makes one
    // cycle, one that was asked to stop goes on. Interruption ends it.
    do {
        pauseFor(parameters.queryTimeMs);
    } while (!isInterruptionRequested() && runCycle(parameters) && isNeedStop());
}
