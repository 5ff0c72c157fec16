#include "cli/Progress.h"

#include <QTest>

class tst_Progress : public QObject
{
    Q_OBJECT

private slots:
    void sizesHaveUnits_data();
    void sizesHaveUnits();
    void textTellsRateAndRest_data();
    void textTellsRateAndRest();
    void barFills_data();
    void barFills();
};

void tst_Progress::sizesHaveUnits_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("0") << qint64(0) << "0 B";
    QTest::newRow("1023") << qint64(1023) << "1023 B";
    QTest::newRow("1024") << qint64(1024) << "1.0 KiB";
    QTest::newRow("just below a MiB") << qint64(1048575) << "1.0 MiB";
    QTest::newRow("MiB") << qint64(1572864) << "1.5 MiB";
    QTest::newRow("GiB") << (qint64(3) << 30) << "3.0 GiB";
    QTest::newRow("beyond TiB") << (qint64(5000) << 40) << "5000.0 TiB";
}

void tst_Progress::sizesHaveUnits()
{
    QFETCH(qint64, bytes);
    QFETCH(QString, text);

    QCOMPARE(ky::sizeText(bytes), text);
}

void tst_Progress::textTellsRateAndRest_data()
{
    QTest::addColumn<qint64>("sent");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<qint64>("elapsedMs");
    QTest::addColumn<QString>("text");
    const qint64 mib = 1 << 20;
    QTest::newRow("nothing yet") << qint64(0) << 100 * mib << qint64(0) << "  0 %";
    QTest::newRow("nothing for a while") << qint64(0) << 100 * mib << qint64(5000) << "  0 %";
    QTest::newRow("in no time") << mib << 100 * mib << qint64(0) << "  1 %";
    QTest::newRow("half") << 50 * mib << 100 * mib << qint64(5000)
                          << " 50 %   10.0 MiB/s   ETA 0:05";
    QTest::newRow("minutes left") << mib << 101 * mib << qint64(1000)
                                  << "  0 %   1.0 MiB/s   ETA 1:40";
    QTest::newRow("done") << 100 * mib << 100 * mib << qint64(5000) << "100 %   20.0 MiB/s";
    QTest::newRow("empty file") << qint64(0) << qint64(0) << qint64(10) << "100 %";
}

void tst_Progress::textTellsRateAndRest()
{
    QFETCH(qint64, sent);
    QFETCH(qint64, total);
    QFETCH(qint64, elapsedMs);
    QFETCH(QString, text);

    QCOMPARE(ky::progressText(sent, total, elapsedMs), text);
}

void tst_Progress::barFills_data()
{
    QTest::addColumn<qint64>("sent");
    QTest::addColumn<QString>("bar");
    QTest::newRow("0") << qint64(0) << "[..........]";
    QTest::newRow("9") << qint64(9) << "[..........]";
    QTest::newRow("10") << qint64(10) << "[#.........]";
    QTest::newRow("99") << qint64(99) << "[#########.]";
    QTest::newRow("100") << qint64(100) << "[##########]";
    QTest::newRow("more than all") << qint64(120) << "[##########]";
}

void tst_Progress::barFills()
{
    QFETCH(qint64, sent);
    QFETCH(QString, bar);

    QVERIFY(ky::progressBar(sent, 100, 0, 10).startsWith(bar + ' '));
}

QTEST_GUILESS_MAIN(tst_Progress)
#include "tst_Progress.moc"
