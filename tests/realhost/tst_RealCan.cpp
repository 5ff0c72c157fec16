#include "HostDaemon.h"
#include "Site.h"

#include "host/PublicClass.h"
#include "ports/CanObject.h"

#include <QProcess>
#include <QtTest>

/// The site's CAN ports: set up by the library's lines, driven through kyctl with candump and
/// cansend as the peer, and at the rate of two full buses.
class tst_RealCan : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init();

    void setUpBringsBothUpWithALongQueue();
    void framesGoBothWaysThroughKyctl();
    void countsLossAtTheRateOfTwoFullBuses();

private:
    static QVariantMap port(const char* name) { return {{"portName", name}}; }
};

namespace {

qint64 framesOnTheWire()
{
    qint64 frames = 0;
    for (const char* name : {"can0", "can1"})
        frames += site::run(QStringLiteral("cat /sys/class/net/%1/statistics/tx_packets")
                                .arg(QLatin1String(name)))
                      .trimmed()
                      .toLongLong();
    return frames;
}

} // namespace

void tst_RealCan::init()
{
    site::run("ip link set can0 up; ip link set can1 up");
}

// The timing is refused by an interface that has none, which no one is told; all else is done.
void tst_RealCan::setUpBringsBothUpWithALongQueue()
{
    site::run("ip link set can0 down; ip link set can1 down txqueuelen 10");
    CanObject can;

    can.init();

    for (const char* name : {"can0", "can1"}) {
        const QString link = site::run(QStringLiteral("ip link show ") + QLatin1String(name));
        QVERIFY2(link.contains(",UP") && link.contains("qlen 1000"), qPrintable(link));
    }
    QVERIFY(site::run("ip link set can0 type can bitrate 250000").contains("not supported"));
}

void tst_RealCan::framesGoBothWaysThroughKyctl()
{
    site::HostDaemon daemon;
    QVERIFY2(daemon.isUp(), qPrintable(daemon.log()));
    QCOMPARE(daemon.ctl({"can", "open", "can0"}).status, 0);

    QProcess watch;
    watch.start("kyctl", {"can", "watch", "can0"});
    QProcess candump;
    candump.start("candump", {"-L", "can0"});
    QVERIFY(watch.waitForStarted() && candump.waitForStarted());
    QByteArray watched;
    QByteArray dumped;
    // Neither tells when it listens, so the peer and kyctl both send until both were heard.
    const bool isHeard = site::waitUntil(
        [&] {
            site::run("cansend can0 1F334455#1122334455667788; cansend can0 123#R");
            daemon.ctl({"can", "send", "can0", "7FF#DEADBEEF"});
            watched += watch.readAllStandardOutput();
            dumped += candump.readAllStandardOutput();
            return watched.contains("remote request") && dumped.contains("7FF#DEADBEEF");
        },
        40000);
    watch.kill();
    candump.kill();
    watch.waitForFinished();
    candump.waitForFinished();

    QVERIFY2(isHeard, (watched + dumped).constData());
    QVERIFY2(watched.contains("can0  1F334455   [8]  11 22 33 44 55 66 77 88"),
             watched.constData());
    QCOMPARE(daemon.ctl({"can", "send", "can7", "123#00"}).status, 1); // not open
}

void tst_RealCan::countsLossAtTheRateOfTwoFullBuses()
{
    const int rate = qEnvironmentVariableIsSet("KY_REALHOST_CAN_RATE")
                         ? qEnvironmentVariableIntValue("KY_REALHOST_CAN_RATE")
                         : 16000;
    const int seconds = 60;
    QFile secondOfTraffic("/run/ky-can.log");
    QVERIFY(secondOfTraffic.open(QIODevice::WriteOnly));
    for (int frame = 0; frame < rate; ++frame)
        secondOfTraffic.write(QStringLiteral("(1.%1) can%2 %3#1122334455667788\n")
                                  .arg(frame * 1000000LL / rate, 6, 10, QLatin1Char('0'))
                                  .arg(frame % 2)
                                  .arg(frame % 0x800, 3, 16, QLatin1Char('0'))
                                  .toUpper()
                                  .replace("CAN", "can")
                                  .toLatin1());
    secondOfTraffic.close();
    CanObject can;
    qint64 received = 0;
    connect(&can, &CanObject::sigFrame, &can, [&] { ++received; });
    can.openCan(port("can0"));
    can.openCan(port("can1"));
    const qint64 before = framesOnTheWire();
    QElapsedTimer time;
    time.start();

    // The sender ends by itself: while frames come faster than they are handled, the event loop
    // does not come back.
    QProcess player;
    player.start("timeout", {QString::number(seconds), "canplayer", "-I",
                             secondOfTraffic.fileName(), "-l", QString::number(seconds)});
    QVERIFY(player.waitForStarted());
    while (player.state() != QProcess::NotRunning)
        QTest::qWait(100);
    const qint64 sent = framesOnTheWire() - before;
    for (qint64 soFar = -1; soFar != received && !time.hasExpired(300000); QTest::qWait(1000))
        soFar = received;

    qInfo("measured: CAN at %d frames/s for %d s: %lld sent on two interfaces, %lld received, %lld "
          "lost, "
          "all handled after %lld s",
          rate, seconds, sent, received, sent - received, time.elapsed() / 1000);
    QVERIFY(received > 0);
    QVERIFY(received <= sent);
    emit can.sigClose(port("can0"));
    emit can.sigClose(port("can1"));
}

QTEST_GUILESS_MAIN(tst_RealCan)
#include "tst_RealCan.moc"
