#include "LogCapture.h"
#include "NetworkFixture.h"

#include "network/WifiScanThread.h"
#include "network/tools/FixedScanTable.h"
#include "network/tools/WpaCliScan.h"

#include <QTest>
#include <QThread>

namespace {

const QString kSsid = QStringLiteral("KY-Warehouse");
constexpr char kStrongest5G[] = "02:4b:59:00:01:10";  // -72 dBm
constexpr char kStrongest24G[] = "02:4b:59:00:03:20"; // -76 dBm
constexpr int kLimitMs = 5000;

QString roam(const char* bssid)
{
    return QStringLiteral("sudo wpa_cli -i wlan0 roam '%1' ").arg(QLatin1String(bssid));
}

class OpenThread : public WifiScanThread
{
public:
    using WifiScanThread::autoSwitchBestAPSignal;
    using WifiScanThread::isSwitchOnlyTo5G;
    using WifiScanThread::queryTime;
    using WifiScanThread::startScanningSignal;
    using WifiScanThread::switchingSignal;
    using WifiScanThread::wirelessCardName;
};

} // namespace

class tst_WifiScanThread : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void defaultsAreItsOwn();
    void missingKeysOverwriteTheDefaults();
    void fixedTableHasItsForm();
    void fixedTableHasTwoRowsIn24G();
    void missingFileEndsTheFirstCycle();
    void emptyFileEndsTheFirstCycle();
    void goodLinkEndsTheThread_data();
    void goodLinkEndsTheThread();
    void fileIsReadUpToItsZero();
    void switchesTo5GByTheMargin();
    void switchesToAWeaker5GByTheMargin();
    void nearIn5GAtTheFloorSwitchesWithoutGain();
    void nearIn5GAboveTheFloorEnds();
    void weaker24GIsTakenBeside5G();
    void anotherNetworkHasNoCandidates();
    void currentApIsNoCandidate();
    void unaskedThreadMakesOneCycle();
    void stoppedThreadGoesOnCycling();
    void stopThreadEndsItOnAWeakLink();
    void stopThreadEndsItsPause();
    void threadStartedAgainAfterAStopCycles();
    void destroyingARunningThreadEndsIt();
    void destroyingAThreadThatNeverRanReturns();
    void initDuringARunHasNoEffect();
    void negativeQueryTimeIsNoWait();
    void linesOfTheLog();
    void linesOfTheOtherMoves_data();
    void linesOfTheOtherMoves();
    void resultIsZero();
    void switchApUsesTheCardAndTellsSuccess();
    void decodesEscapesLikeTheOther();
    void hostIsAskedNothingElse();

private:
    void writeLink(int signalDbm, const QString& ssid = kSsid,
                   const QString& bssid = QStringLiteral("02:AA:00:00:00:01"));
    QVariantMap config(int switchingDb = 7, int floorDbm = -75, bool isOnlyTo5G = false) const;
    /// Runs the thread to its end and gives the lines that it asked for.
    QStringList runOnce(const QVariantMap& parameters);
    /// Whether this ends in time. A thread that goes on is let go by a good link.
    bool endsInTime(const std::function<void()>& work);

    std::unique_ptr<NetworkFixture> _fixture;
};

void tst_WifiScanThread::init()
{
    _fixture = std::make_unique<NetworkFixture>();
}

void tst_WifiScanThread::cleanup()
{
    _fixture.reset();
}

void tst_WifiScanThread::writeLink(int signalDbm, const QString& ssid, const QString& bssid)
{
    const QString text =
        QStringLiteral("wlan0     IEEE 802.11  ESSID:\"%1\"  \n"
                       "          Mode:Managed  Frequency:5.745 GHz  Access Point: %2   \n"
                       "          Link Quality=49/70  Signal level=%3 dBm  \n")
            .arg(ssid, bssid)
            .arg(signalDbm);
    _fixture->write(_fixture->path(QStringLiteral("1.txt")), text.toUtf8());
}

QVariantMap tst_WifiScanThread::config(int switchingDb, int floorDbm, bool isOnlyTo5G) const
{
    return {{QStringLiteral("queryTime"), 1},
            {QStringLiteral("isSwitchOnlyTo5G"), isOnlyTo5G},
            {QStringLiteral("startScanningSignal"), -65},
            {QStringLiteral("autoSwitchBestAPSignal"), floorDbm},
            {QStringLiteral("switchingSignal"), switchingDb},
            {QStringLiteral("wirelessCardName"), QStringLiteral("wlan0")}};
}

QStringList tst_WifiScanThread::runOnce(const QVariantMap& parameters)
{
    WifiScanThread thread;
    thread.init(parameters);
    thread.start();
    if (!thread.wait(kLimitMs))
        qFatal("the thread does not end");
    return _fixture->host().lines();
}

bool tst_WifiScanThread::endsInTime(const std::function<void()>& work)
{
    const std::unique_ptr<QThread> worker(QThread::create(work));
    worker->start();
    const bool isInTime = worker->wait(kLimitMs);
    writeLink(-40);
    worker->wait();
    return isInTime;
}

void tst_WifiScanThread::defaultsAreItsOwn()
{
    const OpenThread thread;

    QCOMPARE(thread.queryTime, 5000);
    QCOMPARE(thread.isSwitchOnlyTo5G, false);
    QCOMPARE(thread.startScanningSignal, -65);
    QCOMPARE(thread.switchingSignal, 7);
    QCOMPARE(thread.autoSwitchBestAPSignal, -75);
    QCOMPARE(thread.wirelessCardName, QString());
}

void tst_WifiScanThread::missingKeysOverwriteTheDefaults()
{
    OpenThread thread;

    thread.init({});

    QCOMPARE(thread.queryTime, 0);
    QCOMPARE(thread.isSwitchOnlyTo5G, false);
    QCOMPARE(thread.startScanningSignal, 0);
    QCOMPARE(thread.switchingSignal, 0);
    QCOMPARE(thread.autoSwitchBestAPSignal, 0);
}

void tst_WifiScanThread::fixedTableHasItsForm()
{
    const QString text = QLatin1String(ky::kFixedScanTable);
    QCOMPARE(text.size(), 1143);
    QVERIFY(text.startsWith(QLatin1String("bssid / frequency / signal level / flags / ssid\n")));
    const QStringList lines = text.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 20); // head, 18 rows, and what is behind the last line feed
    QCOMPARE(lines.last(), QString());

    for (int i = 1; i <= 18; ++i) {
        const QStringList fields = lines.at(i).split(QLatin1Char('\t'));
        QCOMPARE(fields.size(), 5);
        QVERIFY(fields.at(2).toInt() <= -72 && fields.at(2).toInt() >= -88);
        QCOMPARE(fields.at(3), i < 18 ? QStringLiteral("[WPA2-PSK-CCMP][ESS]")
                                      : QStringLiteral("[WPA2-EAP-CCMP][ESS]"));
        QCOMPARE(fields.at(4) == kSsid, i < 18);
    }
}

void tst_WifiScanThread::fixedTableHasTwoRowsIn24G()
{
    int in24G = 0;
    QSet<QString> bssids;
    const auto rows = ky::parseScanTable(QLatin1String(ky::kFixedScanTable)).rows;
    for (const ky::AccessPoint& accessPoint : rows) {
        bssids << accessPoint.bssid;
        if (accessPoint.frequencyMhz() == 2462)
            ++in24G;
        else
            QVERIFY(accessPoint.frequencyMhz() >= 5180 && accessPoint.frequencyMhz() <= 5825);
    }
    QCOMPARE(in24G, 2);
    QCOMPARE(bssids.size(), 18);
}

void tst_WifiScanThread::missingFileEndsTheFirstCycle()
{
    QVERIFY(runOnce(config()).isEmpty()); // a level of 0 is a good one
}

// An empty file gives a level of 0, which no weak link has.
void tst_WifiScanThread::emptyFileEndsTheFirstCycle()
{
    _fixture->write(_fixture->path(QStringLiteral("1.txt")), {});
    WifiScanThread thread;
    thread.init(config());
    thread.setNeedStop(true); // would go on if the link were weak
    LogCapture log("ky.network");

    thread.start();
    QVERIFY(thread.wait(kLimitMs));

    QCOMPARE(log.lines(), QStringList{QStringLiteral("[debug][run]qualityValue: 0 qualityMax: 0 "
                                                     "signalLevel: 0 frequenc: 0 ssid:  bssid: ")});
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_WifiScanThread::goodLinkEndsTheThread_data()
{
    QTest::addColumn<int>("signalDbm");
    QTest::addColumn<bool>("moves");

    QTest::newRow("one above the threshold") << -64 << false;
    QTest::newRow("at the threshold") << -65 << true;
    QTest::newRow("one below the threshold") << -66 << true;
}

void tst_WifiScanThread::goodLinkEndsTheThread()
{
    QFETCH(int, signalDbm);
    writeLink(signalDbm);

    QTEST(!runOnce(config(1)).isEmpty(), "moves");
}

void tst_WifiScanThread::fileIsReadUpToItsZero()
{
    _fixture->write(_fixture->path(QStringLiteral("1.txt")),
                    QByteArray("ESSID:\"KY-Warehouse\"\n\0Signal level=-90 dBm\n", 43));

    QVERIFY(runOnce(config()).isEmpty());
}

void tst_WifiScanThread::switchesTo5GByTheMargin()
{
    writeLink(-79);

    QCOMPARE(runOnce(config()), QStringList{roam(kStrongest5G)});
    QCOMPARE(_fixture->host().calls().at(0).limitMs, 20000);
}

void tst_WifiScanThread::switchesToAWeaker5GByTheMargin()
{
    writeLink(-65); // the best is at -72

    QCOMPARE(runOnce(config()), QStringList{roam(kStrongest5G)});
}

void tst_WifiScanThread::nearIn5GAtTheFloorSwitchesWithoutGain()
{
    writeLink(-66);

    // -66 is better than -72, and still at the floor of -66
    QCOMPARE(runOnce(config(7, -66, true)), QStringList{roam(kStrongest5G)});
}

void tst_WifiScanThread::nearIn5GAboveTheFloorEnds()
{
    writeLink(-66);

    QVERIFY(runOnce(config(7, -67, true)).isEmpty());
}

void tst_WifiScanThread::weaker24GIsTakenBeside5G()
{
    writeLink(-66); // 5 GHz at -72 is near by a margin of 10; 2.4 GHz at -76 is 10 weaker

    QCOMPARE(runOnce(config(10)), QStringList{roam(kStrongest24G)});
}

void tst_WifiScanThread::anotherNetworkHasNoCandidates()
{
    writeLink(-90, QStringLiteral("elsewhere"));

    QVERIFY(runOnce(config()).isEmpty());
}

void tst_WifiScanThread::currentApIsNoCandidate()
{
    writeLink(-82, kSsid, QStringLiteral("02:4B:59:00:01:10")); // in capitals, as iwconfig prints

    QCOMPARE(runOnce(config()), QStringList{roam("02:4b:59:00:02:10")});
}

void tst_WifiScanThread::unaskedThreadMakesOneCycle()
{
    writeLink(-90);

    QCOMPARE(runOnce(config()).size(), 1); // the table asks for a repeat
}

void tst_WifiScanThread::stoppedThreadGoesOnCycling()
{
    writeLink(-90);
    std::atomic<int> moves{0};
    _fixture->host().onCall([&](const RecordedHost::Call&) { ++moves; });
    WifiScanThread thread;
    thread.init(config());
    thread.setNeedStop(true);

    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(moves >= 3, kLimitMs);
    QVERIFY(thread.isRunning());
    writeLink(-40);
    QVERIFY(thread.wait(kLimitMs));
}

void tst_WifiScanThread::stopThreadEndsItOnAWeakLink()
{
    writeLink(-90);
    std::atomic<int> moves{0};
    _fixture->host().onCall([&](const RecordedHost::Call&) { ++moves; });
    WifiScanThread thread;
    thread.init(config());
    thread.setNeedStop(true);
    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(moves >= 2, kLimitMs);

    QVERIFY(endsInTime([&] { thread.stopThread(); }));

    QVERIFY(thread.isFinished());
}

void tst_WifiScanThread::stopThreadEndsItsPause()
{
    writeLink(-90);
    QVariantMap parameters = config();
    parameters.insert(QStringLiteral("queryTime"), 4 * kLimitMs);
    WifiScanThread thread;
    thread.init(parameters);
    thread.start();

    QVERIFY(endsInTime([&] { thread.stopThread(); }));

    QVERIFY(thread.isFinished());
    QVERIFY(_fixture->host().lines().isEmpty()); // the cycle behind the pause is not made
}

void tst_WifiScanThread::threadStartedAgainAfterAStopCycles()
{
    writeLink(-90);
    std::atomic<int> moves{0};
    _fixture->host().onCall([&](const RecordedHost::Call&) { ++moves; });
    WifiScanThread thread;
    thread.init(config());
    thread.start();
    QVERIFY(endsInTime([&] { thread.stopThread(); }));
    writeLink(-90);
    moves = 0;

    thread.start(); // the stop flag still stands: it goes on
    QTRY_VERIFY_WITH_TIMEOUT(moves >= 2, kLimitMs);

    QVERIFY(endsInTime([&] { thread.stopThread(); }));
}

void tst_WifiScanThread::destroyingARunningThreadEndsIt()
{
    writeLink(-90);
    std::atomic<int> moves{0};
    _fixture->host().onCall([&](const RecordedHost::Call&) { ++moves; });
    auto thread = std::make_unique<WifiScanThread>();
    thread->init(config());
    thread->setNeedStop(true);
    thread->start();
    QTRY_VERIFY_WITH_TIMEOUT(moves >= 2, kLimitMs);
    QVERIFY(thread->isRunning());

    QVERIFY(endsInTime([&] { thread.reset(); }));
}

void tst_WifiScanThread::destroyingAThreadThatNeverRanReturns()
{
    auto thread = std::make_unique<WifiScanThread>();

    QVERIFY(endsInTime([&] { thread.reset(); }));
}

void tst_WifiScanThread::initDuringARunHasNoEffect()
{
    writeLink(-90);
    WifiScanThread thread;
    thread.init(config());
    QVariantMap other = config();
    other.insert(QStringLiteral("wirelessCardName"), QStringLiteral("wlan9"));
    std::atomic<int> moves{0};
    _fixture->host().onCall([&](const RecordedHost::Call&) {
        thread.init(other);
        ++moves;
    });
    thread.setNeedStop(true);

    thread.start();
    QTRY_VERIFY_WITH_TIMEOUT(moves >= 3, kLimitMs);
    writeLink(-40);
    QVERIFY(thread.wait(kLimitMs));

    for (const QString& line : _fixture->host().lines())
        QCOMPARE(line, roam(kStrongest5G));
}

void tst_WifiScanThread::negativeQueryTimeIsNoWait()
{
    QVariantMap parameters = config();
    parameters.insert(QStringLiteral("queryTime"), -1);

    QVERIFY(runOnce(parameters).isEmpty());
}

void tst_WifiScanThread::linesOfTheLog()
{
    writeLink(-79);
    LogCapture log("ky.network");

    runOnce(config());

    const QStringList lines = log.lines();
    QCOMPARE(lines.at(0), QStringLiteral("[debug][run]qualityValue: 49 qualityMax: 70 "
                                         "signalLevel: -79 frequenc: 5745 ssid: KY-Warehouse "
                                         "bssid: 02:aa:00:00:00:01"));
    QCOMPARE(lines.at(1), QStringLiteral("[debug][run][list.size: 20 ]"));
    QCOMPARE(lines.at(2), QStringLiteral("[debug][run]i: 0 tempSSID: KY-Warehouse -72 5180 "
                                         "02:4b:59:00:01:10"));
    QVERIFY(log.holds(QStringLiteral("[debug][run]5GAPList.size: 15")));
    QVERIFY(log.holds(QStringLiteral("[debug][run]24GAPList.size: 2")));
    QVERIFY(log.holds(QStringLiteral("[debug][run]Switch AP:[-72>-79(7)]")));
    QVERIFY(log.holds(QStringLiteral("[debug][switchAP]Switch AP: 02:4b:59:00:01:10")));
}

void tst_WifiScanThread::linesOfTheOtherMoves_data()
{
    QTest::addColumn<QVariantMap>("parameters");
    QTest::addColumn<QString>("line");

    QTest::newRow("at the floor") << config(7, -66, true) << "Auto Switch AP:[-72>-66]";
    QTest::newRow("2.4 GHz") << config(10) << "Switch AP:[-76>-66(10)]";
}

void tst_WifiScanThread::linesOfTheOtherMoves()
{
    QFETCH(QVariantMap, parameters);
    QFETCH(QString, line);
    writeLink(-66);
    LogCapture log("ky.network");

    runOnce(parameters);

    QVERIFY(log.holds(QStringLiteral("[debug][run]") + line));
}

void tst_WifiScanThread::resultIsZero()
{
    WifiScanThread thread;
    thread.setResult(5);
    thread.init(config());

    thread.start();
    QVERIFY(thread.wait(kLimitMs));

    QCOMPARE(thread.result(), 0);
}

void tst_WifiScanThread::switchApUsesTheCardAndTellsSuccess()
{
    WifiScanThread thread;
    thread.init(config());
    _fixture->host().fail(roam("02:02"), QStringLiteral("no"));

    QVERIFY(thread.switchAP(QStringLiteral("02:01")));
    QVERIFY(!thread.switchAP(QStringLiteral("02:02")));

    QCOMPARE(_fixture->host().lines(), (QStringList{roam("02:01"), roam("02:02")}));
}

void tst_WifiScanThread::decodesEscapesLikeTheOther()
{
    WifiScanThread thread;
    OpenNetwork network;

    for (const char* text : {"plain", "\\xe4\\xb8\\xada", "a\\x41\\x00b", "\\q\\x4"})
        QCOMPARE(thread.hexStringToStr(QLatin1String(text)),
                 network.hexStringToStr(QLatin1String(text)));
}

void tst_WifiScanThread::hostIsAskedNothingElse()
{
    writeLink(-90);

    for (const QString& line : runOnce(config()))
        QVERIFY(line.contains(QLatin1String(" roam ")));
}

QTEST_GUILESS_MAIN(tst_WifiScanThread)
#include "tst_WifiScanThread.moc"
