#include "DaemonFixture.h"
#include "FrameClient.h"
#include "PortsDaemon.h"

#include "canbus/CanBus.h"
#include "pty/Pty.h"

#include <QJsonDocument>
#include <QtTest>

#include <csignal>
#include <thread>

/// CAN and serial ports through the real daemon and the real client.
class tst_DaemonPorts : public QObject
{
    Q_OBJECT

private slots:
    void exchangesOverASerialLine_data();
    void exchangesOverASerialLine();
    void deviceThatNeverAnswersIsAnError();
    void watchesAndWritesOnASerialLine();
    void deviceThatVanishesEndsTheStormOfErrors();
    void openingTimeAndAgainLeavesThePortOpen();
    void openingTheOpenPortAgainLeavesItOpen();
    void serialErrorsAreTold();
    void argumentsAreNoBytesToSend_data();
    void argumentsAreNoBytesToSend();
    void savesAndRemovesSerialPorts();
    void noMoreSerialPortsAreSavedThanAHostHas();

    void kernelWithoutCanIsTold();
    void sendsAndWatchesCanFrames();
    void watchingOnePortLeavesTheOthersOut();
    void canErrorsAreTold_data();
    void canErrorsAreTold();
    void namesTriedOutDoNotTakeAllThreads();
    void savesAndRemovesCanPorts();
    void daemonEndsWhileFramesPourIn();
    void daemonEndsWhileReadsFail();
    void daemonEndsWhileTheBusTakesNoFrame();
    void wrongWordsAreUsageErrors_data();
    void wrongWordsAreUsageErrors();
};

namespace {

constexpr int kCanSend = 2203;
constexpr int kSerialWrite = 2212;

QVariantMap lineRequest(const QString& name)
{
    return {
        {"portName", name}, {"baudRate", 9600}, {"stopBits", 1}, {"dataBits", 8}, {"parity", 0}};
}

} // namespace

void tst_DaemonPorts::exchangesOverASerialLine_data()
{
    QTest::addColumn<QVector<int>>("gapsMs");
    QTest::addColumn<QByteArray>("answer");

    QTest::newRow("whole") << QVector<int>{0} << QByteArray("61\n");
    QTest::newRow("pieces, gaps under 100 ms")
        << QVector<int>{0, 40, 40, 40} << QByteArray("61 62 63 64\n");
    QTest::newRow("a gap over 100 ms ends it") << QVector<int>{0, 40, 400} << QByteArray("61 62\n");
}

void tst_DaemonPorts::exchangesOverASerialLine()
{
    QFETCH(QVector<int>, gapsMs);
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;
    QCOMPARE(daemon.kyctl({"serial", "open", pty.path()}).status, 0);
    QByteArray request;
    std::thread device([&] {
        request = pty.read(2, 10000);
        for (int i = 0; i < gapsMs.size(); ++i) {
            QThread::msleep(ulong(gapsMs[i])); // the gap decides where the answer ends
            pty.write(QByteArray(1, char('a' + i)));
        }
    });

    const ProgramResult result = daemon.kyctl({"serial", "exchange", "AA", "0b"});
    device.join();

    QCOMPARE(result.status, 0);
    QTEST(result.output, "answer");
    QCOMPARE(request.toHex(), QByteArray("aa0b"));
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

void tst_DaemonPorts::deviceThatNeverAnswersIsAnError()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;
    QCOMPARE(daemon.kyctl({"serial", "open", pty.path()}).status, 0);
    Watcher exchange(daemon, {"--json", "serial", "exchange", "--text", "anyone?"});
    QCOMPARE(pty.read(7), QByteArray("anyone?"));

    QVERIFY2(daemon.kyctl({"version"}).status == 0, "others are served meanwhile");
    QVERIFY(exchange.waitEnd());

    QCOMPARE(exchange.status(), 1);
    const QVariantMap told = QJsonDocument::fromJson(exchange.output()).toVariant().toMap();
    QCOMPARE(told["ret_code"].toInt(), 40213);
    QCOMPARE(told["err_msg"].toString(), QString("serial port: no answer"));
    const QVariantMap answer = call(daemon, "serial_exchange");
    QCOMPARE(answer["ret_code"].toInt(), 40002); // without data there is nothing to send
}

void tst_DaemonPorts::watchesAndWritesOnASerialLine()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;
    QCOMPARE(daemon.kyctl({"serial", "open", pty.path(), "115200"}).status, 0);
    Watcher people(daemon, {"serial", "watch"});
    Watcher scripts(daemon, {"serial", "watch", "--json"});

    const auto send = [&] { pty.write("\xFF"); };
    QVERIFY(people.waitForLines(1, send) && scripts.waitForLines(1, send));
    pty.write("hello");

    // Perhaps in one read with the byte before.
    QVERIFY(people.waitForText("68 65 6c 6c 6f\n"));
    QVERIFY(scripts.waitForText("68656c6c6f\""));
    QCOMPARE(daemon.kyctl({"serial", "write", "--text", "out"}).status, 0);
    QCOMPARE(pty.read(3), QByteArray("out"));
    QCOMPARE(daemon.kyctl({"serial", "close"}).status, 0);
    QCOMPARE(daemon.kyctl({"serial", "write", "00"}).status, 1);
}

void tst_DaemonPorts::deviceThatVanishesEndsTheStormOfErrors()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;
    QCOMPARE(daemon.kyctl({"serial", "open", pty.path()}).status, 0);
    Watcher watcher(daemon, {"serial", "watch"});
    QVERIFY(watcher.waitForLines(1, [&] { pty.write("x"); }));

    pty.vanish();

    QVERIFY(watcher.waitForText("(port closed)"));
    QCOMPARE(daemon.kyctl({"serial", "write", "00"}).status, 1);
    // Events keep their order: what another device sends comes behind the last error.
    Pty next;
    QCOMPARE(daemon.kyctl({"serial", "open", next.path()}).status, 0);
    next.write("z");
    QVERIFY(watcher.waitForText("  7a\n"));
    QVERIFY2(watcher.output().count("error: ") <= 3, watcher.output().constData());
}

void tst_DaemonPorts::openingTimeAndAgainLeavesThePortOpen()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;

    for (int i = 0; i < 3; ++i) {
        QVERIFY(isOk(call(daemon, "serial_close")));
        QVERIFY(isOk(call(daemon, "serial_open", lineRequest(pty.path()))));
    }

    QVERIFY(isOk(call(daemon, "serial_write", {{"data", "6f6b"}})));
    QCOMPARE(pty.read(2), QByteArray("ok"));
}

void tst_DaemonPorts::openingTheOpenPortAgainLeavesItOpen()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;
    const QVariantMap request = lineRequest(pty.name());
    QVERIFY(isOk(call(daemon, "serial_open", request)));

    for (int i = 0; i < 3; ++i)
        QCOMPARE(call(daemon, "serial_open", request)["ret_code"].toInt(), 40211);

    QVERIFY(isOk(call(daemon, "serial_write", {{"data", "6f6b"}})));
    QCOMPARE(pty.read(2), QByteArray("ok"));
}

void tst_DaemonPorts::serialErrorsAreTold()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    const QVariantMap closed = call(daemon, "serial_write", {{"data", "00"}});
    QCOMPARE(closed["ret_code"].toInt(), 40212);
    QCOMPARE(closed["err_msg"].toString(), QString("Serialport not open"));
    const QVariantMap missing = call(daemon, "serial_open", {{"portName", "ttyNone9"}});
    QCOMPARE(missing["ret_code"].toInt(), 40211);
    QVERIFY(missing["err_msg"].toString().startsWith("Failed to open serial port:"));
    QCOMPARE(call(daemon, "serial_open")["ret_code"].toInt(), 40002);
    QCOMPARE(call(daemon, "serial_write", {{"data", "0"}})["ret_code"].toInt(), 40002);
    QCOMPARE(call(daemon, "serial_exchange", {{"data", "xy"}})["ret_code"].toInt(), 40002);
    QCOMPARE(call(daemon, "serial_write")["err_msg"].toString(),
             QString("argument [data]: missing"));
    const QVariantMap noLine = call(daemon, "serial_exchange", {{"data", "00"}});
    QCOMPARE(noLine["ret_code"].toInt(), 40213);
    QCOMPARE(noLine["err_msg"].toString(), QString("serial port: closed"));
}

void tst_DaemonPorts::argumentsAreNoBytesToSend_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("sent");

    QTest::newRow("arguments in the data area")
        << QByteArray() << QByteArray(R"({"data":"6162"})") << 0 << QByteArray("ab");
    QTest::newRow("mistyped key in the data area")
        << QByteArray() << QByteArray(R"({"dta":"6162"})") << 40002 << QByteArray();
    QTest::newRow("bytes alone") << QByteArray() << QByteArray("{ab") << 0 << QByteArray("{ab");
    QTest::newRow("a list is no map of arguments")
        << QByteArray() << QByteArray("[1]") << 0 << QByteArray("[1]");
    QTest::newRow("bytes beside arguments")
        << QByteArray("{}") << QByteArray("{}") << 0 << QByteArray("{}");
}

void tst_DaemonPorts::argumentsAreNoBytesToSend()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, sent);
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    Pty pty;
    QVERIFY(isOk(call(daemon, "serial_open", lineRequest(pty.path()))));
    FrameClient client(daemon.port());

    QTEST(client.ask(kSerialWrite, json, data).code(), "code");

    QCOMPARE(client.ask(kSerialWrite, {}, "|").code(), 0);
    QCOMPARE(pty.read(sent.size() + 1), sent + "|");
}

void tst_DaemonPorts::savesAndRemovesSerialPorts()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    QCOMPARE(daemon.kyctl({"serial", "ports", "save", "ttyNone9=19200", "--parity", "even"}).status,
             0);
    const ProgramResult list = daemon.kyctl({"serial", "list"});
    QVERIFY2(list.output.contains("ttyNone9  19200  -1"), list.output.constData());
    QFile file(daemon.home() + "/appInfo/backupFile/serialPort.json");
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\"parity\": 2"));
    QCOMPARE(daemon.kyctl({"serial", "ports", "remove", "ttyNone9"}).status, 0);
    const ProgramResult again = daemon.kyctl({"serial", "ports", "remove", "ttyNone9"});
    QCOMPARE(again.status, 1);
    QVERIFY2(again.errors.contains("Not found:ttyNone9"), again.errors.constData());
    QCOMPARE(call(daemon, "serial_ports_save", {{"ports", 7}})["err_msg"].toString(),
             QString("argument [ports]: not a list of at most 32 objects"));
    QCOMPARE(call(daemon, "serial_ports_save", {{"ports", QVariantList()}})["err_msg"].toString(),
             QString("list is empty"));
}

void tst_DaemonPorts::noMoreSerialPortsAreSavedThanAHostHas()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));
    QVariantList ports;
    for (int i = 0; i < 32; ++i)
        ports << QVariantMap{{"portName", QString("ttyNone%1").arg(i)}};

    QVERIFY(isOk(call(daemon, "serial_ports_save", {{"ports", ports}})));
    ports << QVariantMap{{"portName", "one more"}};
    const QVariantMap refused = call(daemon, "serial_ports_save", {{"ports", ports}});

    QCOMPARE(refused["ret_code"].toInt(), 40002);
    QCOMPARE(refused["err_msg"].toString(),
             QString("argument [ports]: not a list of at most 32 objects"));
    const ProgramResult list = daemon.kyctl({"serial", "list"});
    QVERIFY(list.output.contains("ttyNone31"));
    QVERIFY(!list.output.contains("one more"));
}

void tst_DaemonPorts::kernelWithoutCanIsTold()
{
    if (kernelHasCan())
        QSKIP("this kernel has CAN: the text of a kernel without it cannot show");
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    const QVariantMap answer = call(daemon, "can_open", {{"portName", "can0"}});

    QCOMPARE(answer["ret_code"].toInt(), 40201);
    QCOMPARE(answer["err_msg"].toString(),
             QString("Socket error: Address family not supported by protocol"));
}

void tst_DaemonPorts::sendsAndWatchesCanFrames()
{
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path());
    QCOMPARE(daemon.kyctl({"can", "open", "can0"}).status, 0);
    QVERIFY(bus.accept() >= 0);
    Watcher people(daemon, {"can", "watch", "can0"});
    Watcher scripts(daemon, {"--json", "can", "watch"});

    QCOMPARE(daemon.kyctl({"can", "send", "can0", "18FF50E5#01.02.FF"}).status, 0);
    const can_frame sent = bus.receive();
    QCOMPARE(sent.can_id, 0x98FF50E5u);
    QCOMPARE(int(sent.can_dlc), 3);
    QCOMPARE(int(sent.data[2]), 0xFF);
    QCOMPARE(daemon.kyctl({"can", "send", "can0", "123#R4"}).status, 0);
    QCOMPARE(bus.receive().can_id, 0x40000123u);

    const auto send = [&] { bus.send(1, "first"); };
    QVERIFY(people.waitForLines(1, send) && scripts.waitForLines(1, send));
    bus.send(0x7FF, QByteArray("\x80\0\xFF", 3));
    bus.send(0x80000001, QByteArray());
    bus.send(0x40000123, QByteArray());

    QVERIFY(people.waitForText(")  can0  7FF   [3]  80 00 FF\n"));
    QVERIFY(people.waitForText(")  can0  00000001   [0]\n"));
    QVERIFY(people.waitForText(")  can0  123   [0]  remote request\n"));
    QVERIFY(
        scripts.waitForText("\"data\":\"8000ff\",\"dataLength\":3,\"frameFormat\":0,"
                            "\"frameId\":2047,\"frameType\":0,\"portName\":\"can0\",\"time\":"));
    QCOMPARE(daemon.kyctl({"can", "close", "can0"}).status, 0);
    const ProgramResult closed = daemon.kyctl({"can", "send", "can0", "1#"});
    QCOMPARE(closed.status, 1);
    QVERIFY(closed.errors.contains("Write error[socketId:-1  ret:-1]:Bad file descriptor"));
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

void tst_DaemonPorts::watchingOnePortLeavesTheOthersOut()
{
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus0(daemon.path(), "can0");
    CanBus bus1(daemon.path(), "can1");
    QCOMPARE(daemon.kyctl({"can", "open", "can0"}).status, 0);
    QCOMPARE(daemon.kyctl({"can", "open", "can1"}).status, 0);
    bus0.accept();
    bus1.accept();
    Watcher watcher(daemon, {"can", "watch", "can1", "--count", "2"});

    QVERIFY(watcher.waitForLines(2, [&] {
        bus0.send(0xAA, "other");
        bus1.send(0xBB, "wanted");
    }));

    QVERIFY(watcher.waitEnd());
    QCOMPARE(watcher.output().count("can1  0BB"), 2);
    QCOMPARE(watcher.output().count('\n'), 2);
}

void tst_DaemonPorts::canErrorsAreTold_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");

    const auto row = [](const char* title, const char* name, const QVariantMap& request, int code,
                        const char* text) {
        QTest::newRow(title) << name << request << code << text;
    };
    row("unknown interface", "can_open", {{"portName", "can9"}}, 40201,
        "IOCTL error: No such device");
    row("no name", "can_open", {}, 40002, "argument [portName]: missing");
    row("name of another type", "can_open", {{"portName", 7}}, 40002,
        "argument [portName]: not the name of a network interface");
    row("send on a port never opened", "can_send", {{"portName", "can5"}, {"frameId", 1}}, 40201,
        "[%1] Not opened");
    row("close of a port never opened", "can_close", {{"portName", "can5"}}, 40201,
        "[%1] Not opened");
    row("send without a name", "can_send", {{"frameId", 1}}, 40002, "argument [portName]: missing");
    row("no hexadecimal", "can_send", {{"portName", "can0"}, {"frameId", 1}, {"data", "xx"}}, 40002,
        "argument [data]: not bytes in hexadecimal");
    row("too much data", "can_send",
        {{"portName", "can0"}, {"frameId", 1}, {"data", "000102030405060708"}}, 40201,
        "CAN data [9 bytes]: a frame holds at most 8");
    row("no identifier", "can_send", {{"portName", "can0"}}, 40002, "argument [frameId]: missing");
    row("identifier of 12 bits", "can_send", {{"portName", "can0"}, {"frameId", 0x800}}, 40002,
        "argument [frameId]: not a whole number from 0 to 2047");
    row("length code", "can_send", {{"portName", "can0"}, {"frameId", 1}, {"dataLength", 260}},
        40002, "argument [dataLength]: not a whole number from 0 to 8");
    row("baud rate", "can_config", {{"portName", "can0"}, {"baudRate", "fast"}}, 40002,
        "argument [baudRate]: not a whole number from 1 to 2147483647");
    row("baud rate of another type", "can_config", {{"portName", "can0"}, {"baudRate", true}},
        40002, "argument [baudRate]: not a whole number from 1 to 2147483647");
    row("baud rate past all controllers", "can_config",
        {{"portName", "can0"}, {"baudRate", 4294967297.0}}, 40002,
        "argument [baudRate]: not a whole number from 1 to 2147483647");
    row("baud rate missing", "can_config", {{"portName", "can0"}}, 40002,
        "argument [baudRate]: missing");
    row("more ports than a host has", "can_ports_save",
        {{"ports",
          QVariantList::fromVector(QVector<QVariant>(33, QVariantMap{{"portName", "x"}}))}},
        40002, "argument [ports]: not a list of at most 32 objects");
    row("baud rate of a port to be saved", "can_ports_save",
        {{"ports", QVariantList{QVariantMap{{"portName", "can0"}, {"baudRate", "fast"}}}},
         {"applyConfig", true}},
        40002, "argument [baudRate]: not a whole number from 1 to 2147483647");
    row("list of another type", "can_ports_save", {{"ports", "can0"}}, 40002,
        "argument [ports]: not a list of at most 32 objects");
    row("list of nothing", "can_ports_save", {{"ports", QVariantList()}}, 40202, "list is empty");
}

void tst_DaemonPorts::canErrorsAreTold()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, request);
    static std::unique_ptr<CanDaemon> daemon;
    static std::unique_ptr<CanBus> bus;
    if (!daemon) {
        daemon = std::make_unique<CanDaemon>();
        bus = std::make_unique<CanBus>(daemon->path());
        QVERIFY(isOk(call(*daemon, "can_open", {{"portName", "can0"}})));
    }

    const QVariantMap answer = call(*daemon, name, request);

    QTEST(answer["ret_code"].toInt(), "code");
    QTEST(answer["err_msg"].toString(), "text");
    if (QLatin1String(QTest::currentDataTag()) == QLatin1String("list of nothing")) {
        bus.reset();
        QCOMPARE(daemon->stop(SIGTERM), 0);
        daemon.reset();
    }
}

void tst_DaemonPorts::namesTriedOutDoNotTakeAllThreads()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    for (int i = 0; i < 32; ++i)
        QCOMPARE(call(daemon, "can_open", {{"portName", QString::number(i)}})["ret_code"].toInt(),
                 40201);
    const QVariantMap refused = call(daemon, "can_open", {{"portName", "onemore"}});
    QCOMPARE(refused["ret_code"].toInt(), 40203);
    QCOMPARE(refused["err_msg"].toString(),
             QString("CAN port [onemore]: no such interface, and 32 other names have been tried"));
    QVERIFY2(call(daemon, "can_open", {{"portName", "lo"}})["ret_code"].toInt() == 40201,
             "an interface of the host reaches the port, which says that it has no CAN");
    QCOMPARE(call(daemon, "can_open", {{"portName", "7"}})["ret_code"].toInt(), 40201);
    // The kernel would take either for "lo".
    for (const QString& name : {QString("lo:1"), QString("lo") + QChar(0) + "1"})
        QCOMPARE(call(daemon, "can_open", {{"portName", name}})["ret_code"].toInt(), 40002);
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

void tst_DaemonPorts::savesAndRemovesCanPorts()
{
    DaemonFixture daemon;
    QVERIFY2(daemon.start(), qPrintable(daemon.errorText()));

    QCOMPARE(daemon.kyctl({"can", "ports", "save", "cab0=250000", "cab1=500000"}).status, 0);
    const ProgramResult list = daemon.kyctl({"can", "list"});
    QVERIFY2(list.output.contains("cab1  500000"), list.output.constData());
    QVERIFY(QFile::exists(daemon.home() + "/appInfo/backupFile/canConfig.json"));
    QCOMPARE(daemon.kyctl({"can", "ports", "remove", "cab0"}).status, 0);
    QVERIFY(!daemon.kyctl({"can", "list"}).output.contains("cab0"));
    const ProgramResult again = daemon.kyctl({"can", "ports", "remove", "cab0"});
    QCOMPARE(again.status, 1);
    QVERIFY2(again.errors.contains("Not found:cab0"), again.errors.constData());
}

void tst_DaemonPorts::daemonEndsWhileFramesPourIn()
{
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path());
    QCOMPARE(daemon.kyctl({"can", "open", "can0"}).status, 0);
    bus.accept();
    Watcher watcher(daemon, {"can", "watch"});
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        while (!isOver && bus.send(1, "flood"))
            std::this_thread::yield();
    });
    const bool isFlowing = watcher.waitForText("can0  001");

    const int status = daemon.stop(SIGTERM);
    isOver = true;
    sender.join();

    QVERIFY(isFlowing);
    QCOMPARE(status, 0);
    QVERIFY2(!daemon.errorText().contains("Destroyed while thread"),
             qPrintable(daemon.errorText()));
}

/// The interface has gone: the port's loop goes round without a pause until the end.
void tst_DaemonPorts::daemonEndsWhileReadsFail()
{
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path());
    QCOMPARE(daemon.kyctl({"can", "open", "can0"}).status, 0);
    bus.accept();

    bus.hangUp();

    QVERIFY(QTest::qWaitFor(
        [&] { return daemon.errorText().contains("Incomplete CAN frame received"); }, 5000));
    QCOMPARE(daemon.kyctl({"version"}).status, 0);
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

void tst_DaemonPorts::daemonEndsWhileTheBusTakesNoFrame()
{
    CanDaemon daemon;
    QVERIFY2(daemon.isReady(), qPrintable(daemon.errorText()));
    CanBus bus(daemon.path());
    QVERIFY(isOk(call(daemon, "can_open", {{"portName", "can0"}})));
    bus.accept();
    FrameClient client(daemon.port());

    // More than the bus takes; each of the rest would wait for its second.
    for (int i = 0; i < 1000; ++i)
        client.send(kCanSend, i, R"({"portName":"can0","frameId":1})");
    WireFrame answer;
    do
        answer = client.receive();
    while (answer.isValid && answer.code() == 0);

    QCOMPARE(answer.code(), 40201);
    QVERIFY2(answer.errorText().endsWith("ret:-1]:Resource temporarily unavailable"),
             qPrintable(answer.errorText()));
    QCOMPARE(daemon.kyctl({"version"}).status, 0);
    QCOMPARE(daemon.stop(SIGTERM), 0);
}

void tst_DaemonPorts::wrongWordsAreUsageErrors_data()
{
    QTest::addColumn<QStringList>("words");

    QTest::newRow("no frame") << QStringList{"can", "send", "can0", "123"};
    QTest::newRow("half a byte") << QStringList{"can", "send", "can0", "123#0"};
    QTest::newRow("nine bytes") << QStringList{"can", "send", "can0", "123#000102030405060708"};
    QTest::newRow("identifier over 11 bits") << QStringList{"can", "send", "can0", "800#"};
    QTest::newRow("identifier over 29 bits") << QStringList{"can", "send", "can0", "20000000#"};
    QTest::newRow("remote length") << QStringList{"can", "send", "can0", "123#R9"};
    QTest::newRow("can ports action") << QStringList{"can", "ports", "drop", "can0"};
    QTest::newRow("can port without baud rate") << QStringList{"can", "ports", "save", "can0"};
    QTest::newRow("baud rate is a word") << QStringList{"can", "ports", "save", "can0=fast"};
    QTest::newRow("parity") << QStringList{"serial", "open", "ttyS0", "9600", "--parity", "some"};
    QTest::newRow("serial baud rate") << QStringList{"serial", "open", "ttyS0", "fast"};
    QTest::newRow("watch count") << QStringList{"can", "watch", "--count", "0"};
}

void tst_DaemonPorts::wrongWordsAreUsageErrors()
{
    QFETCH(QStringList, words);

    const ProgramResult result = runProgram("kyctl", words);

    QCOMPARE(result.status, 2);
    QVERIFY(result.output.isEmpty());
    QCOMPARE(result.errors.count('\n'), 1);
}

QTEST_GUILESS_MAIN(tst_DaemonPorts)
#include "tst_DaemonPorts.moc"
