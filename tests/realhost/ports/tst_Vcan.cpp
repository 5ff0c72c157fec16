#include "ports/CanDevice.h"
#include "ports/CanObject.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <linux/can.h>
#include <sys/socket.h>
#include <unistd.h>

/// CAN ports on virtual interfaces of the kernel, with cansend and candump at the other end.
class tst_Vcan : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void unknownInterfaceIsTheKernelsError();
    void writesWhatCandumpShows_data();
    void writesWhatCandumpShows();
    void readsWhatCansendSends_data();
    void readsWhatCansendSends();
    void writeToAnInterfaceThatIsDownFails();
    void interfaceThatGoesDownAndComesBackIsReadAgain();
    void removedInterfaceFailsWrites();
    void replacedInterfaceIsReadOnceThePortIsOpenedAgain();
    void portThatReadsIsOpenedAfresh_data();
    void portThatReadsIsOpenedAfresh();
    void twoPortsAtOnce();
    void listsInterfacesWithState();

private:
    QTemporaryDir _folder;
};

namespace {

const QString kFirst = QStringLiteral("kyvcan0");
const QString kSecond = QStringLiteral("kyvcan1");

/// The manager with its devices in reach; at its end each loop is woken and left idle.
class Manager : public CanObject
{
public:
    ~Manager() override
    {
        for (CanDevice* device : qAsConst(_canDevices))
            device->closeCan({});
    }
    CanDevice* device(const QString& name) const { return _canDevices.value(name); }
};

bool ip(const QString& words)
{
    return QProcess::execute("ip", words.split(' ')) == 0;
}

bool cansend(const QString& name, const QString& frame)
{
    return QProcess::execute("cansend", {name, frame}) == 0;
}

QVariantMap port(const QString& name)
{
    return {{"portName", name}};
}

QVariantMap frameTo(const QString& name, int identifier, const QByteArray& data, int type = 0)
{
    return {{"portName", name}, {"frameId", identifier}, {"frameType", type}, {"data", data}};
}

QString answerOf(CanObject& can, const std::function<void()>& request)
{
    QSignalSpy answers(&can, &CanObject::sigFinished);
    request();
    return answers.count() == 1 ? answers[0][0].toString() + ' ' + answers[0][1].toString()
                                : QStringLiteral("%1 answers").arg(answers.count());
}

QString open(CanObject& can, const QString& name)
{
    return answerOf(can, [&] { can.openCan(port(name)); });
}

QString write(CanObject& can, const QVariantMap& frame)
{
    return answerOf(can, [&] { emit can.sigWrite(frame); });
}

} // namespace

void tst_Vcan::init()
{
    const int can = socket(AF_CAN, SOCK_RAW | SOCK_CLOEXEC, CAN_RAW);
    if (can < 0)
        QSKIP("this kernel has no CAN");
    close(can);
    if (QStandardPaths::findExecutable("candump").isEmpty())
        QSKIP("candump and cansend (can-utils) are not installed");
    for (const QString& name : {kFirst, kSecond}) {
        if (!ip("link add " + name + " type vcan") || !ip("link set " + name + " up"))
            QSKIP("no virtual CAN interface can be made here: no vcan in the kernel, or not root");
    }
}

void tst_Vcan::cleanup()
{
    for (const QString& name : {kFirst, kSecond}) {
        if (QFile::exists("/sys/class/net/" + name))
            ip("link del " + name);
    }
}

void tst_Vcan::unknownInterfaceIsTheKernelsError()
{
    Manager can;

    QCOMPARE(open(can, "kyvcan9"), QString("-1 IOCTL error: No such device"));
    QCOMPARE(open(can, "lo"), QString("-1 Bind error: No such device")); // no CAN interface
}

void tst_Vcan::writesWhatCandumpShows_data()
{
    QTest::addColumn<QVariantMap>("frame");
    QTest::addColumn<QString>("shown");

    QVariantMap remote = frameTo(kFirst, 0x123, {});
    remote["frameFormat"] = 1;
    QVariantMap shortened = frameTo(kFirst, 0x123, "\x01\x02\x03\x04\x05\x06\x07\x08");
    shortened["dataLength"] = 2;
    QTest::newRow("standard") << frameTo(kFirst, 0x123, "\x11\x22") << "123#1122";
    QTest::newRow("extended") << frameTo(kFirst, 0x18FF50E5, "\xFF", 1) << "18FF50E5#FF";
    QTest::newRow("remote") << remote << "123#R";
    QTest::newRow("8 bytes, length 2") << shortened << "123#0102";
}

void tst_Vcan::writesWhatCandumpShows()
{
    QFETCH(QVariantMap, frame);
    QFETCH(QString, shown);
    Manager can;
    QCOMPARE(open(can, kFirst), QString("0 "));
    QProcess candump;
    candump.start("candump", {"-L", "-n", "1", kFirst});
    QVERIFY(candump.waitForStarted());

    // candump tells nobody when it listens.
    for (int i = 0; i < 50 && candump.state() == QProcess::Running; ++i) {
        QCOMPARE(write(can, frame), QString("0 "));
        candump.waitForFinished(100);
    }

    const QString line = QString::fromUtf8(candump.readAllStandardOutput()).trimmed();
    QVERIFY2(line.endsWith(' ' + shown), qPrintable(line));
}

void tst_Vcan::readsWhatCansendSends_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("identifier");
    QTest::addColumn<QByteArray>("data");

    QTest::newRow("standard") << "7FF#8000FF" << 0 << 0 << 0x7FF << QByteArray("\x80\0\xFF", 3);
    QTest::newRow("extended") << "1ABCDEF0#" << 1 << 0 << 0x1ABCDEF0 << QByteArray();
    QTest::newRow("remote") << "001#R" << 0 << 1 << 1 << QByteArray();
}

void tst_Vcan::readsWhatCansendSends()
{
    QFETCH(QString, text);
    Manager can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    QCOMPARE(open(can, kFirst), QString("0 "));

    QVERIFY(cansend(kFirst, text));

    QVERIFY(frames.count() == 1 || frames.wait(3000));
    const QVariantMap frame = frames[0][0].toMap();
    QTEST(frame["frameType"].toInt(), "type");
    QTEST(frame["frameFormat"].toInt(), "format");
    QTEST(frame["frameId"].toInt(), "identifier");
    QTEST(frame["data"].toByteArray(), "data");
    QCOMPARE(frame["portName"].toString(), kFirst);
}

void tst_Vcan::writeToAnInterfaceThatIsDownFails()
{
    Manager can;
    QCOMPARE(open(can, kFirst), QString("0 "));
    QVERIFY(ip("link set " + kFirst + " down"));

    const QString answer = write(can, frameTo(kFirst, 1, "x"));

    QVERIFY2(answer.endsWith("ret:-1]:Network is down"), qPrintable(answer));
}

void tst_Vcan::interfaceThatGoesDownAndComesBackIsReadAgain()
{
    Manager can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    QCOMPARE(open(can, kFirst), QString("0 "));
    QTRY_VERIFY(can.device(kFirst)->isReading());
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression("\\[warning\\]\\[readCan\\].*Read error:Network is down"));

    QVERIFY(ip("link set " + kFirst + " down"));
    QTest::qWait(200); // one failure, then the read blocks again
    QVERIFY(ip("link set " + kFirst + " up"));
    QVERIFY(cansend(kFirst, "123#11"));

    QVERIFY(frames.count() == 1 || frames.wait(3000));
    QVERIFY(can.device(kFirst)->isReading());
}

void tst_Vcan::removedInterfaceFailsWrites()
{
    Manager can;
    QCOMPARE(open(can, kFirst), QString("0 "));
    QTRY_VERIFY(can.device(kFirst)->isReading());

    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression("\\[warning\\]\\[readCan\\].*Read error:No such device"));

    QVERIFY(ip("link del " + kFirst));

    const QString answer = write(can, frameTo(kFirst, 1, "x"));
    QVERIFY2(answer.startsWith("-1 Write error[socketId:"), qPrintable(answer));
    QCOMPARE(open(can, kFirst), QString("-1 IOCTL error: No such device"));
}

void tst_Vcan::replacedInterfaceIsReadOnceThePortIsOpenedAgain()
{
    Manager can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    QCOMPARE(open(can, kFirst), QString("0 "));
    QTRY_VERIFY(can.device(kFirst)->isReading());
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression("\\[warning\\]\\[readCan\\].*Read error:No such device"));

    QVERIFY(ip("link del " + kFirst));
    QCOMPARE(open(can, kFirst), QString("-1 IOCTL error: No such device")); // too early
    QVERIFY(ip("link add " + kFirst + " type vcan"));
    QVERIFY(ip("link set " + kFirst + " up"));
    QCOMPARE(open(can, kFirst), QString("0 "));
    QVERIFY(cansend(kFirst, "123#11"));

    QVERIFY(frames.count() == 1 || frames.wait(3000));
    QCOMPARE(frames[0][0].toMap()["frameId"].toInt(), 0x123);
    QVERIFY(can.device(kFirst)->isReading());
    QCOMPARE(write(can, frameTo(kFirst, 1, "x")), QString("0 "));
}

void tst_Vcan::portThatReadsIsOpenedAfresh_data()
{
    QTest::addColumn<bool>("isClosedFirst");

    QTest::newRow("closed and opened") << true;
    QTest::newRow("opened") << false;
}

/// The bus has one frame for every socket, and the loop must not wait in the old one's read.
void tst_Vcan::portThatReadsIsOpenedAfresh()
{
    QFETCH(bool, isClosedFirst);
    Manager can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    QSignalSpy reads(&can, &CanObject::sigRead);
    QCOMPARE(open(can, kFirst), QString("0 "));
    QVERIFY(cansend(kFirst, "001#"));
    QVERIFY(frames.count() == 1 || frames.wait(3000));

    if (isClosedFirst)
        emit can.sigClose(port(kFirst));
    QCOMPARE(open(can, kFirst), QString("0 "));
    QVERIFY(cansend(kFirst, "002#"));
    QVERIFY(cansend(kFirst, "003#"));

    const auto hasLast = [&] { return frames.last()[0].toMap()["frameId"].toInt() == 3; };
    QTRY_VERIFY(hasLast());
    QCOMPARE(frames.count(), 3); // each of them once
    QVERIFY2(isClosedFirst || reads.count() == 1, "the loop goes on, no second one is asked for");
    QVERIFY(can.device(kFirst)->isReading());
}

void tst_Vcan::twoPortsAtOnce()
{
    Manager can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    QCOMPARE(open(can, kFirst), QString("0 "));
    QCOMPARE(open(can, kSecond), QString("0 "));

    QVERIFY(cansend(kFirst, "001#AA"));
    QVERIFY(cansend(kSecond, "002#BB"));

    QTRY_COMPARE(frames.count(), 2);
    for (const auto& arguments : qAsConst(frames)) {
        const QVariantMap frame = arguments[0].toMap();
        QCOMPARE(frame["portName"].toString(), frame["frameId"].toInt() == 1 ? kFirst : kSecond);
    }
}

void tst_Vcan::listsInterfacesWithState()
{
    Manager can;
    can.setConfigFile(_folder.filePath("canConfig.json"));
    QVERIFY(can.saveCanPortsToFile({port(kFirst)}, false));
    QVERIFY(ip("link set " + kSecond + " down"));

    QMap<QString, int> states;
    const QVariantList ports = can.getAllCanPorts();
    for (const QVariant& entry : ports)
        states[entry.toMap()["portName"].toString()] = entry.toMap()["state"].toInt();

    QCOMPARE(states.value(kFirst), 1);
    QCOMPARE(states.value(kSecond, 9), 0); // not in the file
    QVERIFY(ip("link set " + kFirst + " down"));
    QCOMPARE(can.getAllCanPorts()[0].toMap()["state"].toInt(), -1);
}

QTEST_GUILESS_MAIN(tst_Vcan)
#include "tst_Vcan.moc"
