#include "DaemonFixture.h"
#include "FrameClient.h"
#include "pty/Pty.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTcpServer>
#include <QTest>
#include <QUdpSocket>
#include <QtEndian>

#include <algorithm>
#include <csignal>
#include <functional>
#include <memory>

/// The client as people and scripts use it, against the real daemon and against bad peers.
class tst_Kyctl : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void wrongUsageIsStatus2_data();
    void wrongUsageIsStatus2();
    void helpIsStatus0AtEveryLevel();
    void callShowsTheAnswer();
    void callByNumberNeedsNoTable();
    void callSendsAFile();
    void emptyMapIsSentAsJsonArea();
    void unknownNameIsNoTableAsJson();
    void jsonThatNoFrameTellsIsStatus2_data();
    void jsonThatNoFrameTellsIsStatus2();
    void errorOfThePeerIsStatus1_data();
    void errorOfThePeerIsStatus1();
    void jsonIsOneLine();
    void commandsIsATable();
    void onlyUnknownNamesAreLookedUpOverThere_data();
    void onlyUnknownNamesAreLookedUpOverThere();
    void catalogueNeedsNoPeer_data();
    void catalogueNeedsNoPeer();
    void commandsOfTheCatalogueAreThoseOfTheDaemon();
    void linkStatusIsShown();
    void peerCallShowsTheAnswerOfTheOther();
    void peerCallShowsTheJsonAreaOfTheOther();
    void probePrintsBothReports();
    void probeOfTheNumber0ShowsTheAnswer();
    void probeMasksWhatWouldSteerTheTerminal();
    void probeAsJson();
    void watchPrintsEvents();
    void watchEndsAfterItsTime();
    void watchTellsThatThePeerHasGone();
    void udpTextArrives();
    void jsonSteersNoTerminal_data();
    void jsonSteersNoTerminal();
    void datagramAsJsonSteersNoTerminal();
    void udpPortInUseIsStatus3();
    void udpTextThatIsNotSentIsStatus3();

    void uploadIsComparedWithTheDisk();
    void uploadPrintsPlainLinesWithoutATerminal();
    void uploadOfWhatIsNoFileIsStatus2_data();
    void uploadOfWhatIsNoFileIsStatus2();
    void uploadToAPeerThatStopsReadingIsStatus3();
    void uploadThatDiffersOverThereIsStatus1();
    void uploadMasksWhatWouldSteerTheTerminal();
    void uploadOfAFileThatIsShortenedIsWhole();
    void uploadOfAFileWithoutASizeIsReadToItsEnd();

    void deadPortIsStatus3_data();
    void deadPortIsStatus3();
    void silentPeerIsStatus3InItsTime_data();
    void silentPeerIsStatus3InItsTime();
    void noisyPeerIsStatus3InItsTime_data();
    void noisyPeerIsStatus3InItsTime();
    void peerThatHangsUpIsStatus3();
    void unknownHostIsStatus3();

private:
    static void compareNoAnswer(const ProgramResult& result);

    DaemonFixture _daemon;
    QTemporaryDir _folder;
};

namespace {

constexpr int kLimitMs = 700;

/// Runs kyctl while this thread plays its peer. Its output goes to the terminal, if one is given.
ProgramResult runAgainst(const QStringList& arguments,
                         const std::function<void(QTcpSocket&)>& onConnect,
                         const std::function<void(QTcpSocket&)>& onRead = nullptr,
                         const QString& terminal = {})
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    QObject::connect(&server, &QTcpServer::newConnection, &server, [&] {
        QTcpSocket* socket = server.nextPendingConnection();
        if (onRead)
            QObject::connect(socket, &QTcpSocket::readyRead, socket,
                             [&, socket] { onRead(*socket); });
        else
            socket->setReadBufferSize(1);
        onConnect(*socket);
    });
    QProcess process;
    if (!terminal.isEmpty())
        process.setStandardOutputFile(terminal);
    process.start(programPath("kyctl"),
                  QStringList{"--port", QString::number(server.serverPort())} + arguments);
    ProgramResult result;
    if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 20000)) {
        process.kill();
        process.waitForFinished();
    } else if (process.exitStatus() == QProcess::NormalExit) {
        result.status = process.exitCode();
    }
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    return result;
}

const QString kLimit = QString::number(kLimitMs);

/// Text with an escape sequence, a one-byte one (C1), and DEL.
const QByteArray kSteering = "a\x1b]0;t\x07\xc2\x9b"
                             "2J\x7f";

/// The answers to every request of `probe 2000` and of `watch`, which gets one event.
QByteArray steeringAnswers(const QByteArray& requests)
{
    QByteArray answers;
    for (int at = 0; at + 16 <= requests.size();) {
        const int type = qFromBigEndian<quint16>(requests.constData() + at + 8);
        const int number = qFromBigEndian<quint16>(requests.constData() + at + 2);
        if (type == 2001)
            answers += FrameClient::frame(
                12001, number, {}, "{\"commands\":[{\"name\":\"subscribe\",\"number\":2003}]}");
        else if (type == 2003)
            answers += FrameClient::frame(12003, number, {}, "{\"ret_code\":0}") +
                       FrameClient::frame(2920, 0, {}, "{\"event\":\"" + kSteering + "\"}");
        else
            answers += FrameClient::frame(12000, number, {}, "{\"a\":\"" + kSteering + "\"}");
        at += 16 + int(qFromBigEndian<quint32>(requests.constData() + at + 4));
    }
    return answers;
}

/// Counts in the types of the requests that arrived, and answers each with what holds for all.
std::function<void(QTcpSocket&)> answerAll(QList<int>* types, const QByteArray& data)
{
    return [types, data](QTcpSocket& socket) {
        const QByteArray requests = socket.readAll();
        for (int at = 0; at + 16 <= requests.size();) {
            const int type = qFromBigEndian<quint16>(requests.constData() + at + 8);
            const int number = qFromBigEndian<quint16>(requests.constData() + at + 2);
            *types << type;
            socket.write(FrameClient::frame(type + 10000, number, {}, data));
            at += 16 + int(qFromBigEndian<quint32>(requests.constData() + at + 4));
        }
    };
}

/// One line from the program on the terminal.
QByteArray lineOf(Pty& terminal)
{
    QByteArray line;
    for (int i = 0; i < 4000 && !line.endsWith('\n'); ++i) {
        const QByteArray byte = terminal.read(1);
        if (byte.isEmpty())
            break;
        line += byte;
    }
    return line;
}

bool hasControls(const QByteArray& line)
{
    const QString text = QString::fromUtf8(line);
    return std::any_of(text.begin(), text.end() - 1,
                       [](QChar c) { return c.category() == QChar::Other_Control; });
}

} // namespace

void tst_Kyctl::initTestCase()
{
    QVERIFY2(_daemon.start(), qPrintable(_daemon.errorText()));
}

void tst_Kyctl::cleanupTestCase()
{
    QCOMPARE(_daemon.stop(SIGTERM), 0);
}

void tst_Kyctl::compareNoAnswer(const ProgramResult& result)
{
    QCOMPARE(result.status, 3);
    QVERIFY2(result.errors.startsWith("kyctl: no answer from "), result.errors.constData());
    QCOMPARE(result.errors.count('\n'), 1);
}

void tst_Kyctl::wrongUsageIsStatus2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("nothing") << QStringList{}
                             << QByteArray("kyctl: no command given; try 'kyctl --help'\n");
    QTest::newRow("group alone") << QStringList{"link"}
                                 << QByteArray("kyctl: 'link' needs a verb; try 'kyctl link "
                                               "--help'\n");
    QTest::newRow("option") << QStringList{"link", "status", "--loud"}
                            << QByteArray("kyctl: no option '--loud'; try 'kyctl link status "
                                          "--help'\n");
    QTest::newRow("no JSON") << QStringList{"call", "echo", "{a"}
                             << QByteArray("kyctl: '{a' is not a JSON object\n");
    QTest::newRow("JSON list") << QStringList{"call", "echo", "[1]"}
                               << QByteArray("kyctl: '[1]' is not a JSON object\n");
    QTest::newRow("no file") << QStringList{"call", "echo", "--data", "/nowhere"}
                             << QByteArray("kyctl: file [/nowhere]: No such file or directory\n");
    const QByteArray unreadable = "kyctl: file [/proc/self/mem]: Input/output error\n";
    QTest::newRow("read error of call")
        << QStringList{"call", "echo", "--data", "/proc/self/mem"} << unreadable;
    QTest::newRow("read error of probe")
        << QStringList{"probe", "2000", "--data-file", "/proc/self/mem"} << unreadable;
    QTest::newRow("read error of upload") << QStringList{"upload", "/proc/self/mem"} << unreadable;
    QTest::newRow("count") << QStringList{"watch", "--count", "0"}
                           << QByteArray(
                                  "kyctl: --count and --for take a number above 0, --for up to "
                                  "2147483\n");
    QTest::newRow("datagrams below 0") << QStringList{"udp", "listen", "30000", "--count", "-5"}
                                       << QByteArray("kyctl: --count and --for take a number above "
                                                     "0, --for up to 2147483\n");
    QTest::newRow("UDP host") << QStringList{"udp", "send", "robot", "1", "x"}
                              << QByteArray("kyctl: HOST is an address, PORT is 1 to 65535\n");
}

void tst_Kyctl::wrongUsageIsStatus2()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, error);

    const ProgramResult result = runProgram("kyctl", arguments);

    QCOMPARE(result.errors, error);
    QCOMPARE(result.status, 2);
    QVERIFY(result.output.isEmpty());
}

void tst_Kyctl::helpIsStatus0AtEveryLevel()
{
    for (const QStringList& words : {QStringList{"--help"}, QStringList{"peer", "--help"},
                                     QStringList{"peer", "call", "--help"}, QStringList{"help"},
                                     QStringList{"help", "peer", "call"}}) {
        const ProgramResult result = runProgram("kyctl", words);
        QCOMPARE(result.status, 0);
        QVERIFY(result.output.startsWith("Usage: kyctl "));
        QVERIFY(result.output.contains("\nExample: kyctl "));
        QVERIFY(result.errors.isEmpty());
    }
}

void tst_Kyctl::callShowsTheAnswer()
{
    const ProgramResult result = _daemon.kyctl({"call", "echo", "{\"世\":[1,true]}"});

    QCOMPARE(result.status, 0);
    QCOMPARE(result.output, QByteArray("{\"世\":[1,true]}\n"));
    QVERIFY(result.errors.isEmpty());
}

void tst_Kyctl::callByNumberNeedsNoTable()
{
    // The link port has no table to ask for.
    const ProgramResult result =
        runProgram("kyctl", {"--port", QString::number(_daemon.linkPort()), "call", "4803"});

    QCOMPARE(result.status, 0);
}

void tst_Kyctl::callSendsAFile()
{
    QFile file(_folder.filePath("content"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("from the file");
    file.close();

    const ProgramResult result = _daemon.kyctl({"call", "echo", "--data", file.fileName()});

    QCOMPARE(result.output, QByteArray("from the file\n"));
}

void tst_Kyctl::emptyMapIsSentAsJsonArea()
{
    QByteArray received;
    const auto takeIn = [&received](QTcpSocket& socket) {
        received += socket.readAll();
        if (received.size() >= 16)
            socket.write(FrameClient::frame(12000, 1, {}, "{}"));
    };
    runAgainst(
        {"call", "2000", "{}"}, [](QTcpSocket&) {}, takeIn);
    QCOMPARE(received.mid(16), QByteArray("{}"));
    QCOMPARE(received.mid(12, 2), QByteArray("\0\2", 2));

    received.clear();
    runAgainst(
        {"call", "2000"}, [](QTcpSocket&) {}, takeIn);
    QCOMPARE(received.size(), 16);
}

void tst_Kyctl::unknownNameIsNoTableAsJson()
{
    const ProgramResult result = _daemon.kyctl({"--json", "call", "dance"});

    QCOMPARE(result.status, 1);
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.errors, QByteArray("kyctl: the peer has no command 'dance'\n"));
}

void tst_Kyctl::jsonThatNoFrameTellsIsStatus2_data()
{
    QTest::addColumn<QStringList>("arguments");
    const QString json = QStringLiteral("{\"a\":\"%1\"}").arg(QString(65536, 'x'));
    QTest::newRow("call") << QStringList{"call", "2000", json};
    QTest::newRow("peer call") << QStringList{"peer", "call", "127.0.0.1", "19208", "2000", json};
}

void tst_Kyctl::jsonThatNoFrameTellsIsStatus2()
{
    QFETCH(QStringList, arguments);

    const ProgramResult result = _daemon.kyctl(arguments);

    QCOMPARE(result.status, 2);
    QCOMPARE(result.errors, QByteArray("kyctl: the JSON is longer than a frame can tell\n"));
}

void tst_Kyctl::errorOfThePeerIsStatus1_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("error");
    QTest::newRow("unknown number")
        << QStringList{"call", "4999"}
        << QByteArray("kyctl: the peer answered with error 40001: unknown command [4999]\n");
    QTest::newRow("number 0")
        << QStringList{"call", "0"}
        << QByteArray("kyctl: the peer answered with error 40001: unknown command [0]\n");
    QTest::newRow("unknown name") << QStringList{"call", "dance"}
                                  << QByteArray("kyctl: the peer has no command 'dance'\n");
    QTest::newRow("event") << QStringList{"watch", "event_moon"}
                           << QByteArray("kyctl: the peer answered with error 40002: argument "
                                         "[events]: no event [event_moon]\n");
}

void tst_Kyctl::errorOfThePeerIsStatus1()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, error);

    const ProgramResult result = _daemon.kyctl(arguments);

    QCOMPARE(result.errors, error);
    QCOMPARE(result.status, 1);
}

void tst_Kyctl::jsonIsOneLine()
{
    const ProgramResult good = _daemon.kyctl({"version", "--json"});
    QCOMPARE(good.output.count('\n'), 1);
    QVERIFY(good.json().contains("qt"));

    // A failure, too: scripts read its code from the same place.
    const ProgramResult bad = _daemon.kyctl({"call", "4999", "--json"});
    QCOMPARE(bad.status, 1);
    QCOMPARE(bad.json().value("ret_code").toInt(), 40001);
}

void tst_Kyctl::commandsIsATable()
{
    const ProgramResult result = _daemon.kyctl({"commands"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.startsWith("NUMBER  NAME "));
    QVERIFY(result.output.contains("\n2000    echo "));
}

void tst_Kyctl::onlyUnknownNamesAreLookedUpOverThere_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QList<int>>("types");
    QTest::newRow("a verb") << QStringList{"version"} << QList<int>{2002};
    QTest::newRow("a name") << QStringList{"call", "hotspot_status"} << QList<int>{2393};
    QTest::newRow("a number") << QStringList{"call", "4999"} << QList<int>{4999};
    QTest::newRow("a name of the peer's own")
        << QStringList{"call", "dance"} << QList<int>{2001, 3333};
    QTest::newRow("the peer's own table") << QStringList{"commands", "--peer"} << QList<int>{2001};
    QTest::newRow("the catalogue") << QStringList{"commands"} << QList<int>{};
}

void tst_Kyctl::onlyUnknownNamesAreLookedUpOverThere()
{
    QFETCH(QStringList, arguments);
    QList<int> types;

    const ProgramResult result = runAgainst(
        arguments, [](QTcpSocket&) {},
        answerAll(&types, R"({"ret_code":0,"commands":[{"name":"dance","number":3333}]})"));

    QCOMPARE(result.status, 0);
    QTEST(types, "types");
}

void tst_Kyctl::catalogueNeedsNoPeer_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("commands") << QStringList{"commands"} << QByteArray("\n2310    wifi_connect ");
    QTest::newRow("help, by name") << QStringList{"call", "wifi_connect", "--help"}
                                   << QByteArray("Usage: kyctl call wifi_connect JSON\n");
    QTest::newRow("help, by number") << QStringList{"help", "call", "2310"}
                                     << QByteArray("Usage: kyctl call wifi_connect JSON\n");
    QTest::newRow("help of the verb")
        << QStringList{"call", "--help"} << QByteArray("Usage: kyctl call COMMAND [JSON]");
    QTest::newRow("words") << QStringList{"--complete", "call", "wifi_con"}
                           << QByteArray("wifi_connect\nwifi_connect_short\n");
}

void tst_Kyctl::catalogueNeedsNoPeer()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, output);

    const ProgramResult result = runProgram("kyctl", arguments);

    QCOMPARE(result.status, 0);
    QVERIFY2(result.output.contains(output), result.output.constData());
    QCOMPARE(result.errors, QByteArray());
}

void tst_Kyctl::commandsOfTheCatalogueAreThoseOfTheDaemon()
{
    QCOMPARE(_daemon.kyctl({"commands"}).output, _daemon.kyctl({"commands", "--peer"}).output);
}

void tst_Kyctl::linkStatusIsShown()
{
    FrameClient supervision(_daemon.linkPort());
    supervision.ask(4802, {}, "{\"msg\":\"gone\"}");

    const ProgramResult result = _daemon.kyctl({"link", "status"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.contains("\nstate        lost\n"));
}

void tst_Kyctl::peerCallShowsTheAnswerOfTheOther()
{
    const QString port = QString::number(_daemon.port());
    const ProgramResult good =
        _daemon.kyctl({"peer", "call", "127.0.0.1", port, "version", "--json"});
    QCOMPARE(good.status, 0);
    QVERIFY(good.json().value("reply").toMap().contains("qt"));

    QCOMPARE(_daemon.kyctl({"peer", "call", "127.0.0.1", port, "4999"}).status, 1);
    // More than the daemon takes: it says so, in the time that there is.
    const ProgramResult longest =
        _daemon.kyctl({"--timeout", "2147483647", "peer", "call", "127.0.0.1", port, "version"});
    QVERIFY2(longest.errors.contains("timeout_ms"), longest.errors.constData());
    QCOMPARE(longest.status, 1);
    const QString dead = QString::number(freePort());
    QCOMPARE(_daemon.kyctl({"peer", "call", "127.0.0.1", dead, "2000"}).status, 1);
}

void tst_Kyctl::peerCallShowsTheJsonAreaOfTheOther()
{
    const ProgramResult result = _daemon.kyctl(
        {"peer", "call", "127.0.0.1", QString::number(_daemon.port()), "echo", "{\"a\":1}"});

    QCOMPARE(result.status, 0);
    QVERIFY2(result.output.startsWith("json    {\"a\":1}\nresult  {"), result.output.constData());
}

void tst_Kyctl::probePrintsBothReports()
{
    const ProgramResult result =
        _daemon.kyctl({"probe", "echo", "--json-area", "{\"a\":1}", "--data", "hello"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.contains("---------[Request] ---------\nType:2000 (0x7d0)"));
    QVERIFY(result.output.contains("---------[Response]---------\nType:12000 (2ee0)"));
    QCOMPARE(result.output.count("68656C6C6F"), 2);
}

void tst_Kyctl::probeOfTheNumber0ShowsTheAnswer()
{
    const ProgramResult result = _daemon.kyctl({"probe", "0"});

    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.status, 0);
    QVERIFY(result.output.contains("---------[Response]---------\nType:10000 (2710)"));
}

void tst_Kyctl::probeMasksWhatWouldSteerTheTerminal()
{
    const ProgramResult result = _daemon.kyctl({"probe", "echo", "--data",
                                                "a\x1b]0;title\x07\xc2\x9b"
                                                "2J\nb"});

    QCOMPARE(result.status, 0);
    QCOMPARE(result.output.count("a?]0;title??2J\nb"), 2);
    QVERIFY(!result.output.contains('\x1b'));
}

void tst_Kyctl::probeAsJson()
{
    const ProgramResult result = _daemon.kyctl({"probe", "2000", "--data", "hello", "--json"});

    QCOMPARE(result.status, 0);
    QCOMPARE(result.json().value("type").toInt(), 12000);
    QCOMPARE(result.json().value("data_hex").toString(), QString("68656c6c6f"));
}

void tst_Kyctl::watchPrintsEvents()
{
    QProcess watch;
    watch.start(programPath("kyctl"), {"--port", QString::number(_daemon.port()), "watch",
                                       "event_link", "--count", "1", "--json"});
    FrameClient supervision(_daemon.linkPort());
    // Until the watcher has subscribed its events pass by unseen.
    QElapsedTimer clock;
    clock.start();
    while (watch.state() != QProcess::NotRunning && clock.elapsed() < 10000) {
        supervision.ask(4802, {}, "{\"msg\":\"gone\"}");
        watch.waitForFinished(20);
    }

    QCOMPARE(watch.exitCode(), 0);
    const QByteArray output = watch.readAllStandardOutput();
    QCOMPARE(output.count('\n'), 1);
    QCOMPARE(QJsonDocument::fromJson(output)["event"].toString(), QString("event_link"));
}

void tst_Kyctl::watchEndsAfterItsTime()
{
    const ProgramResult result = _daemon.kyctl({"watch", "event_host_report", "--for", "0.2"});

    QCOMPARE(result.status, 0);
    QVERIFY(result.output.isEmpty());
}

void tst_Kyctl::watchTellsThatThePeerHasGone()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    QProcess watch;
    watch.start(programPath("kyctl"), {"--port", QString::number(daemon.port()), "watch"});
    FrameClient supervision(daemon.linkPort());
    QElapsedTimer clock;
    clock.start();
    while (watch.bytesAvailable() == 0 && clock.elapsed() < 10000) {
        supervision.ask(4802, {}, "{\"msg\":\"gone\"}");
        watch.waitForReadyRead(20);
    }

    QCOMPARE(daemon.stop(SIGTERM), 0);

    QVERIFY(watch.waitForFinished(10000));
    QCOMPARE(watch.exitCode(), 3);
    QVERIFY(watch.readAllStandardError().contains("the connection was closed"));
}

void tst_Kyctl::udpTextArrives()
{
    const QString port = QString::number(freePort());
    QProcess listener;
    listener.start(programPath("kyctl"), {"udp", "listen", port, "--count", "1"});
    // Until it listens datagrams are lost.
    QElapsedTimer clock;
    clock.start();
    while (listener.state() != QProcess::NotRunning && clock.elapsed() < 10000) {
        QCOMPARE(runProgram("kyctl", {"udp", "send", "127.0.0.1", port, "hällo 世界"}).status, 0);
        listener.waitForFinished(20);
    }

    QCOMPARE(listener.exitCode(), 0);
    QCOMPARE(listener.readAllStandardOutput(), QByteArray("hällo 世界\n"));
}

void tst_Kyctl::jsonSteersNoTerminal_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("probe") << QStringList{"probe", "2000", "--json"};
    QTest::newRow("watch") << QStringList{"watch", "--count", "1", "--json"};
}

void tst_Kyctl::jsonSteersNoTerminal()
{
    QFETCH(QStringList, arguments);
    const auto answer = [](QTcpSocket& socket) { socket.write(steeringAnswers(socket.readAll())); };
    const auto ignore = [](QTcpSocket&) {};

    const ProgramResult piped = runAgainst(arguments, ignore, answer);
    QCOMPARE(piped.status, 0);
    QVERIFY2(piped.output.contains("\xc2\x9b"
                                   "2J\x7f"),
             piped.output.constData());

    Pty terminal;
    const ProgramResult shown = runAgainst(arguments, ignore, answer, terminal.path());
    const QByteArray line = lineOf(terminal);
    QCOMPARE(shown.status, 0);
    QVERIFY2(line.contains("?2J?"), line.constData());
    QVERIFY2(!hasControls(line), line.constData());
}

void tst_Kyctl::datagramAsJsonSteersNoTerminal()
{
    const QString port = QString::number(freePort());
    Pty terminal;
    QProcess listener;
    listener.setStandardOutputFile(terminal.path());
    listener.start(programPath("kyctl"), {"udp", "listen", port, "--count", "1", "--json"});
    QUdpSocket sender;
    // Until it listens datagrams are lost.
    QElapsedTimer clock;
    clock.start();
    while (listener.state() != QProcess::NotRunning && clock.elapsed() < 10000) {
        sender.writeDatagram(kSteering, QHostAddress(QHostAddress::LocalHost), port.toUShort());
        listener.waitForFinished(20);
    }

    QCOMPARE(listener.exitCode(), 0);
    const QByteArray line = lineOf(terminal);
    QVERIFY2(line.contains("?2J?"), line.constData());
    QVERIFY2(!hasControls(line), line.constData());
}

void tst_Kyctl::udpPortInUseIsStatus3()
{
    QUdpSocket other;
    QVERIFY(other.bind(0, QUdpSocket::DontShareAddress));

    const ProgramResult result =
        runProgram("kyctl", {"udp", "listen", QString::number(other.localPort())});

    QCOMPARE(result.status, 3);
    QVERIFY(result.errors.startsWith("kyctl: port "));
}

void tst_Kyctl::udpTextThatIsNotSentIsStatus3()
{
    // One byte more than a datagram holds.
    const ProgramResult result =
        runProgram("kyctl", {"udp", "send", "127.0.0.1", "9", QString(65508, 'x')});

    QCOMPARE(result.status, 3);
    QVERIFY2(result.errors.startsWith("kyctl: nothing was sent to 127.0.0.1 port 9: "),
             result.errors.constData());
}

void tst_Kyctl::uploadIsComparedWithTheDisk()
{
    QFile file(_folder.filePath("upgrade.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QByteArray content(3000000, 'u');
    file.write(content);
    file.close();

    const ProgramResult result = _daemon.kyctl({"upload", file.fileName(), "--json"});

    QCOMPARE(result.status, 0);
    QCOMPARE(result.json().value("size").toInt(), content.size());
    QFile there(_daemon.home() + "/data/ferno/temp/up/upgrade.zip");
    QVERIFY(there.open(QIODevice::ReadOnly));
    QVERIFY(there.readAll() == content);
}

void tst_Kyctl::uploadPrintsPlainLinesWithoutATerminal()
{
    QFile file(_folder.filePath("lines.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(10000000, 'u'));
    file.close();

    const ProgramResult result = _daemon.kyctl({"upload", file.fileName()});

    QVERIFY(result.errors.contains("100 %"));
    QVERIFY(!result.errors.contains('\r'));
    const int lines = result.errors.count('\n');
    QVERIFY2(lines >= 2 && lines <= 10, result.errors.constData());
}

void tst_Kyctl::uploadOfWhatIsNoFileIsStatus2_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << "/nowhere/upgrade.zip";
    QTest::newRow("folder") << "/tmp";
    QTest::newRow("device") << "/dev/zero";
}

void tst_Kyctl::uploadOfWhatIsNoFileIsStatus2()
{
    QFETCH(QString, path);

    const ProgramResult result = _daemon.kyctl({"upload", path});

    QCOMPARE(result.status, 2);
    QVERIFY2(result.errors.startsWith(("kyctl: file [" + path + "]: ").toUtf8()),
             result.errors.constData());
}

void tst_Kyctl::uploadToAPeerThatStopsReadingIsStatus3()
{
    QFile file(_folder.filePath("large.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(30000000, 'u'));
    file.close();
    QElapsedTimer clock;
    clock.start();

    const ProgramResult result =
        runAgainst({"--timeout", kLimit, "upload", file.fileName()}, [](QTcpSocket&) {});

    QCOMPARE(result.status, 3);
    QVERIFY(result.errors.contains("no answer from "));
    QVERIFY2(clock.elapsed() < kLimitMs + 8000, qPrintable(QString::number(clock.elapsed())));
}

void tst_Kyctl::uploadThatDiffersOverThereIsStatus1()
{
    QFile file(_folder.filePath("differs.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
    file.close();
    const QByteArray answer =
        FrameClient::frame(15104, 1, {}, "{\"ret_code\":0,\"err_msg\":\"\",\"sha256\":\"00\"}");

    const ProgramResult result = runAgainst(
        {"upload", file.fileName()}, [](QTcpSocket&) {},
        [&](QTcpSocket& socket) {
            socket.readAll();
            socket.write(answer);
        });

    QCOMPARE(result.status, 1);
    QVERIFY(result.errors.contains("the file differs over there"));
}

void tst_Kyctl::uploadMasksWhatWouldSteerTheTerminal()
{
    QFile file(_folder.filePath("masked.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("content");
    file.close();
    const QByteArray answer = FrameClient::frame(
        15104, 1, {}, "{\"ret_code\":0,\"err_msg\":\"\",\"sha256\":\"\\u001b]0;x\\u0007\"}");

    const ProgramResult result = runAgainst(
        {"upload", file.fileName()}, [](QTcpSocket&) {},
        [&](QTcpSocket& socket) {
            socket.readAll();
            socket.write(answer);
        });

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("SHA-256 ?]0;x?, here "), result.errors.constData());
    QVERIFY(!result.errors.contains('\x1b'));
}

void tst_Kyctl::uploadOfAFileThatIsShortenedIsWhole()
{
    constexpr int kSize = 64 * 1024 * 1024;
    QFile file(_folder.filePath("shortened.zip"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(kSize));
    file.close();
    qint64 received = 0;

    const ProgramResult result = runAgainst(
        {"upload", file.fileName()}, [](QTcpSocket&) {},
        [&](QTcpSocket& socket) {
            // The first bytes of the frame are here: kyctl has taken the file.
            if (received == 0)
                file.resize(0);
            received += socket.readAll().size();
            if (received >= kSize + 16)
                socket.write(FrameClient::frame(15104, 1, {}, "{\"ret_code\":0}"));
        });

    QCOMPARE(received, qint64(kSize + 16));
    QCOMPARE(result.errors.count("kyctl:"), 0);
    QCOMPARE(result.status, 0);
}

void tst_Kyctl::uploadOfAFileWithoutASizeIsReadToItsEnd()
{
    QByteArray received;

    const ProgramResult result = runAgainst(
        {"upload", "/proc/self/status"}, [](QTcpSocket&) {},
        [&](QTcpSocket& socket) {
            received += socket.readAll();
            socket.write(FrameClient::frame(15104, 1, {}, "{\"ret_code\":0}"));
        });

    QCOMPARE(result.status, 0);
    QVERIFY(received.contains("kyctl"));
}

void tst_Kyctl::deadPortIsStatus3_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("by name") << QStringList{"version"};
    QTest::newRow("by number") << QStringList{"call", "2000"};
    QTest::newRow("probe") << QStringList{"probe", "2000"};
    QTest::newRow("watch") << QStringList{"watch"};
    QTest::newRow("upload") << QStringList{"upload", programPath("kyctl")};
}

void tst_Kyctl::deadPortIsStatus3()
{
    QFETCH(QStringList, arguments);

    const ProgramResult result =
        runProgram("kyctl", QStringList{"--port", QString::number(freePort())} + arguments);

    compareNoAnswer(result);
    QVERIFY(result.errors.contains("Connection refused"));
}

void tst_Kyctl::silentPeerIsStatus3InItsTime_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("by name") << QStringList{"version"};
    QTest::newRow("by number") << QStringList{"call", "2000"};
    QTest::newRow("probe") << QStringList{"probe", "2000"};
    QTest::newRow("watch") << QStringList{"watch"};
}

void tst_Kyctl::silentPeerIsStatus3InItsTime()
{
    QFETCH(QStringList, arguments);
    QElapsedTimer clock;
    clock.start();

    const ProgramResult result =
        runAgainst(QStringList{"--timeout", kLimit} + arguments, [](QTcpSocket&) {});

    // Timers of seconds may fire 5 % early.
    QVERIFY(clock.elapsed() >= kLimitMs * 9 / 10);
    QVERIFY2(clock.elapsed() < kLimitMs + 5000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(result.status, 3);
    QVERIFY2(result.errors.contains(" within 700 ms\n"), result.errors.constData());
}

void tst_Kyctl::noisyPeerIsStatus3InItsTime_data()
{
    silentPeerIsStatus3InItsTime_data();
}

void tst_Kyctl::noisyPeerIsStatus3InItsTime()
{
    QFETCH(QStringList, arguments);
    const QByteArray noise = QByteArray(3000, '\x5a') + QByteArray(3000, 'n') +
                             FrameClient::frame(12999, 1, {}, "another answer");
    QElapsedTimer clock;
    clock.start();

    const ProgramResult result = runAgainst(
        QStringList{"--timeout", kLimit} + arguments,
        [&](QTcpSocket& socket) { socket.write(noise); }, [](QTcpSocket&) {});

    QVERIFY2(clock.elapsed() < kLimitMs + 5000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(result.status, 3);
    QVERIFY2(result.errors.startsWith("kyctl: no answer from "), result.errors.constData());
    QCOMPARE(result.errors.count('\n'), 1);
}

void tst_Kyctl::peerThatHangsUpIsStatus3()
{
    const ProgramResult result = runAgainst(
        {"--timeout", "10000", "call", "2000"}, [](QTcpSocket&) {},
        [](QTcpSocket& socket) { socket.abort(); });

    compareNoAnswer(result);
    QVERIFY2(result.errors.contains("the connection was closed"), result.errors.constData());
}

void tst_Kyctl::unknownHostIsStatus3()
{
    const ProgramResult result = runProgram("kyctl", {"--host", "nowhere.invalid", "version"});

    compareNoAnswer(result);
    QVERIFY(result.errors.contains("no such host"));
}

QTEST_GUILESS_MAIN(tst_Kyctl)
#include "tst_Kyctl.moc"
