#include "network/SystemNetwork.h"

#include "network/NetworkLog.h"
#include "network/decisions/InternalCard.h"
#include "network/tools/KernelCard.h"
#include "network/tools/RouteTable.h"
#include "support/AtomicFile.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

using namespace ky;

namespace {

constexpr int kRouteLineBytes = 200;
constexpr int kGatewayBytes = 32;

void print(const KernelCard& card)
{
    std::printf("\tIP: %s\n", inet_ntoa(card.address));
    std::printf("\tBroadIP: %s\n", inet_ntoa(card.broadcast));
    std::printf("\tNetmask: %s\n", inet_ntoa(card.mask));
}

QString macNamePath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/appInfo/setting/macName.txt");
}

} // namespace

bool SystemNetwork::getWiredNetworkCard(QVariantMap& info)
{
    const QMap<QString, QString> names = getNetworkWifiMap();
    for (const QString& name : names)
        dispLocalWiredNetInfo(name.toUtf8().constData(), info);
    _wiredNetInfo = info;
    return true;
}

void SystemNetwork::dispLocalWiredNetInfo(const char* name, QVariantMap& info)
{
    const int socketFd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socketFd < 0) {
        std::fprintf(stderr, "Create socket failed!errno=%d", errno);
        return;
    }
    std::printf("%s:\n", name);
    _wiredCardName = QString::fromUtf8(name);
    KernelCard card;
    // The socket stays open if no card has this name. Callers only pass names of cards, and rely on
    // nothing else happening on this path.
    if (!readHardwareAddress(socketFd, name, card))
        return;
    readAddresses(socketFd, name, card);
    print(card);
    KY_DEBUG << "LocalIP" << dotted(card.address);
    KY_DEBUG << "GATEAWAY" << dotted(card.broadcast);
    KY_DEBUG << "NETMASK" << dotted(card.mask);

    QString gateway;
    if (dotted(card.address) == QLatin1String(kInternalAddress)) {
        char buffer[kGatewayBytes] = {};
        gateway = getIPV4Gateway(name, buffer, sizeof buffer);
        if (!isValidIp(gateway))
            gateway.clear();
    }
    const QVariantMap report = wiredReport(card, gateway, isTxtExist());
    for (auto it = report.begin(); it != report.end(); ++it)
        info.insert(it.key(), it.value());
    close(socketFd);
}

QString SystemNetwork::getIPV4Gateway(const char* name, char* buffer, unsigned long size)
{
    QFile routes(hostPath(paths::kRoutes));
    if (size == 0 || !routes.open(QIODevice::ReadOnly))
        return {};
    for (QByteArray line = routes.readLine(kRouteLineBytes); !line.isEmpty();
         line = routes.readLine(kRouteLineBytes)) {
        if (const std::optional<QByteArray> gateway = gatewayInRoute(line, name)) {
            std::snprintf(buffer, size, "%s", gateway->constData());
            break;
        }
    }
    // The buffer is the caller's and need not end in a zero.
    return QString::fromLatin1(buffer, int(qstrnlen(buffer, uint(size))));
}

QString SystemNetwork::getMACName()
{
    return _wiredNetInfo.value(QStringLiteral("Mac")).toString();
}

bool SystemNetwork::writeMACNameInTxt()
{
    const QString mac = getMACName();
    const QString path = macNamePath();
    if (mac.isEmpty() || !QFileInfo(path).dir().exists())
        return false;
    return replaceFile(path, mac.toLocal8Bit());
}

QString SystemNetwork::isTxtExist()
{
    QFile file(macNamePath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray last;
    while (!file.atEnd())
        last = file.readLine().simplified();
    return QString::fromLocal8Bit(last);
}

bool SystemNetwork::readMACNameForTxt()
{
    if (!writeMACNameInTxt())
        return false;
    const QString stored = isTxtExist();
    if (stored.isEmpty())
        return false;
    _wiredMacName = stored;
    return true;
}
