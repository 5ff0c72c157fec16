#include "ClosedFolder.h"
#include "NetworkFixture.h"

#include <QTest>

#include <cstring>
#include <memory>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>

namespace {

const QString kDelete = QStringLiteral("sudo nmcli connection delete MyHostspot ");
const QString kOpen =
    QStringLiteral("nmcli device wifi hotspot ifname wlan0 con-name MyHostspot ssid 'robot' "
                   "password 'secret12' ");
const QString kAutoconnect =
    QStringLiteral("nmcli connection modify MyHostspot connection.autoconnect yes");
const QString kClose = QStringLiteral("sudo nmcli connection delete MyHostspot");
constexpr int kHostapdBoard = 6;
const QString kInterfaceDown = QStringLiteral("sudo ifconfig wlsp1s1 down");

bool isInOwnNetwork = false;

bool askInterface(unsigned long request, ifreq ask)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isDone = ioctl(fd, request, &ask) == 0;
    close(fd);
    return isDone;
}

/// The loopback interface of this program's own network under the name of the board's own, up while
/// this lives.
class HostapdInterface
{
public:
    HostapdInterface() { _isThere = rename("lo", "wlsp1s1") && setFlags("wlsp1s1", IFF_UP); }
    ~HostapdInterface() { setFlags("wlsp1s1", 0), rename("wlsp1s1", "lo"); }
    HostapdInterface(const HostapdInterface&) = delete;
    HostapdInterface& operator=(const HostapdInterface&) = delete;

    bool isThere() const { return _isThere; }

private:
    static bool rename(const char* from, const char* to)
    {
        ifreq ask = {};
        std::strcpy(ask.ifr_name, from);
        std::strcpy(ask.ifr_newname, to);
        return askInterface(SIOCSIFNAME, ask);
    }
    static bool setFlags(const char* name, short flags)
    {
        ifreq ask = {};
        std::strcpy(ask.ifr_name, name);
        ask.ifr_flags = flags;
        return askInterface(SIOCSIFFLAGS, ask);
    }

    bool _isThere = false;
};

QVariantMap request(const QString& ssid = QStringLiteral("robot"),
                    const QString& passPhrase = QStringLiteral("secret12"))
{
    return {{QStringLiteral("ssid"), ssid}, {QStringLiteral("passwd"), passPhrase}};
}

} // namespace

class tst_Hotspot : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void opensInOrder();
    void openedIsStored();
    void openedIsGoodWithoutRoomForItsSettings();
    void successIsJudgedByWords_data();
    void successIsJudgedByWords();
    void absentProfileStopsTheStartWithoutReason();
    void failedAutoconnectLeavesTheSettings();
    void closesByDeletingTheProfile();
    void closeThatFailsKeepsTheSetting_data();
    void closeThatFailsKeepsTheSetting();
    void fixUsesWhatIsStored();
    void fixWithNothingStoredGoesItsWay();
    void hostileNamesStayQuoted();
    void isNeverSeenAsConnected();

    void hostapdFileIsRewrittenAndStarted();
    void hostapdThatFailsLeavesTheNewFile();
    void hostapdFileThatIsMissingIsMadePrivate();
    void hostapdFileThatCannotBeOpened();
    void hostapdValueWithALineEndIsRefused();
    void hostapdFileInAClosedFolderIsWritten();
    void hostapdFileThatTakesNothing();
    void hostapdInterfaceThatIsMissingIsNotOn();
    void hostapdInterfaceThatCannotBeTakenDownLeavesTheLastError();
    void hostapdInterfaceThatWentDownLeavesWhatTheCommandPrinted();

private:
    void useHostapd(const QByteArray& content);
    QString confPath() const
    {
        return _fixture->path(QStringLiteral("appInfo/backupFile/hostapd.conf"));
    }
    QVariant isRunning() const { return _fixture->setting(ky::settings::kHotspotRunning); }
    QStringList lines() const { return _fixture->host().lines(); }

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_Hotspot::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _network = std::make_unique<OpenNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
    PublicClass::init()->hardwareType = 2;
    PublicClass::init()->applicationDir = _fixture->path(QStringLiteral("."));
}

void tst_Hotspot::cleanup()
{
    _network.reset();
    _fixture.reset();
}

void tst_Hotspot::useHostapd(const QByteArray& content)
{
    PublicClass::init()->hardwareType = kHostapdBoard;
    PublicClass::init()->applicationDir = QFileInfo(_fixture->path({})).absoluteFilePath();
    _fixture->write(confPath(), content);
}

void tst_Hotspot::opensInOrder()
{
    _fixture->host().answer(kOpen, NetworkFixture::capture("nmcli/hotspot-good.c.out"));

    QVERIFY(_network->startHotspot(request()));

    QCOMPARE(lines(), (QStringList{kDelete, kOpen, kAutoconnect}));
    for (const RecordedHost::Call& call : _fixture->host().calls())
        QCOMPARE(call.limitMs, 20000);
}

void tst_Hotspot::openedIsStored()
{
    _fixture->host().answer(kOpen, NetworkFixture::capture("nmcli/hotspot-good.zh.out"));

    QVERIFY(_network->startHotspot(request()));

    QCOMPARE(_fixture->setting(ky::settings::kHotspotSsid).toString(), QStringLiteral("robot"));
    QCOMPARE(_fixture->setting(ky::settings::kHotspotPassword).toString(),
             QStringLiteral("secret12"));
    QCOMPARE(isRunning().toBool(), true);
}

void tst_Hotspot::openedIsGoodWithoutRoomForItsSettings()
{
    _fixture->write(QStringLiteral("appInfo"), "a file in the place of the folder");
    _fixture->host().answer(kOpen, NetworkFixture::capture("nmcli/hotspot-good.c.out"));

    QVERIFY(_network->startHotspot(request()));

    QVERIFY2(_network->getLastError().startsWith(QLatin1String("settings not stored: ")),
             qUtf8Printable(_network->getLastError()));
}

void tst_Hotspot::successIsJudgedByWords_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");

    QTest::newRow("failed") << "Error: Invalid 'password': 'abcd' is not valid WPA PSK.\n" << false;
    QTest::newRow("without a word") << "Hotspot aktiviert\n" << true;
    QTest::newRow("nothing") << "" << true;
}

void tst_Hotspot::successIsJudgedByWords()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    _fixture->host().answer(kOpen, output, hasRun);

    QVERIFY(!_network->startHotspot(request()));

    QCOMPARE(_network->getLastError(), output);
    QCOMPARE(lines(), (QStringList{kDelete, kOpen}));
    QVERIFY(!isRunning().isValid());
}

void tst_Hotspot::absentProfileStopsTheStartWithoutReason()
{
    _fixture->host().fail(kDelete, NetworkFixture::capture("nmcli/hotspot-delete-absent.c.err"));

    QVERIFY(!_network->startHotspot(request()));

    QCOMPARE(lines(), QStringList{kDelete});
    QCOMPARE(_network->getLastError(), QString());
}

void tst_Hotspot::failedAutoconnectLeavesTheSettings()
{
    _fixture->host().answer(kOpen, NetworkFixture::capture("nmcli/hotspot-good.c.out"));
    _fixture->host().fail(kAutoconnect, QStringLiteral("no such connection"));

    QVERIFY(!_network->startHotspot(request()));

    QCOMPARE(_network->getLastError(), QStringLiteral("no such connection"));
    QVERIFY(!_fixture->setting(ky::settings::kHotspotSsid).isValid());
    QVERIFY(!lines().contains(kClose)); // it stays up
}

void tst_Hotspot::closesByDeletingTheProfile()
{
    _fixture->set(ky::settings::kHotspotRunning, true);
    _fixture->host().answer(kClose, NetworkFixture::capture("nmcli/hotspot-delete.zh.out"));

    QVERIFY(_network->stopHotspot());

    QCOMPARE(lines(), QStringList{kClose});
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
    QCOMPARE(isRunning().toBool(), false);
    QVERIFY(isRunning().isValid());
}

void tst_Hotspot::closeThatFailsKeepsTheSetting_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");

    QTest::newRow("failed") << "Error: unknown connection" << false;
    QTest::newRow("without a word") << "deleted" << true;
}

void tst_Hotspot::closeThatFailsKeepsTheSetting()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    _fixture->set(ky::settings::kHotspotRunning, true);
    _fixture->host().answer(kClose, output, hasRun);

    QVERIFY(!_network->stopHotspot());

    QCOMPARE(_network->getLastError(), output);
    QCOMPARE(isRunning().toBool(), true);
}

void tst_Hotspot::fixUsesWhatIsStored()
{
    _fixture->set(ky::settings::kHotspotSsid, QStringLiteral("robot"));
    _fixture->set(ky::settings::kHotspotPassword, QStringLiteral("secret12"));
    _fixture->set(ky::settings::kHotspotRunning, false);
    _fixture->host().answer(kOpen, NetworkFixture::capture("nmcli/hotspot-good.c.out"));

    QVERIFY(_network->fixHotspot());

    QCOMPARE(isRunning().toBool(), true);
}

void tst_Hotspot::fixWithNothingStoredGoesItsWay()
{
    QVERIFY(!_network->fixHotspot());

    QCOMPARE(lines().last(), QStringLiteral("nmcli device wifi hotspot ifname wlan0 con-name "
                                            "MyHostspot ssid '' password '' "));
}

void tst_Hotspot::hostileNamesStayQuoted()
{
    _network->startHotspot(request(QStringLiteral("a'; reboot; '"), QStringLiteral("$(reboot)")));

    QCOMPARE(lines().last(),
             QStringLiteral("nmcli device wifi hotspot ifname wlan0 con-name MyHostspot ssid "
                            "'a'\\''; reboot; '\\''' password '$(reboot)' "));
}

void tst_Hotspot::isNeverSeenAsConnected()
{
    const QString line = QStringLiteral("nmcli device status");
    _fixture->host().answer(line, NetworkFixture::capture("nmcli/device-status-hotspot.c.out"));
    _fixture->host().fail(line, QStringLiteral("no"));

    QVERIFY(!_network->isHostspot());
    QVERIFY(!_network->isHostspot());
    QCOMPARE(_network->getLastError(), QStringLiteral("no"));
}

void tst_Hotspot::hostapdFileIsRewrittenAndStarted()
{
    useHostapd("# board\ninterface=wlsp1s1\nssid = old\nwpa=2\nwpa_passphrase=oldpass\n");
    QFile::setPermissions(confPath(), QFile::ReadOwner | QFile::WriteOwner);

    QVERIFY(_network->startHotspot(request()));

    QCOMPARE(
        _fixture->read(confPath()),
        QByteArray("# board\ninterface=wlsp1s1\nssid=robot\nwpa=2\nwpa_passphrase=secret12\n"));
    QCOMPARE(QFile::permissions(confPath()) & (QFile::ReadGroup | QFile::ReadOther),
             QFile::Permissions());
    QCOMPARE(lines(), QStringList{QStringLiteral("sudo hostapd %1 &")
                                      .arg(PublicClass::init()->applicationDir +
                                           QStringLiteral("/appInfo/backupFile/hostapd.conf"))});
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
    QCOMPARE(isRunning().toBool(), true);
    QCOMPARE(_fixture->setting(ky::settings::kHotspotSsid).toString(), QStringLiteral("robot"));
}

void tst_Hotspot::hostapdThatFailsLeavesTheNewFile()
{
    useHostapd("ssid=old\n");
    _fixture->host().answerOthers({QStringLiteral("sudo: a password is required"), false});

    QVERIFY(!_network->startHotspot(request()));

    QCOMPARE(_network->getLastError(), QStringLiteral("sudo: a password is required"));
    QCOMPARE(_fixture->read(confPath()), QByteArray("ssid=robot\n"));
    QVERIFY(!isRunning().isValid());
}

void tst_Hotspot::hostapdFileThatIsMissingIsMadePrivate()
{
    useHostapd({});
    QVERIFY(QFile::remove(confPath()));
    const mode_t before = umask(0);

    _network->startHotspot(request());
    umask(before);

    struct stat facts = {};
    QCOMPARE(stat(QFile::encodeName(confPath()).constData(), &facts), 0);
    QCOMPARE(int(facts.st_mode & 07777), 0600);
}

void tst_Hotspot::hostapdFileThatCannotBeOpened()
{
    useHostapd("ssid=old\n");
    PublicClass::init()->applicationDir = _fixture->path(QStringLiteral("missing"));

    QVERIFY(!_network->startHotspot(request()));

    QCOMPARE(
        _network->getLastError(),
        QStringLiteral("Open faile[%1/appInfo/backupFile/hostapd.conf]:No such file or directory")
            .arg(PublicClass::init()->applicationDir));
    QVERIFY(lines().isEmpty());
}

void tst_Hotspot::hostapdFileInAClosedFolderIsWritten()
{
    useHostapd("ssid=old\n");
    bool isStarted = false;
    {
        const ClosedFolder closed(QFileInfo(confPath()).path());
        isStarted = _network->startHotspot(request());
    }

    QVERIFY2(isStarted, qPrintable(_network->getLastError()));
    QCOMPARE(_fixture->read(confPath()), QByteArray("ssid=robot\n"));
}

void tst_Hotspot::hostapdFileThatTakesNothing()
{
    useHostapd("ssid=old\n");
    QVERIFY(QFile::setPermissions(confPath(), QFile::ReadOwner));
    {
        const ClosedFolder closed(QFileInfo(confPath()).path());
        QVERIFY(!_network->startHotspot(request()));
    }

    QCOMPARE(_network->getLastError(),
             QStringLiteral("Open faile[%1/appInfo/backupFile/hostapd.conf]:Permission denied")
                 .arg(PublicClass::init()->applicationDir));
    QCOMPARE(_fixture->read(confPath()), QByteArray("ssid=old\n"));
    QVERIFY(lines().isEmpty());
}

void tst_Hotspot::hostapdValueWithALineEndIsRefused()
{
    useHostapd("ssid=old\n");

    QVERIFY(!_network->startHotspot(request(QStringLiteral("a\nctrl_interface=/tmp/x"))));
    QVERIFY(!_network->startHotspot(request(QStringLiteral("a"), QStringLiteral("b\nssid=c"))));

    QCOMPARE(_fixture->read(confPath()), QByteArray("ssid=old\n"));
    QVERIFY(lines().isEmpty());
    QVERIFY(_network->getLastError().contains(QLatin1String("line end within a value")));
}

void tst_Hotspot::hostapdInterfaceThatIsMissingIsNotOn()
{
    PublicClass::init()->hardwareType = kHostapdBoard;
    _fixture->set(ky::settings::kHotspotRunning, true);

    QVERIFY(!_network->stopHotspot());

    QCOMPARE(_network->getLastError(), QStringLiteral("Hotspot not turned on"));
    QVERIFY(lines().isEmpty());
    QCOMPARE(isRunning().toBool(), true);
}

void tst_Hotspot::hostapdInterfaceThatCannotBeTakenDownLeavesTheLastError()
{
    if (!isInOwnNetwork)
        QSKIP("no network of one's own here");
    const HostapdInterface interface;
    QVERIFY(interface.isThere());
    PublicClass::init()->hardwareType = kHostapdBoard;
    _fixture->set(ky::settings::kHotspotRunning, true);
    _fixture->host().fail(kInterfaceDown, QStringLiteral("SIOCSIFFLAGS: Operation not permitted"));
    _network->setLastError(QStringLiteral("before"));

    QVERIFY(!_network->stopHotspot());

    QCOMPARE(lines(), QStringList{kInterfaceDown});
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
    QCOMPARE(_network->getLastError(), QStringLiteral("before"));
    QCOMPARE(isRunning().toBool(), true);
}

void tst_Hotspot::hostapdInterfaceThatWentDownLeavesWhatTheCommandPrinted()
{
    if (!isInOwnNetwork)
        QSKIP("no network of one's own here");
    const HostapdInterface interface;
    QVERIFY(interface.isThere());
    PublicClass::init()->hardwareType = kHostapdBoard;
    _fixture->host().answer(kInterfaceDown, QStringLiteral("printed"));

    QVERIFY(!_network->stopHotspot());

    QCOMPARE(_network->getLastError(), QStringLiteral("printed"));
    QVERIFY(!isRunning().isValid());
}

/// The program gets a network of its own where the kernel allows it.
int main(int argc, char* argv[])
{
    isInOwnNetwork = unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
    QCoreApplication app(argc, argv);
    tst_Hotspot test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Hotspot.moc"
