#include "ports/SystemSerialPort.h"

#include "HostPorts.h"
#include "LogCapture.h"
#include "host/PublicClass.h"
#include "pty/Pty.h"

#include <QDeadlineTimer>
#include <QScopeGuard>
#include <QSerialPort>
#include <QtTest>

#include <algorithm>
#include <dlfcn.h>
#include <fcntl.h>
#include <optional>
#include <sys/ioctl.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

QVector<tcflag_t> told; // what terminals were told to be, in order

bool wasTold(tcflag_t mask, tcflag_t mode)
{
    return std::any_of(told.cbegin(), told.cend(),
                       [&](tcflag_t flags) { return (flags & mask) == (mode & mask); });
}

} // namespace

/// Stands before the system's own, in this program and its libraries.
extern "C" Q_DECL_EXPORT int tcsetattr(int fd, int when, const termios* settings) noexcept
{
    told << settings->c_cflag;
    static const auto real =
        reinterpret_cast<int (*)(int, int, const termios*)>(dlsym(RTLD_NEXT, "tcsetattr"));
    return real(fd, when, settings);
}

namespace {

std::optional<qint64> written; // what the next write of this program to a device answers

} // namespace

/// Stands before Qt's own, in this program: an open port takes any bytes into memory, so no line
/// makes a write fail or fall short.
qint64 QIODevice::write(const char* bytes, qint64 size)
{
    if (const auto answer = std::exchange(written, std::nullopt))
        return *answer;
    static const auto real = reinterpret_cast<qint64 (*)(QIODevice*, const char*, qint64)>(
        dlsym(RTLD_NEXT, "_ZN9QIODevice5writeEPKcx"));
    return real(this, bytes, size);
}

/// The serial port on pseudo terminals, with a device at the other end that answers as it likes.
class tst_SystemSerialPort : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void portFileLiesBelowTheProgram();
    void opensAndForwardsWhatArrives();
    void goodOpenIsReportedAsNoError();
    void settingsReachTheLine_data();
    void settingsReachTheLine();
    void missingSettingReadsAsZero();
    void emptyMapFails();
    void refusedDeviceFailsWithReason_data();
    void refusedDeviceFailsWithReason();
    void numbersThatAreNoneReachThePort();
    void openingTheOpenPortAgainFailsAndKeepsIt();
    void openingAnotherPortClosesTheFirst();
    void closedPortOpensAgain();

    void writeBeforeTheFirstOpenFails();
    void writeWhileClosedFailsWithoutText();
    void writesWithoutWaiting();

    void exchangeWithoutPortIsEmpty();
    void receiverTakesTheAnswerFirst();
    void exchangeInAHandlerReturnsTheAnswer_data();
    void exchangeInAHandlerReturnsTheAnswer();
    void exchangeDropsWhatIsPending();
    void peerThatNeverAnswersIsATimeout();
    void peerThatVanishesIsAnErrorMessage();
    void peerThatVanishesWhileIdleIsReportedUntilThePortIsClosed();
    void lineThatIsStalledIsATimeoutOfTheWrite();
    void failedWriteEndsTheExchange_data();
    void failedWriteEndsTheExchange();
    void portClosedByItsOwnErrorFailsTheWrite();
    void writingNothingIsAFailedExchange();

    void savesListIndented();
    void emptyListIsNotSaved();
    void removesFirstPortOfTheName();
    void removingUnknownPortFails();
    void listsSavedPorts();
    void listsThePortsOfTheHost();
    void savedPortThatIsPresentIsKnownByItsBaudRate_data();
    void savedPortThatIsPresentIsKnownByItsBaudRate();
    void requestBookkeepingOnlyStores();

private:
    QTemporaryDir _folder;
    QString _file = _folder.filePath("appInfo/backupFile/serialPort.json");
};

namespace {

/// A port on a pseudo terminal and everything that it announces.
struct Line
{
    Line()
    {
        QObject::connect(&port, &SystemSerialPort::sigMsg, &port,
                         [this](const QVariantMap& kind, const QByteArray& bytes) {
                             if (kind == QVariantMap{{"type", "serialPortRevData"}})
                                 received << bytes;
                             else if (kind == QVariantMap{{"type", "serialPortError"}})
                                 errors << bytes;
                             else
                                 qFatal("unknown message");
                         });
    }
    bool open() { return port.openSerialPort(request(pty.path())); }
    static QVariantMap request(const QString& name)
    {
        return {{"portName", name},
                {"baudRate", 9600},
                {"stopBits", 1},
                {"dataBits", 8},
                {"parity", 0}};
    }
    QByteArray allReceived() const { return received.join(); }
    /// Waits until so many bytes lie at the port, which has not read them.
    bool waitUntilWaiting(int count) const
    {
        const int fd =
            ::open(pty.path().toLocal8Bit(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        const QDeadlineTimer limit(5000);
        int waiting = -1;
        while (ioctl(fd, FIONREAD, &waiting) == 0 && waiting != count && !limit.hasExpired())
            std::this_thread::yield();
        ::close(fd);
        return waiting == count;
    }

    Pty pty;
    SystemSerialPort port;
    QByteArrayList received;
    QByteArrayList errors;
};

/// What the device does once the request has come.
using Act = std::function<void(Pty&)>;

/// Runs an exchange while the device acts in a thread of its own.
QByteArray exchange(Line& line, const QByteArray& request, const Act& act)
{
    std::thread device([&] {
        line.pty.read(request.size());
        act(line.pty);
    });
    const QByteArray answer = line.port.writeSerial(request);
    device.join();
    return answer;
}

struct Piece
{
    int gapMs;
    const char* bytes;
};
using Pieces = QVector<Piece>;

} // namespace

Q_DECLARE_METATYPE(Pieces)

void tst_SystemSerialPort::init()
{
    QFile::remove(_file);
    hostPorts() = {"ttyKy0", "ttyKy1"};
}

void tst_SystemSerialPort::portFileLiesBelowTheProgram()
{
    QCOMPARE(SystemSerialPort().configFile(),
             QCoreApplication::applicationDirPath() + "/appInfo/backupFile/serialPort.json");
}

void tst_SystemSerialPort::opensAndForwardsWhatArrives()
{
    Line line;
    QVERIFY2(line.open(), qPrintable(line.port.getLastError()));

    line.pty.write(QByteArray("\xAA\0\xFF", 3));

    QTRY_COMPARE(line.allReceived(), QByteArray("\xAA\0\xFF", 3));
    line.pty.write("more");
    QTRY_COMPARE(line.allReceived(), QByteArray("\xAA\0\xFF", 3) + "more");
    QVERIFY(line.received.size() >= 2); // as it comes, not gathered
}

void tst_SystemSerialPort::goodOpenIsReportedAsNoError()
{
    Line line;
    QList<int> codes;
    connect(&line.port, &SystemSerialPort::sigMsg, this, [&] { codes << line.port.portError(); });

    QVERIFY(line.open());

    QCOMPARE(line.errors, QByteArrayList{"No error"});
    QCOMPARE(codes, QList<int>{QSerialPort::NoError});
}

void tst_SystemSerialPort::settingsReachTheLine_data()
{
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<int>("dataBits");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("speed");
    QTest::addColumn<int>("mode");

    QTest::newRow("9600 8N1") << 9600 << 8 << 1 << 0 << int(B9600) << int(CS8);
    QTest::newRow("115200 7E2") << 115200 << 7 << 2 << 2 << int(B115200)
                                << int(CS7 | PARENB | CSTOPB);
    QTest::newRow("19200 5O1") << 19200 << 5 << 1 << 3 << int(B19200) << int(CS5 | PARENB | PARODD);
    QTest::newRow("38400 6N2") << 38400 << 6 << 2 << 0 << int(B38400) << int(CS6 | CSTOPB);
}

/// A pseudo terminal keeps speed and stop bits. It has 8 data bits and no parity whatever it is
/// told, so these are looked at on their way to it: the port tells them one after the other.
void tst_SystemSerialPort::settingsReachTheLine()
{
    QFETCH(int, baudRate);
    QFETCH(int, dataBits);
    QFETCH(int, stopBits);
    QFETCH(int, parity);
    QFETCH(int, mode);
    Line line;
    told.clear();

    QVERIFY(line.port.openSerialPort({{"portName", line.pty.path()},
                                      {"baudRate", baudRate},
                                      {"dataBits", dataBits},
                                      {"stopBits", stopBits},
                                      {"parity", parity}}));

    const termios kept = line.pty.settings();
    QTEST(int(cfgetispeed(&kept)), "speed");
    QTEST(int(cfgetospeed(&kept)), "speed");
    QCOMPARE(int(kept.c_cflag & CSTOPB), mode & CSTOPB);
    QVERIFY(wasTold(CSIZE, tcflag_t(mode)));
    QVERIFY(wasTold(PARENB | PARODD, tcflag_t(mode)));
    QCOMPARE(wasTold(PARENB, PARENB), bool(mode & PARENB));
}

/// Nothing is kept from the open before.
void tst_SystemSerialPort::missingSettingReadsAsZero()
{
    Line line;
    QVERIFY(line.port.openSerialPort({{"portName", line.pty.path()},
                                      {"baudRate", 115200},
                                      {"dataBits", 7},
                                      {"stopBits", 2},
                                      {"parity", 2}}));

    line.port.closeSerialPort();
    told.clear();
    QVERIFY(line.port.openSerialPort({{"portName", line.pty.path()}, {"baudRate", 9600}}));
    for (const int bits : {CS5, CS6, CS7}) // the port takes 0 for 8 data bits, 1 stop bit, none
        QVERIFY(!wasTold(CSIZE, tcflag_t(bits)));
    QVERIFY(!wasTold(PARENB, PARENB));
    QCOMPARE(int(line.pty.settings().c_cflag & CSTOPB), 0);
    line.port.closeSerialPort();
    QVERIFY(!line.port.openSerialPort({{"portName", line.pty.path()}}));
    QCOMPARE(line.port.getLastError(),
             QString("Failed to open serial port:Invalid baud rate value"));
}

void tst_SystemSerialPort::emptyMapFails()
{
    Line line;

    QVERIFY(!line.port.openSerialPort({}));

    QCOMPARE(line.port.getLastError(), QString("Map is empty"));
    QVERIFY(!line.port.writeToSerialPort("x"));
    QCOMPARE(line.port.getLastError(), QString("Serialport not open")); // no port was made
}

void tst_SystemSerialPort::refusedDeviceFailsWithReason_data()
{
    QTest::addColumn<QVariant>("name");

    QTest::newRow("no such device") << QVariant("ttyNone9");
    QTest::newRow("empty") << QVariant("");
    QTest::newRow("missing") << QVariant();
    QTest::newRow("no terminal") << QVariant("/dev/null");
    QTest::newRow("over-long") << QVariant(QString(70000, 't'));
    QTest::newRow("list") << QVariant(QVariantList{"ttyS0"});
}

void tst_SystemSerialPort::refusedDeviceFailsWithReason()
{
    QFETCH(QVariant, name);
    Line line;
    QVariantMap request = Line::request(QString());
    request["portName"] = name;

    QVERIFY(!line.port.openSerialPort(request));

    const QString text = line.port.getLastError();
    QVERIFY2(text.startsWith("Failed to open serial port:"), qPrintable(text));
    QVERIFY(text.size() > int(strlen("Failed to open serial port:")));
    QCOMPARE(line.errors.last(),
             text.mid(int(strlen("Failed to open serial port:"))).toLocal8Bit());
    QVERIFY(!line.port.writeToSerialPort("x")); // the port object stays, closed
    QCOMPARE(line.port.getLastError(), text);
}

void tst_SystemSerialPort::numbersThatAreNoneReachThePort()
{
    Line line;
    QVariantMap request = Line::request(line.pty.path());
    request["baudRate"] = "fast";
    request["stopBits"] = 7;
    request["dataBits"] = QVariantList();
    request["parity"] = -3;

    const bool isOpen = line.port.openSerialPort(request);

    QCOMPARE(isOpen, !line.port.getLastError().startsWith("Failed to open serial port:"));
    QVERIFY(isOpen || !line.port.getLastError().isEmpty());
    line.port.closeSerialPort();
    QVERIFY2(line.open(), "the next sound request is served");
}

void tst_SystemSerialPort::openingTheOpenPortAgainFailsAndKeepsIt()
{
    Line line;
    QVERIFY(line.port.openSerialPort(Line::request(line.pty.name())));
    line.errors.clear();

    QVERIFY(!line.port.openSerialPort(Line::request(line.pty.name())));

    QVERIFY(line.port.getLastError().startsWith("Failed to open serial port:"));
    QCOMPARE(line.errors.size(), 1);
    QCOMPARE(line.port.portError(), int(QSerialPort::OpenError));
    QVERIFY(line.port.isPortOpen());
    QVERIFY(line.port.writeToSerialPort("still open"));
    QVERIFY(QTest::qWaitFor([&] { return line.pty.read(10, 10) == "still open"; }, 2000));
}

void tst_SystemSerialPort::openingAnotherPortClosesTheFirst()
{
    Line line;
    Pty second;
    QVERIFY(line.open());

    QVERIFY(line.port.openSerialPort(Line::request(second.path())));

    line.pty.write("first");
    second.write("second");
    QTRY_COMPARE(line.allReceived(), QByteArray("second"));
}

void tst_SystemSerialPort::closedPortOpensAgain()
{
    Line line;
    line.port.closeSerialPort(); // nothing to close yet
    QVERIFY(line.open());
    line.port.closeSerialPort();
    line.port.closeSerialPort();

    QVERIFY(line.open());

    line.pty.write("again");
    QTRY_COMPARE(line.allReceived(), QByteArray("again"));
}

void tst_SystemSerialPort::writeBeforeTheFirstOpenFails()
{
    SystemSerialPort port;

    QVERIFY(!port.writeToSerialPort("x"));
    QCOMPARE(port.getLastError(), QString("Serialport not open"));
    QVERIFY(!port.isPortOpen());
    QCOMPARE(port.portError(), 0);
}

void tst_SystemSerialPort::writeWhileClosedFailsWithoutText()
{
    Line line;
    QVERIFY(line.open());
    line.port.closeSerialPort();

    QVERIFY(!line.port.writeToSerialPort("x"));
    QCOMPARE(line.port.getLastError(), QString());
}

void tst_SystemSerialPort::writesWithoutWaiting()
{
    Line line;
    QVERIFY(line.open());

    QVERIFY(line.port.writeToSerialPort("ping"));
    QVERIFY(line.port.writeToSerialPort(QByteArray()));

    QByteArray arrived;
    QVERIFY(QTest::qWaitFor([&] { return (arrived += line.pty.read(4, 10)) == "ping"; }, 2000));
}

void tst_SystemSerialPort::exchangeWithoutPortIsEmpty()
{
    LogCapture log("ky.ports");
    SystemSerialPort port;

    QCOMPARE(port.writeSerial("x"), QByteArray());

    QCOMPARE(log.lines(), QStringList("[debug][writeSerial]Serial port is not open"));
    QCOMPARE(port.getLastError(), QString());
}

void tst_SystemSerialPort::receiverTakesTheAnswerFirst()
{
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());

    const QByteArray rest = exchange(line, "\x01\x02", [](Pty& pty) { pty.write("whole"); });

    QCOMPARE(line.allReceived(), QByteArray("whole"));
    QCOMPARE(rest, QByteArray());
    QVERIFY(log.holds("[debug][writeSerial]Sending data to serial port: 0102"));
    QVERIFY(log.holds("[debug][writeSerial]Waiting for response..."));
}

void tst_SystemSerialPort::exchangeInAHandlerReturnsTheAnswer_data()
{
    QTest::addColumn<Pieces>("pieces");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("whole") << Pieces{{0, "whole"}} << QByteArray("whole");
    QTest::newRow("pieces, gaps under 100 ms")
        << Pieces{{0, "one "}, {40, "two "}, {40, "three "}, {40, "four"}}
        << QByteArray("one two three four");
    QTest::newRow("a gap over 100 ms ends it")
        << Pieces{{0, "one "}, {40, "two"}, {300, "late"}} << QByteArray("one two");
    QTest::newRow("slow to start") << Pieces{{600, "slow"}} << QByteArray("slow");
}

/// Inside a notification of the port no second one is made: the receiver does not interfere.
void tst_SystemSerialPort::exchangeInAHandlerReturnsTheAnswer()
{
    QFETCH(Pieces, pieces);
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());
    QByteArray answer;
    bool isDone = false;
    connect(&line.port, &SystemSerialPort::sigMsg, this, [&] {
        if (!isDone) {
            isDone = true;
            answer = exchange(line, "ask", [&](Pty& pty) {
                for (const Piece& piece : pieces) {
                    QThread::msleep(ulong(piece.gapMs)); // the gap decides where it ends
                    pty.write(piece.bytes);
                }
            });
        }
    });

    line.pty.write("!");

    QTRY_VERIFY(isDone);
    QTEST(answer, "answer");
    QVERIFY(log.holds("[debug][writeSerial]Received data from serial port: " + answer.toHex()));
    if (pieces.last().gapMs == 300) // came after the end, so it leaves as a message
        QTRY_COMPARE(line.allReceived(), QByteArray("!late"));
}

void tst_SystemSerialPort::exchangeDropsWhatIsPending()
{
    Line line;
    QVERIFY(line.open());
    line.pty.write("stale");
    QTRY_COMPARE(line.allReceived(), QByteArray("stale"));
    line.received.clear();
    line.pty.write("stale too");
    QVERIFY(line.waitUntilWaiting(9)); // in the kernel, not yet read

    exchange(line, "ask", [](Pty& pty) { pty.write("fresh"); });

    QCOMPARE(line.allReceived(), QByteArray("fresh"));
}

void tst_SystemSerialPort::peerThatNeverAnswersIsATimeout()
{
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());
    QElapsedTimer clock;
    clock.start();

    const QByteArray answer = exchange(line, "ask", [](Pty&) {});

    QCOMPARE(answer, QByteArray());
    QVERIFY2(clock.elapsed() >= 10000 && clock.elapsed() < 11500,
             qPrintable(QString::number(clock.elapsed())));
    QVERIFY(
        log.holds("[debug][writeSerial]Timeout occurred while waiting for serial port response"));
    QCOMPARE(line.port.getLastError(), QString());
    QVERIFY(line.received.isEmpty());
    line.pty.write("late"); // the port works on
    QTRY_COMPARE(line.allReceived(), QByteArray("late"));
}

void tst_SystemSerialPort::peerThatVanishesIsAnErrorMessage()
{
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());
    line.errors.clear();
    QElapsedTimer clock;
    clock.start();

    const QByteArray answer = exchange(line, "ask", [](Pty& pty) { pty.vanish(); });

    QCOMPARE(answer, QByteArray());
    QVERIFY2(clock.elapsed() < 5000, "the wait ends with the device");
    QVERIFY(!line.errors.isEmpty());
    QVERIFY(
        log.holds("[debug][writeSerial]Timeout occurred while waiting for serial port response"));
    QCOMPARE(line.port.getLastError(), QString());
}

void tst_SystemSerialPort::peerThatVanishesWhileIdleIsReportedUntilThePortIsClosed()
{
    Line line;
    QVERIFY(line.open());
    line.errors.clear();

    line.pty.vanish();

    QTRY_VERIFY(line.errors.size() > 10); // the terminal stays readable, and each read fails
    QCOMPARE(QSet<QByteArray>(line.errors.begin(), line.errors.end()).size(), 1);
    line.port.closeSerialPort();
    const int reported = line.errors.size();
    QCoreApplication::processEvents(); // the terminal is readable: whoever listens hears it now
    QCOMPARE(line.errors.size(), reported);
    QVERIFY(line.received.isEmpty());
}

/// The other side has stopped it: nothing leaves, and nothing is wrong with the port.
void tst_SystemSerialPort::lineThatIsStalledIsATimeoutOfTheWrite()
{
    LogCapture log("ky.ports");
    Line line;
    const int stopped = open(line.pty.path().toLocal8Bit(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const auto end = qScopeGuard([&] { close(stopped); });
    QVERIFY(line.open());
    line.errors.clear();
    QCOMPARE(tcflow(stopped, TCOOFF), 0);
    QElapsedTimer clock;
    clock.start();

    QCOMPARE(line.port.writeSerial("ask"), QByteArray());

    QVERIFY2(clock.elapsed() >= 10000 && clock.elapsed() < 20000,
             qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(log.lines().last(),
             QString("[debug][writeSerial]Timeout occurred while writing data to serial port"));
    QCOMPARE(line.port.getLastError(), QString());
    tcflow(stopped, TCOON);
    QCOMPARE(exchange(line, "again", [](Pty& pty) { pty.write("yes"); }), QByteArray());
    QCOMPARE(line.allReceived(), QByteArray("yes")); // the port works on
}

void tst_SystemSerialPort::failedWriteEndsTheExchange_data()
{
    QTest::addColumn<qint64>("taken");
    QTest::addColumn<QString>("text");

    const QString notAll = "Not all data was written to serial port";
    QTest::newRow("failed") << qint64(-1) << "Failed to write data to serial port";
    QTest::newRow("nothing") << qint64(0) << notAll;
    QTest::newRow("one too few") << qint64(2) << notAll;
    QTest::newRow("one too many") << qint64(4) << notAll;
}

void tst_SystemSerialPort::failedWriteEndsTheExchange()
{
    QFETCH(qint64, taken);
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());
    QElapsedTimer clock;
    clock.start();
    written = taken;

    QCOMPARE(line.port.writeSerial("ask"), QByteArray());

    QTEST(log.lines().last().remove("[debug][writeSerial]"), "text");
    QVERIFY2(clock.elapsed() < 5000, "nothing is waited for");
    QCOMPARE(line.port.getLastError(), QString());
    QVERIFY(line.port.isPortOpen());
}

/// The device is gone, what is pending cannot be dropped, and whoever hears of it closes the port.
void tst_SystemSerialPort::portClosedByItsOwnErrorFailsTheWrite()
{
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());
    connect(&line.port, &SystemSerialPort::sigMsg, &line.port, &SystemSerialPort::closeSerialPort);
    line.pty.vanish();

    QCOMPARE(line.port.writeSerial("ask"), QByteArray());

    QCOMPARE(log.lines().last(),
             QString("[debug][writeSerial]Failed to write data to serial port"));
    QCOMPARE(line.port.getLastError(), QString());
}

void tst_SystemSerialPort::writingNothingIsAFailedExchange()
{
    LogCapture log("ky.ports");
    Line line;
    QVERIFY(line.open());

    QCOMPARE(line.port.writeSerial(QByteArray()), QByteArray());

    QVERIFY(log.holds("[debug][writeSerial]Timeout occurred while writing data to serial port"));
}

void tst_SystemSerialPort::savesListIndented()
{
    SystemSerialPort port;
    port.setConfigFile(_file);

    QVERIFY(port.saveSerialPortsToFile({QVariantMap{{"portName", "ttyS1"}}}));

    QFile file(_file);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("[\n"
                                        "    {\n"
                                        "        \"portName\": \"ttyS1\"\n"
                                        "    }\n"
                                        "]\n"));
    port.setConfigFile("/proc/none/serialPort.json");
    QVERIFY(
        port.saveSerialPortsToFile({QVariantMap{{"portName", "ttyS1"}}})); // whatever became of it
}

void tst_SystemSerialPort::emptyListIsNotSaved()
{
    SystemSerialPort port;
    port.setConfigFile(_file);

    QVERIFY(!port.saveSerialPortsToFile({}));

    QCOMPARE(port.getLastError(), QString("list is empty"));
    QVERIFY(!QFile::exists(_file));
}

void tst_SystemSerialPort::removesFirstPortOfTheName()
{
    SystemSerialPort port;
    port.setConfigFile(_file);
    const QVariantMap second{{"portName", "ttyS1"}, {"baudRate", 9600}};
    port.saveSerialPortsToFile({QVariantMap{{"portName", "ttyS1"}}, second});

    QVERIFY(port.removeSerialPortFromFile("ttyS1"));

    QCOMPARE(PublicClass::init()->getJsonVariant(_file).toList(), QVariantList{second});
}

void tst_SystemSerialPort::removingUnknownPortFails()
{
    SystemSerialPort port;
    port.setConfigFile(_file);

    QVERIFY(!port.removeSerialPortFromFile("ttyS7"));

    QCOMPARE(port.getLastError(), QString("Not found:ttyS7"));
    QVERIFY(!QFile::exists(_file));
}

void tst_SystemSerialPort::listsSavedPorts()
{
    SystemSerialPort port;
    port.setConfigFile(_file);
    port.saveSerialPortsToFile({QVariantMap{{"portName", "ttyNone9"}, {"baudRate", 9600}}});

    const QVariantList ports = port.getAllSerialPorts();

    QCOMPARE(ports.size(), 3);
    QCOMPARE(ports[0].toMap(),
             QVariantMap({{"portName", "ttyNone9"}, {"baudRate", 9600}, {"state", -1}}));
}

void tst_SystemSerialPort::listsThePortsOfTheHost()
{
    SystemSerialPort port;
    port.setConfigFile(_file);

    QCOMPARE(port.getAllSerialPorts(),
             QVariantList({QVariantMap{{"portName", "ttyKy0"}, {"state", 0}},
                           QVariantMap{{"portName", "ttyKy1"}, {"state", 0}}}));
}

void tst_SystemSerialPort::savedPortThatIsPresentIsKnownByItsBaudRate_data()
{
    QTest::addColumn<QVariantMap>("saved");
    QTest::addColumn<int>("state");

    const QVariantMap name{{"portName", "ttyKy1"}};
    QVariantMap full = name;
    full["baudRate"] = 9600;
    QVariantMap empty = name;
    empty["baudRate"] = QVariant();
    QVariantMap misspelt = name;
    misspelt["baudrate"] = 9600;
    QTest::newRow("with baudRate") << full << 1;
    QTest::newRow("without") << name << 0;
    QTest::newRow("null") << empty << 1; // the key is there
    QTest::newRow("under another name") << misspelt << 0;
}

void tst_SystemSerialPort::savedPortThatIsPresentIsKnownByItsBaudRate()
{
    QFETCH(QVariantMap, saved);
    SystemSerialPort port;
    port.setConfigFile(_file);
    QVERIFY(port.saveSerialPortsToFile({saved}));

    const QVariantList ports = port.getAllSerialPorts();

    QCOMPARE(ports.size(), 2);
    QCOMPARE(ports[0].toMap()["portName"], QVariant("ttyKy1"));
    QTEST(ports[0].toMap()["state"].toInt(), "state");
    QCOMPARE(ports[1].toMap(), QVariantMap({{"portName", "ttyKy0"}, {"state", 0}}));
}

void tst_SystemSerialPort::requestBookkeepingOnlyStores()
{
    SystemSerialPort port;
    QCOMPARE(port.getRequstHandle(), qint64(0));
    QCOMPARE(port.getRequstNumber(), 0);

    port.setRequstHandle(Q_INT64_C(0x1234567890));
    port.setRequstNumber(7);

    QCOMPARE(port.getRequstHandle(), Q_INT64_C(0x1234567890));
    QCOMPARE(port.getRequstNumber(), 7);
}

QTEST_GUILESS_MAIN(tst_SystemSerialPort)
#include "tst_SystemSerialPort.moc"
