#include "network/decisions/RoamCandidates.h"
#include "network/decisions/RoamingDecision.h"

#include <QTest>

#include <limits>
#include <optional>

using Level = std::optional<int>;
using ky::AccessPoint;
using ky::RoamReason;

Q_DECLARE_METATYPE(Level)
Q_DECLARE_METATYPE(ky::RoamReason)

namespace {

constexpr int kMarginDb = 7;
constexpr int kFloorDbm = -85;
const Level kAbsent;

AccessPoint accessPoint(const char* bssid, int frequencyMhz, int signalDbm)
{
    AccessPoint accessPoint;
    accessPoint.bssid = QLatin1String(bssid);
    accessPoint.frequency = QString::number(frequencyMhz);
    accessPoint.rssi = QString::number(signalDbm);
    accessPoint.ssid = QStringLiteral("site");
    return accessPoint;
}

} // namespace

class tst_RoamingDecision : public QObject
{
    Q_OBJECT

private slots:
    void scansAtAndBelowTheThresholdOnly_data();
    void scansAtAndBelowTheThresholdOnly();
    void firstRuleThatFitsDecides_data();
    void firstRuleThatFitsDecides();
    void everyCombinationFollowsTheOrderOfTheRules();
    void extremeLevelsDoNotOverflow();
    void frequencyDecidesTheBand_data();
    void frequencyDecidesTheBand();
    void strongestComesFirst();
    void laterOfTwoWithOneLevelStays();
    void damagedLevelIsKept();
    void targetHasTheSsidAndAnotherBssid_data();
    void targetHasTheSsidAndAnotherBssid();
};

void tst_RoamingDecision::scansAtAndBelowTheThresholdOnly_data()
{
    QTest::addColumn<int>("nowDbm");
    QTest::addColumn<bool>("scans");

    QTest::newRow("one below") << -67 << true;
    QTest::newRow("at") << -66 << true;
    QTest::newRow("one above") << -65 << false;
}

void tst_RoamingDecision::scansAtAndBelowTheThresholdOnly()
{
    QFETCH(int, nowDbm);

    ky::RoamLimits limits;
    limits.startScanningDbm = -66;

    QTEST(ky::needsScan(nowDbm, limits), "scans");
}

void tst_RoamingDecision::firstRuleThatFitsDecides_data()
{
    QTest::addColumn<int>("nowDbm");
    QTest::addColumn<Level>("best5GDbm");
    QTest::addColumn<Level>("best24GDbm");
    QTest::addColumn<bool>("isOnlyTo5G");
    QTest::addColumn<RoamReason>("reason");
    const auto row = [](const char* name, int now, Level best5G, Level best24G, bool only5G,
                        RoamReason reason) {
        QTest::newRow(name) << now << best5G << best24G << only5G << reason;
    };

    row("5 GHz one below the margin", -70, -64, kAbsent, false, RoamReason::Stay);
    row("5 GHz at the margin", -70, -63, kAbsent, false, RoamReason::Margin5G);
    row("5 GHz one above the margin", -70, -62, kAbsent, false, RoamReason::Margin5G);
    row("5 GHz at the margin, only 5 GHz", -70, -63, kAbsent, true, RoamReason::Margin5G);
    row("5 GHz at the margin beats 2.4 GHz 10 dB better", -70, -63, -53, false,
        RoamReason::Margin5G);
    row("5 GHz at the margin at the floor", -85, -78, kAbsent, false, RoamReason::Margin5G);

    row("2.4 GHz one below the margin", -70, kAbsent, -64, false, RoamReason::Stay);
    row("2.4 GHz at the margin", -70, kAbsent, -63, false, RoamReason::Margin24G);
    row("2.4 GHz one above the margin", -70, kAbsent, -62, false, RoamReason::Margin24G);
    row("2.4 GHz at the margin, only 5 GHz", -70, kAbsent, -63, true, RoamReason::Stay);
    row("2.4 GHz at the margin, 5 GHz one below", -70, -64, -63, false, RoamReason::Margin24G);
    row("2.4 GHz at the margin wins over 5 GHz at the floor", -85, -84, -78, false,
        RoamReason::Margin24G);
    row("the same, only 5 GHz", -85, -84, -78, true, RoamReason::Floor5G);

    row("5 GHz better by one, one above the floor", -84, -83, kAbsent, false, RoamReason::Stay);
    row("5 GHz better by one, at the floor", -85, -84, kAbsent, false, RoamReason::Floor5G);
    row("5 GHz better by one, one below the floor", -86, -85, kAbsent, false, RoamReason::Floor5G);
    row("5 GHz equal at the floor", -85, -85, kAbsent, false, RoamReason::Stay);
    row("5 GHz weaker at the floor", -85, -86, kAbsent, false, RoamReason::Stay);
    row("5 GHz better by one at the floor, 2.4 GHz too", -85, -84, -80, false, RoamReason::Floor5G);

    row("2.4 GHz better by one, one above the floor", -84, kAbsent, -83, false, RoamReason::Stay);
    row("2.4 GHz better by one, at the floor", -85, kAbsent, -84, false, RoamReason::Floor24G);
    row("2.4 GHz better by one, one below the floor", -86, kAbsent, -85, false,
        RoamReason::Floor24G);
    row("2.4 GHz equal at the floor", -85, kAbsent, -85, false, RoamReason::Stay);
    row("2.4 GHz weaker at the floor", -85, kAbsent, -86, false, RoamReason::Stay);
    row("2.4 GHz at the floor, 5 GHz equal", -85, -85, -84, false, RoamReason::Floor24G);
    row("2.4 GHz at the floor, only 5 GHz", -85, kAbsent, -79, true, RoamReason::Stay);
    row("nobody at the floor", -90, kAbsent, kAbsent, false, RoamReason::Stay);
    row("nobody at the floor, only 5 GHz", -90, kAbsent, kAbsent, true, RoamReason::Stay);
}

void tst_RoamingDecision::firstRuleThatFitsDecides()
{
    QFETCH(int, nowDbm);
    QFETCH(Level, best5GDbm);
    QFETCH(Level, best24GDbm);
    QFETCH(bool, isOnlyTo5G);

    const ky::RoamReason reason =
        ky::chooseRoam({nowDbm, best5GDbm, best24GDbm}, {-66, kMarginDb, kFloorDbm, isOnlyTo5G});

    QTEST(reason, "reason");
}

// The rules written once more, as conditions over all levels around every threshold.
void tst_RoamingDecision::everyCombinationFollowsTheOrderOfTheRules()
{
    const QVector<Level> bests = {kAbsent, -95, -87, -86, -85, -84, -83, -79, -78, -77, -71, -60};
    int switched = 0;
    for (int now = -90; now <= -66; ++now) {
        for (const Level& best5G : bests) {
            for (const Level& best24G : bests) {
                for (bool only5G : {false, true}) {
                    RoamReason expected = RoamReason::Stay;
                    if (best5G && *best5G >= now + kMarginDb)
                        expected = RoamReason::Margin5G;
                    else if (!only5G && best24G && *best24G >= now + kMarginDb)
                        expected = RoamReason::Margin24G;
                    else if (best5G && now <= kFloorDbm && *best5G > now)
                        expected = RoamReason::Floor5G;
                    else if (!only5G && best24G && now <= kFloorDbm && *best24G > now)
                        expected = RoamReason::Floor24G;
                    switched += expected != RoamReason::Stay;
                    QCOMPARE(
                        ky::chooseRoam({now, best5G, best24G}, {-66, kMarginDb, kFloorDbm, only5G}),
                        expected);
                }
            }
        }
    }
    QVERIFY(switched > 1000);
}

void tst_RoamingDecision::extremeLevelsDoNotOverflow()
{
    const int lowest = std::numeric_limits<int>::min();
    const int highest = std::numeric_limits<int>::max();

    QCOMPARE(ky::chooseRoam({lowest, highest, kAbsent}, {-66, 7, -85, false}),
             RoamReason::Margin5G);
    QCOMPARE(ky::chooseRoam({highest, lowest, lowest}, {-66, 7, -85, false}), RoamReason::Stay);
}

void tst_RoamingDecision::frequencyDecidesTheBand_data()
{
    QTest::addColumn<int>("frequencyMhz");
    QTest::addColumn<bool>("is5GHz");

    QTest::newRow("4999") << 4999 << false;
    QTest::newRow("5000") << 5000 << true;
    QTest::newRow("5001") << 5001 << true;
    QTest::newRow("no number") << 0 << false;
}

void tst_RoamingDecision::frequencyDecidesTheBand()
{
    QFETCH(int, frequencyMhz);
    QFETCH(bool, is5GHz);

    ky::BandLists lists;
    lists.add(accessPoint("02:00", frequencyMhz, -60));

    QCOMPARE(lists.fiveGhz.size(), is5GHz ? 1 : 0);
    QCOMPARE(lists.twoFourGhz.size(), is5GHz ? 0 : 1);
}

void tst_RoamingDecision::strongestComesFirst()
{
    ky::BandLists lists;
    QVERIFY(!lists.fiveGhz.strongest());

    lists.add(accessPoint("weak", 5180, -80));
    lists.add(accessPoint("strong", 5200, -50));
    lists.add(accessPoint("middle", 5220, -65));

    QCOMPARE(lists.fiveGhz.strongest()->bssid, QStringLiteral("strong"));
    QCOMPARE(lists.fiveGhz.size(), 3);
    QVERIFY(!lists.twoFourGhz.strongest());
}

void tst_RoamingDecision::laterOfTwoWithOneLevelStays()
{
    ky::BandLists lists;
    lists.add(accessPoint("first", 2412, -60));
    lists.add(accessPoint("second", 2437, -60));

    QCOMPARE(lists.twoFourGhz.size(), 1);
    QCOMPARE(lists.twoFourGhz.strongest()->bssid, QStringLiteral("second"));
}

void tst_RoamingDecision::damagedLevelIsKept()
{
    AccessPoint damaged = accessPoint("damaged", 2412, -60);
    damaged.rssi = QStringLiteral("-2147483648");
    ky::BandList list;
    list.add(damaged);
    list.add(accessPoint("whole", 2412, -99));

    QCOMPARE(list.strongest()->bssid, QStringLiteral("whole"));
    QCOMPARE(list.size(), 2);
}

void tst_RoamingDecision::targetHasTheSsidAndAnotherBssid_data()
{
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("bssid");
    QTest::addColumn<bool>("isTarget");

    QTest::newRow("another access point") << "site"
                                          << "02:01" << true;
    QTest::newRow("the one in use") << "site"
                                    << "02:00" << false;
    QTest::newRow("another network") << "Site"
                                     << "02:01" << false;
}

void tst_RoamingDecision::targetHasTheSsidAndAnotherBssid()
{
    QFETCH(QString, ssid);
    QFETCH(QString, bssid);

    AccessPoint seen = accessPoint("", 5180, -60);
    seen.ssid = ssid;
    seen.bssid = bssid;

    QTEST(ky::isRoamTarget(seen, QStringLiteral("site"), QStringLiteral("02:00")), "isTarget");
}

QTEST_APPLESS_MAIN(tst_RoamingDecision)
#include "tst_RoamingDecision.moc"
