#include "TestClock.h"
#include "TimeHost.h"
#include "TimeServer.h"

#include "host/PublicClass.h"
#include "recorded/RecordedHost.h"
#include "time/SystemNTP.h"

#include <QProcess>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>

#include <memory>

namespace {

constexpr char kSyncOff[] = "sudo timedatectl set-ntp false";
constexpr char kUtc[] = "sudo timedatectl set-local-rtc 0 ";
constexpr char kRemoveZone[] = "sudo rm -rf /etc/localtime";
constexpr char kStatus[] = "timedatectl status";

QString linkZone(const char* zone)
{
    return QStringLiteral("sudo ln -s /usr/share/zoneinfo/%1 /etc/localtime").arg(zone);
}

RecordedHost& host()
{
    return RecordedHost::instance();
}

/// What a shell would hand to `sudo` for a recorded line, one argument for each line, and to any
/// other program that the line starts.
QString argumentsOf(const QString& line)
{
    QProcess shell;
    shell.start(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"),
         QStringLiteral("sudo() { printf '<%s>' \"$@\"; }; reboot() { echo REBOOT; }; ") + line});
    shell.waitForFinished(5000);
    return QString::fromUtf8(shell.readAllStandardOutput());
}

} // namespace

/// Construction, the clock, the zone and the operator's settings; the exchange with a server has a
/// test of its own.
class tst_SystemNTP : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void ownClientSwitchesTheHostsSynchronisationOff();
    void ownClientIgnoresThatItCannotBeSwitchedOff();
    void startsWithTheSettingsOfTheFile();
    void startsWithDefaultsWithoutAFile();
    void intervalOfTheFileIsLimitedAtConstruction_data();
    void intervalOfTheFileIsLimitedAtConstruction();
    void logsItsStart();
    void scriptTakesOver();
    void scriptIsToldToStop();
    void scriptThatFailsOnlySetsTheLastError();
    void scriptPathWithBlanksIsOneWord();
    void scriptThatMayNotBeExecutedIsNone();

    void clockIsSetToTheMillisecond();
    void invalidTimeIsAnEmptyText();
    void clockThatCannotBeSetStopsThere();
    void hardwareClockThatCannotBeSetIsAFailure();
    void logsTheClockInOrder();

    void zoneIsRelinked();
    void oldZoneThatStaysStopsThere();
    void newZoneThatFailsIsAFailure();
    void zoneIsNeverRunAsCode_data();
    void zoneIsNeverRunAsCode();

    void zonesAreListed();
    void zonesThatCannotBeListedAreNone();
    void statusHasTheToolsKeysAndTheClients();
    void clientsKeysOverwriteTheTools();
    void statusThatFailsIsEmpty();

    void requestWithoutZoneGoesOnWithAnEmptyName();
    void requestSetsTheClock();
    void requestIsDoneWithoutRoomForItsSettings();
    void requestStopsTheTimer();
    void requestWithADateThatDoesNotParseStoresNothing_data();
    void requestWithADateThatDoesNotParseStoresNothing();
    void requestWhoseZoneFailsChangesNothing();
    void requestKeepsShortIntervals();
    void requestTellsTheScriptToTakeOver();
    void requestTellsTheScriptToStopAndSetsTheClock();
    void requestGoesOnWhenTheScriptFails();
    void scriptModeReportsNoAutomaticSynchronisation();
    void scriptThatVanishesGivesWayToTheOwnClient();
    void scriptThatVanishesGivesWayToTheTimer();
    void scriptThatAppearsTakesOver();
    void serverOfARequestIsNeverRunAsCode();
    void settingsThatCannotBeStoredAreLogged();
    void offsetOfTheOperatorIsOnlyKept();

private:
    /// Makes the object and forgets the commands of its construction.
    SystemNTP& make();

    std::unique_ptr<TimeHost> _host;
    std::unique_ptr<SystemNTP> _ntp;
};

void tst_SystemNTP::init()
{
    _host = std::make_unique<TimeHost>();
}

void tst_SystemNTP::cleanup()
{
    _ntp.reset();
    _host.reset();
    TestClock::runWith(0);
}

SystemNTP& tst_SystemNTP::make()
{
    _ntp = std::make_unique<SystemNTP>(nullptr);
    host().reset();
    return *_ntp;
}

void tst_SystemNTP::ownClientSwitchesTheHostsSynchronisationOff()
{
    SystemNTP ntp(nullptr);

    QCOMPARE(host().lines(), QStringList{kSyncOff});
    QCOMPARE(host().calls().first().limitMs, 20000);
    QVERIFY(host().calls().first().wait);
    QVERIFY(!host().calls().first().isScript);
    QVERIFY(!ntp.findChild<QTimer*>()->isActive());
    QVERIFY(!ntp.findChild<QUdpSocket*>());
}

void tst_SystemNTP::ownClientIgnoresThatItCannotBeSwitchedOff()
{
    host().fail(kSyncOff, "sudo: a password is required");

    const SystemNTP ntp(nullptr);

    QCOMPARE(ntp.getLastError(), QString());
    QVERIFY(ntp.findChild<QTimer*>());
}

void tst_SystemNTP::startsWithTheSettingsOfTheFile()
{
    _host->writeSettings({"isAutoSync=false", "timeSyncInterval=30", "ntpTimeServerUrl=127.0.0.1",
                          "ntpTimePort=5000", "GMT=5.5"});
    SystemNTP ntp(nullptr);
    host().answer(kStatus, "");

    const QVariantMap status = ntp.getTimedatectlStatus();

    QCOMPARE(status.value("timeSyncInterval"), QVariant(30u));
    QCOMPARE(status.value("ntpTimeServerUrl"), QVariant("127.0.0.1"));
    QCOMPARE(status.value("ntpTimePort"), QVariant(5000));
    QCOMPARE(ntp.difHour(), 5.5);
}

void tst_SystemNTP::startsWithDefaultsWithoutAFile()
{
    SystemNTP ntp(nullptr);

    const QVariantMap status = ntp.getTimedatectlStatus();

    QCOMPARE(status.value("timeSyncInterval"), QVariant(10u));
    QCOMPARE(status.value("ntpTimeServerUrl"), QVariant("pool.ntp.org"));
    QCOMPARE(status.value("ntpTimePort"), QVariant(123));
    QCOMPARE(ntp.difHour(), 0.0);
}

void tst_SystemNTP::intervalOfTheFileIsLimitedAtConstruction_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<uint>("used");

    QTest::newRow("9") << "9" << 10u;
    QTest::newRow("10") << "10" << 10u;
    QTest::newRow("11") << "11" << 11u;
    QTest::newRow("no number") << "soon" << 10u;
}

void tst_SystemNTP::intervalOfTheFileIsLimitedAtConstruction()
{
    QFETCH(QString, stored);
    QFETCH(uint, used);
    _host->writeSettings({"timeSyncInterval=" + stored});

    SystemNTP ntp(nullptr);

    QCOMPARE(ntp.getTimedatectlStatus().value("timeSyncInterval"), QVariant(used));
}

void tst_SystemNTP::logsItsStart()
{
    _host->writeSettings(
        {"timeSyncInterval=30", "ntpTimeServerUrl=127.0.0.1", "ntpTimePort=5000", "GMT=8"});

    const SystemNTP ntp(nullptr);

    QCOMPARE(TimeHost::logLines().first(),
             QStringLiteral("[debug][SystemNTP][isAutoSync: false ] [_timeSyncInterval: 30 ] "
                            "[_ntpTimeServerUrl: 127.0.0.1 ] [_ntpTimePort: 5000 ] [_difHour: 8 "
                            "]"));
}

void tst_SystemNTP::scriptTakesOver()
{
    _host->makeScript();
    _host->writeSettings({"isAutoSync=true", "ntpTimeServerUrl=127.0.0.1"});

    const SystemNTP ntp(nullptr);

    QCOMPARE(host().lines(), QStringList({_host->script() + " ntp open",
                                          _host->script() + " ntp server 127.0.0.1"}));
    for (const RecordedHost::Call& call : host().calls()) {
        QVERIFY(call.isScript);
        QCOMPARE(call.limitMs, 20000);
    }
    QVERIFY(!ntp.findChild<QTimer*>());
    QVERIFY(!ntp.findChild<QUdpSocket*>());
}

void tst_SystemNTP::scriptIsToldToStop()
{
    _host->makeScript();

    const SystemNTP ntp(nullptr);

    QCOMPARE(host().lines(), QStringList{_host->script() + " ntp close"});
    QVERIFY(host().calls().first().isScript);
    QVERIFY(!ntp.findChild<QTimer*>());
}

void tst_SystemNTP::scriptThatFailsOnlySetsTheLastError()
{
    _host->makeScript();
    _host->writeSettings({"isAutoSync=true", "ntpTimeServerUrl=127.0.0.1"});
    host().fail(_host->script() + " ntp open", "no such service: 100%1 sure");

    const SystemNTP ntp(nullptr);

    QCOMPARE(ntp.getLastError(), QStringLiteral("no such service: 100%1 sure"));
    QCOMPARE(host().lines().size(), 2);
}

void tst_SystemNTP::scriptPathWithBlanksIsOneWord()
{
    QVERIFY(QDir().mkdir("my host"));
    _host->makeScript();
    PublicClass::init()->halShPath = QDir::currentPath() + "/my host/hal.sh";
    QVERIFY(QFile::rename(_host->script(), PublicClass::init()->halShPath));

    const SystemNTP ntp(nullptr);

    QCOMPARE(host().lines(), QStringList{"'" + QDir::currentPath() + "/my host/hal.sh' ntp close"});
}

void tst_SystemNTP::scriptThatMayNotBeExecutedIsNone()
{
    _host->makeScript(false);

    const SystemNTP ntp(nullptr);

    QCOMPARE(host().lines(), QStringList{kSyncOff});
}

void tst_SystemNTP::clockIsSetToTheMillisecond()
{
    SystemNTP& ntp = make();

    QVERIFY(ntp.setSystemTime(QDateTime({2026, 1, 2}, {3, 4, 5, 6}), false));

    QCOMPARE(host().lines(),
             QStringList({"sudo timedatectl set-time '2026-01-02 03:04:05.006' ", kUtc}));
    QCOMPARE(host().calls().at(0).limitMs, 20000);
    QCOMPARE(host().calls().at(1).limitMs, 20000);
    QVERIFY(host().calls().at(0).wait && host().calls().at(1).wait);
}

void tst_SystemNTP::invalidTimeIsAnEmptyText()
{
    SystemNTP& ntp = make();
    host().fail("sudo timedatectl set-time '' ", "Failed to read time '': Invalid argument");

    QVERIFY(!ntp.setSystemTime(QDateTime(), true));

    QCOMPARE(ntp.getLastError(), QStringLiteral("Failed to read time '': Invalid argument"));
}

void tst_SystemNTP::clockThatCannotBeSetStopsThere()
{
    SystemNTP& ntp = make();
    host().answerOthers({"Automatic time synchronization is enabled", false});

    QVERIFY(!ntp.setSystemTime(QDateTime({2026, 1, 2}, {3, 4, 5, 6}), false));

    QCOMPARE(host().lines().size(), 1);
    QCOMPARE(ntp.getLastError(), QStringLiteral("Automatic time synchronization is enabled"));
}

void tst_SystemNTP::hardwareClockThatCannotBeSetIsAFailure()
{
    SystemNTP& ntp = make();
    host().fail(kUtc, "no hardware clock");

    QVERIFY(!ntp.setSystemTime(QDateTime({2026, 1, 2}, {3, 4, 5, 6}), false));

    QCOMPARE(host().lines().size(), 2);
    QCOMPARE(ntp.getLastError(), QStringLiteral("no hardware clock"));
}

void tst_SystemNTP::logsTheClockInOrder()
{
    SystemNTP& ntp = make();
    const QDateTime now({2025, 5, 6}, {7, 8, 9, 10});
    TestClock::stopAt(now.toMSecsSinceEpoch());

    QVERIFY(ntp.setSystemTime(QDateTime({2026, 1, 2}, {3, 4, 5, 6}), false));

    QCOMPARE(TimeHost::logLines().mid(1),
             QStringList({"[info][setSystemTime]setSystemTime: 2026-01-02 03:04:05:006",
                          "[info][setSystemTime][Old datetime: 2025-05-06 07:08:09.010 ] "
                          "[setDateTime: 2026-01-02 03:04:05.006 ]",
                          "[info][setSystemTime][setTestTime2: 2025-05-06 07:08:09.010 ]"}));
}

void tst_SystemNTP::zoneIsRelinked()
{
    SystemNTP& ntp = make();

    QVERIFY(ntp.setSystemTimezone("Asia/Shanghai"));

    QCOMPARE(host().lines(), QStringList({kRemoveZone, linkZone("Asia/Shanghai")}));
    QCOMPARE(host().calls().at(0).limitMs, 20000);
    QCOMPARE(host().calls().at(1).limitMs, 20000);
}

void tst_SystemNTP::oldZoneThatStaysStopsThere()
{
    SystemNTP& ntp = make();
    host().fail(kRemoveZone, "rm: Read-only file system");

    QVERIFY(!ntp.setSystemTimezone("Etc/UTC"));

    QCOMPARE(host().lines(), QStringList{kRemoveZone});
    QCOMPARE(ntp.getLastError(), QStringLiteral("rm: Read-only file system"));
}

void tst_SystemNTP::newZoneThatFailsIsAFailure()
{
    SystemNTP& ntp = make();
    host().fail(linkZone("Etc/UTC"), "ln: No space left on device");

    QVERIFY(!ntp.setSystemTimezone("Etc/UTC"));

    QCOMPARE(ntp.getLastError(), QStringLiteral("ln: No space left on device"));
}

void tst_SystemNTP::zoneIsNeverRunAsCode_data()
{
    QTest::addColumn<QString>("zone");

    QTest::newRow("path") << "../../etc/passwd";
    QTest::newRow("second command") << "; reboot";
    QTest::newRow("substitution") << "$(reboot)`reboot`";
    QTest::newRow("quotes") << "'; reboot; '\"";
    QTest::newRow("line end") << "Etc/UTC\nreboot\n";
    QTest::newRow("option") << "--help";
    QTest::newRow("marker") << "%1%2";
    QTest::newRow("blanks") << "Etc / UTC";
    QTest::newRow("Chinese") << "亚洲/上海";
}

void tst_SystemNTP::zoneIsNeverRunAsCode()
{
    QFETCH(QString, zone);
    SystemNTP& ntp = make();

    QVERIFY(ntp.setSystemTimezone(zone));

    QCOMPARE(argumentsOf(host().lines().at(1)),
             QStringLiteral("<ln><-s></usr/share/zoneinfo/%1></etc/localtime>").arg(zone));
}

void tst_SystemNTP::zonesAreListed()
{
    SystemNTP& ntp = make();
    host().answer("timedatectl list-timezones", "Asia/Shanghai\nEtc/UTC\n");

    QCOMPARE(ntp.getTimezoneList(), QStringList({"Asia/Shanghai", "Etc/UTC", ""}));
    QCOMPARE(host().calls().first().limitMs, 20000);
}

void tst_SystemNTP::zonesThatCannotBeListedAreNone()
{
    SystemNTP& ntp = make();
    host().fail("timedatectl list-timezones", "Failed to connect to bus\n");

    QCOMPARE(ntp.getTimezoneList(), QStringList());
    QCOMPARE(ntp.getLastError(), QStringLiteral("Failed to connect to bus\n"));
}

void tst_SystemNTP::statusHasTheToolsKeysAndTheClients()
{
    SystemNTP& ntp = make();
    host().answer(kStatus, "  RTC time: n/a\n  Time zone: Etc/UTC (UTC, +0000)\n no colon\n");

    const QVariantMap status = ntp.getTimedatectlStatus();

    QCOMPARE(status, QVariantMap({{"RTCtime", "n/a"},
                                  {"Timezone", "Etc/UTC (UTC, +0000)"},
                                  {"timeSyncInterval", 10u},
                                  {"udpErrorString", ""},
                                  {"ntpTimeServerUrl", "pool.ntp.org"},
                                  {"ntpTimePort", 123},
                                  {"isAutoSync", false}}));
    QCOMPARE(host().calls().first().limitMs, 20000);
}

void tst_SystemNTP::clientsKeysOverwriteTheTools()
{
    SystemNTP& ntp = make();
    host().answer(kStatus, "isAutoSync: yes\nntpTimePort: 1\n");

    const QVariantMap status = ntp.getTimedatectlStatus();

    QCOMPARE(status.value("isAutoSync"), QVariant(false));
    QCOMPARE(status.value("ntpTimePort"), QVariant(123));
}

void tst_SystemNTP::statusThatFailsIsEmpty()
{
    SystemNTP& ntp = make();
    host().fail(kStatus, "Failed to connect to bus");

    QCOMPARE(ntp.getTimedatectlStatus(), QVariantMap());
    QCOMPARE(ntp.getLastError(), QStringLiteral("Failed to connect to bus"));
}

void tst_SystemNTP::requestWithoutZoneGoesOnWithAnEmptyName()
{
    SystemNTP& ntp = make();

    QVERIFY(ntp.setTimeConfig({{"localDateTime", "2026-01-02 03:04:05"}}));

    QCOMPARE(host().lines(),
             QStringList({kRemoveZone, linkZone(""),
                          "sudo timedatectl set-time '2026-01-02 03:04:05.000' ", kUtc}));
}

void tst_SystemNTP::requestSetsTheClock()
{
    SystemNTP& ntp = make();

    QVERIFY(ntp.setTimeConfig({{"isAuto", false},
                               {"timezone", "Asia/Shanghai"},
                               {"localDateTime", "2026-01-02 03:04:05"},
                               {"timeSyncInterval", 7},
                               {"url", "127.0.0.1"},
                               {"port", 5000},
                               {"GMT", 8}}));

    QCOMPARE(host().lines(),
             QStringList({kRemoveZone, linkZone("Asia/Shanghai"),
                          "sudo timedatectl set-time '2026-01-02 03:04:05.000' ", kUtc}));
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("false"));
    QCOMPARE(_host->stored("timeSyncInterval"), QStringLiteral("7"));
    QCOMPARE(_host->stored("ntpTimeServerUrl"), QStringLiteral("127.0.0.1"));
    QCOMPARE(_host->stored("ntpTimePort"), QStringLiteral("5000"));
    QCOMPARE(_host->stored("GMT"), QStringLiteral("8"));
    QCOMPARE(ntp.difHour(), 8.0);
    QVERIFY(!ntp.findChild<QUdpSocket*>());
    QVERIFY(TimeHost::logLines().contains(
        "[debug][setTimeConfig][------localDateTime: 2026-01-02 03:04:05 ]"));
}

void tst_SystemNTP::requestIsDoneWithoutRoomForItsSettings()
{
    SystemNTP& ntp = make();
    QVERIFY(QDir().mkpath("appInfo/setting/WirelessCard.ini")); // a folder in the file's place

    QVERIFY(ntp.setTimeConfig({{"timezone", "Etc/UTC"}, {"localDateTime", "2026-01-02 03:04:05"}}));

    QVERIFY2(ntp.getLastError().startsWith("settings not stored: "),
             qUtf8Printable(ntp.getLastError()));
    QCOMPARE(TimeHost::logLine("settings not stored"),
             "[warning][setTimeConfig][" + ntp.getLastError() + ']');
}

void tst_SystemNTP::requestStopsTheTimer()
{
    SystemNTP& ntp = make();
    ntp.findChild<QTimer*>()->start(60000);

    QVERIFY(ntp.setTimeConfig({{"localDateTime", "2026-01-02 03:04:05"}}));

    QVERIFY(!ntp.findChild<QTimer*>()->isActive());
}

void tst_SystemNTP::requestWithADateThatDoesNotParseStoresNothing_data()
{
    QTest::addColumn<QString>("date");

    QTest::newRow("empty") << "";
    QTest::newRow("words") << "tomorrow";
    QTest::newRow("milliseconds") << "2026-01-02 03:04:05.678";
    QTest::newRow("no seconds") << "2026-01-02 03:04";
    QTest::newRow("31 February") << "2026-02-31 03:04:05";
    QTest::newRow("other order") << "02.01.2026 03:04:05";
    QTest::newRow("code") << "2026-01-02 03:04:05'; reboot; '";
}

void tst_SystemNTP::requestWithADateThatDoesNotParseStoresNothing()
{
    QFETCH(QString, date);
    SystemNTP& ntp = make();
    ntp.findChild<QTimer*>()->start(60000);
    host().fail("sudo timedatectl set-time '' ", "Invalid argument");

    QVERIFY(!ntp.setTimeConfig({{"timezone", "Etc/UTC"}, {"localDateTime", date}, {"GMT", 3.0}}));

    QCOMPARE(host().lines(),
             QStringList({kRemoveZone, linkZone("Etc/UTC"), "sudo timedatectl set-time '' "}));
    QCOMPARE(ntp.getLastError(), QStringLiteral("Invalid argument"));
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("(absent)"));
    QVERIFY(!ntp.findChild<QTimer*>()->isActive());
    QCOMPARE(ntp.difHour(), 3.0);
}

void tst_SystemNTP::requestWhoseZoneFailsChangesNothing()
{
    SystemNTP& ntp = make();
    ntp.findChild<QTimer*>()->start(60000);
    host().fail(kRemoveZone, "rm: not permitted");

    QVERIFY(!ntp.setTimeConfig({{"localDateTime", "2026-01-02 03:04:05"}, {"GMT", 3.0}}));

    QCOMPARE(host().lines(), QStringList{kRemoveZone});
    QCOMPARE(ntp.difHour(), 0.0);
    QVERIFY(ntp.findChild<QTimer*>()->isActive());
    QCOMPARE(_host->stored("GMT"), QStringLiteral("(absent)"));
}

void tst_SystemNTP::requestKeepsShortIntervals()
{
    SystemNTP& ntp = make();

    QVERIFY(ntp.setTimeConfig(
        {{"localDateTime", "2026-01-02 03:04:05"}, {"timeSyncInterval", 5}, {"url", "127.0.0.1"}}));
    QCOMPARE(_host->stored("timeSyncInterval"), QStringLiteral("5"));

    QCOMPARE(make().getTimedatectlStatus().value("timeSyncInterval"), QVariant(10u));
}

void tst_SystemNTP::requestTellsTheScriptToTakeOver()
{
    _host->makeScript();
    SystemNTP& ntp = make();

    QVERIFY(ntp.setTimeConfig({{"isAuto", true},
                               {"timezone", "Etc/UTC"},
                               {"timeSyncInterval", 4000000000u},
                               {"url", "10.0.0.1"},
                               {"port", 0}}));

    QCOMPARE(host().lines(),
             QStringList({kRemoveZone, linkZone("Etc/UTC"), _host->script() + " ntp open",
                          _host->script() + " ntp server 10.0.0.1"}));
    QVERIFY(host().calls().at(2).isScript && host().calls().at(3).isScript);
    QVERIFY(!host().calls().at(0).isScript);
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("true"));
    QCOMPARE(_host->stored("timeSyncInterval"), QStringLiteral("4000000000"));
    QCOMPARE(_host->stored("ntpTimePort"), QStringLiteral("0"));
    QVERIFY(!ntp.findChild<QUdpSocket*>());
}

void tst_SystemNTP::requestTellsTheScriptToStopAndSetsTheClock()
{
    _host->makeScript();
    SystemNTP& ntp = make();

    QVERIFY(ntp.setTimeConfig({{"timezone", "Etc/UTC"}, {"localDateTime", "2026-01-02 03:04:05"}}));

    QCOMPARE(host().lines(),
             QStringList({kRemoveZone, linkZone("Etc/UTC"), _host->script() + " ntp close",
                          "sudo timedatectl set-time '2026-01-02 03:04:05.000' ", kUtc}));
}

void tst_SystemNTP::requestGoesOnWhenTheScriptFails()
{
    _host->makeScript();
    SystemNTP& ntp = make();
    host().fail(_host->script() + " ntp open", "first");
    host().fail(_host->script() + " ntp server 127.0.0.1", "second");

    QVERIFY(ntp.setTimeConfig({{"isAuto", true}, {"url", "127.0.0.1"}}));

    QCOMPARE(ntp.getLastError(), QStringLiteral("second"));
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("true"));
}

void tst_SystemNTP::scriptModeReportsNoAutomaticSynchronisation()
{
    _host->makeScript();
    SystemNTP& ntp = make();
    QVERIFY(ntp.setTimeConfig({{"isAuto", true}, {"url", "127.0.0.1"}}));

    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("true"));
    QCOMPARE(ntp.getTimedatectlStatus().value("isAutoSync"), QVariant(false));
}

void tst_SystemNTP::scriptThatVanishesGivesWayToTheOwnClient()
{
    _host->makeScript();
    SystemNTP& ntp = make();
    _host->removeScript();

    QVERIFY(ntp.setTimeConfig({{"localDateTime", "2026-01-02 03:04:05"}}));

    QVERIFY(host().lines().filter("ntp close").isEmpty());
    QCOMPARE(host().lines().size(), 4);
}

void tst_SystemNTP::scriptThatVanishesGivesWayToTheTimer()
{
    TimeServer server;
    server.answerWithShift(0);
    TestClock::stopAt(1795262400100); // a timestamp without a zero byte
    _host->makeScript();
    SystemNTP& ntp = make();
    _host->removeScript();

    QVERIFY(ntp.setTimeConfig({{"isAuto", true},
                               {"url", "127.0.0.1"},
                               {"port", server.port()},
                               {"timeSyncInterval", 3}}));

    QVERIFY(ntp.findChild<QTimer*>()->isActive());
    QCOMPARE(ntp.findChild<QTimer*>()->interval(), 180000);
    QCOMPARE(host().lines().last(), QString(kUtc));
}

void tst_SystemNTP::scriptThatAppearsTakesOver()
{
    SystemNTP& ntp = make();
    _host->makeScript();

    QVERIFY(ntp.setTimeConfig({{"isAuto", true}, {"url", "127.0.0.1"}}));

    QCOMPARE(host().lines().mid(2), QStringList({_host->script() + " ntp open",
                                                 _host->script() + " ntp server 127.0.0.1"}));
    QVERIFY(!ntp.findChild<QUdpSocket*>());
}

void tst_SystemNTP::serverOfARequestIsNeverRunAsCode()
{
    _host->makeScript();
    SystemNTP& ntp = make();

    QVERIFY(ntp.setTimeConfig({{"isAuto", true}, {"url", "x; reboot $(reboot)"}}));

    QCOMPARE(host().lines().last(), _host->script() + " ntp server 'x; reboot $(reboot)'");
}

void tst_SystemNTP::settingsThatCannotBeStoredAreLogged()
{
    SystemNTP& ntp = make();
    QVERIFY(QDir("appInfo").removeRecursively());
    QFile blocker("appInfo");
    QVERIFY(blocker.open(QIODevice::WriteOnly));

    QVERIFY(ntp.setTimeConfig({{"localDateTime", "2026-01-02 03:04:05"}}));

    QVERIFY(!TimeHost::logLine("[warning][setTimeConfig][settings not stored:").isEmpty());
}

void tst_SystemNTP::offsetOfTheOperatorIsOnlyKept()
{
    SystemNTP& ntp = make();

    ntp.setDifHour(-9.5);

    QCOMPARE(ntp.difHour(), -9.5);
    QCOMPARE(host().lines(), QStringList());
    QCOMPARE(_host->stored("GMT"), QStringLiteral("(absent)"));
}

QTEST_GUILESS_MAIN(tst_SystemNTP)
#include "tst_SystemNTP.moc"
