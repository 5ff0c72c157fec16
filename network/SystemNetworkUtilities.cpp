#include "network/SystemNetwork.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/tools/HexPairs.h"
#include "network/tools/IfconfigOutput.h"
#include "network/tools/SsidEscapes.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

#include <arpa/inet.h>

using namespace ky;

namespace {

constexpr int kLimitMs = limits::kToolMs;

constexpr int kProfileSleepS = 3;

} // namespace

bool SystemNetwork::getWirelessCardName(QString& name)
{
    QString output;
    if (!runOnHost(*this, shellLine(lines::kListWirelessCards), kLimitMs, output))
        return false;
    KY_DEBUG << "[info:" << output.trimmed() << "]";
    const WirelessCardChoice choice = chooseWirelessCard(output);
    if (!choice.isFound) {
        setLastError(QStringLiteral("Wireless card not found: It may have been disabled"));
        return false;
    }
    if (!choice.name.isEmpty())
        name = choice.name;
    return true;
}

bool SystemNetwork::pingIP(const QString& ip)
{
    if (ip.isEmpty()) {
        setLastError(tr("IP is empty"));
        return false;
    }
    QString output;
    return runOnHost(*this, shellLine(lines::kPing, ip), kLimitMs, output) &&
           output.contains(QLatin1String("received, 0%"));
}

bool SystemNetwork::isValidIp(const QString& ip)
{
    in_addr address{};
    if (inet_aton(ip.toUtf8().constData(), &address) != 0)
        return true;
    setLastError(QStringLiteral("%1:%2").arg(QStringLiteral("Wrong IP"), ip));
    return false;
}

QString SystemNetwork::isValidMask(const QString& mask)
{
    int bits = 0;
    if (PublicClass::init()->getMask1Bits(mask, bits))
        return QString::number(bits);
    setLastError(QStringLiteral("%1:%2").arg(QStringLiteral("wrong subnet mask"), mask));
    return {};
}

QString SystemNetwork::hexToQString(const QString& text)
{
    return hexPairsAsDecimals(text);
}

QString SystemNetwork::hexStringToStr(const QString& text)
{
    return decodeSsidEscapes(text);
}

QString SystemNetwork::hexStringToStr2(const QString& text)
{
    QString run;
    const QString decoded = decodeHexRun(text, &run);
    KY_DEBUG << "hexStringToStr2" << run << decoded;
    return decoded;
}

bool SystemNetwork::getWifiList(QVariantList&)
{
    return true;
}

bool SystemNetwork::setNetworkCardStatus(const QString&, bool)
{
    return true;
}

bool SystemNetwork::setWLanProfile(const QString&, const QString&, bool)
{
    PublicClass::init()->waitSTime(kProfileSleepS);
    return true;
}
