#include "cli/Table.h"

#include <QTest>

class tst_Table : public QObject
{
    Q_OBJECT

private slots:
    void widthIsThatOfATerminal_data();
    void widthIsThatOfATerminal();
    void columnsAlignByWidthNotByLength();
    void rowsOfDifferentLengthAreTaken();
    void recordsMakeATable();
    void noRecordIsSaid();
    void mapLeavesOutWhatEveryAnswerHas();
    void valuesReadWell_data();
    void valuesReadWell();
    void reportsKeepTheirLinesOnly();
};

void tst_Table::widthIsThatOfATerminal_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");
    QTest::newRow("empty") << "" << 0;
    QTest::newRow("Latin") << "abc" << 3;
    QTest::newRow("Chinese") << "世界" << 4;
    QTest::newRow("mixed") << "AP-会议室" << 9;
    QTest::newRow("full-width digit") << "１" << 2;
    QTest::newRow("Hangul") << "한" << 2;
    QTest::newRow("combining accent") << QString("e") + QChar(0x301) << 1;
    QTest::newRow("beyond the basic plane") << QString::fromUtf8("𠀀") << 2;
    QTest::newRow("emoji") << QString::fromUtf8("📶") << 2;
    QTest::newRow("box drawing") << "│" << 1;
}

void tst_Table::widthIsThatOfATerminal()
{
    QFETCH(QString, text);
    QFETCH(int, width);

    QCOMPARE(ky::displayWidth(text), width);
}

void tst_Table::columnsAlignByWidthNotByLength()
{
    const QStringList lines = ky::alignColumns({{"世界", "x"}, {"abcde", "y"}, {"a", "z"}});

    QCOMPARE(lines, (QStringList{"世界   x", "abcde  y", "a      z"}));
}

void tst_Table::rowsOfDifferentLengthAreTaken()
{
    QCOMPARE(ky::alignColumns({{"a"}, {"b", "c"}, {}}), (QStringList{"a", "b  c", ""}));
}

void tst_Table::recordsMakeATable()
{
    const QVariantList records{QVariantMap{{"ssid", "厂房"}, {"rssi", -61}},
                               QVariantMap{{"ssid", "lab"}}};

    QCOMPARE(ky::tableText(records, {{"ssid", "SSID"}, {"rssi", "dBm"}}),
             QString("SSID  dBm\n厂房  -61\nlab   -\n"));
}

void tst_Table::noRecordIsSaid()
{
    QCOMPARE(ky::tableText({}, {{"ssid", "SSID"}}), QString("none\n"));
}

void tst_Table::mapLeavesOutWhatEveryAnswerHas()
{
    const QVariantMap common{{"ret_code", 0}, {"err_msg", ""}, {"create_on", "now"}};
    QCOMPARE(ky::mapText(common), QString("done\n"));

    QVariantMap map = common;
    map.insert("volume", 40);
    map.insert("mute", false);
    QCOMPARE(ky::mapText(map), QString("mute    no\nvolume  40\n"));
}

void tst_Table::valuesReadWell_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("yes") << QVariant(true) << "yes";
    QTest::newRow("whole number of JSON") << QVariant(300000000.0) << "300000000";
    QTest::newRow("fraction") << QVariant(0.5) << "0.5";
    QTest::newRow("list") << QVariant(QVariantList{1, "a"}) << "1, a";
    QTest::newRow("map") << QVariant(QVariantMap{{"a", 1}}) << "{\"a\":1}";
    QTest::newRow("nothing") << QVariant() << "";
    QTest::newRow("terminal escape") << QVariant(QString("\x1b[2Jx\ny")) << "?[2Jx?y";
}

void tst_Table::valuesReadWell()
{
    QFETCH(QVariant, value);
    QFETCH(QString, text);

    QCOMPARE(ky::valueText(value), text);
}

void tst_Table::reportsKeepTheirLinesOnly()
{
    QCOMPARE(ky::printableText(QString::fromUtf8("a\x1b[2J\r\t\x7f\xc2\x9b\n世\n")),
             QString::fromUtf8("a?[2J????\n世\n"));
    QCOMPARE(ky::valueText(QStringLiteral("a\nb")), QStringLiteral("a?b"));
}

QTEST_GUILESS_MAIN(tst_Table)
#include "tst_Table.moc"
