#include "ports/CanObject.h"
#include "ports/CanSetup.h"

#include "LogCapture.h"
#include "host/PublicClass.h"
#include "recorded/RecordedHost.h"

#include <QElapsedTimer>
#include <QtTest>

/// The lines of an interface's set-up. `config` runs for real here, pauses included.
class tst_CanSetup : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void configuresInterface_data();
    void configuresInterface();
    void goesOnAfterEachFailure();
    void defaultSetupStartsWithTheSecondChannel();
    void escapesWhatIsNoPlainWord_data();
    void escapesWhatIsNoPlainWord();

private:
    RecordedHost& _host = RecordedHost::instance();
};

namespace {

struct Observed
{
    QStringList lines;
    QVector<qint64> pausesMs; ///< before each line but the first
};

/// Runs `action` and notes when each command came.
Observed observe(const std::function<void()>& action)
{
    Observed seen;
    QElapsedTimer clock;
    RecordedHost::instance().onCall([&](const RecordedHost::Call& call) {
        if (!seen.lines.isEmpty())
            seen.pausesMs << clock.elapsed();
        seen.lines << call.line;
        clock.start();
    });
    action();
    return seen;
}

} // namespace

void tst_CanSetup::init()
{
    _host.reset();
}

void tst_CanSetup::cleanup()
{
    PublicClass::init()->tbxName.clear();
}

void tst_CanSetup::configuresInterface_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("baudrate");
    QTest::addColumn<QString>("tail");

    const QString common = " phase-seg2 10 sjw 4 restart-ms 50";
    const auto row = [&](const char* name, const char* baudrate, const char* timing) {
        QTest::newRow(name) << "TBX100" << baudrate << timing + common;
    };
    row("20000", "20000", "tq 625 prop-seg 34 phase-seg1 35");
    row("50000", "50000", "tq 250 prop-seg 34 phase-seg1 35");
    row("100000", "100000", "tq 125 prop-seg 34 phase-seg1 35");
    row("125000", "125000", "tq 100 prop-seg 34 phase-seg1 35");
    row("250000", "250000", "tq 50 prop-seg 34 phase-seg1 35");
    row("500000", "500000", "tq 25 prop-seg 34 phase-seg1 35");
    row("1000000", "1000000", "tq 25 prop-seg 14 phase-seg1 15");
    row("any other rate has the timing of 250000", "300000", "tq 50 prop-seg 34 phase-seg1 35");
    QTest::newRow("TBX880") << "TBX880"
                            << "500000"
                            << "bitrate 500000";
    QTest::newRow("TBX880 passes any rate") << "TBX880"
                                            << "300000"
                                            << "bitrate 300000";
}

void tst_CanSetup::configuresInterface()
{
    QFETCH(QString, model);
    QFETCH(QString, baudrate);
    QFETCH(QString, tail);
    CanObject can;

    LogCapture log("ky.ports");
    const Observed seen = observe([&] { can.config("can0", baudrate, model); });
    QCOMPARE(
        log.lines(),
        QStringList(
            QString("[debug][config]dev: can0 baudrate: %1 tbxName: %2").arg(baudrate, model)));

    QCOMPARE(seen.lines, QStringList({"ifconfig can0 down", "ip link set can0 type can " + tail,
                                      "ip link set can0 txqueuelen 1000", "ifconfig can0 up"}));
    QVERIFY2(seen.pausesMs[0] >= 500 && seen.pausesMs[0] < 900, "behind the down");
    QVERIFY2(seen.pausesMs[1] >= 500 && seen.pausesMs[1] < 900, "behind the timing");
    QVERIFY2(seen.pausesMs[2] >= 100 && seen.pausesMs[2] < 480, "behind the queue length");
    for (const RecordedHost::Call& call : _host.calls()) {
        QCOMPARE(call.limitMs, 20000);
        QVERIFY(call.wait);
    }
}

void tst_CanSetup::goesOnAfterEachFailure()
{
    _host.answerOthers({"No such device", false});
    CanObject can;

    can.config("can7", "250000", QString());

    QCOMPARE(_host.lines().size(), 4);
    QCOMPARE(can.lastError(), QString());
}

void tst_CanSetup::defaultSetupStartsWithTheSecondChannel()
{
    PublicClass::init()->tbxName = "TBX880";
    CanObject can;

    can.init();

    const QStringList lines = _host.lines();
    QCOMPARE(lines.size(), 8);
    QCOMPARE(lines.mid(0, 2),
             QStringList({"ifconfig can1 down", "ip link set can1 type can bitrate 250000"}));
    QCOMPARE(lines.mid(4, 2),
             QStringList({"ifconfig can0 down", "ip link set can0 type can bitrate 250000"}));
}

void tst_CanSetup::escapesWhatIsNoPlainWord_data()
{
    QTest::addColumn<QString>("dev");
    QTest::addColumn<QString>("down");

    QTest::newRow("empty") << ""
                           << "ifconfig  down";
    QTest::newRow("another command") << "can0; reboot"
                                     << "ifconfig 'can0; reboot' down";
    QTest::newRow("quote") << "can0'"
                           << "ifconfig 'can0'\\''' down";
}

void tst_CanSetup::escapesWhatIsNoPlainWord()
{
    QFETCH(QString, dev);

    QTEST(ky::canSetupSteps(dev, "250000", QString()).first().line, "down");
    QCOMPARE(ky::canTimingLine("can0", "1;2", "TBX880"),
             QString("ip link set can0 type can bitrate '1;2'"));
}

QTEST_GUILESS_MAIN(tst_CanSetup)
#include "tst_CanSetup.moc"
