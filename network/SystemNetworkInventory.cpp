#include "network/SystemNetwork.h"

#include "host/PublicClass.h"
#include "network/HostCommands.h"
#include "network/NetworkLog.h"
#include "network/NetworkSettings.h"
#include "network/decisions/InternalCard.h"
#include "network/tools/IfconfigOutput.h"
#include "network/tools/InterfaceText.h"
#include "network/tools/LshwOutput.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/Profiles.h"
#include "network/tools/ToolLines.h"
#include "support/HostLimits.h"
#include "support/ShellLine.h"

using namespace ky;

namespace {

constexpr int kIfconfigLimitMs = limits::kIfconfigMs;
constexpr int kDeviceShowLimitMs = limits::kDeviceShowMs;
constexpr int kLshwLimitMs = limits::kToolMs;

/// A command whose failure only leaves its output unreadable.
QString outputOf(const QString& line, int limitMs)
{
    QString output;
    PublicClass::init()->processCmd(line, output, limitMs, true);
    return output;
}

void insertIfconfig(const QString& name, QVariantMap& info)
{
    const std::optional<IfconfigCard> card =
        parseIfconfig(outputOf(shellLine(lines::kIfconfig), kIfconfigLimitMs), name);
    if (!card)
        return;
    info.insert(QStringLiteral("ip"), card->ip);
    info.insert(QStringLiteral("mask"), card->mask);
    info.insert(QStringLiteral("name"), name);
}

/// Logs in the name of the operation that asks.
void insertDeviceShow(const QString& name, QVariantMap& info, const char* operation)
{
    const QString output = outputOf(shellLine(lines::kDeviceShow, name), kDeviceShowLimitMs);
    if (!output.contains(QLatin1Char('\n')))
        KY_LOG_WARNING_AS(kyNetworkLog, operation) << "Not found line feed:" << output;
    const DeviceShow show = parseDeviceShow(output);
    for (const QString& line : show.unreadable)
        KY_LOG_WARNING_AS(kyNetworkLog, operation) << "Not found space:" << line;
    for (const auto& [label, value] : show.rows) {
        if (label == QLatin1String("IP4.GATEWAY:"))
            info.insert(QStringLiteral("gateway"), value);
        if (label == QLatin1String("GENERAL.HWADDR:"))
            info.insert(QStringLiteral("Mac"), value);
        info.insert(label, value);
    }
}

/// What the three card operations have in common.
void insertCard(const QString& name, QVariantMap& info, const char* operation)
{
    insertIfconfig(name, info);
    insertDeviceShow(name, info, operation);
}

void insertDhcp(const QString& fileName, const QString& uuid, QVariantMap& info)
{
    const KeyFile profile = KeyFile::read(profileFolder() + QLatin1Char('/') + fileName);
    if (profile.holds("connection", "uuid", uuid))
        info.insert(QStringLiteral("dhcp"),
                    profile.value("ipv4", "method") == QLatin1String("auto"));
}

} // namespace

QVariantList SystemNetwork::getAllInterfaces()
{
    QVariantList list;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : interfaces) {
        list.append(QVariantMap{
            {QStringLiteral("name"), interface.name()},
            {QStringLiteral("index"), interface.index()},
            {QStringLiteral("maximumTransmissionUnit"), interface.maximumTransmissionUnit()},
            {QStringLiteral("humanReadableName"), interface.humanReadableName()},
            {QStringLiteral("flags"), int(interface.flags())},
            {QStringLiteral("type"), int(interface.type())},
            {QStringLiteral("hardwareAddress"), interface.hardwareAddress()}});
    }
    return list;
}

void SystemNetwork::getAllNetworkCards()
{
    _networkCards.clear();
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : interfaces) {
        const QString hardwareAddress = interface.hardwareAddress();
        if (hardwareAddress.isEmpty())
            continue;
        QVariantMap card = chooseAddress(interface.addressEntries());
        card.insert(QStringLiteral("name"), interface.humanReadableName());
        _networkCards.insert(hardwareAddress, card);
    }
}

QMap<QString, QString> SystemNetwork::getNetworkWifiMap()
{
    QMap<QString, QString> names;
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : interfaces)
        names.insert(interface.hardwareAddress(), interface.humanReadableName());
    KY_DEBUG << "QList<QNetworkInterface>:" << names;
    _networkCardNames = names.values();
    return names;
}

bool SystemNetwork::isNetworkInterfaceFlag(const QString& name,
                                           QNetworkInterface::InterfaceFlag flag)
{
    const QList<QNetworkInterface> interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface& interface : interfaces) {
        KY_INFO << QStringLiteral("[QNetworkInterface:%1]").arg(interface.index());
        KY_INFO << QStringLiteral("[name:%1]").arg(interface.name());
        KY_INFO << QStringLiteral("[humanReadableName:%1]").arg(interface.humanReadableName());
        KY_INFO << interfaceFlagNames(interface.type()); // of the type, as in describeInterface()
        KY_INFO << QStringLiteral("[netInterface.type():%1]").arg(interface.type());
        if (interface.name() == name && (interface.flags() & flag))
            return true;
    }
    return false;
}

bool SystemNetwork::getNetworkCardInfo(const QString& name, QVariantMap& info)
{
    insertCard(name, info, __func__);
    info.insert(QStringLiteral("dhcp"), QStringLiteral("Not Found"));
    QString uuid;
    if (getConnectionActiveiUUID(name, uuid))
        insertDhcp(getNetworkManagerSSIDFileNameBy(uuid), uuid, info);
    return true;
}

bool SystemNetwork::getNetInfo(const QString& name, QVariantMap& info)
{
    insertCard(name, info, __func__);
    QString uuid;
    if (getActiveUUID(name, uuid))
        insertDhcp(getNetworkManagerSSIDFileNameBy(uuid), uuid, info);
    return true;
}

bool SystemNetwork::getWifiCardInfo(QVariantMap& info)
{
    QString name = _wirelessCardName;
    if (!getWirelessCardName(name))
        return false;
    insertCard(name, info, __func__);
    QString uuid;
    if (!getConnectionActiveiUUID(name, uuid))
        return false;
    insertDhcp(getNetworkManagerSSIDFileNameBy(uuid), uuid, info);
    return true;
}

bool SystemNetwork::getAlxCardInfo(QVariantMap& info)
{
    const bool isRead = getNetInfo(_aLXB10NetworkCardName, info);
    if (isRead)
        storeSettings(*this, __func__,
                      {{QLatin1String(settings::kWiredCardName), _aLXB10NetworkCardName}});
    return isRead;
}

bool SystemNetwork::getAlxCardStatus()
{
    const auto stored = [](const char* key) {
        return PublicClass::init()->readIni(QLatin1String(settings::kFile), QLatin1String(key));
    };
    return !stored(settings::kWiredCardName).toString().isEmpty() &&
           stored(settings::kWiredCardBanned).toBool();
}

QString SystemNetwork::getWiredNetworkDriver()
{
    QString output;
    if (!PublicClass::init()->processCmd(shellLine(lines::kLshw), output, kLshwLimitMs, true))
        return {};
    return wiredDriver(output);
}
