#include "SimulatedHost.h"
#include "TestClock.h"
#include "TimeServer.h"

#include "host/PublicClass.h"
#include "time/SystemNTP.h"

#include <QDeadlineTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <memory>

namespace {

constexpr int kCutLimitMs = 10000;

/// For 256 seconds in about 18 hours, the third byte of the seconds is zero and every request is
/// cut short. How far to shift this program's clock to be outside of that.
qint64 shiftOutOfTheCut()
{
    const auto isCut = [](qint64 ms) { return (ms / 1000 + 2208988800) / 256 % 256 == 0; };
    const qint64 now = TestClock::machineMs();
    return isCut(now) || isCut(now + 60000) ? 600000 : 0;
}

} // namespace

/// SystemNTP on the simulated host: what the scene's clock and time zone are afterwards.
class tst_HostTime : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void replySetsTheClockOfTheHost();
    void clockSetByHandStands();
    void unreadableTimeIsRefusedInTheLanguageOfTheHost();
    void dateThatDoesNotParseLeavesTheClock();
    void timeSyncOfTheHostIsSwitchedOff();
    void zoneOfTheHostChanges();
    void hostileZonesAreLinkedAndNeverExecuted_data();
    void hostileZonesAreLinkedAndNeverExecuted();
    void zonesOfTheHostAreListed();
    void workingScriptKeepsTheClock();
    void failingScriptOnlySetsTheLastError();
    void timeIsSetWithoutTheScriptOnceThatIsGone();

private:
    qint64 hostMs() const;
    QVariantMap byHand(const QString& time) const
    {
        return {{"isAuto", false}, {"timezone", "Etc/UTC"}, {"localDateTime", time}};
    }

    SimulatedHost _host{SimulatedHost::OfThisProcess};
    std::unique_ptr<QTemporaryDir> _home;
};

void tst_HostTime::initTestCase()
{
    qputenv("TZ", "UTC");
}

void tst_HostTime::init()
{
    _host.reset();
    _home = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir::setCurrent(_home->path()));
    PublicClass::init()->halShPath.clear();
}

void tst_HostTime::cleanup()
{
    TestClock::runWith(0);
    QDir::setCurrent("/");
    _home.reset();
}

/// The time on the clock of the scene.
qint64 tst_HostTime::hostMs() const
{
    return QDateTime::currentMSecsSinceEpoch() + _host.get("clock.offsetMs").toLongLong();
}

void tst_HostTime::replySetsTheClockOfTheHost()
{
    constexpr qint64 kYearMs = 365LL * 86400 * 1000;
    const qint64 shiftMs = shiftOutOfTheCut();
    TestClock::runWith(shiftMs);
    TimeServer server;
    server.answerWithShift(kYearMs);
    SystemNTP ntp(nullptr);
    QSignalSpy finished(&ntp, &SystemNTP::sigSetTimeFinished);

    // A timestamp with a zero byte gets no good answer, but a second later there is another one.
    const QDeadlineTimer deadline(kCutLimitMs);
    while (_host.get("clock.offsetMs").toLongLong() == 0 && !deadline.hasExpired()) {
        finished.clear();
        QVERIFY(ntp.ntpTime("127.0.0.1", server.port(), 10));
        QVERIFY(finished.count() > 0 || finished.wait(5000));
    }

    // Some milliseconds pass between reading the clock and setting it.
    const qint64 offset = _host.get("clock.offsetMs").toLongLong();
    const qint64 error = offset - kYearMs - shiftMs; // the host has the machine's clock
    QVERIFY2(qAbs(error) < 5000, qPrintable(QString::number(error)));
    const QStringList lines = _host.lines();
    QCOMPARE(lines.first(), QStringLiteral("sudo timedatectl set-ntp false"));
    QVERIFY(
        lines
            .filter(QRegularExpression(
                "^sudo timedatectl set-time '\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}'$"))
            .size() == 1);
    QCOMPARE(lines.last(), QStringLiteral("sudo timedatectl set-local-rtc 0"));
}

void tst_HostTime::clockSetByHandStands()
{
    SystemNTP ntp(nullptr);

    QVERIFY2(ntp.setTimeConfig(byHand("2026-01-02 03:04:05")), qPrintable(ntp.getLastError()));

    const qint64 wanted = QDateTime({2026, 1, 2}, {3, 4, 5}, Qt::UTC).toMSecsSinceEpoch();
    QVERIFY(qAbs(hostMs() - wanted) < 5000);
    QVERIFY(ntp.getTimedatectlStatus()
                .value("Localtime")
                .toString()
                .startsWith("Fri 2026-01-02 03:04:"));
}

void tst_HostTime::unreadableTimeIsRefusedInTheLanguageOfTheHost()
{
    for (const auto& [language, reason] :
         {std::pair{"en", "Invalid argument"}, std::pair{"zh", "无效的参数"}}) {
        const auto result = _host.run("timedatectl set-time hello", language);

        QCOMPARE(result.status, 1);
        QCOMPARE(result.error, QByteArray("Failed to read time 'hello': ") + reason + "\n");
        QCOMPARE(_host.get("clock.offsetMs"), QStringLiteral("0"));
    }
}

void tst_HostTime::dateThatDoesNotParseLeavesTheClock()
{
    SystemNTP ntp(nullptr);

    QVERIFY(!ntp.setTimeConfig(byHand("2026-01-02'; reboot; '")));

    QCOMPARE(_host.get("clock.offsetMs"), QStringLiteral("0"));
    QCOMPARE(ntp.getLastError().trimmed(),
             QStringLiteral("Failed to read time '': Invalid argument"));
    QVERIFY(_host.lines().filter("reboot").isEmpty());
    QVERIFY(!QFile::exists("appInfo/setting/WirelessCard.ini"));
}

void tst_HostTime::timeSyncOfTheHostIsSwitchedOff()
{
    _host.set("clock.ntp", "true");

    SystemNTP ntp(nullptr);

    QCOMPARE(_host.get("clock.ntp"), QStringLiteral("false"));
    QVERIFY(ntp.setSystemTime(QDateTime({2026, 1, 2}, {3, 4, 5}), false));
}

void tst_HostTime::zoneOfTheHostChanges()
{
    SystemNTP ntp(nullptr);

    QVERIFY2(ntp.setSystemTimezone("Asia/Shanghai"), qPrintable(ntp.getLastError()));

    QCOMPARE(ntp.getTimedatectlStatus().value("Timezone").toString(),
             QStringLiteral("Asia/Shanghai (CST, +0800)"));
}

void tst_HostTime::hostileZonesAreLinkedAndNeverExecuted_data()
{
    QTest::addColumn<QString>("zone");

    QTest::newRow("path") << "../../etc/passwd";
    QTest::newRow("code") << "; reboot";
    QTest::newRow("substitution") << "$(touch /tmp/x)`reboot`";
    QTest::newRow("empty") << "";
}

void tst_HostTime::hostileZonesAreLinkedAndNeverExecuted()
{
    QFETCH(QString, zone);
    SystemNTP ntp(nullptr);
    _host.clearLines();

    QVERIFY2(ntp.setSystemTimezone(zone), qPrintable(ntp.getLastError()));

    const auto calls = _host.calls();
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls.at(1).arguments,
             QStringList({"sudo", "ln", "-s", "/usr/share/zoneinfo/" + zone, "/etc/localtime"}));
}

void tst_HostTime::zonesOfTheHostAreListed()
{
    SystemNTP ntp(nullptr);

    const QStringList zones = ntp.getTimezoneList();

    QVERIFY(zones.contains("Asia/Shanghai"));
    QCOMPARE(zones.last(), QString());
}

void tst_HostTime::workingScriptKeepsTheClock()
{
    PublicClass::init()->halShPath = _host.platformScript();
    SystemNTP ntp(nullptr);

    QVERIFY(ntp.setTimeConfig(
        {{"isAuto", true}, {"timezone", "Etc/UTC"}, {"url", "127.0.0.1"}, {"port", 123}}));

    QVERIFY(!_host.lines().filter("ntp open").isEmpty());
    QVERIFY(!_host.lines().filter("ntp server 127.0.0.1").isEmpty());
    QCOMPARE(ntp.getLastError(), QString());
    QVERIFY(!ntp.findChild<QTimer*>());
}

void tst_HostTime::failingScriptOnlySetsTheLastError()
{
    PublicClass::init()->halShPath = _home->filePath("hal.sh");
    QFile script(PublicClass::init()->halShPath);
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\necho \"no $2 here\" >&2\nexit 1\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    SystemNTP ntp(nullptr);
    QCOMPARE(ntp.getLastError().trimmed(), QStringLiteral("no close here"));

    QVERIFY(ntp.setTimeConfig({{"isAuto", true}, {"timezone", "Etc/UTC"}, {"url", "127.0.0.1"}}));

    QCOMPARE(ntp.getLastError().trimmed(), QStringLiteral("no server here"));
}

void tst_HostTime::timeIsSetWithoutTheScriptOnceThatIsGone()
{
    PublicClass::init()->halShPath = _host.platformScript();
    SystemNTP ntp(nullptr);
    PublicClass::init()->halShPath = _home->filePath("gone.sh");

    QVERIFY(ntp.setTimeConfig(byHand("2026-01-02 03:04:05")));

    QVERIFY(_host.get("clock.offsetMs").toLongLong() != 0);
}

QTEST_GUILESS_MAIN(tst_HostTime)
#include "tst_host_time.moc"
