#include "network/decisions/SupervisionDecision.h"

#include <QTest>

using ky::AfterProbe;
using ky::CycleRoad;
using ky::LinkReport;
using ky::Probe;
using ky::SupervisionState;

Q_DECLARE_METATYPE(ky::CycleRoad)
Q_DECLARE_METATYPE(ky::Probe)
Q_DECLARE_METATYPE(ky::LinkReport)
Q_DECLARE_METATYPE(ky::AfterProbe)

namespace {

SupervisionState roaming()
{
    SupervisionState state;
    state.isRoamingEnabled = true;
    return state;
}

} // namespace

class tst_SupervisionDecision : public QObject
{
    Q_OBJECT

private slots:
    void roadOfACycle_data();
    void roadOfACycle();
    void probeNeedsItsTarget_data();
    void probeNeedsItsTarget();
    void outcomeOfAProbe_data();
    void outcomeOfAProbe();
    void watchingIsWantedByAllFourSettings();
};

void tst_SupervisionDecision::roadOfACycle_data()
{
    QTest::addColumn<bool>("roams");
    QTest::addColumn<bool>("disabled");
    QTest::addColumn<bool>("paused");
    QTest::addColumn<int>("method");
    QTest::addColumn<bool>("hasTargets");
    QTest::addColumn<CycleRoad>("road");
    const auto row = [](const char* name, bool roams, bool disabled, bool paused, int method,
                        bool hasTargets, CycleRoad road) {
        QTest::newRow(name) << roams << disabled << paused << method << hasTargets << road;
    };

    row("no roaming, no method", false, false, false, 0, true, CycleRoad::Wait);
    row("no roaming, ping", false, false, false, 1, true, CycleRoad::Watch);
    row("no roaming, ping without target", false, false, false, 1, false, CycleRoad::Wait);
    row("no roaming, HTTP is not probed", false, false, false, 2, true, CycleRoad::Wait);
    row("no roaming, card off", false, true, false, 1, true, CycleRoad::Watch);
    row("no roaming, card off, no method", false, true, false, 0, true, CycleRoad::Wait);
    row("no roaming, paused", false, false, true, 1, true, CycleRoad::Watch);
    row("roaming", true, false, false, 0, true, CycleRoad::Work);
    row("roaming, ping", true, false, false, 1, true, CycleRoad::Work);
    row("roaming, card off", true, true, false, 1, true, CycleRoad::Stop);
    row("roaming, card off and paused", true, true, true, 1, true, CycleRoad::Stop);
    row("roaming, paused", true, false, true, 1, true, CycleRoad::Wait);
}

void tst_SupervisionDecision::roadOfACycle()
{
    QFETCH(bool, roams);
    QFETCH(bool, disabled);
    QFETCH(bool, paused);
    QFETCH(int, method);
    QFETCH(bool, hasTargets);
    SupervisionState state;
    state.isRoamingEnabled = roams;
    state.isCardDisabled = disabled;
    state.isPaused = paused;
    state.method = method;
    state.hasPingTarget = hasTargets;
    state.hasUrlTarget = hasTargets;

    QTEST(ky::chooseRoad(state), "road");
}

void tst_SupervisionDecision::probeNeedsItsTarget_data()
{
    QTest::addColumn<int>("method");
    QTest::addColumn<bool>("hasPing");
    QTest::addColumn<bool>("hasUrl");
    QTest::addColumn<Probe>("probe");

    QTest::newRow("none") << 0 << true << true << Probe::None;
    QTest::newRow("ping") << 1 << true << false << Probe::Ping;
    QTest::newRow("ping without target") << 1 << false << true << Probe::None;
    QTest::newRow("HTTP") << 2 << false << true << Probe::Url;
    QTest::newRow("HTTP without target") << 2 << true << false << Probe::None;
    QTest::newRow("unknown method") << 3 << true << true << Probe::None;
    QTest::newRow("negative method") << -1 << true << true << Probe::None;
}

void tst_SupervisionDecision::probeNeedsItsTarget()
{
    QFETCH(int, method);
    QFETCH(bool, hasPing);
    QFETCH(bool, hasUrl);
    SupervisionState state = roaming();
    state.method = method;
    state.hasPingTarget = hasPing;
    state.hasUrlTarget = hasUrl;

    QTEST(ky::chooseProbe(state), "probe");
}

void tst_SupervisionDecision::outcomeOfAProbe_data()
{
    QTest::addColumn<bool>("reports");
    QTest::addColumn<bool>("resets");
    QTest::addColumn<bool>("isGood");
    QTest::addColumn<LinkReport>("report");
    QTest::addColumn<AfterProbe>("next");

    QTest::newRow("good") << true << true << true << LinkReport::Good << AfterProbe::Wait;
    QTest::newRow("good, no reset")
        << true << false << true << LinkReport::Good << AfterProbe::Wait;
    QTest::newRow("good, silent") << false << true << true << LinkReport::None << AfterProbe::Wait;
    QTest::newRow("lost") << true << true << false << LinkReport::Lost << AfterProbe::Repair;
    QTest::newRow("lost, no reset")
        << true << false << false << LinkReport::Lost << AfterProbe::Roam;
    QTest::newRow("lost, silent") << false << true << false << LinkReport::None
                                  << AfterProbe::Repair;
    QTest::newRow("lost, silent, no reset")
        << false << false << false << LinkReport::None << AfterProbe::Roam;
}

void tst_SupervisionDecision::outcomeOfAProbe()
{
    QFETCH(bool, reports);
    QFETCH(bool, resets);
    QFETCH(bool, isGood);
    SupervisionState state = roaming();
    state.isReporting = reports;
    state.isRepairingByReset = resets;

    const ky::ProbeOutcome outcome = ky::judgeProbe(state, isGood);

    QTEST(outcome.report, "report");
    QTEST(outcome.next, "next");
}

void tst_SupervisionDecision::watchingIsWantedByAllFourSettings()
{
    const QString ip = QStringLiteral("10.0.0.1");

    QVERIFY(ky::isWatchingWanted(true, false, 1, ip));

    QVERIFY(!ky::isWatchingWanted(false, false, 1, ip)); // does not report
    QVERIFY(!ky::isWatchingWanted(true, true, 1, ip));   // roams
    QVERIFY(!ky::isWatchingWanted(true, false, 0, ip));
    QVERIFY(!ky::isWatchingWanted(true, false, 2, ip));
    QVERIFY(!ky::isWatchingWanted(true, false, 1, QString()));
}

QTEST_APPLESS_MAIN(tst_SupervisionDecision)
#include "tst_SupervisionDecision.moc"
