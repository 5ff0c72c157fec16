#include "support/MacAddress.h"

#include <QTest>

class tst_MacAddress : public QObject
{
    Q_OBJECT

private slots:
    void sixPairsOfDigitsAreOne_data();
    void sixPairsOfDigitsAreOne();
};

void tst_MacAddress::sixPairsOfDigitsAreOne_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isAddress");
    QTest::newRow("lower case") << "02:00:00:00:05:0a" << true;
    QTest::newRow("upper case") << "FF:EE:DD:CC:BB:AA" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("a word") << "nonsense" << false;
    QTest::newRow("five pairs") << "02:00:00:00:05" << false;
    QTest::newRow("seven pairs") << "02:00:00:00:05:00:00" << false;
    QTest::newRow("a pair of one digit") << "02:00:00:00:5:00" << false;
    QTest::newRow("a pair of three digits") << "02:00:00:00:005:00" << false;
    QTest::newRow("dashes") << "02-00-00-00-05-00" << false;
    QTest::newRow("no hexadecimal digit") << "02:00:00:00:05:0g" << false;
    QTest::newRow("digit of another script") << "02:00:00:00:05:0\u0665" << false;
    QTest::newRow("line feed behind it") << "02:00:00:00:05:00\n" << false;
    QTest::newRow("blank before it") << " 02:00:00:00:05:00" << false;
    QTest::newRow("a command behind it") << "02:00:00:00:05:00 ;reboot" << false;
}

void tst_MacAddress::sixPairsOfDigitsAreOne()
{
    QFETCH(QString, text);

    QTEST(ky::isMacAddress(text), "isAddress");
}

QTEST_GUILESS_MAIN(tst_MacAddress)
#include "tst_MacAddress.moc"
