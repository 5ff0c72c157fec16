#include "ClosedFolder.h"
#include "LogCapture.h"
#include "NetworkFixture.h"

#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {

const QString kFindCard =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kPowerSave = QStringLiteral("sudo iw wlan0 set power_save off");
const QString kReload = QStringLiteral("sudo nmcli connection reload");
const QString kApply = QStringLiteral("sudo netplan apply");
const QString kSysctl = QStringLiteral("sudo sysctl -w net.ipv6.conf.default.disable_ipv6=1;"
                                       "sudo sysctl -w net.ipv6.conf.all.disable_ipv6=1");
const QString kConnectionUp = QStringLiteral("sudo nmcli connection up uuid-9");
constexpr char kWithoutGateway[] = "network:\n  version: 2\n  ethernets:\n    eth0: {}\n";
constexpr char kWithGateway[] =
    "network:\n  version: 2\n  ethernets:\n    eth0: {gateway4: 10.0.0.1}\n";

} // namespace

/// What the constructor does to the host, and the files that it keeps in step: netplan, and the
/// report and settings of the operator panel.
class tst_HostPreparation : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void stepsComeInOrder();
    void unknownBoardTouchesNothing();
    void bannedCardIsSwitchedOffAgain();
    void failedPowerSaveIsTheLastErrorAndNoMore();
    void withoutCardPowerSaveIsLeft();
    void netplanBoardNeverAsksForTheProfile();
    void withoutProfileNoNmcliRuns();
    void failedBringUpIsTheLastError();
    void settingsAloneStartTheCycle();
    void nothingElseStartsTheCycle();
    void everythingFailingStillMakesTheObject();
    void whatAKilledProcessLeftIsClearedAway_data();
    void whatAKilledProcessLeftIsClearedAway();
    void unknownBoardTouchesNoFolderOfTheHost_data();
    void unknownBoardTouchesNoFolderOfTheHost();

    void netplanIsCreatedFromTheStaticTemplate();
    void netplanIsCreatedWithGatewayWhileBanned();
    void netplanOfTheOtherStateIsReplaced_data();
    void netplanOfTheOtherStateIsReplaced();
    void netplanWithoutTemplateFails_data();
    void netplanWithoutTemplateFails();
    void netplanThatIsAFolderFails();
    void netplanThatCannotBeWrittenFails();
    void netplanInAClosedFolderIsWritten();
    void failedApplyIsPassedOver();
    void firstNetplanFileIsByName();
    void wifiConfigGoesOverTheFirstFile();
    void wifiConfigWithoutTemplateIsFalse();

    void panelAddressIsStoredAndReported();
    void reportIsExact();
    void reportOfNothingIsConnected();

private:
    std::unique_ptr<OpenNetwork> make(int board);
    QStringList lines() const { return _fixture->host().lines(); }
    QString beside(const char* name) const
    {
        return QCoreApplication::applicationDirPath() + QLatin1String(name);
    }
    QString live() const { return ky::hostPath("/etc/netplan/00-installer-config-static.yaml"); }
    void removeTemplates();

    std::unique_ptr<NetworkFixture> _fixture;
};

void tst_HostPreparation::initTestCase()
{
    removeTemplates();
}

void tst_HostPreparation::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    PublicClass::init()->autoConnectEnabled = true;
    PublicClass::init()->halShPath.clear();
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));
    _fixture->write(beside("/appInfo/setting/00-installer-config-static.yaml"), kWithoutGateway);
    _fixture->write(beside("/appInfo/setting/00-installer-config-gateway4.yaml"), kWithGateway);
    QDir().mkpath(ky::hostPath("/etc/netplan"));
}

void tst_HostPreparation::cleanup()
{
    _fixture.reset();
    removeTemplates();
}

void tst_HostPreparation::cleanupTestCase()
{
    removeTemplates();
}

void tst_HostPreparation::removeTemplates()
{
    for (const char* name :
         {"/appInfo/setting/00-installer-config-static.yaml",
          "/appInfo/setting/00-installer-config-gateway4.yaml", "/wifiConfig.yaml"})
        QFile::remove(beside(name));
}

std::unique_ptr<OpenNetwork> tst_HostPreparation::make(int board)
{
    PublicClass::init()->hardwareType = board;
    return std::make_unique<OpenNetwork>();
}

void tst_HostPreparation::stepsComeInOrder()
{
    _fixture->writeProfile(QStringLiteral("wired"),
                           "[connection]\nid=static-AlxWired-IP\nuuid=uuid-9\n\n"
                           "[ipv4]\naddress1=10.0.0.7/24\nmethod=auto\n");

    const auto network = make(2);

    QCOMPARE(lines(), (QStringList{kReload, kFindCard, kPowerSave, kConnectionUp, kSysctl}));
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 30000);
    QCOMPARE(_fixture->host().calls().at(2).limitMs, 20000);
    QCOMPARE(_fixture->host().calls().at(3).limitMs, 30000);
    QCOMPARE(network->_wirelessCardName, QStringLiteral("wlan0"));
}

void tst_HostPreparation::unknownBoardTouchesNothing()
{
    _fixture->writeProfile(QStringLiteral("wired"),
                           "[connection]\nid=static-AlxWired-IP\nuuid=uuid-9\n");

    make(-1);
    make(-2);

    QVERIFY(lines().isEmpty());
}

void tst_HostPreparation::bannedCardIsSwitchedOffAgain()
{
    _fixture->set(ky::settings::kWirelessCardBanned, true);
    _fixture->set(ky::settings::kWirelessCardName, QStringLiteral("wlan0"));

    const auto network = make(2);

    QVERIFY(lines().contains(QStringLiteral("ifconfig wlan0 down")));
    QVERIFY(lines().filter(QStringLiteral("sudo iw")).isEmpty());
    QVERIFY(lines().filter(QStringLiteral("sysctl")).isEmpty());
}

void tst_HostPreparation::failedPowerSaveIsTheLastErrorAndNoMore()
{
    _fixture->host().fail(kPowerSave, QStringLiteral("command failed: Operation not supported"));

    const auto network = make(1); // asks nothing more that could fail

    QCOMPARE(network->getLastError(), QStringLiteral("command failed: Operation not supported"));
    QVERIFY(lines().contains(kSysctl));
}

void tst_HostPreparation::withoutCardPowerSaveIsLeft()
{
    _fixture->host().reset();

    const auto network = make(2);

    QCOMPARE(lines(), (QStringList{kFindCard, kSysctl}));
    QCOMPARE(network->_wirelessCardName, QStringLiteral("wlp1s0"));
}

void tst_HostPreparation::netplanBoardNeverAsksForTheProfile()
{
    _fixture->writeProfile(QStringLiteral("wired"),
                           "[connection]\nid=static-AlxWired-IP\nuuid=uuid-9\n");

    make(1);

    QCOMPARE(lines(), (QStringList{kFindCard, kPowerSave, kApply, kSysctl}));
    QCOMPARE(_fixture->host().calls().at(2).limitMs, 20000);
    QVERIFY(QFile::exists(live()));
}

void tst_HostPreparation::withoutProfileNoNmcliRuns()
{
    _fixture->writeProfile(QStringLiteral("wired"), "[connection]\nid=other\nuuid=uuid-9\n");

    make(2);

    QVERIFY(lines().filter(QStringLiteral("nmcli")).isEmpty());
}

void tst_HostPreparation::failedBringUpIsTheLastError()
{
    _fixture->writeProfile(QStringLiteral("wired"),
                           "[connection]\nid=static-AlxWired-IP\nuuid=uuid-9\n");
    _fixture->host().fail(kConnectionUp, QStringLiteral("no carrier"));

    QCOMPARE(make(2)->getLastError(), QStringLiteral("no carrier"));
}

void tst_HostPreparation::settingsAloneStartTheCycle()
{
    _fixture->set(ky::settings::kIsDisconnectionSendError, true);
    _fixture->set(ky::settings::kDisconnectionMethod, 1);
    _fixture->set(ky::settings::kPingIp, QStringLiteral("10.0.0.1"));

    const auto network = make(2);

    QVERIFY(network->_autoConnectSSIDTimer && network->_autoConnectSSIDTimer->isActive());
}

void tst_HostPreparation::nothingElseStartsTheCycle()
{
    _fixture->set(ky::settings::kIsEnabledRoaming, true);

    QVERIFY(!make(2)->_autoConnectSSIDTimer);
}

void tst_HostPreparation::everythingFailingStillMakesTheObject()
{
    _fixture->host().reset();
    _fixture->host().answerOthers({QStringLiteral("broken"), false});
    _fixture->writeProfile(QStringLiteral("wired"),
                           "[connection]\nid=static-AlxWired-IP\nuuid=uuid-9\n\n"
                           "[ipv4]\naddress1=10.0.0.7/24\nmethod=auto\n");

    const auto network = make(2);

    QCOMPARE(network->_wirelessCardName, QStringLiteral("wlp1s0"));
    QCOMPARE(network->getLastError(), QStringLiteral("broken"));
}

void tst_HostPreparation::whatAKilledProcessLeftIsClearedAway_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<int>("board");

    QTest::addRow("keyfiles") << "/etc/NetworkManager/system-connections" << 2;
    QTest::addRow("netplan") << "/etc/netplan" << 2;
    QTest::addRow("drivers") << "/etc/modprobe.d" << 2;
    for (const int board : {-2, 2}) {
        QTest::addRow("settings, board %d", board) << "/appInfo/setting" << board;
        QTest::addRow("hotspot, board %d", board) << "/appInfo/backupFile" << board;
        QTest::addRow("certificates, board %d", board) << "/certificates" << board;
    }
}

void tst_HostPreparation::whatAKilledProcessLeftIsClearedAway()
{
    QFETCH(QString, folder);
    QFETCH(int, board);
    const QString path = _fixture->path(folder.mid(1));
    PublicClass::init()->applicationDir = _fixture->path(QStringLiteral("."));
    PublicClass::init()->writeIni(PublicClass::init()->settingsFile, "AppInfo/networkBackup",
                                  _fixture->path(QStringLiteral("certificates")));
    _fixture->write(path + QStringLiteral("/.kynew-aB3xY9"), "[connection]\ntype=wifi\n");
    _fixture->write(path + QStringLiteral("/.kynew-ab"), "not ours");

    make(board);

    QVERIFY(!QFile::exists(path + QStringLiteral("/.kynew-aB3xY9")));
    QVERIFY(QFile::exists(path + QStringLiteral("/.kynew-ab")));
}

void tst_HostPreparation::unknownBoardTouchesNoFolderOfTheHost_data()
{
    QTest::addColumn<QString>("folder");

    for (const char* folder :
         {"/etc/NetworkManager/system-connections", "/etc/netplan", "/etc/modprobe.d"})
        QTest::newRow(folder) << QString::fromLatin1(folder);
}

void tst_HostPreparation::unknownBoardTouchesNoFolderOfTheHost()
{
    QFETCH(QString, folder);
    const QString left = _fixture->path(folder.mid(1)) + QStringLiteral("/.kynew-aB3xY9");
    _fixture->write(left, "[connection]\ntype=wifi\n");

    make(-2);

    QVERIFY(QFile::exists(left));
}

void tst_HostPreparation::netplanIsCreatedFromTheStaticTemplate()
{
    const auto network = make(-2);

    QVERIFY(network->copyNetplanYaml());

    QCOMPARE(_fixture->read(live()), QByteArray(kWithoutGateway));
    QCOMPARE(lines(), QStringList{kApply});
}

void tst_HostPreparation::netplanIsCreatedWithGatewayWhileBanned()
{
    const auto network = make(-2);
    network->_isDisableWirelessNetworkCard = true;

    QVERIFY(network->copyNetplanYaml());

    QCOMPARE(_fixture->read(live()), QByteArray(kWithGateway));
}

void tst_HostPreparation::netplanOfTheOtherStateIsReplaced_data()
{
    QTest::addColumn<bool>("isBanned");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    const QByteArray own("# own\n");
    const QByteArray ownGateway("# own gateway4\n");
    QTest::newRow("free, without gateway") << false << own << own;
    QTest::newRow("free, with gateway") << false << ownGateway << QByteArray(kWithoutGateway);
    QTest::newRow("banned, without gateway") << true << own << QByteArray(kWithGateway);
    QTest::newRow("banned, with gateway") << true << ownGateway << ownGateway;
    QTest::newRow("free, empty") << false << QByteArray() << QByteArray();
}

void tst_HostPreparation::netplanOfTheOtherStateIsReplaced()
{
    QFETCH(bool, isBanned);
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    _fixture->write(live(), before);
    const auto network = make(-2);
    network->_isDisableWirelessNetworkCard = isBanned;

    QVERIFY(network->copyNetplanYaml());
    QCOMPARE(_fixture->read(live()), after);
    QCOMPARE(lines().size(), before == after ? 0 : 1);

    QVERIFY(network->copyNetplanYaml()); // once more changes nothing
    QCOMPARE(lines().size(), before == after ? 0 : 1);
}

void tst_HostPreparation::netplanWithoutTemplateFails_data()
{
    QTest::addColumn<bool>("isThere");
    QTest::addColumn<QString>("warning");

    QTest::newRow("to create") << false << "[warning][copyNetplanYaml]Copy failed:";
    QTest::newRow("to replace") << true << "[warning][copyNetplanYaml]Open failed:";
}

void tst_HostPreparation::netplanWithoutTemplateFails()
{
    QFETCH(bool, isThere);
    QFETCH(QString, warning);
    removeTemplates();
    if (isThere)
        _fixture->write(live(), "gateway4\n");
    const auto network = make(-2);
    LogCapture log("ky.network");

    QVERIFY(!network->copyNetplanYaml());

    QVERIFY(lines().isEmpty());
    QCOMPARE(QFile::exists(live()), isThere);
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.lines().first().startsWith(warning));
}

void tst_HostPreparation::netplanThatIsAFolderFails()
{
    QVERIFY(QDir().mkpath(live()));
    const auto network = make(-2);
    LogCapture log("ky.network");

    QVERIFY(!network->copyNetplanYaml());

    QVERIFY(lines().isEmpty());
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(
        log.lines().first().startsWith(QStringLiteral("[warning][copyNetplanYaml]Open failed:")));
    QVERIFY(QFileInfo(live()).isDir());
}

void tst_HostPreparation::netplanThatCannotBeWrittenFails()
{
    _fixture->write(live(), kWithoutGateway);
    QVERIFY(QFile::setPermissions(live(), QFile::ReadOwner));
    const auto network = make(-2);
    network->_isDisableWirelessNetworkCard = true;
    LogCapture log("ky.network");
    {
        const ClosedFolder closed(ky::hostPath("/etc/netplan"));
        QVERIFY(!network->copyNetplanYaml());
    }

    QVERIFY(lines().isEmpty());
    QCOMPARE(log.lines().size(), 1);
    QCOMPARE(log.lines().first(),
             QStringLiteral("[warning][copyNetplanYaml]Open failed: Permission denied"));
    QCOMPARE(_fixture->read(live()), QByteArray(kWithoutGateway));
}

void tst_HostPreparation::netplanInAClosedFolderIsWritten()
{
    _fixture->write(live(), kWithoutGateway);
    const auto network = make(-2);
    network->_isDisableWirelessNetworkCard = true;
    {
        const ClosedFolder closed(ky::hostPath("/etc/netplan"));
        QVERIFY(network->copyNetplanYaml());
    }

    QCOMPARE(_fixture->read(live()), QByteArray(kWithGateway));
    QCOMPARE(lines(), QStringList{kApply});
}

void tst_HostPreparation::failedApplyIsPassedOver()
{
    _fixture->host().fail(kApply, QStringLiteral("Invalid YAML"));
    const auto network = make(-2);

    QVERIFY(network->copyNetplanYaml());

    QCOMPARE(network->getLastError(), QString());
}

void tst_HostPreparation::firstNetplanFileIsByName()
{
    const auto network = make(-2);
    QCOMPARE(network->getFileNames(), QString());

    _fixture->write(ky::hostPath("/etc/netplan/50-b.yaml"), "b");
    _fixture->write(ky::hostPath("/etc/netplan/10-a.yaml"), "a");
    _fixture->write(ky::hostPath("/etc/netplan/00-other.yml"), "c");

    QCOMPARE(network->getFileNames(), ky::hostPath("/etc/netplan/10-a.yaml"));
}

void tst_HostPreparation::wifiConfigGoesOverTheFirstFile()
{
    const auto network = make(-2);
    _fixture->write(beside("/wifiConfig.yaml"), "wifis: {}\n");

    QVERIFY(network->writeWifiConfig()); // no netplan file: nothing to write
    QVERIFY(QDir(ky::hostPath("/etc/netplan")).isEmpty());
    _fixture->write(ky::hostPath("/etc/netplan/50-b.yaml"), "b");
    _fixture->write(ky::hostPath("/etc/netplan/10-a.yaml"), "a");
    QVERIFY(network->writeWifiConfig());

    QCOMPARE(_fixture->read(ky::hostPath("/etc/netplan/10-a.yaml")), QByteArray("wifis: {}\n"));
    QCOMPARE(_fixture->read(ky::hostPath("/etc/netplan/50-b.yaml")), QByteArray("b"));
    QVERIFY(lines().isEmpty()); // nothing is applied
}

void tst_HostPreparation::wifiConfigWithoutTemplateIsFalse()
{
    const auto network = make(-2);
    _fixture->write(ky::hostPath("/etc/netplan/10-a.yaml"), "a");

    QVERIFY(!network->writeWifiConfig());

    QCOMPARE(_fixture->read(ky::hostPath("/etc/netplan/10-a.yaml")), QByteArray("a"));
}

void tst_HostPreparation::panelAddressIsStoredAndReported()
{
    const auto network = make(-2);
    QSignalSpy frames(network.get(), &SystemNetwork::sigWriteTcpClient);

    network->setHMIInfo({{QStringLiteral("hmiIP"), QStringLiteral("10.9.9.9")}});

    QCOMPARE(network->getHmiInfo(),
             (QVariantMap{{QStringLiteral("hmiIP"), QStringLiteral("10.9.9.9")}}));
    QCOMPARE(_fixture->setting(ky::settings::kHmiIp).toString(), QStringLiteral("10.9.9.9"));
    QCOMPARE(frames.count(), 1);
    QCOMPARE(make(2)->getHmiInfo(), network->getHmiInfo()); // read back by the next object
}

void tst_HostPreparation::reportIsExact()
{
    const auto network = make(-2);
    network->_hmiIp = QStringLiteral("10.9.9.9");
    _fixture->host().reset();
    QSignalSpy frames(network.get(), &SystemNetwork::sigWriteTcpClient);

    network->updateHalyard6950Data();

    const QVariantList expected{QStringLiteral("127.0.0.1"), 19210, 6950, 123,
                                QByteArray("{\"connection_status\":0,\"ip\":\"10.9.9.9\"}")};
    QCOMPARE(frames.at(0), expected);
}

void tst_HostPreparation::reportOfNothingIsConnected()
{
    const auto network = make(-2);
    _fixture->host().reset();
    QSignalSpy frames(network.get(), &SystemNetwork::sigWriteTcpClient);

    network->updateHalyard6950Data();

    QCOMPARE(frames.at(0).at(4).toByteArray(), QByteArray("{\"connection_status\":1}"));
}

QTEST_GUILESS_MAIN(tst_HostPreparation)
#include "tst_HostPreparation.moc"
