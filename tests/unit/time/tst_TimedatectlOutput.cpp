#include "time/TimedatectlOutput.h"

#include <QtTest>

class tst_TimedatectlOutput : public QObject
{
    Q_OBJECT

private slots:
    void readsCapturedStatus_data();
    void readsCapturedStatus();
    void labelsAreTheToolsOwn();
    void linesBecomeKeys_data();
    void linesBecomeKeys();
    void warningOfALocalHardwareClockAddsNothing();
    void everyCutOfAStatusIsRead();
    void readsCapturedZones();
    void emptyPartsOfTheZonesAreKept();
    void zonesWithoutALineEndAreNone();
};

namespace {

QString capture(const QString& name)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/timedatectl/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

void tst_TimedatectlOutput::readsCapturedStatus_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("localTime");
    QTest::addColumn<QString>("zone");
    QTest::addColumn<QString>("service");

    QTest::newRow("plain") << "status.c.out"
                           << "Sat 2026-11-21 08:44:33 UTC"
                           << "Etc/UTC (UTC, +0000)"
                           << "inactive";
    QTest::newRow("Chinese weekday") << "status-ntp-on.zh.out"
                                     << "六 2026-11-21 08:44:46 UTC"
                                     << "Etc/UTC (UTC, +0000)"
                                     << "active";
    QTest::newRow("Shanghai") << "status-shanghai-40s-later.c.out"
                              << "Sat 2026-11-21 16:54:29 CST"
                              << "Asia/Shanghai (CST, +0800)"
                              << "inactive";
    QTest::newRow("link to nothing") << "status-unknown-fresh.c.out"
                                     << "Sat 2026-11-21 08:54:32 UTC"
                                     << "n/a (UTC, +0000)"
                                     << "inactive";
}

void tst_TimedatectlOutput::readsCapturedStatus()
{
    QFETCH(QString, file);

    const QVariantMap status = ky::parseTimedatectlStatus(capture(file));

    QTEST(status.value("Localtime").toString(), "localTime");
    QTEST(status.value("Timezone").toString(), "zone");
    QTEST(status.value("NTPservice").toString(), "service");
    QCOMPARE(status.value("RTCinlocalTZ").toString(), QStringLiteral("no"));
}

void tst_TimedatectlOutput::labelsAreTheToolsOwn()
{
    const QStringList keys = ky::parseTimedatectlStatus(capture("status.c.out")).keys();

    QCOMPARE(keys, QStringList({"Localtime", "NTPservice", "RTCinlocalTZ", "RTCtime",
                                "Systemclocksynchronized", "Timezone", "Universaltime"}));
}

void tst_TimedatectlOutput::linesBecomeKeys_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariantMap>("status");

    QTest::newRow("empty") << "" << QVariantMap();
    QTest::newRow("no line end") << "Time zone: UTC" << QVariantMap();
    QTest::newRow("no colon") << "hello\nworld\n" << QVariantMap();
    QTest::newRow("colon without a blank") << "a:b\n" << QVariantMap();
    QTest::newRow("not available") << "RTC time: n/a\n" << QVariantMap{{"RTCtime", "n/a"}};
    QTest::newRow("third part is dropped") << "a: b: c\n" << QVariantMap{{"a", "b"}};
    QTest::newRow("empty value") << "a: \n" << QVariantMap{{"a", ""}};
    QTest::newRow("empty label") << ": b\n" << QVariantMap{{"", "b"}};
    QTest::newRow("later line wins") << "a: 1\na: 2\n" << QVariantMap{{"a", "2"}};
    QTest::newRow("tab stays") << "\ta b: 1\n" << QVariantMap{{"\tab", "1"}};
    QTest::newRow("last line without its end") << "x\na: 1" << QVariantMap{{"a", "1"}};
}

void tst_TimedatectlOutput::linesBecomeKeys()
{
    QFETCH(QString, text);
    QFETCH(QVariantMap, status);

    QCOMPARE(ky::parseTimedatectlStatus(text), status);
}

void tst_TimedatectlOutput::warningOfALocalHardwareClockAddsNothing()
{
    const QVariantMap status = ky::parseTimedatectlStatus(capture("status-local-rtc.c.out"));

    QCOMPARE(status.value("RTCinlocalTZ").toString(), QStringLiteral("yes"));
    // The label of the warning is followed by ": ", like any other.
    QCOMPARE(status.value("Warning").toString(),
             QStringLiteral("The system is configured to read the RTC time in the local time "
                            "zone."));
    QCOMPARE(status.size(), 8);
}

void tst_TimedatectlOutput::everyCutOfAStatusIsRead()
{
    const QString text = capture("status.c.out");
    const QVariantMap whole = ky::parseTimedatectlStatus(text);
    QVERIFY(text.size() > 300);

    for (int size = 0; size < text.size(); ++size) {
        const QVariantMap cut = ky::parseTimedatectlStatus(text.left(size));
        for (auto it = cut.begin(); it != cut.end(); ++it)
            QVERIFY(whole.value(it.key()).toString().startsWith(it.value().toString()));
    }
}

void tst_TimedatectlOutput::readsCapturedZones()
{
    const QStringList zones = ky::parseTimezones(capture("list-timezones-head.zh.out"));

    QCOMPARE(zones.first(), QStringLiteral("Africa/Abidjan"));
    QVERIFY(zones.contains("Africa/Brazzaville"));
    QCOMPARE(zones.size(), 14);
    QCOMPARE(zones.last(), QString());
}

void tst_TimedatectlOutput::emptyPartsOfTheZonesAreKept()
{
    QCOMPARE(ky::parseTimezones("\nA\n\nB"), QStringList({"", "A", "", "B"}));
}

void tst_TimedatectlOutput::zonesWithoutALineEndAreNone()
{
    QCOMPARE(ky::parseTimezones("Etc/UTC"), QStringList());
    QCOMPARE(ky::parseTimezones(""), QStringList());
}

QTEST_APPLESS_MAIN(tst_TimedatectlOutput)
#include "tst_TimedatectlOutput.moc"
