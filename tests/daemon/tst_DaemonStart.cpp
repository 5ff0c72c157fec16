#include "DaemonFixture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTest>

#include <csignal>

class tst_DaemonStart : public QObject
{
    Q_OBJECT

private slots:
    void endsCleanlyOnSignals_data();
    void endsCleanlyOnSignals();
    void firstStartMakesTheHome();
    void settingsOfTheUserAreKept();
    void whatAKilledDaemonLeftIsClearedAway();
    void badSettingsAreOneLine_data();
    void badSettingsAreOneLine();
    void unreadableSettingsAreOneLine();
    void portInUseIsOneLine_data();
    void portInUseIsOneLine();
    void brokenDatabaseIsOneLine();
    void databaseThatCannotBeOpenedIsOneLine();
    void unwritableHomeIsOneLine();
    void optionPortIsHeard();
    void wrongOptionsAreUsageErrors_data();
    void wrongOptionsAreUsageErrors();
    void helpAndVersionAreNoErrors();
    void logLinesBeginWithTheirLevel_data();
    void logLinesBeginWithTheirLevel();
};

namespace {

/// What a failed start must look like: one line that says where, nothing on standard output.
void compareOneLine(DaemonFixture& daemon, const QString& fragment)
{
    QVERIFY(daemon.waitEnd());
    const QString text = daemon.errorText();
    QCOMPARE(daemon.exitStatus(), 1);
    QCOMPARE(text.count(QLatin1Char('\n')), 1);
    QVERIFY2(text.startsWith("kyhostd: "), qPrintable(text));
    QVERIFY2(text.contains(fragment), qPrintable(text));
}

} // namespace

void tst_DaemonStart::endsCleanlyOnSignals_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void tst_DaemonStart::endsCleanlyOnSignals()
{
    QFETCH(int, signalNumber);
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    QCOMPARE(daemon.stop(signalNumber), 0);
}

void tst_DaemonStart::firstStartMakesTheHome()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    QVERIFY(QFile::exists(daemon.home() + "/appInfo/commands.db"));
    QVERIFY(QFile::exists(daemon.home() + "/appInfo/setting/kyhostd.ini"));
    QVERIFY(QFile::exists(daemon.home() + "/appInfo/backupFile"));
    QVERIFY(QFile::exists(daemon.home() + "/data"));
}

void tst_DaemonStart::settingsOfTheUserAreKept()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    QCOMPARE(daemon.stop(SIGTERM), 0);
    const QString path = daemon.home() + "/appInfo/setting/kyhostd.ini";
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("mine");
    file.close();

    daemon.launch();
    QVERIFY2(daemon.waitReady(), qPrintable(daemon.errorText()));

    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("mine"));
}

void tst_DaemonStart::whatAKilledDaemonLeftIsClearedAway()
{
    DaemonFixture daemon;
    QStringList left;
    for (const QString& folder :
         {daemon.home() + "/appInfo", daemon.home() + "/appInfo/setting",
          daemon.home() + "/appInfo/backupFile", QFileInfo(daemon.settingsFile()).path()}) {
        QVERIFY(QDir().mkpath(folder));
        left << folder + "/.kynew-aB3xY9";
        QVERIFY(QFile(left.last()).open(QIODevice::WriteOnly));
    }

    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    for (const QString& file : qAsConst(left))
        QVERIFY2(!QFile::exists(file), qPrintable(file));
}

void tst_DaemonStart::badSettingsAreOneLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("fragment");
    QTest::newRow("empty file") << QByteArray() << "[Server1/port]: missing";
    QTest::newRow("no port") << QByteArray("[Server1]\nthreadCount=4\n")
                             << "[Server1/port]: missing";
    QTest::newRow("port 0") << QByteArray("[Server1]\nport=0\nthreadCount=4\n")
                            << "[Server1/port]: 0 is not in 1 to 32767";
    QTest::newRow("port 32768") << QByteArray("[Server1]\nport=32768\nthreadCount=4\n")
                                << "[Server1/port]: 32768 is not in 1 to 32767";
    QTest::newRow("port is a word") << QByteArray("[Server1]\nport=many\nthreadCount=4\n")
                                    << "[Server1/port]: many is not in 1 to 32767";
    QTest::newRow("no threads") << QByteArray("[Server1]\nport=20000\nthreadCount=0\n")
                                << "[Server1/threadCount]: 0 is not in 1 to 64";
    QTest::newRow("second listener missing")
        << QByteArray("[Server1]\nport=20000\nthreadCount=4\n") << "[Server2/port]: missing";
    QTest::newRow("noise") << QByteArray("\x01\x02\xff no settings at all\n") << "settings file [";
}

void tst_DaemonStart::badSettingsAreOneLine()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, fragment);
    DaemonFixture daemon;
    daemon.writeSettings(content);

    daemon.launch();

    compareOneLine(daemon, fragment);
}

void tst_DaemonStart::unreadableSettingsAreOneLine()
{
    DaemonFixture daemon;

    daemon.launch();

    compareOneLine(daemon, daemon.settingsFile());
}

void tst_DaemonStart::portInUseIsOneLine_data()
{
    QTest::addColumn<int>("listener");
    QTest::newRow("service") << 1;
    QTest::newRow("link") << 2;
    QTest::newRow("report") << 3;
}

void tst_DaemonStart::portInUseIsOneLine()
{
    QFETCH(int, listener);
    DaemonFixture daemon;
    const quint16 ports[] = {daemon.port(), daemon.linkPort(), daemon.reportPort()};
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress::AnyIPv4, ports[listener - 1]));

    QVERIFY(!daemon.start());

    compareOneLine(daemon,
                   QStringLiteral("port [%1] of Server%2: The bound address is already in use")
                       .arg(ports[listener - 1])
                       .arg(listener));
    // Nothing half-started: the other ports are free again.
    for (const quint16 port : ports) {
        QTcpServer probe;
        QVERIFY(port == other.serverPort() || probe.listen(QHostAddress::AnyIPv4, port));
    }
}

void tst_DaemonStart::brokenDatabaseIsOneLine()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    QCOMPARE(daemon.stop(SIGTERM), 0);
    QFile file(daemon.home() + "/appInfo/commands.db");
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QByteArray(8192, 'x'));
    file.close();

    daemon.launch();

    QVERIFY(!daemon.waitReady());
    compareOneLine(daemon, "command database [appInfo/commands.db]: ");
}

void tst_DaemonStart::databaseThatCannotBeOpenedIsOneLine()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    QCOMPARE(daemon.stop(SIGTERM), 0);
    // A folder where the file should be: SQLite cannot open it.
    QVERIFY(QFile::remove(daemon.home() + "/appInfo/commands.db"));
    QVERIFY(QDir().mkpath(daemon.home() + "/appInfo/commands.db"));

    daemon.launch();

    QVERIFY(!daemon.waitReady());
    compareOneLine(daemon, "command database [appInfo/commands.db]: ");
}

void tst_DaemonStart::unwritableHomeIsOneLine()
{
    DaemonFixture daemon;
    // Below a file: that stops root, too.
    daemon.setHome(daemon.settingsFile() + "/home");

    QVERIFY(!daemon.start());

    compareOneLine(daemon, "home [" + daemon.home());
}

void tst_DaemonStart::optionPortIsHeard()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    QCOMPARE(daemon.stop(SIGTERM), 0);
    const quint16 port = freePort();
    QProcess process;

    process.start(programPath("kyhostd"), {"--home", daemon.home(), "--settings",
                                           daemon.settingsFile(), "--port", QString::number(port)});
    QVERIFY(process.waitForReadyRead(20000));
    const ProgramResult result = runProgram("kyctl", {"--port", QString::number(port), "version"});
    process.terminate();

    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(result.status, 0);
    QCOMPARE(process.exitCode(), 0);
}

void tst_DaemonStart::wrongOptionsAreUsageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("port 0") << QStringList{"--port", "0"};
    QTest::newRow("port too high") << QStringList{"--port", "32768"};
    QTest::newRow("port is a word") << QStringList{"--port", "x"};
    QTest::newRow("argument") << QStringList{"start"};
    QTest::newRow("unknown option") << QStringList{"--nosuch"};
    QTest::newRow("unknown options") << QStringList{"-x", "--nosuch"};
    QTest::newRow("no value") << QStringList{"--port"};
    QTest::newRow("value for a switch") << QStringList{"--verbose=yes"};
    QTest::newRow("unknown beside help") << QStringList{"--nosuch", "--help"};
}

void tst_DaemonStart::wrongOptionsAreUsageErrors()
{
    QFETCH(QStringList, arguments);

    const ProgramResult result = runProgram("kyhostd", arguments);

    QCOMPARE(result.status, 2);
    QVERIFY2(result.errors.startsWith("kyhostd: "), result.errors);
    QCOMPARE(result.errors.count('\n'), 1);
}

void tst_DaemonStart::helpAndVersionAreNoErrors()
{
    const ProgramResult help = runProgram("kyhostd", {"--help"});
    const ProgramResult version = runProgram("kyhostd", {"--version"});

    QCOMPARE(help.status, 0);
    QVERIFY2(help.output.contains("--settings"), help.output);
    QCOMPARE(version.status, 0);
    QVERIFY2(version.output.startsWith("kyhostd "), version.output);
}

void tst_DaemonStart::logLinesBeginWithTheirLevel_data()
{
    QTest::addColumn<QByteArray>("pattern");
    QTest::addColumn<QString>("beforeTheLine");
    QTest::newRow("by itself") << QByteArray() << QString();
    QTest::newRow("unless told otherwise")
        << QByteArray("%{category}|%{message}") << QStringLiteral("ky.service|");
}

void tst_DaemonStart::logLinesBeginWithTheirLevel()
{
    QFETCH(QByteArray, pattern);
    QFETCH(QString, beforeTheLine);
    const auto tidy = qScopeGuard([] {
        qunsetenv("QT_LOGGING_RULES");
        qunsetenv("QT_MESSAGE_PATTERN");
    });
    qputenv("QT_LOGGING_RULES", "ky.service.debug=true");
    if (!pattern.isEmpty())
        qputenv("QT_MESSAGE_PATTERN", pattern);
    DaemonFixture daemon;

    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    const QStringList lines = daemon.errorText().split(QLatin1Char('\n'));
    const QString line = QStringLiteral("%1[debug][listenTcp][starting listenning : port: %2 ]")
                             .arg(beforeTheLine)
                             .arg(daemon.port());
    QVERIFY2(lines.contains(line), qPrintable(daemon.errorText()));
}

QTEST_GUILESS_MAIN(tst_DaemonStart)
#include "tst_DaemonStart.moc"
