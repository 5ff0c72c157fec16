#include "SimulatedHost.h"

#include <QDir>
#include <QFile>
#include <QNetworkInterface>
#include <QSaveFile>
#include <QSettings>
#include <QtTest>

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

/// What a program on a simulated host sees. This one runs on one.
class tst_PrivateView : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void interfacesAreThoseOfTheScene();
    void aCardsAddressFollowsTheScene();
    void ioctlsAnswerForCardsOfTheScene();
    void getifaddrsListsTheScene();
    void aCardThatTheSceneLacksIsNotThere();

    void pathsAreMapped_data();
    void pathsAreMapped();
    void otherPathsAreThoseOfTheMachine();
    void aFileCanBeReplacedByRename();
    void aKeyfileIsReadThroughQSettings();
    void foldersAreListed();
    void globFindsThermalZones();
    void canonicalPathsAreThoseOfTheHost();
    void relativePathsWorkBelowAPrivateFolder();
    void relativePathsIntoAPrivateFolderAreMapped();

private:
    SimulatedHost _host{SimulatedHost::OfThisProcess};
};

namespace {

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot open");
}

QNetworkInterface interfaceNamed(const QString& name)
{
    for (const QNetworkInterface& entry : QNetworkInterface::allInterfaces())
        if (entry.name() == name)
            return entry;
    return {};
}

QString addressBy(unsigned long request, const char* name)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    ifreq query = {};
    qstrncpy(query.ifr_name, name, IFNAMSIZ);
    const int result = ::ioctl(fd, request, &query);
    ::close(fd);
    const auto* address = reinterpret_cast<const sockaddr_in*>(&query.ifr_addr);
    return result == 0 ? QString(::inet_ntoa(address->sin_addr)) : QString();
}

} // namespace

void tst_PrivateView::init()
{
    _host.reset();
}

void tst_PrivateView::interfacesAreThoseOfTheScene()
{
    QStringList names;
    for (const QNetworkInterface& entry : QNetworkInterface::allInterfaces())
        names << entry.name();

    QCOMPARE(names, QStringList({"lo", "eth0", "eth1", "wlan0", "can0", "can1"}));
    QCOMPARE(interfaceNamed("wlan0").type(), QNetworkInterface::Wifi);
    QCOMPARE(interfaceNamed("eth0").type(), QNetworkInterface::Ethernet);
    QCOMPARE(interfaceNamed("can0").type(), QNetworkInterface::CanBus);
    QCOMPARE(interfaceNamed("eth1").hardwareAddress(), QString("52:54:00:AB:CD:11"));
    QCOMPARE(interfaceNamed("can0").hardwareAddress(), QString());
    QVERIFY(interfaceNamed("eth0").flags() & QNetworkInterface::IsRunning);
    QVERIFY(!(interfaceNamed("wlan0").flags() & QNetworkInterface::IsRunning));
    QVERIFY(!(interfaceNamed("can0").flags() & QNetworkInterface::IsUp));
}

void tst_PrivateView::aCardsAddressFollowsTheScene()
{
    QVERIFY(interfaceNamed("eth0").addressEntries().isEmpty());

    QProcess::execute("nmcli", {"device", "connect", "eth0"});

    const auto entries = interfaceNamed("eth0").addressEntries();
    QCOMPARE(entries.size(), 2);
    QCOMPARE(entries.at(0).ip().toString(), QString("192.168.60.21"));
    QCOMPARE(entries.at(0).netmask().toString(), QString("255.255.255.0"));
    QCOMPARE(entries.at(0).broadcast().toString(), QString("192.168.60.255"));
}

void tst_PrivateView::ioctlsAnswerForCardsOfTheScene()
{
    QProcess::execute("ifconfig", {"eth1", "192.168.192.5", "netmask", "255.255.255.0"});

    QCOMPARE(addressBy(SIOCGIFADDR, "eth1"), QString("192.168.192.5"));
    QCOMPARE(addressBy(SIOCGIFBRDADDR, "eth1"), QString("192.168.192.255"));
    QCOMPARE(addressBy(SIOCGIFNETMASK, "eth1"), QString("255.255.255.0"));
    QCOMPARE(addressBy(SIOCGIFADDR, "wlan0"), QString());
    QCOMPARE(addressBy(SIOCGIFADDR, "eth7"), QString());
    QCOMPARE(::if_nametoindex("eth1"), 3U);
}

void tst_PrivateView::getifaddrsListsTheScene()
{
    QStringList seen;
    ifaddrs* list = nullptr;
    QCOMPARE(::getifaddrs(&list), 0);
    for (const ifaddrs* entry = list; entry; entry = entry->ifa_next)
        seen << QString("%1/%2").arg(entry->ifa_name).arg(entry->ifa_addr->sa_family);
    ::freeifaddrs(list);

    QVERIFY(seen.contains(QString("lo/%1").arg(AF_INET)));
    QVERIFY(seen.contains(QString("wlan0/%1").arg(AF_PACKET)));
    QVERIFY(!seen.contains(QString("wlan0/%1").arg(AF_INET)));
}

void tst_PrivateView::aCardThatTheSceneLacksIsNotThere()
{
    _host.set("eth1.name", "enp9s0");

    QVERIFY(interfaceNamed("enp9s0").isValid());
    QVERIFY(!interfaceNamed("eth1").isValid());
    QCOMPARE(::if_nametoindex("eth1"), 0U);
}

void tst_PrivateView::pathsAreMapped_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("start");

    QTest::newRow("sound cards") << "/proc/asound/cards" << QByteArray(" 0 [PCH  ");
    QTest::newRow("routes") << "/proc/net/route" << QByteArray("Iface\tDestination");
    QTest::newRow("thermal zone") << "/sys/class/thermal/thermal_zone0/temp"
                                  << QByteArray("45500\n");
    QTest::newRow("blacklist") << "/etc/modprobe.d/blacklist.conf" << QByteArray("# modules");
    QTest::newRow("double slashes")
        << "/etc//modprobe.d///blacklist.conf" << QByteArray("# modules");
    QTest::newRow("dots") << "/etc/./x/../modprobe.d/../asound.conf"
                          << QByteArray("defaults.ctl.card 0");
}

void tst_PrivateView::pathsAreMapped()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, start);

    QCOMPARE(contentOf(path).left(start.size()), start);
    QVERIFY(QFile::exists(path));
    struct stat info = {};
    QCOMPARE(::stat(qPrintable(path), &info), 0);
    QCOMPARE(::access(qPrintable(path), R_OK), 0);
    FILE* file = std::fopen(qPrintable(path), "r");
    QVERIFY(file);
    std::fclose(file);
}

void tst_PrivateView::otherPathsAreThoseOfTheMachine()
{
    QVERIFY(!contentOf("/etc/passwd").contains("cannot open"));
    QVERIFY(!QFile::exists("/etc/NetworkManagerX"));
    // A private path is matched by whole names, not by its first characters.
    QVERIFY(!QFile::exists("/etc/asound.conf.d"));
}

void tst_PrivateView::aFileCanBeReplacedByRename()
{
    QSaveFile file("/etc/asound.conf");
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(file.errorString()));
    file.write("new");
    QVERIFY2(file.commit(), qPrintable(file.errorString()));

    QCOMPARE(contentOf("/etc/asound.conf"), QByteArray("new"));
    QCOMPARE(contentOf(_host.privatePath("/etc/asound.conf")), QByteArray("new"));
    QVERIFY(QFile::copy("/etc/asound.conf", "/etc/netplan/copy.yaml"));
    QVERIFY(QFile::rename("/etc/netplan/copy.yaml", "/etc/netplan/moved.yaml"));
    QVERIFY(QFile::remove("/etc/netplan/moved.yaml"));
    QVERIFY(QFile::link("/usr/share/zoneinfo/Asia/Tokyo", "/etc/netplan/link"));
    QCOMPARE(QFileInfo("/etc/netplan/link").symLinkTarget(),
             QString("/usr/share/zoneinfo/Asia/Tokyo"));
}

void tst_PrivateView::aKeyfileIsReadThroughQSettings()
{
    QProcess::execute("nmcli", {"device", "wifi", "connect", "RobotNet", "password", "robotpass"});

    const QString path = "/etc/NetworkManager/system-connections/RobotNet.nmconnection";
    QCOMPARE(QSettings(path, QSettings::IniFormat).value("wifi-security/psk").toString(),
             QString("robotpass"));
    struct stat info = {};
    QCOMPARE(::stat(qPrintable(path), &info), 0);
    QCOMPARE(info.st_mode & 07777, 0600U);
}

void tst_PrivateView::foldersAreListed()
{
    QProcess::execute("nmcli", {"device", "connect", "eth1"});

    const QDir folder("/etc/NetworkManager/system-connections");
    QCOMPARE(folder.entryList(QDir::Files), QStringList{"eth1.nmconnection"});
    DIR* opened = ::opendir("/etc/netplan");
    QVERIFY(opened);
    ::closedir(opened);
}

void tst_PrivateView::globFindsThermalZones()
{
    glob_t found = {};
    QCOMPARE(::glob("/sys/class/thermal/thermal_zone*/type", 0, nullptr, &found), 0);
    const QStringList paths{found.gl_pathv[0], found.gl_pathv[1]};
    QCOMPARE(found.gl_pathc, size_t(2));
    ::globfree(&found);

    QCOMPARE(paths, QStringList({"/sys/class/thermal/thermal_zone0/type",
                                 "/sys/class/thermal/thermal_zone1/type"}));
    QCOMPARE(_host.run("grep . /sys/class/thermal/thermal_zone*/type").output,
             QByteArray("/sys/class/thermal/thermal_zone0/type:cpu-thermal\n"
                        "/sys/class/thermal/thermal_zone1/type:acpitz\n"));
}

void tst_PrivateView::canonicalPathsAreThoseOfTheHost()
{
    QCOMPARE(QFileInfo("/etc/modprobe.d/../asound.conf").canonicalFilePath(),
             QString("/etc/asound.conf"));
}

void tst_PrivateView::relativePathsWorkBelowAPrivateFolder()
{
    const auto result = _host.run("cd /etc/modprobe.d && ls *.conf && head -1 blacklist.conf");

    QCOMPARE(result.output, QByteArray("blacklist.conf\n# modules that are not loaded\n"));
}

void tst_PrivateView::relativePathsIntoAPrivateFolderAreMapped()
{
    QCOMPARE(_host.run("cd /etc && head -1 modprobe.d/blacklist.conf").output,
             QByteArray("# modules that are not loaded\n"));
    const int etc = ::open("/etc", O_RDONLY | O_DIRECTORY);
    struct stat info = {};
    QCOMPARE(::fstatat(etc, "asound.conf", &info, 0), 0);
    ::close(etc);
}

QTEST_GUILESS_MAIN(tst_PrivateView)
#include "tst_private_view.moc"
