#include "cli/FileContent.h"
#include "cli/Invocation.h"
#include "cli/NetworkVerbs.h"
#include "cli/Password.h"
#include "support/JsonText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace ky {

namespace {

/// More than any description of a network, or certificate, comes to.
constexpr qint64 kLargestFile = 1024 * 1024;

std::optional<QString> passwordFor(const Invocation& call)
{
    if (call.has("--password"))
        return call.option("--password");
    if (call.has("--open"))
        return QString();
    return askPassword(QStringLiteral("Password of %1 (empty for none)").arg(call.argument(0)));
}

int runConnect(Invocation& call)
{
    if (call.argument(0).trimmed().isEmpty())
        return call.wrong(QStringLiteral("the SSID is empty"));
    const std::optional<QString> password = passwordFor(call);
    if (!password)
        return call.wrong(
            QStringLiteral("no password on standard input: give --password or --open"));
    return call.ask("wifi_connect", {{QStringLiteral("ssid"), call.argument(0)},
                                     {QStringLiteral("password"), *password},
                                     {QStringLiteral("hidden"), call.has("--hidden")}});
}

int runConnectShort(Invocation& call)
{
    return call.ask("wifi_connect_short", {{QStringLiteral("ssid"), call.argument(0)}});
}

/// Puts the content of a certificate in the place of the "path" under which it lies here.
QString loadCertificate(const QDir& folder, QVariantMap& wifi, const QString& key)
{
    QVariantMap certificate = wifi.value(key).toMap();
    if (!certificate.contains(QStringLiteral("path")))
        return {};
    QFile file(folder.filePath(certificate.take(QStringLiteral("path")).toString()));
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("file [%1]: %2").arg(file.fileName(), file.errorString());
    QString problem;
    const auto content = contentOf(file, &problem, kLargestFile);
    if (!content)
        return QStringLiteral("file [%1]: %2").arg(file.fileName(), problem);
    if (!certificate.contains(QStringLiteral("fileName")))
        certificate.insert(QStringLiteral("fileName"), QFileInfo(file).fileName());
    certificate.insert(QStringLiteral("base64"), QString::fromLatin1(content->toBase64()));
    wifi.insert(key, certificate);
    return {};
}

/// The password that the description leaves out is asked for: that of the network, of the private
/// key if there is one, or of the identity. False if none came.
bool askMissingPassword(QVariantMap& wifi)
{
    const bool isEnterprise = wifi.value(QStringLiteral("verification")).toBool();
    const bool hasKey = wifi.contains(QStringLiteral("802-1x.private-key"));
    QString key = QStringLiteral("password");
    if (isEnterprise)
        key = hasKey ? QStringLiteral("802-1x.private-key-password")
                     : QStringLiteral("802-1x.password");
    if (wifi.contains(key))
        return true;
    const std::optional<QString> password =
        askPassword(isEnterprise && hasKey ? QStringLiteral("Pass phrase of the private key")
                                           : QStringLiteral("Password"));
    if (password)
        wifi.insert(key, *password);
    return password.has_value();
}

/// What a description means that does not say otherwise: 802.1X, and an address by DHCP unless it
/// has one.
void insertDefaults(QVariantMap& wifi)
{
    if (!wifi.contains(QStringLiteral("verification")))
        wifi.insert(QStringLiteral("verification"), true);
    if (!wifi.contains(QStringLiteral("dhcp")))
        wifi.insert(QStringLiteral("dhcp"), !wifi.contains(QStringLiteral("ipv4.addresses")));
}

int runEnterprise(Invocation& call)
{
    QFile file(call.argument(0));
    if (!file.open(QIODevice::ReadOnly))
        return call.wrong(QStringLiteral("file [%1]: %2").arg(file.fileName(), file.errorString()));
    QString problem;
    const auto text = contentOf(file, &problem, kLargestFile);
    if (!text)
        return call.wrong(QStringLiteral("file [%1]: %2").arg(file.fileName(), problem));
    const QVariant json = parseJson(*text);
    if (json.type() != QVariant::Map)
        return call.wrong(QStringLiteral("file [%1]: not a JSON object").arg(file.fileName()));
    QVariantMap wifi = json.toMap();
    if (wifi.value(QStringLiteral("ssid")).toString().trimmed().isEmpty())
        return call.wrong(QStringLiteral("file [%1]: no SSID").arg(file.fileName()));
    for (const char* key : {"802-1x.ca-cert", "802-1x.client-cert", "802-1x.private-key"}) {
        problem = loadCertificate(QFileInfo(file).absoluteDir(), wifi, QLatin1String(key));
        if (!problem.isEmpty())
            return call.wrong(problem);
    }
    insertDefaults(wifi);
    if (!askMissingPassword(wifi))
        return call.wrong(
            QStringLiteral("no password on standard input: put it into the description"));
    return call.ask("wifi_enterprise", wifi);
}

int runUp(Invocation& call)
{
    return call.ask("wifi_up", {{QStringLiteral("restart"), call.has("--restart")}});
}

int runForget(Invocation& call)
{
    QVariantMap which;
    if (call.has("--card"))
        which.insert(QStringLiteral("card"), call.option("--card"));
    return call.ask("wifi_forget", which);
}

int runSsid(Invocation& call)
{
    return call.ask("wifi_ssid");
}

int runPassword(Invocation& call)
{
    return call.ask("wifi_password", {{QStringLiteral("ssid"), call.argument(0)}});
}

} // namespace

std::vector<Verb> wifiJoinVerbs()
{
    return {
        {"connect",
         "SSID",
         "Joins a network; without --password it is asked for, or read from standard input",
         {{"--password", "TEXT", "the pass phrase"},
          {"--open", "", "the network has none: do not ask"},
          {"--hidden", "", "the network does not show its name"}},
         "kyctl wifi connect RobotNet --password robotpass",
         runConnect},
        {"connect-short",
         "SSID",
         "Joins a network that needs no password, by its name alone",
         {},
         "kyctl wifi connect-short OpenNet",
         runConnectShort},
        {"enterprise",
         "FILE.json",
         "Joins a network by a full description, 802.1X included. A certificate is {\"path\": "
         "FILE} "
         "with a path beside the description; a missing password is asked for",
         {},
         "kyctl wifi enterprise office.json",
         runEnterprise},
        {"up",
         "",
         "Brings the stored profile up",
         {{"--restart", "", "restart NetworkManager if that fails"}},
         "kyctl wifi up",
         runUp},
        {"forget",
         "",
         "Removes the stored Wi-Fi profiles",
         {{"--card", "NAME", "those of a card instead, of any kind"}},
         "kyctl wifi forget",
         runForget},
        {"ssid", "", "Shows the network in use", {}, "kyctl wifi ssid", runSsid},
        {"password",
         "[SSID]",
         "Shows the stored pass phrase of a network, or of the one in use",
         {},
         "kyctl wifi password RobotNet",
         runPassword},
    };
}

} // namespace ky
