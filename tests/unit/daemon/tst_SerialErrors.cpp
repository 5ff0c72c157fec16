#include "daemon/SerialErrors.h"

#include <QSerialPort>
#include <QTest>

using Errors = QVector<int>;

class tst_SerialErrors : public QObject
{
    Q_OBJECT

private slots:
    void tellsTheThirdOfARun_data();
    void tellsTheThirdOfARun();
    void aClearedRunBeginsAnew();
    void onlyTheRestOfARunIsAStorm();
};

void tst_SerialErrors::tellsTheThirdOfARun_data()
{
    using P = QSerialPort;
    QTest::addColumn<Errors>("errors");
    QTest::addColumn<int>("goneAt"); // from 1; 0: the port stays

    QTest::newRow("two failed reads") << Errors{P::ReadError, P::ReadError} << 0;
    QTest::newRow("three failed reads") << Errors{P::ReadError, P::ReadError, P::ReadError} << 3;
    QTest::newRow("told once") << Errors(10, P::ReadError) << 3;
    QTest::newRow("mixed") << Errors{P::WriteError, P::ResourceError, P::ReadError} << 3;
    QTest::newRow("opened again and again") << Errors(10, P::NoError) << 0;
    QTest::newRow("opened while open") << Errors(10, P::OpenError) << 0;
    QTest::newRow("exchanges without an answer") << Errors(10, P::TimeoutError) << 0;
    QTest::newRow("no such device") << Errors(10, P::DeviceNotFoundError) << 0;
    QTest::newRow("setting refused") << Errors(10, P::UnsupportedOperationError) << 0;
    QTest::newRow("opened in between")
        << Errors{P::ReadError, P::ReadError, P::NoError, P::ReadError, P::ReadError} << 0;
    QTest::newRow("gone after it was opened again")
        << Errors{P::ReadError, P::NoError, P::ReadError, P::ReadError, P::ReadError} << 5;
}

void tst_SerialErrors::tellsTheThirdOfARun()
{
    QFETCH(Errors, errors);
    ky::SerialErrors run;
    Errors told;

    for (int i = 0; i < errors.size(); ++i) {
        if (run.isDeviceGone(errors[i]))
            told << i + 1;
    }

    QFETCH(int, goneAt);
    QCOMPARE(told, goneAt ? Errors{goneAt} : Errors{});
}

void tst_SerialErrors::aClearedRunBeginsAnew()
{
    ky::SerialErrors run;
    run.isDeviceGone(QSerialPort::ReadError);
    run.isDeviceGone(QSerialPort::ReadError);

    run.clear();

    QVERIFY(!run.isDeviceGone(QSerialPort::ReadError));
}

void tst_SerialErrors::onlyTheRestOfARunIsAStorm()
{
    ky::SerialErrors run;
    for (int i = 0; i < 3; ++i) {
        run.isDeviceGone(QSerialPort::ReadError);
        QVERIFY(!run.isStorm());
    }

    run.isDeviceGone(QSerialPort::ReadError);
    QVERIFY(run.isStorm());
    run.isDeviceGone(QSerialPort::NoError);
    QVERIFY(!run.isStorm());
}

QTEST_GUILESS_MAIN(tst_SerialErrors)
#include "tst_SerialErrors.moc"
