#include "Site.h"

#include "host/PublicClass.h"
#include "ports/CanObject.h"

#include <QProcess>
#include <QtTest>

/// CAN over the kernel's own interfaces, with candump and cansend as the peer.
class tst_RealCan : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init();

    void unknownInterfaceIsRefusedWithTheKernelsWords();
    void receivesWhatCansendSends_data();
    void receivesWhatCansendSends();
    void candumpSeesWhatIsWritten_data();
    void candumpSeesWhatIsWritten();
    void twoPortsAtOnce();
    void interfaceThatGoesDownComesBack();
    void countsLossAtTheRateOfTwoFullBuses();

private:
    static QVariantMap port(const char* name) { return {{"portName", name}}; }
};

void tst_RealCan::init()
{
    site::run("ip link set can0 up; ip link set can1 up");
}

void tst_RealCan::unknownInterfaceIsRefusedWithTheKernelsWords()
{
    CanObject can;
    QSignalSpy finished(&can, &CanObject::sigFinished);

    can.openCan(port("can9"));

    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), -1);
    QVERIFY2(finished.at(0).at(1).toString().contains("No such device"),
             qPrintable(finished.at(0).at(1).toString()));
}

void tst_RealCan::receivesWhatCansendSends_data()
{
    QTest::addColumn<QString>("frame");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("id");
    QTest::addColumn<QByteArray>("data");

    QTest::newRow("standard") << "123#DEADBEEF" << 0 << 0 << 0x123
                              << QByteArray("\xde\xad\xbe\xef");
    QTest::newRow("extended") << "1F334455#1122334455667788" << 1 << 0 << 0x1F334455
                              << QByteArray("\x11\x22\x33\x44\x55\x66\x77\x88");
    QTest::newRow("empty") << "7FF#" << 0 << 0 << 0x7FF << QByteArray();
    QTest::newRow("remote") << "123#R" << 0 << 1 << 0x123 << QByteArray();
}

void tst_RealCan::receivesWhatCansendSends()
{
    QFETCH(QString, frame);
    CanObject can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    can.openCan(port("can0"));

    site::run("cansend can0 " + frame);

    QVERIFY(frames.wait(5000));
    const QVariantMap map = frames.last().at(0).toMap();
    QTEST(map.value("frameType").toInt(), "type");
    QTEST(map.value("frameFormat").toInt(), "format");
    QTEST(map.value("frameId").toInt(), "id");
    QTEST(map.value("data").toByteArray(), "data");
    QCOMPARE(map.value("portName").toString(), QStringLiteral("can0"));
    emit can.sigClose(port("can0"));
}

void tst_RealCan::candumpSeesWhatIsWritten_data()
{
    QTest::addColumn<QVariantMap>("frame");
    QTest::addColumn<QString>("line");

    const auto frame = [](int type, int format, int id, const QByteArray& data) {
        return QVariantMap{{"portName", "can0"},        {"frameType", type},
                           {"frameFormat", format},     {"frameId", id},
                           {"dataLength", data.size()}, {"data", data}};
    };
    QTest::newRow("standard") << frame(0, 0, 0x123, "ab") << "123#6162";
    QTest::newRow("extended") << frame(1, 0, 0x1F334455, "12345678") << "1F334455#3132333435363738";
    QTest::newRow("remote") << frame(0, 1, 0x123, "") << "123#R";
}

void tst_RealCan::candumpSeesWhatIsWritten()
{
    QFETCH(QVariantMap, frame);
    QFETCH(QString, line);
    QProcess candump;
    candump.start("candump", {"-L", "-n", "1", "-T", "10000", "can0"});
    QVERIFY(candump.waitForStarted());
    QTest::qWait(500);
    CanObject can;
    can.openCan(port("can0"));
    QSignalSpy finished(&can, &CanObject::sigFinished);

    emit can.sigWrite(frame);

    QVERIFY(site::waitUntil([&] { return candump.state() == QProcess::NotRunning; }, 12000));
    QCOMPARE(finished.at(0).at(0).toInt(), 0);
    const QString seen = QString::fromLatin1(candump.readAllStandardOutput()).trimmed();
    QVERIFY2(seen.endsWith("can0 " + line), qPrintable(seen));
    emit can.sigClose(port("can0"));
}

void tst_RealCan::twoPortsAtOnce()
{
    CanObject can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    can.openCan(port("can0"));
    can.openCan(port("can1"));

    site::run("cansend can0 001#AA; cansend can1 002#BB");

    QTRY_COMPARE(frames.count(), 2);
    QStringList ports;
    for (const auto& frame : frames)
        ports << frame.at(0).toMap().value("portName").toString();
    ports.sort();
    QCOMPARE(ports, QStringList({"can0", "can1"}));
    emit can.sigClose(port("can0"));
    emit can.sigClose(port("can1"));
}

void tst_RealCan::interfaceThatGoesDownComesBack()
{
    CanObject can;
    QSignalSpy frames(&can, &CanObject::sigFrame);
    QSignalSpy finished(&can, &CanObject::sigFinished);
    can.openCan(port("can0"));

    site::run("ip link set can0 down");
    emit can.sigWrite(
        {{"portName", "can0"}, {"frameId", 1}, {"dataLength", 1}, {"data", QByteArray("x")}});
    QCOMPARE(finished.last().at(0).toInt(), -1);
    QVERIFY2(finished.last().at(1).toString().contains("Network is down"),
             qPrintable(finished.last().at(1).toString()));

    site::run("ip link set can0 up; sleep 1; cansend can0 123#01");
    QVERIFY(site::waitUntil([&] { return frames.count() > 0; }, 10000));
    emit can.sigClose(port("can0"));
}

void tst_RealCan::countsLossAtTheRateOfTwoFullBuses()
{
    constexpr int kSeconds = 60;
    constexpr int kEach = 8000 * kSeconds;
    CanObject can;
    int received = 0;
    connect(&can, &CanObject::sigFrame, &can, [&] { ++received; });
    can.openCan(port("can0"));
    can.openCan(port("can1"));
    QElapsedTimer time;
    time.start();

    QProcess sender;
    sender.start("/bin/sh", {"-c", QStringLiteral("cangen can0 -g 0.125 -n %1 & "
                                                  "cangen can1 -g 0.125 -n %1; wait")
                                       .arg(kEach)});
    QVERIFY(site::waitUntil([&] { return sender.state() == QProcess::NotRunning; }, 600000));
    const qint64 sentMs = time.elapsed();
    QTest::qWait(2000);

    qInfo("measured: %d frames sent in %lld ms (%lld/s), %d received, %d lost", 2 * kEach, sentMs,
          2 * kEach * 1000LL / sentMs, received, 2 * kEach - received);
    QVERIFY(received > 0);
    QVERIFY(received <= 2 * kEach);
    emit can.sigClose(port("can0"));
    emit can.sigClose(port("can1"));
}

QTEST_GUILESS_MAIN(tst_RealCan)
#include "tst_RealCan.moc"
