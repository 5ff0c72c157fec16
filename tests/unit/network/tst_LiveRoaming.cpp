#include "LogCapture.h"
#include "NetworkFixture.h"

#include <QTest>

namespace {

const QString kLink = QStringLiteral("iw wlan0 link");
const QString kScan = QStringLiteral("sudo wpa_cli -i wlan0 scan");
const QString kScanResult = QStringLiteral("sudo wpa_cli -i wlan0 scan_result");
const QString kFindCard =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kHead = QStringLiteral("bssid / frequency / signal level / flags / ssid\n");

QString link(int signalDbm, const char* ssid = "site", const char* bssid = "02:00")
{
    return QStringLiteral("Connected to %1 (on wlan0)\n\tSSID: %2\n\tfreq: 5180\n"
                          "\tsignal: %3 dBm\n")
        .arg(QLatin1String(bssid), QString::fromUtf8(ssid))
        .arg(signalDbm);
}

QString row(const char* bssid, int frequencyMhz, int signalDbm, const char* ssid = "site")
{
    return QStringLiteral("%1\t%2\t%3\t[WPA2-PSK-CCMP][ESS]\t%4\n")
        .arg(QLatin1String(bssid))
        .arg(frequencyMhz)
        .arg(signalDbm)
        .arg(QString::fromUtf8(ssid));
}

QString roam(const char* bssid)
{
    return QStringLiteral("sudo wpa_cli -i wlan0 roam '%1' ").arg(QLatin1String(bssid));
}

/// A class derived from the network, which keeps what it is told of roaming.
class ListeningNetwork : public OpenNetwork
{
public:
    QStringList reports;

protected:
    void roamingReported(const QString& kind, const QString& text) override
    {
        reports << kind + QLatin1Char(' ') + text;
    }
};

} // namespace

/// The roaming step within a cycle of supervision that has nothing else to do, and the queries
/// for a display.
class tst_LiveRoaming : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void currentApIsReadAndLogged();
    void emptyCardNameRunsNothing();
    void lostApIsLoggedAsNoAp();
    void failedLinkCommandIsTheLastError();
    void signalAtTheThresholdScans();
    void signalOneAboveTheThresholdDoesNotScan();
    void gainOfExactlyTheMarginSwitches();
    void gainOneBelowTheMarginStays();
    void currentApAloneLogsOnlyTheList();
    void laterRowOfOneLevelIsTaken();
    void only5GStaysAtTheFloorWith24GCandidates();
    void fiveGhzIsTakenBeforeAStronger24G();
    void frequencyOf5000Is5G();
    void logLinesOfEveryRule_data();
    void logLinesOfEveryRule();
    void bothBestsAreNamedWhenStaying();
    void stepIsReportedWithTheLogOff();
    void lostApIsReportedWithTheLogOff();
    void queriesAndRoamsByHandAreReported();
    void reportsAreWhatTheLogSays();
    void busyScanEndsTheStep();
    void failedScanEndsTheStep();
    void failedTableEndsTheStep();
    void scanResultIsReadWithoutWaitFlag();
    void lostApScansAndConnects();
    void lostApWithBusyScanDoesNotConnect();
    void ssidBeyondAsciiNeverMatchesTheLink();
    void hostileBssidIsOneQuotedWord();
    void failAnswerCountsAsSwitched();
    void failedRoamCommandIsFalse();

    void apListMarksTheOneInUse();
    void apListIsEmptyWhenAnythingFails_data();
    void apListIsEmptyWhenAnythingFails();
    void statusIsReadByNames();
    void displayListCarriesEverything();
    void displayListOfOneRowLacksBssidAndFrequency();
    void displayListWithoutCardDoesNothing();
    void displayListOfSeveralUnknownCardsIsThatOfTheKnownName();
    void displayListEndsAtAFailedCommand_data();
    void displayListEndsAtAFailedCommand();

private:
    /// One roaming step: what is seen, and the lines that were asked for.
    QStringList step(const QString& linkText, const QString& rows);

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<ListeningNetwork> _network;
};

void tst_LiveRoaming::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _network = std::make_unique<ListeningNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
    _network->_wirelessUUID = QStringLiteral("uuid-1");
    _network->_isEnabledRoaming = true;
}

void tst_LiveRoaming::cleanup()
{
    _network.reset();
    _fixture.reset();
}

QStringList tst_LiveRoaming::step(const QString& linkText, const QString& rows)
{
    _fixture->host().answer(kLink, linkText);
    _fixture->host().answer(kScan, QStringLiteral("OK\n"));
    _fixture->host().answer(kScanResult, kHead + rows);
    _network->slotAutoConnectEth1Ethernet();
    return _fixture->host().lines();
}

void tst_LiveRoaming::currentApIsReadAndLogged()
{
    LogCapture log("ky.network");
    _fixture->host().answer(kLink, NetworkFixture::capture("iw/link-connected.c.out"));
    QVariantMap map{{QStringLiteral("other"), 1}};

    QVERIFY(_network->getIwconfig(QStringLiteral("wlan0"), map));

    const QVariantMap expected{{QStringLiteral("other"), 1},
                               {QStringLiteral("qualityValue"), 0},
                               {QStringLiteral("qualityMax"), 0},
                               {QStringLiteral("ssid"), QStringLiteral("RobotNet")},
                               {QStringLiteral("bssid"), QStringLiteral("02:00:00:00:01:00")},
                               {QStringLiteral("signalLevel"), -45},
                               {QStringLiteral("frequenc"), 5180}};
    QCOMPARE(map, expected);
    QCOMPARE(log.lines(), QStringList{QStringLiteral("[info][CurrentAP][02:00:00:00:01:00|-45]")});
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 4000);
}

void tst_LiveRoaming::emptyCardNameRunsNothing()
{
    QVariantMap map;

    QVERIFY(!_network->getIwconfig(QString(), map));

    QCOMPARE(_network->getLastError(),
             QStringLiteral("The name of the device to query the network connection is empty"));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_LiveRoaming::lostApIsLoggedAsNoAp()
{
    LogCapture log("ky.network");
    _fixture->host().answer(kLink, NetworkFixture::capture("iw/link-ap-lost.c.out"));
    QVariantMap map;

    QVERIFY(!_network->getIwconfig(QStringLiteral("wlan0"), map));

    QVERIFY(map.isEmpty());
    QCOMPARE(log.lines(), (QStringList{QStringLiteral("[warning][getIwconfig]ssid: bssid:"),
                                       QStringLiteral("[info][CurrentAP][No-AP|0]")}));
}

void tst_LiveRoaming::failedLinkCommandIsTheLastError()
{
    LogCapture log("ky.network");
    _fixture->host().fail(kLink, QStringLiteral("command failed: No such device (-19)"));
    QVariantMap map;

    QVERIFY(!_network->getIwconfig(QStringLiteral("wlan0"), map));

    QCOMPARE(_network->getLastError(), QStringLiteral("command failed: No such device (-19)"));
    QCOMPARE(log.lines(), QStringList{QStringLiteral("[info][CurrentAP][No-AP|0]")});
}

void tst_LiveRoaming::signalAtTheThresholdScans()
{
    QCOMPARE(step(link(-66), {}), (QStringList{kLink, kScan, kScanResult}));
}

void tst_LiveRoaming::signalOneAboveTheThresholdDoesNotScan()
{
    QCOMPARE(step(link(-65), row("02:01", 5200, -20)), QStringList{kLink});
}

void tst_LiveRoaming::gainOfExactlyTheMarginSwitches()
{
    QCOMPARE(step(link(-70), row("02:01", 5200, -63)).last(), roam("02:01"));
    QCOMPARE(_fixture->host().calls().last().limitMs, 20000);
}

void tst_LiveRoaming::gainOneBelowTheMarginStays()
{
    QCOMPARE(step(link(-70), row("02:01", 5200, -64)).last(), kScanResult);
}

void tst_LiveRoaming::currentApAloneLogsOnlyTheList()
{
    LogCapture log("ky.network");

    step(link(-80), row("02:00", 5180, -79) + row("02:09", 5200, -40, "other"));

    QCOMPARE(log.lines(),
             (QStringList{QStringLiteral("[info][CurrentAP][02:00|-80]"),
                          QStringLiteral("[debug][slotAutoConnectEth1Ethernet][list.size: 4 ]"),
                          QStringLiteral("[info][ApList][02:00|-80|]")}));
}

void tst_LiveRoaming::laterRowOfOneLevelIsTaken()
{
    LogCapture log("ky.network");

    const QStringList lines = step(link(-80), row("02:01", 5200, -60) + row("02:02", 5220, -60));

    QCOMPARE(lines.last(), roam("02:02"));
    QVERIFY(log.holds(QStringLiteral("[info][ApList][02:00|-80|02:01|-60|02:02|-60|]")));
}

void tst_LiveRoaming::only5GStaysAtTheFloorWith24GCandidates()
{
    _network->_isSwitchOnlyTo5G = true;
    LogCapture log("ky.network");

    QCOMPARE(step(link(-85), row("02:01", 2412, -40)).last(), kScanResult);

    QCOMPARE(
        log.lines().filter(QStringLiteral("Not Switch AP")),
        QStringList{QStringLiteral("[info][text][Not Switch AP:CurrentRssi:-85 Max2.4GRssi:-40]")});
}

void tst_LiveRoaming::fiveGhzIsTakenBeforeAStronger24G()
{
    QCOMPARE(step(link(-70), row("02:24", 2412, -53) + row("02:05", 5200, -63)).last(),
             roam("02:05"));
}

void tst_LiveRoaming::frequencyOf5000Is5G()
{
    LogCapture log("ky.network");

    step(link(-70), row("02:01", 4999, -60) + row("02:02", 5000, -61));

    QVERIFY(log.holds(QStringLiteral("[info][text][Switch AP(5G):-70->-61(7)]")));
}

void tst_LiveRoaming::logLinesOfEveryRule_data()
{
    QTest::addColumn<int>("nowDbm");
    QTest::addColumn<QString>("rows");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("bssid");

    QTest::newRow("margin, 5 GHz")
        << -70 << row("02:01", 5200, -60) << "[text][Switch AP(5G):-70->-60(7)]"
        << "02:01";
    QTest::newRow("margin, 2.4 GHz")
        << -70 << row("02:01", 2412, -60) << "[text][Switch AP(2.4G):-70->-60(7)]"
        << "02:01";
    QTest::newRow("floor, 5 GHz") << -86 << row("02:01", 5200, -84)
                                  << "[text][Auto Switch Switch AP(5G):-86->-84(-85)]"
                                  << "02:01";
    QTest::newRow("floor, 2.4 GHz")
        << -86 << row("02:01", 2412, -84) << "[text][Auto Switch AP(2.4G):-86->-84(-85)]"
        << "02:01";
    QTest::newRow("stay, 5 GHz") << -70 << row("02:01", 5200, -69)
                                 << "[text][Not Switch AP:CurrentRssi:-70 Max5GRssi:-69]"
                                 << "";
    QTest::newRow("stay, 2.4 GHz")
        << -70 << row("02:01", 2412, -69) << "[text][Not Switch AP:CurrentRssi:-70 Max2.4GRssi:-69]"
        << "";
}

void tst_LiveRoaming::logLinesOfEveryRule()
{
    QFETCH(int, nowDbm);
    QFETCH(QString, rows);
    QFETCH(QString, text);
    QFETCH(QString, bssid);
    LogCapture log("ky.network");

    step(link(nowDbm), rows);

    QStringList expected{QStringLiteral("[info]") + text};
    if (!bssid.isEmpty())
        expected << QStringLiteral("[info][text][Switch AP:%1]").arg(bssid);
    QCOMPARE(log.lines().filter(QStringLiteral("[text]")), expected);
}

void tst_LiveRoaming::bothBestsAreNamedWhenStaying()
{
    LogCapture log("ky.network");

    step(link(-70), row("02:24", 2412, -68) + row("02:05", 5200, -69));

    QCOMPARE(log.lines().filter(QStringLiteral("[text]")),
             (QStringList{
                 QStringLiteral("[info][text][Not Switch AP:CurrentRssi:-70 Max5GRssi:-69]"),
                 QStringLiteral("[info][text][Not Switch AP:CurrentRssi:-70 Max2.4GRssi:-68]")}));
}

void tst_LiveRoaming::stepIsReportedWithTheLogOff() // as the fixture leaves it
{
    step(link(-70), row("02:05", 5200, -60));

    QCOMPARE(_network->reports,
             (QStringList{"CurrentAP 02:00|-70", "ApList 02:00|-70|02:05|-60|",
                          "text Switch AP(5G):-70->-60(7)", "text Switch AP:02:05"}));
}

void tst_LiveRoaming::lostApIsReportedWithTheLogOff()
{
    step(QStringLiteral("Not connected.\n"), {});

    QCOMPARE(_network->reports, QStringList("CurrentAP No-AP|0"));
}

void tst_LiveRoaming::queriesAndRoamsByHandAreReported()
{
    _fixture->host().answer(kLink, link(-50));
    QVariantMap map;

    _network->getIwconfig(QStringLiteral("wlan0"), map);
    _network->getApList();
    _network->switchAP(QStringLiteral("wlan0"), QStringLiteral("02:01"));

    QCOMPARE(_network->reports,
             (QStringList{"CurrentAP 02:00|-50", "CurrentAP 02:00|-50", "text Switch AP:02:01"}));
}

void tst_LiveRoaming::reportsAreWhatTheLogSays()
{
    LogCapture log("ky.network");

    step(link(-70), row("02:24", 2412, -68) + row("02:05", 5200, -69));

    QStringList lines;
    for (const QString& report : qAsConst(_network->reports))
        lines << QStringLiteral("[info][%1][%2]")
                     .arg(report.section(' ', 0, 0), report.section(' ', 1));
    QCOMPARE(lines.size(), 4);
    QCOMPARE(log.lines().filter(QStringLiteral("[info]")), lines);
}

void tst_LiveRoaming::busyScanEndsTheStep()
{
    _fixture->host().answer(kScan, QStringLiteral("FAIL-BUSY\n"));

    QCOMPARE(step(link(-80), row("02:01", 5200, -40)), (QStringList{kLink, kScan}));
}

void tst_LiveRoaming::failedScanEndsTheStep()
{
    _fixture->host().fail(kScan, QStringLiteral("no such interface"));

    QCOMPARE(step(link(-80), row("02:01", 5200, -40)), (QStringList{kLink, kScan}));
    QCOMPARE(_network->getLastError(), QString()); // silent until the next cycle
}

void tst_LiveRoaming::failedTableEndsTheStep()
{
    _fixture->host().fail(kScanResult, QStringLiteral("no"));

    QCOMPARE(step(link(-80), row("02:01", 5200, -40)), (QStringList{kLink, kScan, kScanResult}));
}

void tst_LiveRoaming::scanResultIsReadWithoutWaitFlag()
{
    step(link(-80), {});

    const QList<RecordedHost::Call> calls = _fixture->host().calls();
    QVERIFY(calls.at(0).wait);
    QVERIFY(calls.at(1).wait);
    QVERIFY(!calls.at(2).wait);
    QCOMPARE(calls.at(1).limitMs, 20000);
    QCOMPARE(calls.at(2).limitMs, 20000);
}

void tst_LiveRoaming::lostApScansAndConnects()
{
    _fixture->writeProfile(QStringLiteral("site.nmconnection"),
                           "[connection]\nuuid=uuid-2\ntype=wifi\n");
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));

    const QStringList lines = step(QStringLiteral("Not connected.\n"), {});

    QCOMPARE(lines, (QStringList{kLink, kScan, kFindCard,
                                 QStringLiteral("sudo nmcli connection up uuid-2 ifname wlan0")}));
    QCOMPARE(_fixture->host().calls().last().limitMs, 8000);
}

void tst_LiveRoaming::lostApWithBusyScanDoesNotConnect()
{
    _fixture->host().answer(kScan, QStringLiteral("FAIL-BUSY\n"));

    QCOMPARE(step(QStringLiteral("Not connected.\n"), {}), (QStringList{kLink, kScan}));
}

void tst_LiveRoaming::ssidBeyondAsciiNeverMatchesTheLink()
{
    const char* const escaped = "\\xe4\\xb8\\xad";
    LogCapture log("ky.network");

    const QStringList lines = step(link(-80, escaped), row("02:01", 5200, -40, escaped));

    QCOMPARE(lines.last(), kScanResult); // the scan side is decoded, the link side is as printed
    QVERIFY(log.holds(QStringLiteral("[info][ApList][02:00|-80|]")));
}

void tst_LiveRoaming::hostileBssidIsOneQuotedWord()
{
    const QStringList lines = step(link(-80), row("';reboot;'", 5200, -40));

    QCOMPARE(lines.last(), QStringLiteral("sudo wpa_cli -i wlan0 roam ''\\'';reboot;'\\''' "));
}

void tst_LiveRoaming::failAnswerCountsAsSwitched()
{
    _fixture->host().answer(roam("02:01"), QStringLiteral("FAIL\n"));

    QVERIFY(_network->switchAP(QStringLiteral("wlan0"), QStringLiteral("02:01")));
}

void tst_LiveRoaming::failedRoamCommandIsFalse()
{
    _fixture->host().fail(roam("02:01"), QStringLiteral("no such interface"));

    QVERIFY(!_network->switchAP(QStringLiteral("wlan0"), QStringLiteral("02:01")));
    QCOMPARE(_network->getLastError(), QStringLiteral("no such interface"));
}

void tst_LiveRoaming::apListMarksTheOneInUse()
{
    _fixture->host().answer(kLink, link(-50));
    _fixture->host().answer(kScan, QStringLiteral("FAIL-BUSY\n")); // not looked at here
    _fixture->host().answer(kScanResult, kHead + row("02:00", 5180, -50) +
                                             row("02:09", 5180, -40, "other") +
                                             row("02:01", 2412, -60));

    LogCapture log("ky.network");

    const QVariantList list = _network->getApList();

    QVERIFY(log.holds(QStringLiteral("[debug][getApList][list.size: 5 ]")));
    QCOMPARE(list.size(), 2);
    const QVariantMap first{{QStringLiteral("status"), 1},
                            {QStringLiteral("ssid"), QStringLiteral("site")},
                            {QStringLiteral("mac"), QStringLiteral("02:00")},
                            {QStringLiteral("frequency"), QStringLiteral("5180")},
                            {QStringLiteral("signal"), QStringLiteral("-50")}};
    QCOMPARE(list.at(0).toMap(), first);
    QCOMPARE(list.at(1).toMap().value(QStringLiteral("status")), QVariant(-1));
    QCOMPARE(_fixture->host().calls().at(1).limitMs, 20000);
    QCOMPARE(_fixture->host().calls().at(2).limitMs, 6000);
}

void tst_LiveRoaming::apListIsEmptyWhenAnythingFails_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("commands");

    QTest::newRow("link") << kLink << 1;
    QTest::newRow("scan") << kScan << 2;
    QTest::newRow("table") << kScanResult << 3;
    QTest::newRow("nothing in the table") << "" << 3;
}

void tst_LiveRoaming::apListIsEmptyWhenAnythingFails()
{
    QFETCH(QString, failing);
    QFETCH(int, commands);
    _fixture->host().fail(failing, QStringLiteral("no"));
    _fixture->host().answer(kLink, link(-50));

    QVERIFY(_network->getApList().isEmpty());
    QCOMPARE(_fixture->host().calls().size(), commands);
}

void tst_LiveRoaming::statusIsReadByNames()
{
    const QString line = QStringLiteral("sudo wpa_cli -i wlan0 status");
    _fixture->host().answer(line, NetworkFixture::capture("wpa_cli/status-connected.c.out"));
    _fixture->host().fail(line, QStringLiteral("no"));

    QCOMPARE(_network->getCurrentWifiStatus(QStringLiteral("wlan0"))
                 .value(QStringLiteral("current_wifi")),
             QVariant(QStringLiteral("RobotNet")));
    QVERIFY(_network->getCurrentWifiStatus(QStringLiteral("wlan0")).isEmpty());
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
}

void tst_LiveRoaming::displayListCarriesEverything()
{
    _network->_wirelessCardName = QStringLiteral("old");
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));
    _fixture->host().answer(kScanResult,
                            NetworkFixture::capture("wpa_cli/scan-result-connected.c.out"));
    _fixture->host().answer(QStringLiteral("sudo wpa_cli -i wlan0 status"),
                            NetworkFixture::capture("wpa_cli/status-connected.c.out"));
    QVariantMap result;
    LogCapture log("ky.network");

    QVERIFY(_network->getWinApiWifiList(result));

    QVERIFY(log.holds(QStringLiteral("[debug][getWinApiWifiList][_wirelessCardName: wlan0")));
    QVERIFY(log.holds(QStringLiteral("[debug][getWinApiWifiList][list.size: 10 ]")));
    QCOMPARE(_fixture->host().lines(),
             (QStringList{kFindCard, kScan, kScanResult,
                          QStringLiteral("sudo wpa_cli -i wlan0 status")}));
    for (const RecordedHost::Call& call : _fixture->host().calls())
        QCOMPARE(call.limitMs, 20000);
    QCOMPARE(result.value(QStringLiteral("current_wifi")), QVariant(QStringLiteral("RobotNet")));
    QCOMPARE(result.value(QStringLiteral("wifi_list")).toList().size(), 8);
    QCOMPARE(result.value(QStringLiteral("wifiStatus")).toMap().value(QStringLiteral("mode")),
             QVariant(QStringLiteral("station")));
    QCOMPARE(PublicClass::init()->wifiSsid, QStringLiteral("RobotNet"));
    QCOMPARE(_network->_wirelessCardName, QStringLiteral("wlan0"));
    QCOMPARE(_fixture->setting(ky::settings::kWirelessCardName), QVariant(QStringLiteral("wlan0")));
}

void tst_LiveRoaming::displayListOfOneRowLacksBssidAndFrequency()
{
    PublicClass::init()->wifiSsid = QStringLiteral("old");
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));
    _fixture->host().answer(kScanResult, QStringLiteral("02:00 5180 -60 [ESS] site"));
    QVariantMap result;

    QVERIFY(_network->getWinApiWifiList(result));

    const QVariantMap expected{{QStringLiteral("ssid"), QStringLiteral("site")},
                               {QStringLiteral("rssi"), QStringLiteral("-60")},
                               {QStringLiteral("is_encrypted"), false}};
    QCOMPARE(result.value(QStringLiteral("wifi_list")).toList(), QVariantList{expected});
    QCOMPARE(PublicClass::init()->wifiSsid, QString());
    QCOMPARE(result.value(QStringLiteral("current_wifi")).toString(), QString());
}

void tst_LiveRoaming::displayListWithoutCardDoesNothing()
{
    QVariantMap result;

    QVERIFY(!_network->getWinApiWifiList(result));

    QCOMPARE(_fixture->host().lines(), QStringList{kFindCard});
    QVERIFY(result.isEmpty());
    QVERIFY(!QFile::exists(QLatin1String(ky::settings::kFile)));
}

// Finding the card succeeds and names none, so the name stays what it was.
void tst_LiveRoaming::displayListOfSeveralUnknownCardsIsThatOfTheKnownName()
{
    _network->_wirelessCardName = QStringLiteral("wlan0");
    _fixture->host().answer(kFindCard, QStringLiteral("wlx001\nwlp9s0\n"));
    _fixture->host().answer(kScanResult, kHead + row("02:01", 5180, -60));
    QVariantMap result;

    QVERIFY(_network->getWinApiWifiList(result));

    QCOMPARE(_fixture->host().lines(),
             (QStringList{kFindCard, kScan, kScanResult,
                          QStringLiteral("sudo wpa_cli -i wlan0 status")}));
    QCOMPARE(result.value(QStringLiteral("wifi_list")).toList().size(), 1);
    QCOMPARE(_network->_wirelessCardName, QStringLiteral("wlan0"));
    QCOMPARE(_fixture->setting(ky::settings::kWirelessCardName), QVariant(QStringLiteral("wlan0")));
}

void tst_LiveRoaming::displayListEndsAtAFailedCommand_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<int>("commands");

    QTest::newRow("scan") << kScan << 2;
    QTest::newRow("table") << kScanResult << 3;
}

void tst_LiveRoaming::displayListEndsAtAFailedCommand()
{
    QFETCH(QString, failing);
    QFETCH(int, commands);
    _fixture->host().answer(kFindCard, QStringLiteral("wlan0\n"));
    _fixture->host().fail(failing, QStringLiteral("tool's words"));
    QVariantMap result;

    QVERIFY(!_network->getWinApiWifiList(result));

    QCOMPARE(_fixture->host().calls().size(), commands);
    QCOMPARE(_network->getLastError(), QStringLiteral("tool's words"));
    QVERIFY(result.isEmpty());
}

QTEST_GUILESS_MAIN(tst_LiveRoaming)
#include "tst_LiveRoaming.moc"
