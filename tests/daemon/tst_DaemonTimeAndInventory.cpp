#include "DaemonFixture.h"
#include "SimulatedHost.h"
#include "TimeServer.h"

#include <QtTest>

#include <csignal>
#include <memory>

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
    void exchangeWithoutAReplyIsAnError();
    void waitingRequestDoesNotHoldTheEnd();
    void requestWithoutAZoneIsRefused();

    void volumeIsSetAndShown();
    void volumeOutOfRangeIsRefused_data();
    void volumeOutOfRangeIsRefused();
    void mixerThatFailsIsNotExplainedByAnEarlierError();
    void cardBecomesTheDefault();
    void cardThatIsNoIndexIsRefused();
    void devicesAreNone();
    void hardwareIsShown();
    void hardwareIsShownAgainAndAgain();

private:
    ProgramResult kyctl(const QStringList& arguments) { return _daemon->kyctl(arguments); }

    std::unique_ptr<SimulatedHost> _host;
    std::unique_ptr<DaemonFixture> _daemon;
};

void tst_DaemonTimeAndInventory::init()
{
    if (_daemon && _daemon->isRunning()) {
        _host->reset();
        return;
    }
    _daemon.reset();
    _host = std::make_unique<SimulatedHost>();
    _daemon = std::make_unique<DaemonFixture>();
    _daemon->runUnder({programPath("hostsim"), "run", "--state", _host->folder(), "--"});
    QVERIFY2(_daemon->start("version=1.2.3\ntbxName=TBX\n"), qPrintable(_daemon->errorText()));
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
    server.answerWithShift(365LL * 86400 * 1000);
    const QString address = QStringLiteral("127.0.0.1:%1").arg(server.port());

    // A blocking child would keep the server of this thread from answering.
    QProcess client;
    client.start(programPath("kyctl"),
                 {"--port", QString::number(_daemon->port()), "time", "set", "--zone", "Etc/UTC",
                  "--auto", "--server", address, "--interval", "30"});
    QTRY_VERIFY_WITH_TIMEOUT(client.state() == QProcess::NotRunning, 10000);

    QCOMPARE(client.exitCode(), 0);
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
                                        "; reboot", "--interval", "4000000000"});

    QCOMPARE(result.status, 1);
    QVERIFY(result.errors.contains("40403: Connected time out"));
    QVERIFY(_host->lines().filter("reboot").isEmpty());
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
    QProcess client;
    client.start(programPath("kyctl"),
                 {"--port", QString::number(_daemon->port()), "call", "time_set",
                  QStringLiteral("{\"timezone\":\"Etc/UTC\",\"isAuto\":true,\"url\":\"127.0.0.1\","
                                 "\"port\":%1,\"timeSyncInterval\":0}")
                      .arg(server.port())});
    QTRY_VERIFY_WITH_TIMEOUT(!server.requests().isEmpty(), 10000);

    QCOMPARE(_daemon->stop(SIGTERM), 0);
    client.waitForFinished(10000);
}

void tst_DaemonTimeAndInventory::requestWithoutAZoneIsRefused()
{
    const ProgramResult result = kyctl({"call", "time_set", "{\"isAuto\":false}"});

    QCOMPARE(result.status, 1);
    QVERIFY(result.errors.contains("argument [timezone]: missing"));
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

    const ProgramResult result = kyctl({"audio", "set", "--", volume});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40501: Volume setting failed: [" + volume.toUtf8() +
                                    "] is not in the range [0~100]."),
             result.errors);
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

void tst_DaemonTimeAndInventory::cardThatIsNoIndexIsRefused()
{
    const ProgramResult result = kyctl({"audio", "card", "0\npcm.x"});

    QCOMPARE(result.status, 1);
    QVERIFY(result.errors.contains("40502: sound card [0"));
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
