#include "ports/PortRecords.h"

#include <QElapsedTimer>
#include <QtTest>

class tst_PortRecords : public QObject
{
    Q_OBJECT

private slots:
    void onlyAListHoldsRecords();
    void takesFirstRecordOfTheName();
    void savedCanPortTakesStateOfItsInterface_data();
    void savedCanPortTakesStateOfItsInterface();
    void savedCanPortWithoutInterfaceKeepsItsContent();
    void unsavedInterfaceIsStateZeroEvenIfRunning();
    void interfaceGivesItsStateToOneRecordOnly();
    void openIsAskedUnderNameNotPortName();
    void entriesThatAreNoRecordsStay();
    void serialStates_data();
    void serialStates();
    void serialPortSavedTwiceEndsAsAbsent();
    void serialPortListedTwiceByTheHostUsesUpItsRecords();
    void longSerialListIsMergedAtOnce();
    void noFileAndOneDeviceGivesOneRecord();
};

namespace {

QVariantMap port(const QString& name)
{
    return {{"portName", name}};
}

bool neverOpen(const QString&)
{
    return false;
}

} // namespace

void tst_PortRecords::onlyAListHoldsRecords()
{
    QCOMPARE(ky::portRecords(QVariantList{port("can0")}).size(), 1);
    QVERIFY(ky::portRecords(QVariantMap{{"portName", "can0"}}).isEmpty());
    QVERIFY(ky::portRecords("can0").isEmpty());
    QVERIFY(ky::portRecords(QVariant()).isEmpty());
}

void tst_PortRecords::takesFirstRecordOfTheName()
{
    QVariantMap second = port("can0");
    second["baudRate"] = 2;
    QVariantList records{7, port("can1"), port("can0"), second};

    QVERIFY(ky::takePort(records, "can0"));
    QCOMPARE(records, QVariantList({7, port("can1"), second}));
    QVERIFY(!ky::takePort(records, "can2"));
    QVERIFY(!ky::takePort(records, QString()));
    QCOMPARE(records.size(), 3);
}

void tst_PortRecords::savedCanPortTakesStateOfItsInterface_data()
{
    QTest::addColumn<bool>("isUpAndRunning");
    QTest::addColumn<int>("state");

    QTest::newRow("up and running") << true << 1;
    QTest::newRow("present") << false << -1;
}

void tst_PortRecords::savedCanPortTakesStateOfItsInterface()
{
    QFETCH(bool, isUpAndRunning);

    const QVariantList ports =
        ky::mergeCanPorts({port("can0")}, {{"can0", isUpAndRunning}}, neverOpen);

    QCOMPARE(ports.size(), 1);
    QTEST(ports[0].toMap()["state"].toInt(), "state");
}

void tst_PortRecords::savedCanPortWithoutInterfaceKeepsItsContent()
{
    QVariantMap saved = port("can5");
    saved["state"] = 17;
    saved["note"] = "lift";

    QCOMPARE(ky::mergeCanPorts({saved, port("can6")}, {}, neverOpen),
             QVariantList({saved, port("can6")}));
}

void tst_PortRecords::unsavedInterfaceIsStateZeroEvenIfRunning()
{
    const QVariantList ports =
        ky::mergeCanPorts({port("can1")}, {{"can0", true}, {"can1", true}}, neverOpen);

    QCOMPARE(ports, QVariantList({QVariantMap{{"portName", "can1"}, {"state", 1}},
                                  QVariantMap{{"portName", "can0"}, {"state", 0}}}));
}

void tst_PortRecords::interfaceGivesItsStateToOneRecordOnly()
{
    const QVariantList ports =
        ky::mergeCanPorts({port("can0"), port("can0")}, {{"can0", true}}, neverOpen);

    QCOMPARE(ports, QVariantList({QVariantMap{{"portName", "can0"}, {"state", 1}}, port("can0")}));
}

void tst_PortRecords::openIsAskedUnderNameNotPortName()
{
    QVariantMap named = port("can1");
    named["name"] = "can0";
    const auto isCan0 = [](const QString& name) { return name == "can0"; };

    const QVariantList ports = ky::mergeCanPorts({port("can0"), named}, {}, isCan0);

    QVERIFY(!ports[0].toMap().contains("isOpen"));
    QCOMPARE(ports[1].toMap()["isOpen"], QVariant(true));
}

void tst_PortRecords::entriesThatAreNoRecordsStay()
{
    const auto everyOne = [](const QString&) { return true; };
    const QVariantList saved{7, "can0", QVariantList{1}};

    QCOMPARE(ky::mergeCanPorts(saved, {}, everyOne), saved);
    QCOMPARE(ky::mergeSerialPorts(saved, {}), saved);
}

void tst_PortRecords::serialStates_data()
{
    QTest::addColumn<QVariantMap>("saved");
    QTest::addColumn<bool>("isPresent");
    QTest::addColumn<int>("state");

    const QVariantMap configured{{"portName", "ttyS1"}, {"baudRate", 9600}};
    QTest::newRow("known and present") << configured << true << 1;
    QTest::newRow("present, no baud rate") << port("ttyS1") << true << 0;
    QTest::newRow("configured and absent") << configured << false << -1;
    QTest::newRow("absent, no baud rate") << port("ttyS1") << false << -1;
}

void tst_PortRecords::serialStates()
{
    QFETCH(QVariantMap, saved);
    QFETCH(bool, isPresent);

    const QVariantList ports =
        ky::mergeSerialPorts({saved}, isPresent ? QStringList("ttyS1") : QStringList());

    QCOMPARE(ports.size(), 1);
    QTEST(ports[0].toMap()["state"].toInt(), "state");
}

void tst_PortRecords::serialPortSavedTwiceEndsAsAbsent()
{
    const QVariantMap saved{{"portName", "ttyS1"}, {"baudRate", 9600}};

    const QVariantList ports = ky::mergeSerialPorts({saved, saved}, {"ttyS1"});

    QCOMPARE(ports[0].toMap()["state"], QVariant(-1));
    QVERIFY(!ports[1].toMap().contains("state"));
}

void tst_PortRecords::serialPortListedTwiceByTheHostUsesUpItsRecords()
{
    const QVariantMap saved{{"portName", "ttyS1"}, {"baudRate", 9600}};

    const QVariantList ports = ky::mergeSerialPorts({7, saved, saved}, {"ttyS1", "ttyS1", "ttyS1"});

    QCOMPARE(ports.size(), 4);
    QCOMPARE(ports[0], QVariant(7));
    QCOMPARE(ports[1].toMap()["state"], QVariant(1));
    QVERIFY(!ports[2].toMap().contains("state"));
    QCOMPARE(ports[3].toMap(), QVariantMap({{"portName", "ttyS1"}, {"state", 0}}));
}

void tst_PortRecords::longSerialListIsMergedAtOnce()
{
    QVariantList saved;
    for (int i = 0; i < 20000; ++i)
        saved << port(QString("tty%1").arg(i));
    QElapsedTimer clock;
    clock.start();

    const QVariantList ports = ky::mergeSerialPorts(saved, {"tty19999", "ttyS0"});

    QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(ports.size(), 20001);
    QCOMPARE(ports[0].toMap()["state"].toInt(), -1);
    QCOMPARE(ports[19999].toMap()["state"].toInt(), 0);
    QCOMPARE(ports[19998].toMap()["state"].toInt(), -1);
    QCOMPARE(ports[20000].toMap()["portName"].toString(), QString("ttyS0"));
}

void tst_PortRecords::noFileAndOneDeviceGivesOneRecord()
{
    QCOMPARE(ky::mergeSerialPorts({}, {"ttyS0"}),
             QVariantList({QVariantMap{{"portName", "ttyS0"}, {"state", 0}}}));
    QVERIFY(ky::mergeSerialPorts({}, {}).isEmpty());
}

QTEST_GUILESS_MAIN(tst_PortRecords)
#include "tst_PortRecords.moc"
