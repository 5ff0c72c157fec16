#include "network/decisions/ScanThreadDecision.h"

#include <QTest>

#include <limits>

using Level = std::optional<int>;
using ky::ScanThreadMove;

Q_DECLARE_METATYPE(Level)
Q_DECLARE_METATYPE(ky::ScanThreadMove)

namespace {

constexpr int kSwitchingDb = 7;
constexpr int kAutoSwitchDbm = -75;
constexpr bool kRepeats = true;
constexpr bool kEnds = false;
const Level kAbsent;

} // namespace

class tst_ScanThreadDecision : public QObject
{
    Q_OBJECT

private slots:
    void eachRowOfTheTable_data();
    void eachRowOfTheTable();
    void extremeLevelsDoNotOverflow();
    void eachMoveHasItsLine_data();
    void eachMoveHasItsLine();
};

void tst_ScanThreadDecision::eachRowOfTheTable_data()
{
    QTest::addColumn<int>("nowDbm");
    QTest::addColumn<Level>("best5GDbm");
    QTest::addColumn<Level>("best24GDbm");
    QTest::addColumn<bool>("isOnlyTo5G");
    QTest::addColumn<ScanThreadMove>("move");
    QTest::addColumn<bool>("repeats");
    const auto row = [](const char* name, int now, Level best5G, Level best24G, bool only5G,
                        ScanThreadMove move, bool repeats) {
        QTest::newRow(name) << now << best5G << best24G << only5G << move << repeats;
    };
    using Move = ScanThreadMove;

    row("5 GHz better by one less", -74, -68, kAbsent, false, Move::Stay, kEnds);
    row("5 GHz better by the margin", -74, -67, kAbsent, false, Move::Switch5G, kRepeats);
    row("5 GHz better by one more", -74, -66, kAbsent, false, Move::Switch5G, kRepeats);
    row("5 GHz weaker by one less", -70, -76, kAbsent, false, Move::Stay, kEnds);
    row("5 GHz weaker by the margin", -70, -77, kAbsent, false, Move::Switch5G, kRepeats);
    row("5 GHz weaker by one more", -70, -78, kAbsent, false, Move::Switch5G, kRepeats);
    row("5 GHz by the margin beats 2.4 GHz", -74, -67, -90, false, Move::Switch5G, kRepeats);
    row("5 GHz by the margin, only 5 GHz", -74, -67, -90, true, Move::Switch5G, kRepeats);

    row("5 GHz near, 2.4 GHz weaker by one less", -70, -70, -76, false, Move::Stay, kEnds);
    row("5 GHz near, 2.4 GHz weaker by the margin", -70, -70, -77, false, Move::Switch24G, kEnds);
    row("5 GHz near, 2.4 GHz weaker by one more", -70, -70, -78, false, Move::Switch24G, kEnds);
    row("5 GHz near, 2.4 GHz far stronger", -70, -70, -40, false, Move::Stay, kEnds);
    row("5 GHz near, 2.4 GHz there, at the floor", -75, -75, -75, false, Move::Stay, kEnds);

    row("5 GHz near, one above the floor", -74, -74, kAbsent, false, Move::Stay, kEnds);
    row("5 GHz near, at the floor", -75, -75, kAbsent, false, Move::AutoSwitch5G, kEnds);
    row("5 GHz near, one below the floor", -76, -76, kAbsent, false, Move::AutoSwitch5G, kEnds);
    row("5 GHz weaker, at the floor", -75, -81, kAbsent, false, Move::AutoSwitch5G, kEnds);
    row("the same, only 5 GHz, 2.4 GHz there", -75, -75, -90, true, Move::AutoSwitch5G, kEnds);
    row("only 5 GHz, above the floor, 2.4 GHz there", -74, -74, -90, true, Move::Stay, kEnds);

    row("only 2.4 GHz, only 5 GHz wanted", -80, kAbsent, -90, true, Move::ReportOnly24G, kRepeats);
    row("nobody, only 5 GHz wanted", -80, kAbsent, kAbsent, true, Move::Stay, kRepeats);

    row("2.4 GHz weaker by one less", -80, kAbsent, -86, false, Move::Stay, kEnds);
    row("2.4 GHz weaker by the margin", -80, kAbsent, -87, false, Move::Switch24G, kEnds);
    row("2.4 GHz weaker by one more", -80, kAbsent, -88, false, Move::Switch24G, kEnds);
    row("2.4 GHz far stronger", -80, kAbsent, -40, false, Move::Stay, kEnds);

    row("nobody", -80, kAbsent, kAbsent, false, Move::Stay, kRepeats);
}

void tst_ScanThreadDecision::eachRowOfTheTable()
{
    QFETCH(int, nowDbm);
    QFETCH(Level, best5GDbm);
    QFETCH(Level, best24GDbm);
    QFETCH(bool, isOnlyTo5G);

    const ky::ScanThreadDecision decision = ky::decideScanThread(
        {nowDbm, best5GDbm, best24GDbm, isOnlyTo5G, kSwitchingDb, kAutoSwitchDbm});

    QTEST(decision.move, "move");
    QTEST(decision.asksToRepeat, "repeats");
}

void tst_ScanThreadDecision::extremeLevelsDoNotOverflow()
{
    const int lowest = std::numeric_limits<int>::min();
    const int highest = std::numeric_limits<int>::max();

    QCOMPARE(ky::decideScanThread({highest, lowest, kAbsent, false, 7, -75}).move,
             ScanThreadMove::Switch5G);
    QCOMPARE(ky::decideScanThread({lowest, kAbsent, highest, false, 7, -75}).move,
             ScanThreadMove::Stay);
    QCOMPARE(ky::decideScanThread({highest, kAbsent, lowest, false, 7, -75}).move,
             ScanThreadMove::Switch24G);
}

void tst_ScanThreadDecision::eachMoveHasItsLine_data()
{
    QTest::addColumn<ScanThreadMove>("move");
    QTest::addColumn<QString>("line");

    QTest::newRow("to 5 GHz") << ScanThreadMove::Switch5G << "Switch AP:[-71>-80(7)]";
    QTest::newRow("to 2.4 GHz") << ScanThreadMove::Switch24G << "Switch AP:[-92>-80(7)]";
    QTest::newRow("at the floor") << ScanThreadMove::AutoSwitch5G << "Auto Switch AP:[-71>-80]";
    QTest::newRow("only 2.4 GHz there")
        << ScanThreadMove::ReportOnly24G << "Not Switch AP:[CurrentRssi:-80 Max2.4GRssi:-92]";
    QTest::newRow("staying") << ScanThreadMove::Stay << "";
}

void tst_ScanThreadDecision::eachMoveHasItsLine()
{
    QFETCH(ScanThreadMove, move);

    const QString line =
        ky::scanThreadLine(move, {-80, -71, -92, false, kSwitchingDb, kAutoSwitchDbm});

    QTEST(line, "line");
}

QTEST_APPLESS_MAIN(tst_ScanThreadDecision)
#include "tst_ScanThreadDecision.moc"
