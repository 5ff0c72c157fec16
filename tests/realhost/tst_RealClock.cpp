#include "Site.h"

#include "host/PublicClass.h"
#include "time/SystemNTP.h"

#include <QDir>
#include <QElapsedTimer>
#include <QtTest>

/// Clock and time zone of a systemd host, and the own client against a time server that is right.
class tst_RealClock : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void zoneIsSetAndReadBack();
    void listsTheZonesOfTheHost();
    void clockIsSetByHand();
    void ownClientFollowsAServerHoursOff_data();
    void ownClientFollowsAServerHoursOff();

private:
    QTemporaryDir _home;
};

void tst_RealClock::initTestCase()
{
    REQUIRE_SITE();
    QDir::setCurrent(_home.path());
    QDir().mkpath("appInfo/setting");
    PublicClass::init()->hardwareType = -1;
    site::reset();
    site::run(QStringLiteral("nmcli device wifi connect RobotSite password %1").arg(site::kKey));
    QVERIFY(site::canReachRouter());
}

void tst_RealClock::cleanupTestCase()
{
    site::run("ln -sf /usr/share/zoneinfo/UTC /etc/localtime");
    QDir::setCurrent("/");
}

void tst_RealClock::zoneIsSetAndReadBack()
{
    SystemNTP clock;

    QVERIFY2(clock.setSystemTimezone("Asia/Shanghai"), qPrintable(clock.getLastError()));

    QCOMPARE(site::run("readlink /etc/localtime").trimmed(),
             QStringLiteral("/usr/share/zoneinfo/Asia/Shanghai"));
    const QVariantMap status = clock.getTimedatectlStatus();
    QVERIFY2(status.value("Timezone").toString().contains("Asia/Shanghai"),
             qPrintable(QStringList(status.keys()).join('|')));
}

void tst_RealClock::listsTheZonesOfTheHost()
{
    SystemNTP clock;

    const QStringList zones = clock.getTimezoneList();

    QVERIFY(zones.contains("Asia/Shanghai"));
    QVERIFY(zones.size() > 300);
}

void tst_RealClock::clockIsSetByHand()
{
    SystemNTP clock;
    const QDateTime before = QDateTime::currentDateTime();

    QVERIFY2(clock.setSystemTime(before.addSecs(7200), false), qPrintable(clock.getLastError()));

    const qint64 moved = before.msecsTo(QDateTime::currentDateTime());
    QVERIFY2(moved > 7190000 && moved < 7290000, qPrintable(QString::number(moved)));
    QVERIFY(clock.setSystemTime(QDateTime::currentDateTime().addSecs(-7200), false));
}

void tst_RealClock::ownClientFollowsAServerHoursOff_data()
{
    QTest::addColumn<QString>("shift");
    QTest::addColumn<qint64>("shiftMs");
    QTest::newRow("three hours ahead") << "+3h" << qint64(3) * 3600 * 1000;
    QTest::newRow("two days behind") << "-2d" << qint64(-2) * 86400 * 1000;
}

void tst_RealClock::ownClientFollowsAServerHoursOff()
{
    QFETCH(QString, shift);
    QFETCH(qint64, shiftMs);
    site::run(QStringLiteral("kill $(cat /run/ap-chrony.pid); sleep 2; ip netns exec ap env "
                             "LD_PRELOAD=/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1 "
                             "FAKETIME=%1 /opt/chrony/chronyd -x -f /run/ap-chrony.conf; sleep 3")
                  .arg(shift));
    SystemNTP clock;
    QSignalSpy finished(&clock, &SystemNTP::sigSetTimeFinished);
    QElapsedTimer steady; // does not follow the clock
    steady.start();
    const qint64 before = QDateTime::currentMSecsSinceEpoch();

    QVERIFY2(clock.ntpTime(site::kRouter, 123, 0), qPrintable(clock.getLastError()));
    QVERIFY(finished.wait(30000));

    const qint64 due = before + steady.elapsed() + shiftMs;
    const qint64 error = QDateTime::currentMSecsSinceEpoch() - due;
    clock.setSystemTime(QDateTime::currentDateTime().addMSecs(-shiftMs), false);
    qInfo("measured: clock after one exchange with a server %s off: %lld ms from due",
          qPrintable(shift), error);
    QVERIFY2(std::abs(error) < 2000, qPrintable(QString::number(error)));
}

QTEST_GUILESS_MAIN(tst_RealClock)
#include "tst_RealClock.moc"
