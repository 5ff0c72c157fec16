#include "Site.h"

#include "host/PublicClass.h"
#include "network/SystemNetwork.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace site {

namespace {

QString matchOf(const QString& text, const char* pattern)
{
    return QRegularExpression(QString::fromLatin1(pattern), QRegularExpression::MultilineOption)
        .match(text)
        .captured(1);
}

QString link()
{
    return run(QStringLiteral("iw dev wlan0 link"));
}

} // namespace

QString bssid(int accessPoint)
{
    return QStringLiteral("02:00:00:00:0%1:00").arg(accessPoint);
}

bool isUp()
{
    return QFile::exists(QStringLiteral("/run/ky-radios")) &&
           QFile::exists(QStringLiteral("/run/netns/ap"));
}

QString run(const QString& line, int limitMs)
{
    QProcess shell;
    shell.setProcessChannelMode(QProcess::MergedChannels);
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), line});
    shell.closeWriteChannel();
    if (!shell.waitForFinished(limitMs))
        shell.kill();
    return QString::fromUtf8(shell.readAll());
}

bool waitUntil(const std::function<bool()>& condition, int limitMs)
{
    QElapsedTimer time;
    time.start();
    while (!condition()) {
        if (time.hasExpired(limitMs))
            return false;
        QTest::qWait(100);
    }
    return true;
}

void setLevel(int accessPoint, int dbm)
{
    QFile radios(QStringLiteral("/run/ky-radios"));
    radios.open(QIODevice::ReadOnly);
    const QByteArray phy = radios.readAll().split('\n').value(accessPoint - 1);
    QFile level(QStringLiteral("/sys/kernel/debug/ieee80211/%1/hwsim/rx_rssi")
                    .arg(QString::fromLatin1(phy)));
    // The kernel takes a negative value in its unsigned form only.
    const QByteArray text = QByteArray::number(quint64(qint64(dbm)));
    if (!level.open(QIODevice::WriteOnly) || level.write(text) != text.size())
        qFatal("the level of access point %d cannot be set", accessPoint);
}

void switchAccessPoint(int accessPoint, bool isOn)
{
    run(QStringLiteral("/usr/local/lib/ky/ap %1 %2 >/dev/null 2>&1")
            .arg(accessPoint)
            .arg(isOn ? QStringLiteral("up") : QStringLiteral("down")));
}

void reset()
{
    run(QStringLiteral(
        "for n in 1 2 3 4 5 6; do kill -0 $(cat /run/ap$n.pid) 2>/dev/null ||"
        " /usr/local/lib/ky/ap $n up; done >/dev/null 2>&1;"
        "nmcli -t -f UUID,TYPE connection show |"
        " sed -nE 's/:802-(11-wireless|3-ethernet)$//p' | xargs -r nmcli connection delete;"
        "nmcli radio wifi on; ip link set wlan0 up"));
    for (int n = Site5G; n <= Enterprise; ++n)
        setLevel(n, -50);
    waitUntil(
        [] {
            return run(QStringLiteral("LC_ALL=C nmcli -t -f DEVICE,STATE device"))
                .contains(QLatin1String("wlan0:disconnected"));
        },
        30000);
}

bool sees(const QString& ssid)
{
    return run(QStringLiteral("LC_ALL=C.UTF-8 nmcli -t -f SSID device wifi list --rescan no"))
        .split(QLatin1Char('\n'))
        .contains(ssid);
}

QString linkedSsid()
{
    const QString ssid = matchOf(link(), "^\\s*SSID: (.*)$");
    return QString::fromUtf8(QByteArray::fromPercentEncoding(ssid.toLatin1().replace("\\x", "%")));
}

QString linkedBssid()
{
    return matchOf(link(), "^Connected to ([0-9a-f:]+)");
}

int linkedLevel()
{
    return matchOf(link(), "^\\s*signal: (-?\\d+)").toInt();
}

QString addressOf(const QString& card)
{
    return matchOf(run(QStringLiteral("ip -4 -o addr show dev %1").arg(card)),
                   "inet ([0-9.]+/\\d+)");
}

bool canReachRouter()
{
    return run(QStringLiteral("ping -c 3 -W 2 %1").arg(QLatin1String(kRouter)))
        .contains(QLatin1String(" 0% packet loss"));
}

QStringList profilesOfType(const QString& type)
{
    QStringList names;
    const QString table = run(QStringLiteral("LC_ALL=C.UTF-8 nmcli -t -f NAME,TYPE connection"));
    for (const QString& line : table.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.endsWith(QLatin1Char(':') + type))
            names << line.left(line.size() - type.size() - 1);
    }
    return names;
}

Language::Language(const QString& name)
{
    qunsetenv("LC_ALL");
    qputenv("LANG", name.toLatin1());
}

Language::~Language()
{
    qunsetenv("LANG");
    qputenv("LC_ALL", "C.UTF-8");
}

Robot::Robot(const QStringList& settings)
{
    QDir::setCurrent(_home.path());
    QDir().mkpath(QStringLiteral("appInfo/setting"));
    QDir().mkpath(QStringLiteral("appInfo/backupFile"));
    QFile file(QStringLiteral("appInfo/setting/WirelessCard.ini"));
    if (file.open(QIODevice::WriteOnly)) {
        file.write("[WirelessCard]\nCardName=wlan0\n");
        file.write(settings.join(QLatin1Char('\n')).toUtf8());
        file.write("\n[AlxWirelessCard]\nCardName=eth0\n");
    }
    file.close();
    PublicClass* host = PublicClass::init();
    host->applicationDir = _home.path();
    host->dataDir = _home.path();
    host->settingsFile = _home.filePath(QStringLiteral("settings.ini"));
    host->writeIni(host->settingsFile, QStringLiteral("AppInfo/networkBackup"),
                   _home.filePath(QStringLiteral("backup")));
    host->hardwareType = 3;
    host->autoConnectEnabled = true;
    host->autoConnectPaused = false;
    _network = std::make_unique<SystemNetwork>(nullptr);
}

Robot::~Robot()
{
    _network.reset();
    QDir::setCurrent(QStringLiteral("/"));
}

} // namespace site
