#include "network/SystemNetwork.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/decisions/RemovalNames.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/Profiles.h"
#include "network/tools/ToolLines.h"
#include "support/AtomicFile.h"
#include "support/HostLimits.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"
#include "support/ShellLine.h"

#include <QFile>
#include <QNetworkInterface>

#include <algorithm>

using namespace ky;

namespace {

constexpr int kReloadLimitMs = limits::kReloadProfilesMs;
constexpr int kLimitMs = limits::kToolMs;

constexpr char kNotQueried[] = "The name/UUID already used for the connection was not queried";

/// Removes each keyfile whose key has this value, and logs it in the name of the operation that
/// asks. True if at least one went.
bool removeProfiles(const char* key, const QString& value, const char* operation)
{
    bool hasRemoved = false;
    const QStringList names = profileFiles(profileFolder());
    for (const QString& name : names) {
        const QString path = profileFolder() + QLatin1Char('/') + name;
        if (!KeyFile::read(path).holds("connection", key, value))
            continue;
        const bool isRemoved = QFile::remove(path);
        if (isRemoved)
            KY_LOG_DEBUG_AS(kyNetworkLog, operation) << "File deleted successfully:" << path;
        else
            KY_LOG_WARNING_AS(kyNetworkLog, operation) << "Failed to deleted file:" << path;
        hasRemoved = hasRemoved || isRemoved;
    }
    return hasRemoved;
}

bool isInterfaceOfHost(const QString& card)
{
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    return std::any_of(interfaces.begin(), interfaces.end(),
                       [&card](const auto& interface) { return interface.name() == card; });
}

bool isInKeyfiles(const char* key, const QString& value)
{
    return findProfile(profileFolder(), "connection", key, value).isFound();
}

bool isKnownType(const QString& type)
{
    return isConnectionType(type) && (isNetworkManagerType(type) || isInKeyfiles("type", type));
}

/// Removes each profile that `nmcli` lists; the result is ignored.
void removeListed(const QString& list)
{
    const QStringList uuids = uuidsIn(list);
    QString output;
    for (const QString& uuid : uuids)
        PublicClass::init()->processCmd(shellLine(lines::kDeleteProfile, uuid), output, kLimitMs,
                                        true);
    if (!uuids.isEmpty())
        PublicClass::init()->waitSTime(limits::kAfterRemovalMs / 1000);
}

} // namespace

void SystemNetwork::deleteConnections(const QString& card)
{
    // A card of the settings may be unplugged and without a profile.
    const bool isOwn = card == _aLXB10NetworkCardName || card == _wirelessCardName;
    if (!isCardName(card) ||
        !(isOwn || isInterfaceOfHost(card) || isInKeyfiles("interface-name", card))) {
        setLastError(QStringLiteral("profiles of card [%1]: no card of this name").arg(card));
        return;
    }
    if (removeProfiles("interface-name", card, __func__))
        runOnHost(*this, shellLine(lines::kReloadProfiles), kReloadLimitMs);
    QString list;
    if (!runOnHost(*this, shellLine(lines::kShowProfilesHolding, card), kLimitMs, list))
        return;
    if (!list.contains(QLatin1Char('\n'))) {
        KY_DEBUG << kNotQueried;
        return;
    }
    removeListed(list);
}

void SystemNetwork::deleteByConnectionType(const QString& type)
{
    if (!isKnownType(type)) {
        setLastError(QStringLiteral("profiles of type [%1]: no type of profile").arg(type));
        return;
    }
    removeProfiles("type", type, __func__);
    QString list;
    if (!runOnHost(*this, shellLine(lines::kShowProfilesHolding, type), kLimitMs, list))
        return;
    if (!list.contains(QLatin1Char('\n'))) {
        setLastError(QLatin1String(kNotQueried));
        return;
    }
    removeListed(list);
}

bool SystemNetwork::setPermanentlyDisabled(int kind, bool disable)
{
    // The two texts look exchanged; callers show them as they are.
    if (kind == 0) {
        setLastError(tr("Wireless network card driver not found"));
        return false;
    }
    if (kind != 1)
        return true;
    KY_DEBUG << "[_wirelessCardName:" << _wirelessCardName;
    const QString driver = getWiredNetworkDriver();
    if (driver.isEmpty()) {
        setLastError(tr("Permanent disabling of wired network cards is currently not supported"));
        return false;
    }
    QFile file(hostPath(paths::kModuleBlacklist));
    if (!file.open(QIODevice::ReadWrite)) {
        setLastError(QStringLiteral("open [%1]: %2").arg(file.fileName(), file.errorString()));
        return false;
    }
    const QByteArray text = file.readAll();
    file.close();
    if (!text.contains("blacklist " + driver.toUtf8())) {
        // The old content stands twice in the new one: known behaviour, and modprobe does not mind.
        const QByteArray line = "\n blacklist " + driver.toUtf8() + " #wifi";
        QString error;
        if (!replaceFile(file.fileName(), text + text + line, &error)) {
            setLastError(error);
            return false;
        }
    }
    storeSettings(*this, __func__,
                  {{QLatin1String(settings::kWirelessCardDriver), driver},
                   {QLatin1String(settings::kIsPermanentlyDisabled), disable}});
    return true;
}
