#include "DaemonFixture.h"
#include "SimulatedHost.h"
#include "TimeServer.h"

#include <QSettings>
#include <QtTest>

#include <csignal>
#include <memory>
#include <vector>

namespace {

constexpr qint64 kYearMs = 365LL * 86400 * 1000;
constexpr int kClientLimitMs = 20000;

/// The daemon's clock stands still here. A request that holds a zero byte is cut there: on the
/// machine's clock that would be each one for 256 seconds in every 18 hours.
constexpr char kTimeWithoutZeroByteMs[] = "1795262400100";

} // namespace

/// Clock, sound and inventory through the real daemon and client, on a simulated host.
class tst_DaemonTimeAndInventory : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void clockIsShown();
    void zonesAreListedByAFilter();
    void serverKeepsTheClock();
    void clockIsSetByHand();
    void wrongUseOfTimeIsTold_data();
    void wrongUseOfTimeIsTold();
    void unknownServerIsAnError();
    void serverThatIsNoHostIsRefused();
    void exchangeWithoutAReplyIsAnError();
    void waitingRequestDoesNotHoldTheEnd();
    void laterRequestStandsOverOneThatWaits();
    void requestsThatWaitEndInTheirOrder();
    void exchangeSetsTheClockAndKeepsTheInterval();
    void exchangeWithAnInvalidReplyIsMadeAgain();
    void exchangeWithoutAValidReplyIsAnError();
    void exchangeThatCannotSetTheClockIsAnError();
    void exchangeIsRefusedWhereTheScriptKeepsTheClock();
    void stateThatCannotBeReadLeavesTheTimerRunning();
    void zonesThatCannotBeListedAreAnError();
    void requestWithoutAZoneIsRefused_data();
    void requestWithoutAZoneIsRefused();

    void volumeIsSetAndShown();
    void volumeOutOfRangeIsRefused_data();
    void volumeOutOfRangeIsRefused();
    void mixerThatFailsIsNotExplainedByAnEarlierError();
    void cardBecomesTheDefault();
    void cardThatIsNoIndexIsRefused_data();
    void cardThatIsNoIndexIsRefused();
    void devicesAreNone();
    void hardwareIsShown();
    void hardwareIsShownAgainAndAgain();

private:
    ProgramResult kyctl(const QStringList& arguments) { return _daemon->kyctl(arguments); }
    std::unique_ptr<QProcess> startKyctl(const QStringList& arguments);
    /// The event loop runs meanwhile: a server of this thread can answer.
    ProgramResult kyctlServed(const QStringList& arguments);
    ProgramResult setAutomatic(const TimeServer& server, const QString& minutes);
    std::unique_ptr<QProcess> startSilentRequest(const TimeServer& server);
    void startDaemon(const QString& hostGroup);
    qint64 hostOffsetMs() const { return _host->get("clock.offsetMs").toLongLong(); }

    std::unique_ptr<SimulatedHost> _host;
    std::unique_ptr<DaemonFixture> _daemon;
};

void tst_DaemonTimeAndInventory::init()
{
    if (_daemon && _daemon->isRunning()) {
        _host->reset();
        return;
    }
    startDaemon("version=1.2.3\ntbxName=TBX\n");
}

void tst_DaemonTimeAndInventory::startDaemon(const QString& hostGroup)
{
    _daemon.reset();
    _host = std::make_unique<SimulatedHost>();
    _daemon = std::make_unique<DaemonFixture>();
    _daemon->runUnder({programPath("hostsim"), "run", "--state", _host->folder(), "--"});
    QString group = hostGroup;
    group.replace("SCRIPT", _host->platformScript());
    const QString clock = QCoreApplication::applicationDirPath() + "/../lib/libkytestclock.so";
    QVERIFY2(QFile::exists(clock), qPrintable(clock));
    qputenv("LD_PRELOAD", QFile::encodeName(clock));
    qputenv("KY_CLOCK_STOPPED_AT_MS", kTimeWithoutZeroByteMs);
    const bool isStarted = _daemon->start(group);
    qunsetenv("LD_PRELOAD");
    qunsetenv("KY_CLOCK_STOPPED_AT_MS");
    QVERIFY2(isStarted, qPrintable(_daemon->errorText()));
}

std::unique_ptr<QProcess> tst_DaemonTimeAndInventory::startKyctl(const QStringList& arguments)
{
    auto client = std::make_unique<QProcess>();
    client->start(programPath("kyctl"),
                  QStringList{"--port", QString::number(_daemon->port())} + arguments);
    return client;
}

ProgramResult tst_DaemonTimeAndInventory::kyctlServed(const QStringList& arguments)
{
    const std::unique_ptr<QProcess> client = startKyctl(arguments);
    ProgramResult result;
    if (QTest::qWaitFor([&client] { return client->state() == QProcess::NotRunning; },
                        kClientLimitMs))
        result.status = client->exitCode();
    result.output = client->readAllStandardOutput();
    result.errors = client->readAllStandardError();
    return result;
}

ProgramResult tst_DaemonTimeAndInventory::setAutomatic(const TimeServer& server,
                                                       const QString& minutes)
{
    return kyctlServed({"time", "set", "--zone", "Etc/UTC", "--auto", "--server",
                        QStringLiteral("127.0.0.1:%1").arg(server.port()), "--interval", minutes});
}

/// A request that makes one exchange with a silent server, and waits without a time limit.
std::unique_ptr<QProcess> tst_DaemonTimeAndInventory::startSilentRequest(const TimeServer& server)
{
    return startKyctl({"call", "time_set",
                       QStringLiteral("{\"timezone\":\"Etc/UTC\",\"isAuto\":true,"
                                      "\"url\":\"127.0.0.1\",\"port\":%1,"
                                      "\"timeSyncInterval\":0}")
                           .arg(server.port())});
}

void tst_DaemonTimeAndInventory::clockIsShown()
{
    const ProgramResult result = kyctl({"time", "status"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.contains("Etc/UTC (UTC, +0000)"));
    QVERIFY(result.output.contains("pool.ntp.org:123"));
    QVERIFY(result.output.contains("synchronisation  off"));
}

void tst_DaemonTimeAndInventory::zonesAreListedByAFilter()
{
    QCOMPARE(kyctl({"time", "zones", "shang"}).output, QByteArray("Asia/Shanghai\n"));
}

void tst_DaemonTimeAndInventory::serverKeepsTheClock()
{
    TimeServer server;
    server.answerWithShift(kYearMs);
    const QString address = QStringLiteral("127.0.0.1:%1").arg(server.port());

    const ProgramResult result = setAutomatic(server, "30");

    QVERIFY2(result.status == 0, result.errors);
    QVERIFY(!server.requests().isEmpty());
    const QByteArray status = kyctl({"time", "status"}).output;
    QVERIFY(status.contains("every 30 min"));
    QVERIFY(status.contains(address.toUtf8()));
}

void tst_DaemonTimeAndInventory::clockIsSetByHand()
{
    const ProgramResult result =
        kyctl({"time", "set", "--zone", "Etc/UTC", "--at", "2026-01-02 03:04:05"});

    QVERIFY2(result.status == 0, result.errors);
    QVERIFY(kyctl({"time", "status"}).output.contains("2026-01-02 03:04:"));
}

void tst_DaemonTimeAndInventory::wrongUseOfTimeIsTold_data()
{
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("no zone") << QStringList{"--at", "2026-01-02 03:04:05"};
    QTest::newRow("neither way") << QStringList{"--zone", "Etc/UTC"};
    QTest::newRow("both ways") << QStringList{"--zone", "Etc/UTC", "--auto", "--at",
                                              "2026-01-02 03:04:05"};
    QTest::newRow("no date") << QStringList{"--zone", "Etc/UTC", "--at", "tomorrow"};
    QTest::newRow("no server") << QStringList{"--zone", "Etc/UTC", "--auto", "--interval", "5"};
    QTest::newRow("no interval") << QStringList{"--zone", "Etc/UTC", "--auto", "--server", "a"};
    QTest::newRow("port 0") << QStringList{"--zone", "Etc/UTC",    "--auto", "--server",
                                           "a:0",    "--interval", "5"};
    QTest::newRow("port 65536") << QStringList{"--zone",  "Etc/UTC",    "--auto", "--server",
                                               "a:65536", "--interval", "5"};
    QTest::newRow("interval is no number")
        << QStringList{"--zone", "Etc/UTC", "--auto", "--server", "a", "--interval", "-5"};
}

void tst_DaemonTimeAndInventory::wrongUseOfTimeIsTold()
{
    QFETCH(QStringList, arguments);

    QCOMPARE(kyctl(QStringList{"time", "set"} + arguments).status, 2);
    QCOMPARE(_host->lines().filter("/etc/localtime"), QStringList());
}

void tst_DaemonTimeAndInventory::unknownServerIsAnError()
{
    const ProgramResult result = kyctl({"time", "set", "--zone", "Etc/UTC", "--auto", "--server",
                                        "robot.invalid", "--interval", "2000000000"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40403: Connected time out"), result.errors);
}

void tst_DaemonTimeAndInventory::serverThatIsNoHostIsRefused()
{
    const ProgramResult result = kyctl(
        {"time", "set", "--zone", "Etc/UTC", "--auto", "--server", "; reboot", "--interval", "10"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40002: argument [url]: not an address or the name of a host"),
             result.errors);
    QCOMPARE(_host->lines().filter("/etc/localtime"), QStringList());
}

void tst_DaemonTimeAndInventory::exchangeWithoutAReplyIsAnError()
{
    TimeServer server; // answers nobody
    QProcess client;
    client.start(programPath("kyctl"),
                 {"--port", QString::number(_daemon->port()), "--timeout", "500", "call",
                  "time_set",
                  QStringLiteral("{\"timezone\":\"Etc/UTC\",\"isAuto\":true,\"url\":\"127.0.0.1\","
                                 "\"port\":%1,\"timeSyncInterval\":0}")
                      .arg(server.port())});
    QTRY_VERIFY_WITH_TIMEOUT(!server.requests().isEmpty(), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(client.state() == QProcess::NotRunning, 10000);
    QCOMPARE(client.exitCode(), 3); // no time limit on the reply over there

    const ProgramResult result = kyctl({"time", "sync"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40404: no reply within 5000 ms"), result.errors);
}

void tst_DaemonTimeAndInventory::waitingRequestDoesNotHoldTheEnd()
{
    TimeServer server;
    const std::unique_ptr<QProcess> client = startSilentRequest(server);
    QTRY_VERIFY_WITH_TIMEOUT(!server.requests().isEmpty(), 10000);

    QCOMPARE(_daemon->stop(SIGTERM), 0);
    client->waitForFinished(10000);
}

void tst_DaemonTimeAndInventory::laterRequestStandsOverOneThatWaits()
{
    TimeServer server;
    const std::unique_ptr<QProcess> client = startSilentRequest(server);
    QTRY_VERIFY_WITH_TIMEOUT(!server.requests().isEmpty(), 10000);

    const ProgramResult result =
        kyctl({"time", "set", "--zone", "Etc/UTC", "--at", "2026-01-02 03:04:05"});

    QVERIFY2(result.status == 0, result.errors);
    QTRY_COMPARE_WITH_TIMEOUT(client->state(), QProcess::NotRunning, 10000); // its wait was ended
    QCOMPARE(client->exitCode(), 0);
    QCOMPARE(_daemon->stop(SIGTERM), 0);
    const QSettings stored(_daemon->home() + "/appInfo/setting/WirelessCard.ini",
                           QSettings::IniFormat);
    QCOMPARE(stored.value("NTP/isAutoSync"), QVariant("false"));
}

void tst_DaemonTimeAndInventory::requestsThatWaitEndInTheirOrder()
{
    TimeServer server;
    std::vector<std::unique_ptr<QProcess>> clients;
    for (int i = 1; i <= 5; ++i) {
        clients.push_back(startSilentRequest(server));
        QTRY_VERIFY_WITH_TIMEOUT(server.requests().size() == i, 10000);
    }

    for (int i = 0; i < 4; ++i)
        QTRY_COMPARE_WITH_TIMEOUT(clients[i]->state(), QProcess::NotRunning, 10000);
    QCOMPARE(clients[4]->state(), QProcess::Running);
    QCOMPARE(kyctl({"time", "status"}).status, 0); // is answered while one waits
    QCOMPARE(_daemon->stop(SIGTERM), 0);
    clients[4]->waitForFinished(10000);
}

void tst_DaemonTimeAndInventory::exchangeSetsTheClockAndKeepsTheInterval()
{
    TimeServer server;
    server.answerWithShift(0);
    QCOMPARE(setAutomatic(server, "30").status, 0);
    server.answerWithShift(kYearMs);

    const ProgramResult result = kyctlServed({"time", "sync"});

    QVERIFY2(result.status == 0, result.errors);
    QVERIFY2(qAbs(hostOffsetMs() - kYearMs) < 5000, qPrintable(QString::number(hostOffsetMs())));
    QVERIFY2(result.output.contains("every 30 min"), result.output);
}

void tst_DaemonTimeAndInventory::exchangeWithAnInvalidReplyIsMadeAgain()
{
    TimeServer server;
    server.answerWithShift(0);
    QCOMPARE(setAutomatic(server, "30").status, 0);
    const int before = server.requests().size();
    server.answer([&server](const QByteArray&) {
        server.answerWithShift(kYearMs); // from the next request on
        return QList<QByteArray>{TimeServer::reply("another!", 0)};
    });

    const ProgramResult result = kyctlServed({"time", "sync"});

    QVERIFY2(result.status == 0, result.errors);
    QVERIFY(server.requests().size() >= before + 2);
    QVERIFY(qAbs(hostOffsetMs() - kYearMs) < 5000);
}

void tst_DaemonTimeAndInventory::exchangeWithoutAValidReplyIsAnError()
{
    TimeServer server;
    server.answer(
        [](const QByteArray&) { return QList<QByteArray>{TimeServer::reply("another!", 0)}; });
    QCOMPARE(setAutomatic(server, "30").status, 0); // it is over, however it ended
    const int before = server.requests().size();

    const ProgramResult result = kyctlServed({"time", "sync"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40404: no valid reply"), result.errors);
    QCOMPARE(server.requests().size(), before + 3);
    QCOMPARE(hostOffsetMs(), qint64(0));
}

void tst_DaemonTimeAndInventory::exchangeThatCannotSetTheClockIsAnError()
{
    TimeServer server;
    server.answerWithShift(0);
    QCOMPARE(setAutomatic(server, "30").status, 0);
    _host->addFault("timedatectl", "fail",
                    {"--match", "set-time", "--status", "1", "--text", "no clock here"});

    const ProgramResult result = kyctlServed({"time", "sync"});

    _host->clearFaults();
    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40404: no clock here"), result.errors);
}

void tst_DaemonTimeAndInventory::exchangeIsRefusedWhereTheScriptKeepsTheClock()
{
    startDaemon("halShPath=SCRIPT\n");

    const ProgramResult result = kyctl({"time", "sync"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40404: the platform script keeps the clock"), result.errors);
    startDaemon("version=1.2.3\ntbxName=TBX\n");
}

void tst_DaemonTimeAndInventory::stateThatCannotBeReadLeavesTheTimerRunning()
{
    TimeServer server;
    server.answerWithShift(0);
    QCOMPARE(setAutomatic(server, "30").status, 0);
    const int before = server.requests().size();
    _host->addFault("timedatectl", "fail",
                    {"--match", "status", "--status", "1", "--text", "no bus"});

    const ProgramResult sync = kyctlServed({"time", "sync"});
    const ProgramResult status = kyctl({"time", "status"});

    _host->clearFaults();
    QCOMPARE(sync.status, 1);
    QVERIFY2(sync.errors.contains("40401: no bus"), sync.errors);
    QCOMPARE(status.status, 1);
    QVERIFY2(status.errors.contains("40401: no bus"), status.errors);
    QCOMPARE(server.requests().size(), before);
    const QByteArray after = kyctl({"time", "status"}).output;
    QVERIFY2(after.contains("every 30 min"), after);
    QVERIFY2(after.contains(QByteArray::number(server.port())), after);
}

void tst_DaemonTimeAndInventory::zonesThatCannotBeListedAreAnError()
{
    _host->addFault("timedatectl", "fail",
                    {"--match", "list-timezones", "--status", "1", "--text", "no zones here"});

    const ProgramResult result = kyctl({"time", "zones"});

    _host->clearFaults();
    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40402: no zones here"), result.errors);
}

void tst_DaemonTimeAndInventory::requestWithoutAZoneIsRefused_data()
{
    QTest::addColumn<QString>("request");
    QTest::addColumn<QByteArray>("error");

    const QByteArray noZone = "argument [timezone]: not the name of a time zone";
    QTest::newRow("absent") << R"({"isAuto":false})" << QByteArray("argument [timezone]: missing");
    QTest::newRow("empty") << R"({"isAuto":false,"timezone":""})" << noZone;
    QTest::newRow("blank") << R"({"isAuto":false,"timezone":" "})" << noZone;
    QTest::newRow("null") << R"({"isAuto":false,"timezone":null})" << noZone;
    QTest::newRow("list") << R"({"isAuto":false,"timezone":["Etc/UTC"]})" << noZone;
    QTest::newRow("path") << R"({"isAuto":false,"timezone":"../../../etc/shadow"})" << noZone;
    QTest::newRow("no time to set") << R"({"isAuto":false,"timezone":"Etc/UTC"})"
                                    << QByteArray("argument [localDateTime]: missing");
}

void tst_DaemonTimeAndInventory::requestWithoutAZoneIsRefused()
{
    QFETCH(QString, request);

    const ProgramResult result = kyctl({"call", "time_set", request});

    QCOMPARE(result.status, 1);
    QFETCH(QByteArray, error);
    QVERIFY2(result.errors.contains(error), result.errors);
    QCOMPARE(_host->lines().filter("/etc/localtime"), QStringList());
}

void tst_DaemonTimeAndInventory::volumeIsSetAndShown()
{
    QCOMPARE(kyctl({"audio", "set", "40"}).status, 0);

    const ProgramResult result = kyctl({"audio", "get"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.contains("volume  40 %"));
    QVERIFY(result.output.contains("rockchiprk809"));
}

void tst_DaemonTimeAndInventory::volumeOutOfRangeIsRefused_data()
{
    QTest::addColumn<QString>("volume");

    QTest::newRow("101") << "101";
    QTest::newRow("-1") << "-1";
    QTest::newRow("loud") << "loud";
    QTest::newRow("code") << "40%; reboot";
}

void tst_DaemonTimeAndInventory::volumeOutOfRangeIsRefused()
{
    QFETCH(QString, volume);

    _host->clearLines();

    const ProgramResult result = kyctl({"audio", "set", "--", volume});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40002: argument [volume]: not a whole number from 0 to 100"),
             result.errors);
    QCOMPARE(_host->lines().filter("amixer"), QStringList());
}

void tst_DaemonTimeAndInventory::mixerThatFailsIsNotExplainedByAnEarlierError()
{
    QCOMPARE(kyctl({"audio", "set", "101"}).status, 1);
    _host->addFault("amixer", "fail", {"--status", "1"});

    const ProgramResult result = kyctl({"audio", "set", "40"});

    QCOMPARE(result.status, 1);
    QVERIFY(result.errors.contains("40501: the mixer did not take or store the volume"));
}

void tst_DaemonTimeAndInventory::cardBecomesTheDefault()
{
    QCOMPARE(kyctl({"audio", "card", "3"}).status, 0);
    QFile conf(_host->privatePath("/etc/asound.conf"));
    QVERIFY(conf.open(QIODevice::ReadOnly));
    QVERIFY(conf.readAll().startsWith("defaults.ctl.card 3\n"));

    QCOMPARE(kyctl({"audio", "reset"}).status, 0);
    QFile again(_host->privatePath("/etc/asound.conf"));
    QVERIFY(again.open(QIODevice::ReadOnly));
    QVERIFY(again.readAll().startsWith("defaults.ctl.card 0\n"));
}

void tst_DaemonTimeAndInventory::cardThatIsNoIndexIsRefused_data()
{
    QTest::addColumn<QString>("index");

    QTest::newRow("line of its own") << "0\npcm.x";
    QTest::newRow("path") << "../../etc/passwd";
}

void tst_DaemonTimeAndInventory::cardThatIsNoIndexIsRefused()
{
    QFETCH(QString, index);
    const auto conf = [this] {
        QFile file(_host->privatePath("/etc/asound.conf"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const QByteArray before = conf();

    const ProgramResult result = kyctl({"audio", "card", index});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40002: argument [index]: not a word of letters, digits"),
             result.errors);
    QCOMPARE(conf(), before);
}

void tst_DaemonTimeAndInventory::devicesAreNone()
{
    QCOMPARE(kyctl({"audio", "devices"}).output, QByteArray("none\n"));
}

void tst_DaemonTimeAndInventory::hardwareIsShown()
{
    const ProgramResult result = kyctl({"info"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.contains("version    1.2.3 on TBX"));
    QVERIFY(result.output.contains("/dev/sda2  701MB  3GB    ####................  19%"));
    QVERIFY(result.output.contains("cpu-thermal  45.5 "));
    QVERIFY(!result.output.contains("Filesystem")); // the head of the host's own table
    QCOMPARE(kyctl({"info", "--json"}).json().value("disk").toList().size(), 5);
}

void tst_DaemonTimeAndInventory::hardwareIsShownAgainAndAgain()
{
    const ProgramResult result = kyctl({"info", "--watch", "--every", "1", "--count", "2"});

    QCOMPARE(result.status, 0);
    QCOMPARE(result.output.count("cpu-thermal"), 2);
    QCOMPARE(kyctl({"info", "--count", "0"}).status, 2);
}

QTEST_GUILESS_MAIN(tst_DaemonTimeAndInventory)
#include "tst_DaemonTimeAndInventory.moc"
