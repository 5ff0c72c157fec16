#include "network/decisions/HalyardReport.h"

#include <QTest>

namespace {

QVariantMap card(const char* ip, const char* mac)
{
    return {{QStringLiteral("ip"), QLatin1String(ip)}, {QStringLiteral("Mac"), QLatin1String(mac)}};
}

ky::HalyardSources everything()
{
    ky::HalyardSources sources;
    sources.hasWifi = true;
    sources.wifi = card("10.0.0.7", "02:AB:00:00:00:01");
    sources.hasLink = true;
    sources.link = {{QStringLiteral("ssid"), QStringLiteral("site")},
                    {QStringLiteral("signalLevel"), -61},
                    {QStringLiteral("bssid"), QStringLiteral("02:00:00:00:05:00")}};
    sources.hasWired = true;
    sources.wired = card("192.168.1.4", "02:CD:00:00:00:02");
    return sources;
}

} // namespace

class tst_HalyardReport : public QObject
{
    Q_OBJECT

private slots:
    void wholeReport();
    void addressOfThePanelWins();
    void wiredAddressWinsOverWifi();
    void connectionStatus_data();
    void connectionStatus();
    void cardThatCouldNotBeReadStillGivesItsMac();
    void cardWithoutAddressIsNotConnected();
    void withoutLinkNothingIsSaidOfIt();
    void nothingKnownIsAShortReport();
};

void tst_HalyardReport::wholeReport()
{
    const QVariantMap expected{{QStringLiteral("ip"), QStringLiteral("192.168.1.4")},
                               {QStringLiteral("ssid"), QStringLiteral("site")},
                               {QStringLiteral("rssi"), -61},
                               {QStringLiteral("ap_mac"), QStringLiteral("02:00:00:00:05:00")},
                               {QStringLiteral("mac"), QStringLiteral("02AB00000001")},
                               {QStringLiteral("local_mac"), QStringLiteral("02CD00000002")},
                               {QStringLiteral("connection_status"), 1}};

    QCOMPARE(ky::halyardReport(everything()), expected);
}

void tst_HalyardReport::addressOfThePanelWins()
{
    ky::HalyardSources sources = everything();
    sources.hmiIp = QStringLiteral("10.9.9.9");

    const QVariantMap report = ky::halyardReport(sources);

    QCOMPARE(report.value(QStringLiteral("ip")).toString(), QStringLiteral("10.9.9.9"));
    QCOMPARE(report.value(QStringLiteral("connection_status")).toInt(), 1);
}

void tst_HalyardReport::wiredAddressWinsOverWifi()
{
    ky::HalyardSources sources = everything();
    QCOMPARE(ky::halyardReport(sources).value(QStringLiteral("ip")),
             QVariant(QStringLiteral("192.168.1.4")));

    sources.wired.remove(QStringLiteral("ip"));
    QCOMPARE(ky::halyardReport(sources).value(QStringLiteral("ip")),
             QVariant(QStringLiteral("10.0.0.7")));
}

void tst_HalyardReport::connectionStatus_data()
{
    QTest::addColumn<bool>("wifi");
    QTest::addColumn<bool>("wired");
    QTest::addColumn<bool>("panel");
    QTest::addColumn<int>("status");

    QTest::newRow("nothing") << false << false << false << 1;
    QTest::newRow("panel alone") << false << false << true << 0;
    QTest::newRow("Wi-Fi") << true << false << false << 1;
    QTest::newRow("Wi-Fi and panel") << true << false << true << 1;
    QTest::newRow("wired") << false << true << false << 1;
    QTest::newRow("wired and panel") << false << true << true << 1;
    QTest::newRow("both and panel") << true << true << true << 1;
}

void tst_HalyardReport::connectionStatus()
{
    QFETCH(bool, wifi);
    QFETCH(bool, wired);
    QFETCH(bool, panel);
    ky::HalyardSources sources = everything();
    sources.hasWifi = wifi;
    sources.hasWired = wired;
    sources.hmiIp = panel ? QStringLiteral("10.9.9.9") : QString();

    QTEST(ky::halyardReport(sources).value(QStringLiteral("connection_status")).toInt(), "status");
}

void tst_HalyardReport::cardThatCouldNotBeReadStillGivesItsMac()
{
    ky::HalyardSources sources = everything();
    sources.hasWifi = false;
    sources.hasWired = false;

    const QVariantMap report = ky::halyardReport(sources);

    QCOMPARE(report.value(QStringLiteral("mac")).toString(), QStringLiteral("02AB00000001"));
    QCOMPARE(report.value(QStringLiteral("local_mac")).toString(), QStringLiteral("02CD00000002"));
    QVERIFY(!report.contains(QStringLiteral("ip")));
}

void tst_HalyardReport::cardWithoutAddressIsNotConnected()
{
    ky::HalyardSources sources = everything();
    sources.wifi = card("", "02:AB:00:00:00:01");
    sources.wired = {};
    sources.hmiIp = QStringLiteral("10.9.9.9");

    QCOMPARE(ky::halyardReport(sources).value(QStringLiteral("connection_status")).toInt(), 0);
}

void tst_HalyardReport::withoutLinkNothingIsSaidOfIt()
{
    ky::HalyardSources sources = everything();
    sources.hasLink = false;

    const QVariantMap report = ky::halyardReport(sources);

    for (const char* key : {"ssid", "rssi", "ap_mac"})
        QVERIFY(!report.contains(QLatin1String(key)));
}

void tst_HalyardReport::nothingKnownIsAShortReport()
{
    QCOMPARE(ky::halyardReport({}), (QVariantMap{{QStringLiteral("connection_status"), 1}}));
}

QTEST_APPLESS_MAIN(tst_HalyardReport)
#include "tst_HalyardReport.moc"
