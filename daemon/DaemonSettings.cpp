#include "daemon/DaemonSettings.h"

#include "support/AtomicFile.h"
#include "support/IniText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace ky {

namespace {

constexpr int kMaxPort = 32767;
constexpr int kMaxThreads = 64;

constexpr char kBackupKey[] = "AppInfo/networkBackup";

QString rangeProblem(const QVariantMap& values, const QString& key, int cut, int highest)
{
    const QString text = values.value(key).toString();
    if (text.isEmpty())
        return QStringLiteral("[%1]: missing").arg(key);
    if (cut < 1 || cut > highest)
        return QStringLiteral("[%1]: %2 is not in 1 to %3").arg(key, text).arg(highest);
    return {};
}

QString checkServer(const QVariantMap& values, int id, ListenerSettings* server)
{
    const QString group = QStringLiteral("Server%1/").arg(id);
    const auto read = [&](const char* key) {
        return values.value(group + QLatin1String(key)).toUInt();
    };
    server->port = quint16(read("port"));
    server->threadCount = quint8(read("threadCount"));
    server->payload = quint16(read("payload"));
    const QString problem =
        rangeProblem(values, group + QStringLiteral("port"), server->port, kMaxPort);
    if (!problem.isEmpty())
        return problem;
    return rangeProblem(values, group + QStringLiteral("threadCount"), server->threadCount,
                        kMaxThreads);
}

QString readableProblem(const QString& path)
{
    if (QFileInfo(path).isDir())
        return QStringLiteral("is a folder");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    return {};
}

} // namespace

quint16 DaemonSettings::deliveryPort(const QString& ip, int port) const
{
    const bool isThisHost = ip == QLatin1String("127.0.0.1");
    if (isThisHost && port == kLinkPort)
        return servers[1].port;
    if (isThisHost && port == kReportPort)
        return servers[2].port;
    return quint16(port);
}

QString checkSettings(const QVariantMap& values, DaemonSettings* settings)
{
    for (int id = 1; id <= int(settings->servers.size()); ++id) {
        const QString problem = checkServer(values, id, &settings->servers[size_t(id - 1)]);
        if (!problem.isEmpty())
            return problem;
    }
    const auto host = [&](const char* key) {
        return values.value(QStringLiteral("Host/") + QLatin1String(key));
    };
    bool isNumber = true;
    if (!host("hardwareType").toString().isEmpty())
        settings->hardwareType = host("hardwareType").toInt(&isNumber);
    if (!isNumber)
        return QStringLiteral("[Host/hardwareType]: %1 is no number")
            .arg(host("hardwareType").toString());
    settings->halShPath = host("halShPath").toString();
    settings->tbxName = host("tbxName").toString();
    settings->dataDir = host("dataDir").toString();
    settings->version = host("version").toString();
    settings->autoConnectEnabled = host("autoConnectEnabled").toBool();
    return {};
}

QString readSettings(const QString& path, DaemonSettings* settings)
{
    const QString line = QStringLiteral("settings file [%1]: %2");
    const QString unreadable = readableProblem(path);
    if (!unreadable.isEmpty())
        return line.arg(path, unreadable);
    QSettings file(path, QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    QVariantMap values;
    for (const QString& key : file.allKeys()) {
        // An unquoted comma makes a list of a text.
        const QVariant value = file.value(key);
        values.insert(key, value.type() == QVariant::StringList
                               ? value.toStringList().join(QLatin1Char(','))
                               : value);
    }
    if (file.status() != QSettings::NoError)
        return line.arg(path, QStringLiteral("not an INI file"));
    const QString problem = checkSettings(values, settings);
    if (!problem.isEmpty())
        return line.arg(path, problem);
    settings->file = path;
    return {};
}

QString addBackupFolder(const QString& path, const QString& home)
{
    const QString key = QLatin1String(kBackupKey);
    if (QSettings(path, QSettings::IniFormat).contains(key))
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("settings file [%1]: cannot be added to").arg(path);
    IniText group({}); // the form that a reader without codec takes
    group.set(key, QDir(home).absoluteFilePath(QStringLiteral("appInfo/backupFile/network")));
    // Appended, not written by QSettings: that drops comments and knows no UTF-8. A group that
    // stands twice is read as one.
    QString error;
    replaceFile(path,
                file.readAll() + "\n; Certificates of Wi-Fi networks, an absolute path.\n" +
                    group.content(),
                &error);
    return error;
}

} // namespace ky
