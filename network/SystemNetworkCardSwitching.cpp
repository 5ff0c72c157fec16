#include "host/KyFileManager.h"
#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/SystemNetwork.h"
#include "network/decisions/InternalCard.h"
#include "network/tools/NmcliDeviceTable.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

#include <QFileInfo>

using namespace ky;

namespace {

constexpr int kLimitMs = limits::kToolMs;

constexpr int kWired = 0;
constexpr int kWireless = 1;

constexpr char kWiredStartFile[] = "appInfo/setting/wiredNetworkCard.json";

constexpr char kSwitching[] = "setWirelessCardStatus"; ///< function name in all its log lines

/// Whether the platform script switches Wi-Fi cards on this board.
bool hasWirelessFunction(SystemNetwork& network)
{
    const QString script = PublicClass::init()->halShPath;
    if (!KyFileManager::init()->hasExecutePermission(script))
        return false;
    QString output;
    const bool hasRun =
        runOnHost(network, shellLine(lines::kScriptFunctions, script), kLimitMs, output);
    KY_LOG_DEBUG_AS(kyNetworkLog, kSwitching) << output;
    return hasRun && output.contains(QLatin1String("wireless"));
}

/// Switches by the platform script, in one command.
bool switchByScript(SystemNetwork& network, const char* lineTemplate, const char* logWord,
                    const QString& card)
{
    QString output;
    const QString script = PublicClass::init()->halShPath;
    const bool hasRun = runOnHost(network, shellLine(lineTemplate, script, card), kLimitMs, output);
    KY_LOG_DEBUG_AS(kyNetworkLog, kSwitching) << logWord << output;
    return hasRun;
}

/// Takes the card off the network together with every Wi-Fi profile.
bool switchOff(SystemNetwork& network, const QString& card)
{
    QString uuid;
    network.getConnectionActiveiUUID(card, uuid);
    if (!uuid.isEmpty())
        runOnHost(network, shellLine(lines::kProfileDown, uuid), kLimitMs);
    network.deleteByConnectionType(QStringLiteral("wifi"));
    return runOnHost(network, shellLine(lines::kCardDown, card), kLimitMs);
}

bool switchOn(SystemNetwork& network, const QString& card)
{
    return runOnHost(network, shellLine(lines::kCardUp, card), kLimitMs) &&
           runOnHost(network, QLatin1String(lines::kRestartNetworkManager), kLimitMs);
}

} // namespace

bool SystemNetwork::setWirelessCardStatus(bool disable, const QString& card)
{
    bool isSwitched = false;
    if (hasWirelessFunction(*this))
        isSwitched = disable ? switchByScript(*this, lines::kScriptBan, "ban :", card)
                             : switchByScript(*this, lines::kScriptOn, "on :", card);
    else
        isSwitched = disable ? switchOff(*this, card) : switchOn(*this, card);
    if (isSwitched)
        setAutoConnect(!disable);
    return isSwitched;
}

bool SystemNetwork::changedNetworkCardStatus(int kind, bool disable)
{
    // The wish is stored even if the switching fails: the next start tries again.
    if (kind == kWired) {
        setWirelessCardStatus(disable, _aLXB10NetworkCardName);
        storeSettings(*this, __func__, {{QLatin1String(settings::kWiredCardBanned), disable}});
    } else if (kind == kWireless) {
        setWirelessCardStatus(disable, _wirelessCardName);
        _isDisableWirelessNetworkCard = disable;
        KY_DEBUG << "[_wirelessCardName:" << _wirelessCardName;
        storeSettings(*this, __func__, {{QLatin1String(settings::kWirelessCardBanned), disable}});
    }
    return true;
}

bool SystemNetwork::activateNetworkCard()
{
    const QString path = QString::fromLatin1(kWiredStartFile);
    const bool isFileThere = QFileInfo::exists(path);
    getAllNetworkCards();
    std::optional<InternalCard> internal = findInternalCard(_networkCards);
    if (!internal && !isFileThere) {
        _wiredMacName.clear();
        return false;
    }
    if (!internal) {
        const QVariantList stored = PublicClass::init()->getJsonVariant(path).toList();
        internal = storedInternalCard(stored);
        if (stored.isEmpty() || !internal)
            return false;
        for (const QVariant& record : stored)
            setNetworkCardStatus(record.toMap().value(QStringLiteral("name")).toString(), false);
        getAllNetworkCards();
        if (!findInternalCard(_networkCards))
            setWiredNetworkIPconfig(internalAddressRequest(internal->name));
    }
    if (!isFileThere)
        PublicClass::init()->writeJsonFile(path, wiredCardRecords(_networkCards, _wirelessCardName),
                                           QJsonDocument::Indented);
    _wiredMacName = internal->mac;
    return true;
}

bool SystemNetwork::getConnectedStatus(QList<QVariantMap>& list)
{
    QString output;
    if (!runOnHost(*this, QLatin1String(lines::kDeviceStatus), kLimitMs, output))
        return false;
    const auto devices = parseDeviceTable(output);
    if (!devices) {
        setLastError(QStringLiteral("Network card not connected"));
        return false;
    }
    list.append(*devices);
    return true;
}
