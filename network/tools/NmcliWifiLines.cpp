#include "network/tools/NmcliWifiLines.h"

#include "support/ShellLine.h"

namespace ky {

namespace {

// Exact, double blanks included. The connection is named after its network.
constexpr char kAddEnterpriseDhcp[] =
    "sudo nmcli connection add type wifi con-name \"%1\" ifname %2 ssid \"%3\" ipv4.method auto "
    "%4%5%6%7%8%9%10%11 connection.autoconnect true ";
constexpr char kAddEnterpriseManual[] =
    "sudo nmcli connection add type wifi con-name \"%1\" ifname %2 ssid \"%3\" ipv4.method manual "
    "%4 %5 %6%7%8%9%10%11%12%13 connection.autoconnect true ";
constexpr char kAddDhcp[] =
    "sudo nmcli connection add type wifi con-name \"%1\" ifname %2 ssid \"%3\" ipv4.method auto %4 "
    "connection.autoconnect true ";
constexpr char kAddManual[] =
    "sudo nmcli connection add type wifi con-name \"%1\" ifname %2 ssid \"%3\" ipv4.method manual "
    "%4 %5 %6 connection.autoconnect true ";
constexpr char kHidden[] = "%1 wifi.hidden yes ";

constexpr char kJoinHiddenWithPassword[] =
    "nmcli device wifi connect '%1' password '%2' hidden yes";
constexpr char kJoinWithPassword[] = "nmcli device wifi connect '%1' password '%2' ";
constexpr char kJoinHidden[] = "nmcli device wifi connect '%1' hidden yes";
constexpr char kJoin[] = "nmcli device wifi connect '%1' ";

QString text(const QVariantMap& map, const char* key)
{
    return map.value(QLatin1String(key)).toString();
}

ShellPart block(const char* blockTemplate, const QString& value)
{
    return value.isEmpty() ? ShellPart() : shellPart(blockTemplate, value);
}

/// The blocks of a request, each empty if its value is.
struct Blocks
{
    ShellPart password, gateway, addresses;
    ShellPart keyManagement, eap, phase2, identity, enterprisePassword;
    ShellPart clientCert, caCert, privateKey;
};

Blocks blocksOf(const QVariantMap& request, const QString& folder)
{
    Blocks blocks;
    blocks.password =
        block(" wifi-sec.key-mgmt wpa-psk  wifi-sec.psk '%1' ", text(request, "password"));
    blocks.gateway = block(" ipv4.gateway \"%1\" ", text(request, "ipv4.gateway"));
    blocks.addresses = block(" ipv4.addresses \"%1\" ", text(request, "ipv4.addresses"));
    blocks.eap = block(" 802-1x.eap %1 ", text(request, "802-1x.eap"));
    blocks.keyManagement = block(" wifi-sec.key-mgmt %1 ", text(request, "wifi-sec.key-mgmt"));
    blocks.phase2 = block(" 802-1x.phase2-auth %1 ", text(request, "802-1x.phase2-auth"));
    blocks.identity = block(" 802-1x.identity \"%1\" ", text(request, "802-1x.identity"));
    blocks.enterprisePassword = block(" 802-1x.password \"%1\" ", text(request, "802-1x.password"));
    blocks.caCert = block(" 802-1x.ca-cert \"%1\" ", certificatePath(request, kCaCert, folder));
    blocks.clientCert =
        block(" 802-1x.client-cert \"%1\" ", certificatePath(request, kClientCert, folder));
    const QString keyPath = certificatePath(request, kPrivateKey, folder);
    if (!keyPath.isEmpty())
        blocks.privateKey =
            shellPart(" 802-1x.private-key-password \"%1\" 802-1x.private-key \"%2\" ",
                      text(request, "802-1x.private-key-password"), keyPath);
    return blocks;
}

ShellPart addWifi(const QVariantMap& request, const QString& card, const QString& folder)
{
    const Blocks b = blocksOf(request, folder);
    const QString ssid = text(request, "ssid");
    const bool isDhcp = request.value(QStringLiteral("dhcp")).toBool();
    if (!request.value(QStringLiteral("verification")).toBool())
        return isDhcp ? shellPart(kAddDhcp, ssid, card, ssid, b.password)
                      : shellPart(kAddManual, ssid, card, ssid, b.addresses, b.gateway, b.password);
    if (isDhcp)
        return shellPart(kAddEnterpriseDhcp, ssid, card, ssid, b.keyManagement, b.eap, b.phase2,
                         b.identity, b.enterprisePassword, b.clientCert, b.caCert, b.privateKey);
    return shellPart(kAddEnterpriseManual, ssid, card, ssid, b.addresses, b.gateway,
                     b.keyManagement, b.eap, b.phase2, b.identity, b.enterprisePassword,
                     b.clientCert, b.caCert, b.privateKey);
}

bool leadsOut(const QString& fileName)
{
    return fileName.contains(QLatin1Char('/')) || fileName.contains(QChar::Null) ||
           fileName == QLatin1String(".") || fileName == QLatin1String("..");
}

} // namespace

QString certificatePath(const QVariantMap& request, const char* key, const QString& folder)
{
    const QVariantMap file = request.value(QLatin1String(key)).toMap();
    if (file.isEmpty())
        return {};
    return QStringLiteral("%1/%2").arg(folder, text(file, "fileName"));
}

QString unsafeFileName(const QVariantMap& request)
{
    for (const char* key : {kCaCert, kClientCert, kPrivateKey}) {
        const QString fileName = text(request.value(QLatin1String(key)).toMap(), "fileName");
        if (leadsOut(fileName))
            return fileName;
    }
    return {};
}

QString addWifiLine(const QVariantMap& request, const QString& card, const QString& folder)
{
    const ShellPart line = addWifi(request, card, folder);
    return request.value(QStringLiteral("nonBroadcast")).toBool() ? shellLine(kHidden, line)
                                                                  : line.text();
}

QString joinWifiLine(const QString& ssid, const QString& password, bool isHidden)
{
    if (password.isEmpty())
        return shellLine(isHidden ? kJoinHidden : kJoin, ssid);
    return shellLine(isHidden ? kJoinHiddenWithPassword : kJoinWithPassword, ssid, password);
}

} // namespace ky
