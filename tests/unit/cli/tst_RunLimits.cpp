#include "cli/RunLimits.h"

#include <QTest>

#include <limits>

class tst_RunLimits : public QObject
{
    Q_OBJECT

private slots:
    void withoutOptionsThereIsNoEnd();
    void valuesAreChecked_data();
    void valuesAreChecked();
};

void tst_RunLimits::withoutOptionsThereIsNoEnd()
{
    const auto limits = ky::readRunLimits(QString(), QString());

    QVERIFY(limits);
    QVERIFY(limits->count < 0);
    QVERIFY(limits->forMs < 0);
}

void tst_RunLimits::valuesAreChecked_data()
{
    QTest::addColumn<QString>("count");
    QTest::addColumn<QString>("seconds");
    QTest::addColumn<bool>("isGood");
    QTest::addColumn<int>("expectedCount");
    QTest::addColumn<int>("expectedMs");
    QTest::newRow("both") << "3"
                          << "0.2" << true << 3 << 200;
    QTest::newRow("count below 1") << "0" << QString() << false << 0 << 0;
    QTest::newRow("count below 0") << "-5" << QString() << false << 0 << 0;
    QTest::newRow("count of 1") << "1" << QString() << true << 1 << -1;
    QTest::newRow("highest count")
        << "2147483647" << QString() << true << std::numeric_limits<int>::max() << -1;
    QTest::newRow("count above it") << "2147483648" << QString() << false << 0 << 0;
    QTest::newRow("count in words") << "two" << QString() << false << 0 << 0;
    QTest::newRow("shortest") << QString() << "0.001" << true << -1 << 1;
    QTest::newRow("below it") << QString() << "0.0009" << false << 0 << 0;
    QTest::newRow("time below 0") << QString() << "-1" << false << 0 << 0;
    QTest::newRow("longest") << QString() << "2147483" << true << -1 << 2147483000;
    QTest::newRow("above it") << QString() << "2147484" << false << 0 << 0;
    QTest::newRow("far above it") << QString() << "1e300" << false << 0 << 0;
    QTest::newRow("time in words") << QString() << "x" << false << 0 << 0;
    QTest::newRow("no number") << QString() << "nan" << false << 0 << 0;
    QTest::newRow("empty count") << "" << QString() << false << 0 << 0;
    QTest::newRow("empty time") << QString() << "" << false << 0 << 0;
    QTest::newRow("without end") << QString() << "inf" << false << 0 << 0;
}

void tst_RunLimits::valuesAreChecked()
{
    QFETCH(QString, count);
    QFETCH(QString, seconds);
    QFETCH(bool, isGood);

    const auto limits = ky::readRunLimits(count, seconds);

    QCOMPARE(limits.has_value(), isGood);
    QTEST(limits.value_or(ky::RunLimits{0, 0}).count, "expectedCount");
    QTEST(limits.value_or(ky::RunLimits{0, 0}).forMs, "expectedMs");
}

QTEST_GUILESS_MAIN(tst_RunLimits)
#include "tst_RunLimits.moc"
