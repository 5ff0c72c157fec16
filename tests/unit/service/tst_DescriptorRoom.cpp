#include "ListenerTools.h"

#include "service/DescriptorRoom.h"

#include <QtTest>

/// Whether a process near its limit of descriptors can open so many more.
class tst_DescriptorRoom : public QObject
{
    Q_OBJECT

private slots:
    void countsHolesExactly_data();
    void countsHolesExactly();
    void fullTableHasNoRoom();
    void emptyTopIsRoom();
};

using Numbers = QVector<int>;

namespace {

Numbers range(int first, int count)
{
    Numbers numbers;
    for (int i = 0; i < count; ++i)
        numbers << first + i;
    return numbers;
}

} // namespace

void tst_DescriptorRoom::countsHolesExactly_data()
{
    // The program's own descriptors are below 40.
    QTest::addColumn<int>("limit");
    QTest::addColumn<Numbers>("holes");
    QTest::newRow("one at the top") << 300 << Numbers{299};
    QTest::newRow("one in the middle") << 300 << Numbers{150};
    QTest::newRow("one at the bottom") << 300 << Numbers{40};
    QTest::newRow("scattered") << 300 << Numbers{41, 99, 100, 172, 173, 235, 236, 298};
    QTest::newRow("a whole block") << 256 << range(128, 64);
    QTest::newRow("across blocks") << 256 << range(100, 70);
    QTest::newRow("far below") << 1000 << range(50, 33);
    QTest::newRow("small table") << 50 << Numbers{42, 49};
}

void tst_DescriptorRoom::countsHolesExactly()
{
    QFETCH(int, limit);
    QFETCH(Numbers, holes);
    FullTable table(limit);
    for (int hole : qAsConst(holes))
        QVERIFY2(table.giveBack(hole), qPrintable(QString::number(hole)));
    const int count = holes.size();

    QVERIFY(ky::hasRoomForDescriptors(count - 1));
    QVERIFY(ky::hasRoomForDescriptors(count));
    QVERIFY(!ky::hasRoomForDescriptors(count + 1));
}

void tst_DescriptorRoom::fullTableHasNoRoom()
{
    const FullTable table(300);

    QVERIFY(ky::hasRoomForDescriptors(0));
    QVERIFY(!ky::hasRoomForDescriptors(1));
}

void tst_DescriptorRoom::emptyTopIsRoom()
{
    const DescriptorLimit limit(limitThatLeaves(33));

    QVERIFY(ky::hasRoomForDescriptors(33));
    QVERIFY(!ky::hasRoomForDescriptors(34));
}

QTEST_GUILESS_MAIN(tst_DescriptorRoom)
#include "tst_DescriptorRoom.moc"
