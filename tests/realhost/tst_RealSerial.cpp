#include "Site.h"

#include "ports/SystemSerialPort.h"

#include <QFile>
#include <QProcess>
#include <QtTest>

#include <utility>

/// The serial port over two UARTs of the machine that are wired to one another, and over a pair of
/// pseudo terminals; the peer is the shell.
class tst_RealSerial : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void unknownPortIsRefused();
    void receivesWhatThePeerSends_data() { pairs(); }
    void receivesWhatThePeerSends();
    void peerReadsWhatIsWritten_data() { pairs(); }
    void peerReadsWhatIsWritten();
    void exchangesWithThePeer_data() { pairs(); }
    void exchangesWithThePeer();
    void vanishedPortIsReportedAndOpensAgain();
    void listsThePortsOfTheHost();

private:
    static void pairs();
    static QVariantMap request(const QString& port)
    {
        return {{"portName", port}, {"baudRate", 115200}, {"dataBits", 8}, {"stopBits", 1}};
    }
};

namespace {

/// The shell at the other end, which ends with the test.
class Peer
{
public:
    Peer(const QString& port, const QString& line)
    {
        const QString whole = QStringLiteral("exec 3<>%1; stty -F %1 115200 raw -echo; %2");
        _shell.start("/bin/bash", {"-c", whole.arg("/dev/" + port, line)});
        _shell.waitForStarted();
    }
    ~Peer()
    {
        _shell.kill();
        _shell.waitForFinished();
    }
    QByteArray output(int limitMs)
    {
        _shell.waitForFinished(limitMs);
        return _shell.readAllStandardOutput();
    }

private:
    QProcess _shell;
};

const QByteArray kBytes("\x00\xff\x11\x13\r\n\x1a\x7f", 8); // as raw as it gets

} // namespace

void tst_RealSerial::pairs()
{
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("peer");
    QTest::newRow("UART") << "ttyS1"
                          << "ttyS2";
    QTest::newRow("pseudo terminal") << "/dev/ttyKY0"
                                     << "ttyKY1";
}

void tst_RealSerial::initTestCase()
{
    REQUIRE_SITE();
    QVERIFY(QFile::exists("/dev/ttyKY1"));
}

void tst_RealSerial::unknownPortIsRefused()
{
    SystemSerialPort serial;

    QVERIFY(!serial.openSerialPort(request("ttyS77")));

    QVERIFY2(serial.getLastError().contains("No such file"), qPrintable(serial.getLastError()));
}

void tst_RealSerial::receivesWhatThePeerSends()
{
    QFETCH(QString, port);
    QFETCH(QString, peer);
    SystemSerialPort serial;
    QByteArray received;
    connect(&serial, &SystemSerialPort::sigMsg, &serial,
            [&](const QVariantMap& map, const QByteArray& bytes) {
                if (map.value("type") == "serialPortRevData")
                    received += bytes;
            });
    QVERIFY2(serial.openSerialPort(request(port)), qPrintable(serial.getLastError()));

    Peer sender(peer, R"(printf '\x00\xff\x11\x13\r\n\x1a\x7f' >&3; sleep 10)");

    QTRY_COMPARE_WITH_TIMEOUT(received, kBytes, 15000);
}

void tst_RealSerial::peerReadsWhatIsWritten()
{
    QFETCH(QString, port);
    QFETCH(QString, peer);
    SystemSerialPort serial;
    QVERIFY2(serial.openSerialPort(request(port)), qPrintable(serial.getLastError()));
    Peer reader(peer, "touch /run/ky-reads; timeout 15 head -c 8 <&3 | od -An -tx1");
    QVERIFY(site::waitUntil([] { return QFile::exists("/run/ky-reads"); }, 15000));
    QFile::remove("/run/ky-reads");

    QVERIFY2(serial.writeToSerialPort(kBytes), qPrintable(serial.getLastError()));
    QTest::qWait(500); // the port writes from the event loop

    QCOMPARE(QByteArray::fromHex(reader.output(20000).simplified()), kBytes);
}

void tst_RealSerial::exchangesWithThePeer()
{
    QFETCH(QString, port);
    QFETCH(QString, peer);
    SystemSerialPort serial;
    QVERIFY2(serial.openSerialPort(request(port)), qPrintable(serial.getLastError()));
    QByteArray answer;
    bool isAsked = false;
    // The result is whole within a handler only: elsewhere sigMsg takes its share.
    connect(&serial, &SystemSerialPort::sigMsg, &serial, [&] {
        if (!std::exchange(isAsked, true))
            answer = serial.writeSerial("ask");
    });

    Peer peerShell(peer, R"(printf go >&3; timeout 15 head -c 3 <&3 >/run/ky-asked;
                            printf 'an answer of 21 bytes' >&3; sleep 10)");

    QVERIFY(site::waitUntil([&] { return !answer.isEmpty(); }, 20000));
    QCOMPARE(site::run("cat /run/ky-asked"), QString("ask"));
    QCOMPARE(answer, QByteArray("an answer of 21 bytes"));
}

void tst_RealSerial::vanishedPortIsReportedAndOpensAgain()
{
    const QStringList ends{"PTY,link=/dev/ttyKY8,raw,echo=0", "PTY,link=/dev/ttyKY9,raw,echo=0"};
    QProcess wire;
    const auto plug = [&] {
        wire.start("socat", ends);
        return site::waitUntil([] { return QFile::exists("/dev/ttyKY9"); }, 10000);
    };
    const auto pull = [&] {
        wire.terminate();
        return wire.waitForFinished(10000);
    };
    QVERIFY(plug());
    SystemSerialPort serial;
    QSignalSpy messages(&serial, &SystemSerialPort::sigMsg);
    QVERIFY2(serial.openSerialPort(request("/dev/ttyKY8")), qPrintable(serial.getLastError()));

    QVERIFY(pull());

    QVERIFY(site::waitUntil(
        [&] {
            return !messages.isEmpty() &&
                   messages.last().at(0).toMap().value("type") == "serialPortError";
        },
        10000));
    serial.closeSerialPort();
    QVERIFY(plug());
    QVERIFY2(serial.openSerialPort(request("/dev/ttyKY8")), qPrintable(serial.getLastError()));
    pull();
}

void tst_RealSerial::listsThePortsOfTheHost()
{
    QTemporaryDir folder;
    SystemSerialPort serial;
    serial.setConfigFile(folder.filePath("serialPort.json"));
    QVERIFY(serial.saveSerialPortsToFile({request("ttyS1"), request("ttyS9")}));
    QMap<QString, int> states;

    for (const QVariant& port : serial.getAllSerialPorts())
        states[port.toMap().value("portName").toString()] = port.toMap().value("state").toInt();

    QCOMPARE(states.value("ttyS1", 9), 1);
    QCOMPARE(states.value("ttyS2", 9), 0);
    QCOMPARE(states.value("ttyS9", 9), -1);
}

QTEST_GUILESS_MAIN(tst_RealSerial)
#include "tst_RealSerial.moc"
