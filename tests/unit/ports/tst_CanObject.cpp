#include "ports/CanObject.h"

#include "LogCapture.h"
#include "TaskState.h"
#include "canbus/CanBus.h"
#include "host/PublicClass.h"
#include "ports/CanDevice.h"
#include "ports/SocketCan.h"
#include "recorded/RecordedHost.h"

#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>
#include <unistd.h>

class tst_CanObject : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void portFileLiesBelowTheProgram();
    void openWithoutInterfaceAnswersTheDevicesError();
    void emptyRequestMakesADeviceAndFails();
    void closeAndWriteOfUnknownPortKeepTheMarker();
    void opensWritesReadsAndCloses();
    void secondOpenReopensWithoutSecondRead();
    void failedWriteAnswersTheDevicesError();
    void requestsOfWrongTypesAreAnswered_data();
    void requestsOfWrongTypesAreAnswered();
    void twoPortsAtOnce();
    void everyReadRequestReachesEveryDevice();
    void readRequestWaitsUntilTheLoopHasLeft();
    void oneReadRequestAtMostWaitsForAPort();
    void portThatLostItsInterfaceReadsAgainOnceOpened();
    void portReopenedUnderLoadStaysAlive();
    void frameLeavesAsJsonAndAsMap();
    void frameWithBytesThatAreNoTextIsIntactInTheMap();
    void threadOutlivesTheManager();
    void destructorReleasesChannels();

    void savesListIndented();
    void emptyListIsNotSaved();
    void savingWithoutApplyRunsNothing();
    void savingWithApplySetsUpEachPortInOrder();
    void badBaudRateCountsAsZeroAndIsAWarning();
    void unwritableFileStillAnswersTrue();
    void removesFirstPortOfTheName();
    void removingUnknownPortFails_data();
    void removingUnknownPortFails();
    void listsSavedPortsAndOpenState();
    void brokenPortFileIsAnEmptyList_data();
    void brokenPortFileIsAnEmptyList();
    void requestBookkeepingOnlyStores();

private:
    QByteArray fileText() const;
    void writeFile(const QByteArray& text) const;

    RecordedHost& _host = RecordedHost::instance();
    QTemporaryDir _folder;
    QString _file = _folder.filePath("appInfo/backupFile/canConfig.json");
};

namespace {

/// The manager with its two maps in reach.
class Manager : public CanObject
{
public:
    explicit Manager(const QString& file = QString())
    {
        if (!file.isEmpty())
            setConfigFile(file);
    }
    /// Lets the loops leave once the bus is gone: they would go round to the end of the program.
    ~Manager() override
    {
        for (CanDevice* device : qAsConst(_canDevices))
            device->closeCan({});
    }
    using CanObject::_canDevices;
    using CanObject::_socketCans;
};

/// The answers of the manager, as "ret text".
class Answers
{
public:
    explicit Answers(CanObject& can)
        : _spy(&can, &CanObject::sigFinished)
    {}
    QStringList take()
    {
        QStringList all;
        for (const auto& answer : qAsConst(_spy))
            all << answer[0].toString() + ' ' + answer[1].toString();
        _spy.clear();
        return all;
    }

private:
    QSignalSpy _spy;
};

const QStringList kDone{"0 "};

int lastIdentifier(const QSignalSpy& frames)
{
    return frames.isEmpty() ? -1 : frames.last()[0].toMap()["frameId"].toInt();
}

QVariantMap port(const QString& name)
{
    return {{"portName", name}};
}

} // namespace

void tst_CanObject::init()
{
    _host.reset();
    QFile::remove(_file);
}

QByteArray tst_CanObject::fileText() const
{
    QFile file(_file);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

void tst_CanObject::writeFile(const QByteArray& text) const
{
    QDir().mkpath(QFileInfo(_file).path());
    QFile file(_file);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        qFatal("port file");
}

void tst_CanObject::portFileLiesBelowTheProgram()
{
    QCOMPARE(CanObject().configFile(),
             QCoreApplication::applicationDirPath() + "/appInfo/backupFile/canConfig.json");
}

void tst_CanObject::openWithoutInterfaceAnswersTheDevicesError()
{
    CanBusFolder folder;
    Manager can;
    Answers answers(can);

    can.openCan(port("can9"));

    QCOMPARE(answers.take(), QStringList("-1 IOCTL error: No such device"));
    QCOMPARE(can._canDevices.keys(), QStringList("can9")); // made, and it stays
    QCOMPARE(can._canDevices["can9"]->canName(), QString("can9"));
    QVERIFY(can._canDevices["can9"]->thread()->isRunning());
}

void tst_CanObject::emptyRequestMakesADeviceAndFails()
{
    Manager can;
    Answers answers(can);

    can.openCan({});

    QCOMPARE(answers.take(), QStringList("-1 Map is empty"));
    QCOMPARE(can._canDevices.keys(), QStringList(QString()));
}

void tst_CanObject::closeAndWriteOfUnknownPortKeepTheMarker()
{
    Manager can;
    Answers answers(can);

    emit can.sigClose(port("can0"));
    emit can.sigWrite(port("can0"));
    emit can.sigOpen(port("can0")); // without openCan() there is no device either

    const QString text = "-1 [%1] Not opened";
    QCOMPARE(answers.take(), QStringList({text, text, text}));
    QVERIFY(can._canDevices.isEmpty());
}

void tst_CanObject::opensWritesReadsAndCloses()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    Answers answers(can);
    QSignalSpy frames(&can, &CanObject::sigFrame);

    can.openCan(port("can0"));
    QCOMPARE(answers.take(), kDone);
    bus.accept();
    QVariantMap request = port("can0");
    request["frameId"] = 0x18FF50E5;
    request["frameType"] = 1;
    request["data"] = QByteArray("abc");
    emit can.sigWrite(request);
    QCOMPARE(answers.take(), kDone);
    QCOMPARE(bus.receive().can_id, 0x98FF50E5u);
    bus.send(0x123, "xyz");
    QVERIFY(frames.wait(3000));
    QCOMPARE(frames[0][0].toMap()["data"].toByteArray(), QByteArray("xyz"));

    emit can.sigClose(port("can0"));
    QCOMPARE(answers.take(), kDone);
    QCOMPARE(can._canDevices["can0"]->socketId(), -1);
    emit can.sigClose(port("can0")); // closing has no failure
    QCOMPARE(answers.take(), kDone);
    emit can.sigWrite(request);
    QCOMPARE(answers.take(),
             QStringList("-1 Write error[socketId:-1  ret:-1]:Bad file descriptor"));
}

void tst_CanObject::secondOpenReopensWithoutSecondRead()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    Answers answers(can);
    QSignalSpy reads(&can, &CanObject::sigRead);
    QSignalSpy frames(&can, &CanObject::sigFrame);
    can.openCan(port("can0"));
    bus.accept();
    CanDevice* const device = can._canDevices["can0"];
    QTRY_VERIFY(device->isReading());
    QCOMPARE(reads.count(), 1);

    can.openCan(port("can0"));

    QCOMPARE(answers.take(), kDone + kDone);
    QCOMPARE(reads.count(), 1);
    QCOMPARE(can._canDevices.value("can0"), device);
    bus.accept(); // hangs the first one up, which wakes the read
    bus.send(5, "five");
    QVERIFY(frames.wait(3000));
    QCOMPARE(frames.last()[0].toMap()["frameId"].toInt(), 5);
}

void tst_CanObject::failedWriteAnswersTheDevicesError()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    can.openCan(port("can0"));
    Answers answers(can);
    QVariantMap request = port("can0");
    request["data"] = QByteArray(9, 'x');

    emit can.sigWrite(request);

    QCOMPARE(answers.take(), QStringList("-1 CAN data [9 bytes]: a frame holds at most 8"));
}

void tst_CanObject::requestsOfWrongTypesAreAnswered_data()
{
    QTest::addColumn<QVariant>("portName");

    QTest::newRow("number") << QVariant(7);
    QTest::newRow("list") << QVariant(QVariantList{"can0"});
    QTest::newRow("map") << QVariant(QVariantMap{{"portName", "can0"}});
    QTest::newRow("null") << QVariant();
    QTest::newRow("over-long") << QVariant(QString(70000, 'c'));
}

void tst_CanObject::requestsOfWrongTypesAreAnswered()
{
    QFETCH(QVariant, portName);
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    Answers answers(can);
    const QVariantMap request{{"portName", portName}, {"data", 3}, {"frameId", "x"}};

    can.openCan(request);
    emit can.sigWrite(request);
    emit can.sigClose(request);

    const QStringList all = answers.take();
    QCOMPARE(all.size(), 3);
    QVERIFY2(all[0].startsWith("-1 IOCTL error") || all[0].startsWith("-1 Interface name"),
             qPrintable(all[0].left(200)));
    QVERIFY(all[1].startsWith("-1 Write error[socketId:-1"));
    QCOMPARE(all[2], QString("0 "));
}

void tst_CanObject::twoPortsAtOnce()
{
    CanBusFolder folder;
    CanBus bus0(folder.path(), "can0");
    CanBus bus1(folder.path(), "can1");
    Manager can;
    QMap<QString, QVector<int>> seen;
    connect(&can, &CanObject::sigFrame, this, [&](const QVariantMap& frame) {
        seen[frame["portName"].toString()] << frame["frameId"].toInt();
    });
    can.openCan(port("can0"));
    can.openCan(port("can1"));
    bus0.accept();
    bus1.accept();
    constexpr int kFrames = 2000;

    std::thread other([&] {
        for (int n = 0; n < kFrames; ++n)
            bus1.send(quint32(n), "b");
    });
    for (int n = 0; n < kFrames; ++n)
        bus0.send(quint32(n), "a");
    other.join();

    QTRY_COMPARE(seen["can0"].size() + seen["can1"].size(), 2 * kFrames);
    for (int n = 0; n < kFrames; ++n) {
        QCOMPARE(seen["can0"][n], n);
        QCOMPARE(seen["can1"][n], n);
    }
}

void tst_CanObject::everyReadRequestReachesEveryDevice()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    can.openCan(port("can9")); // fails: its device stays closed
    CanDevice* const closed = can._canDevices["can9"];
    closed->setLastError("before");

    can.openCan(port("can0")); // emits sigRead

    QTRY_COMPARE(closed->lastError(), QString("socketId < 0"));
}

void tst_CanObject::readRequestWaitsUntilTheLoopHasLeft()
{
    CanBusFolder folder;
    CanBus busA(folder.path(), "can0");
    CanBus busB(folder.path(), "can1");
    Manager can;
    can.openCan(port("can0"));
    busA.accept();
    CanDevice* const device = can._canDevices["can0"];
    QTRY_VERIFY(device->isReading());
    QVERIFY(TaskState::waitUntilOthersSleep()); // in the read

    can.openCan(port("can1")); // emits sigRead, which can0 cannot serve yet
    emit can.sigClose(port("can0"));
    QVERIFY(device->isReading());
    QCOMPARE(device->lastError(), QString());
    busA.send(1, "leave");

    QTRY_COMPARE(device->lastError(), QString("socketId < 0"));
    QVERIFY(!device->isReading());
}

void tst_CanObject::oneReadRequestAtMostWaitsForAPort()
{
    LogCapture log("ky.ports");
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    can.openCan(port("can0"));
    bus.accept();
    CanDevice* const device = can._canDevices["can0"];
    QTRY_VERIFY(device->isReading());

    for (int n = 0; n < 5000; ++n)
        emit can.sigRead(); // as every opening of another port does
    emit can.sigClose(port("can0"));
    bus.send(1, "leave");
    QTRY_VERIFY(!device->isReading());
    std::atomic<bool> isServed{false};
    QMetaObject::invokeMethod(
        device, [&isServed] { isServed = true; }, Qt::QueuedConnection);

    QTRY_VERIFY(isServed);
    // The one that waited, and at most one that was asked for while that one was being taken up.
    const int served = log.count("[warning][setLastError]socketId < 0");
    QVERIFY2(served == 1 || served == 2, qPrintable(QString::number(served)));
    emit can.sigRead(); // none waits now, so this one is served
    QTRY_COMPARE(log.count("[warning][setLastError]socketId < 0"), served + 1);
}

/// As the daemon does it for a client: the adapter is pulled out, asked for too early, plugged in
/// and opened.
void tst_CanObject::portThatLostItsInterfaceReadsAgainOnceOpened()
{
    LogCapture log("ky.ports");
    CanBusFolder folder;
    auto bus = std::make_unique<CanBus>(folder.path());
    Manager can;
    Answers answers(can);
    QSignalSpy frames(&can, &CanObject::sigFrame);
    can.openCan(port("can0"));
    const int peer = dup(bus->accept()); // keeps the old socket alive, and silent
    QTRY_VERIFY(can._canDevices["can0"]->isReading());
    bus.reset();
    can.openCan(port("can0"));
    bus = std::make_unique<CanBus>(folder.path());
    can.openCan(port("can0"));
    bus->accept();

    bus->send(5, "five");

    QTRY_COMPARE(lastIdentifier(frames), 5);
    QCOMPARE(answers.take(), QStringList({"0 ", "-1 IOCTL error: No such device", "0 "}));
    ::close(peer);
}

/// Closing and opening race with the loop that is about to leave: whoever comes first, the port
/// reads afterwards.
void tst_CanObject::portReopenedUnderLoadStaysAlive()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    Manager can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    can.openCan(port("can0"));
    bus.accept();
    for (int round = 0; round < 300; ++round) {
        std::thread sender([&] { bus.send(1, "wake"); });
        emit can.sigClose(port("can0"));
        can.openCan(port("can0"));
        sender.join();
        QVERIFY(bus.accept() >= 0);
        frames.clear();
        bus.send(2, "live");
        while (lastIdentifier(frames) != 2)
            QVERIFY2(frames.wait(3000), qPrintable(QString("round %1").arg(round)));
    }
}

void tst_CanObject::frameLeavesAsJsonAndAsMap()
{
    LogCapture log("ky.ports");
    Manager can;
    QSignalSpy messages(&can, &CanObject::sigMsg);
    QSignalSpy frames(&can, &CanObject::sigFrame);
    const QVariantMap frame{{"portName", "can0"},
                            {"frameType", 1},
                            {"frameFormat", 0},
                            {"frameId", 0x1FFFFFFF},
                            {"dataLength", 3},
                            {"data", QByteArray("abc")},
                            {"time", "2024-02-29 12:00:00.001"}};

    can.slotReadyRead(frame);

    QCOMPARE(messages.count(), 1);
    QCOMPARE(messages[0][0].toMap(), QVariantMap({{"type", "canRevData"}}));
    QCOMPARE(messages[0][1].toByteArray(),
             QByteArray(R"({"data":"abc","dataLength":3,"frameFormat":0,"frameId":536870911,)"
                        R"("frameType":1,"portName":"can0","time":"2024-02-29 12:00:00.001"})"));
    QCOMPARE(frames[0][0].toMap(), frame);
    QCOMPARE(log.lines(), QStringList("[debug][slotReadyRead]canRevData"));
}

void tst_CanObject::frameWithBytesThatAreNoTextIsIntactInTheMap()
{
    Manager can;
    QSignalSpy messages(&can, &CanObject::sigMsg);
    QSignalSpy frames(&can, &CanObject::sigFrame);
    const QVariantMap frame{{"data", QByteArray("\xFF\0\x80", 3)}};

    can.slotReadyRead(frame);

    QCOMPARE(messages[0][1].toByteArray(),
             PublicClass::init()->qVariantToByteArray(frame, QJsonDocument::Compact));
    QCOMPARE(frames[0][0].toMap()["data"].toByteArray(), QByteArray("\xFF\0\x80", 3));
}

void tst_CanObject::threadOutlivesTheManager()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    QPointer<CanDevice> device;
    {
        Manager can;
        can.openCan(port("can0"));
        bus.accept();
        device = can._canDevices.take("can0");
        QTRY_VERIFY(device->isReading());
    }

    QVERIFY(device);
    QVERIFY(device->thread()->isRunning());
    QVERIFY(device->isReading());
    bus.send(1, "nobody listens"); // and nothing breaks
    QVERIFY(TaskState::waitUntilOthersSleep());
    QVERIFY(device->isReading());
    device->closeCan({}); // the test's own end: lets the loop leave
    bus.hangUp();
    QTRY_VERIFY(!device->isReading());
}

void tst_CanObject::destructorReleasesChannels()
{
    QPointer<SocketCan> here = new SocketCan;
    QPointer<SocketCan> there = new SocketCan;
    QPointer<QThread> thread = new QThread;
    there->moveToThread(thread);
    thread->start();
    {
        Manager can;
        can._socketCans["here"] = here;
        can._socketCans["there"] = there;
    }
    QVERIFY(!here);
    QVERIFY(!there);
    QVERIFY(!thread);
}

void tst_CanObject::savesListIndented()
{
    Manager can(_file);

    QVERIFY(
        can.saveCanPortsToFile({QVariantMap{{"portName", "can0"}, {"baudRate", 250000}}}, false));

    QCOMPARE(fileText(), QByteArray("[\n"
                                    "    {\n"
                                    "        \"baudRate\": 250000,\n"
                                    "        \"portName\": \"can0\"\n"
                                    "    }\n"
                                    "]\n"));
}

void tst_CanObject::emptyListIsNotSaved()
{
    Manager can(_file);

    QVERIFY(!can.saveCanPortsToFile({}, true));

    QCOMPARE(can.lastError(), QString("list is empty"));
    QVERIFY(!QFile::exists(_file));
    QVERIFY(_host.calls().isEmpty());
}

void tst_CanObject::savingWithoutApplyRunsNothing()
{
    Manager can(_file);

    QVERIFY(can.saveCanPortsToFile({port("can0"), port("can1")}, false));

    QVERIFY(_host.calls().isEmpty());
}

void tst_CanObject::savingWithApplySetsUpEachPortInOrder()
{
    Manager can(_file);
    bool isSetUpFirst = true;
    _host.onCall([&](const RecordedHost::Call&) { isSetUpFirst &= !QFile::exists(_file); });

    QVERIFY(can.saveCanPortsToFile({QVariantMap{{"portName", "can1"}, {"baudRate", 125000}},
                                    QVariantMap{{"portName", "can0"}, {"baudRate", "1000000"}}},
                                   true));

    const QStringList lines = _host.lines();
    QCOMPARE(lines.size(), 8);
    QVERIFY(lines[1].startsWith("ip link set can1 type can tq 100 "));
    QVERIFY(lines[5].startsWith("ip link set can0 type can tq 25 prop-seg 14 "));
    QVERIFY2(isSetUpFirst, "the file is written behind the last command");
    QVERIFY(QFile::exists(_file));
}

void tst_CanObject::badBaudRateCountsAsZeroAndIsAWarning()
{
    LogCapture log("ky.ports");
    Manager can(_file);
    can.setLastError("of an earlier call");
    PublicClass::init()->tbxName = "TBX880";

    QVERIFY(
        can.saveCanPortsToFile({QVariantMap{{"portName", "can0"}, {"baudRate", "fast"}}}, true));

    PublicClass::init()->tbxName.clear();
    QCOMPARE(_host.lines().value(1), QString("ip link set can0 type can bitrate 0"));
    QVERIFY(log.holds("[warning][saveCanPortsToFile]baud rate of CAN port [can0]: not a number"));
    QCOMPARE(can.lastError(), QString("of an earlier call")); // it has not failed
}

void tst_CanObject::unwritableFileStillAnswersTrue()
{
    Manager can("/proc/none/canConfig.json");

    QVERIFY(can.saveCanPortsToFile({port("can0")}, false));
}

void tst_CanObject::removesFirstPortOfTheName()
{
    Manager can(_file);
    QVariantMap second = port("can0");
    second["baudRate"] = 2;
    can.saveCanPortsToFile({port("can1"), port("can0"), second}, false);

    QVERIFY(can.removeCanPortFromFile("can0"));
    QCOMPARE(PublicClass::init()->getJsonVariant(_file).toList(),
             QVariantList({port("can1"), second}));
    QVERIFY(can.removeCanPortFromFile("can0"));
    QVERIFY(can.removeCanPortFromFile("can1"));
    QCOMPARE(fileText().simplified(), QByteArray("[ ]")); // the last one leaves an empty list
}

void tst_CanObject::removingUnknownPortFails_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("no file") << QByteArray();
    QTest::newRow("others") << QByteArray(R"([{"portName":"can1"}])");
    QTest::newRow("no list") << QByteArray(R"({"portName":"can0"})");
    QTest::newRow("no JSON") << QByteArray("[{\"portName\":\"can0\"}");
}

void tst_CanObject::removingUnknownPortFails()
{
    QFETCH(QByteArray, content);
    if (!content.isNull())
        writeFile(content);
    Manager can(_file);

    QVERIFY(!can.removeCanPortFromFile("can0"));

    QCOMPARE(can.lastError(), QString("Not found:can0"));
    QCOMPARE(fileText(), content.isNull() ? QByteArray("no file") : content);
}

void tst_CanObject::listsSavedPortsAndOpenState()
{
    CanBusFolder folder;
    CanBus bus(folder.path());
    writeFile(R"([{"portName":"cab0","state":9},{"portName":"cab1","name":"can0"},
                  {"portName":"can0"}])");
    Manager can(_file);
    can.openCan(port("can0"));

    const QVariantList ports = can.getAllCanPorts();

    QVERIFY(ports.size() >= 3); // interfaces of this host, if any, follow
    QCOMPARE(ports[0].toMap(), QVariantMap({{"portName", "cab0"}, {"state", 9}}));
    QCOMPARE(ports[1].toMap()["isOpen"], QVariant(true));
    QVERIFY(!ports[2].toMap().contains("isOpen"));
    emit can.sigClose(port("can0"));
    QVERIFY(!can.getAllCanPorts()[1].toMap().contains("isOpen"));
}

void tst_CanObject::brokenPortFileIsAnEmptyList_data()
{
    removingUnknownPortFails_data();
    QTest::newRow("empty list") << QByteArray("[]");
}

void tst_CanObject::brokenPortFileIsAnEmptyList()
{
    QFETCH(QByteArray, content);
    if (!content.isNull() && !content.contains("can1"))
        writeFile(content);
    Manager can(_file);

    const QVariantList ports = can.getAllCanPorts();

    for (const QVariant& entry : ports) // what this host has, and nothing from the file
        QCOMPARE(entry.toMap()["state"].toInt(), 0);
    for (const QVariant& entry : ports)
        QVERIFY(QFile::exists("/sys/class/net/" + entry.toMap()["portName"].toString()));
}

void tst_CanObject::requestBookkeepingOnlyStores()
{
    Manager can;
    QCOMPARE(can.getRequstHandle(), qint64(0));
    QCOMPARE(can.getRequstNumber(), 0);
    QVERIFY(can.getRequstMap().isEmpty());

    can.setRequstHandle(Q_INT64_C(0x1234567890));
    can.setRequstNumber(65535);
    can.setRequstMap(port("can0"));

    QCOMPARE(can.getRequstHandle(), Q_INT64_C(0x1234567890));
    QCOMPARE(can.getRequstNumber(), 65535);
    QCOMPARE(can.getRequstMap(), port("can0"));
}

QTEST_GUILESS_MAIN(tst_CanObject)
#include "tst_CanObject.moc"
