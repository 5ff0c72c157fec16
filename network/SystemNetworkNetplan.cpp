#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/SystemNetwork.h"
#include "network/tools/ToolLines.h"
#include "support/AtomicFile.h"
#include "support/HostLimits.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

using namespace ky;

namespace {

constexpr int kApplyLimitMs = limits::kToolMs;

constexpr char kLiveName[] = "00-installer-config-static.yaml";
constexpr char kStaticTemplate[] = "%1/appInfo/setting/00-installer-config-static.yaml";
constexpr char kGatewayTemplate[] = "%1/appInfo/setting/00-installer-config-gateway4.yaml";
constexpr char kWifiTemplate[] = "%1/wifiConfig.yaml";

constexpr char kCopying[] = "copyNetplanYaml"; ///< function name in all its log lines

QString besideProgram(const char* path)
{
    return QString::fromLatin1(path).arg(QCoreApplication::applicationDirPath());
}

QString inNetplanFolder(const QString& name)
{
    return hostPath(paths::kNetplanFolder) + name;
}

bool readFile(const QString& path, QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        KY_LOG_WARNING_AS(kyNetworkLog, kCopying) << "Open failed:" << file.errorString();
        return false;
    }
    content = file.readAll();
    return true;
}

bool createFrom(const QString& source, const QString& live)
{
    QFile file(source);
    if (file.copy(live))
        return true;
    KY_LOG_WARNING_AS(kyNetworkLog, kCopying) << "Copy failed:" << file.errorString();
    return false;
}

bool replaceBy(const QString& source, const QString& live)
{
    QByteArray content;
    if (!readFile(source, content))
        return false;
    QString error;
    if (replaceFile(live, content, &error))
        return true;
    KY_LOG_WARNING_AS(kyNetworkLog, kCopying) << "Open failed:" << reasonIn(error);
    return false;
}

bool applyNetplan()
{
    QString ignored;
    PublicClass::init()->processCmd(QLatin1String(lines::kApplyNetplan), ignored, kApplyLimitMs,
                                    true);
    return true;
}

} // namespace

bool SystemNetwork::copyNetplanYaml()
{
    const QString source =
        besideProgram(_isDisableWirelessNetworkCard ? kGatewayTemplate : kStaticTemplate);
    const QString live = inNetplanFolder(QLatin1String(kLiveName));
    if (!QFile::exists(live))
        return createFrom(source, live) && applyNetplan();
    QByteArray content;
    if (!readFile(live, content))
        return false;
    if (content.contains("gateway4") == _isDisableWirelessNetworkCard)
        return true;
    return replaceBy(source, live) && applyNetplan();
}

bool SystemNetwork::writeWifiConfig()
{
    QFile source(besideProgram(kWifiTemplate));
    if (!source.open(QIODevice::ReadOnly))
        return false;
    const QString live = getFileNames();
    return live.isEmpty() || replaceFile(live, source.readAll());
}

QString SystemNetwork::getFileNames()
{
    const QStringList names =
        QDir(inNetplanFolder({}))
            .entryList({QStringLiteral("*.yaml")}, QDir::Files | QDir::Readable, QDir::Name);
    return names.isEmpty() ? QString() : inNetplanFolder(names.first());
}
