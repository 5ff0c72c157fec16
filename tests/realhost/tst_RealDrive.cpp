#include "EchoClient.h"
#include "HostDaemon.h"
#include "Site.h"

#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <algorithm>

using site::HostDaemon;

/// Driving through the site, with kyhostd on the robot and kyctl beside it: roaming, loss and
/// recovery, with the times that they take.
class tst_RealDrive : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init() { site::reset(); }

    void roamsToTheBetterAccessPoint();
    void staysWhileTheLinkIsGood();
    void staysOnFiveGhzIfToldSo();
    void trafficGoesOnOverARoam();
    void lostLinkIsReportedRepairedAndReportedAgain();
    void fetchedPageTellsLossAndRecovery();
    void supervisionLivesThroughARestartOfNetworkManager();
};

namespace {

constexpr int kPeriodMs = 5000;
const QString kPeriod = QStringLiteral("autoConnectWaitTime=5000");
const QStringList kRoaming{"isEnabledRoaming=true", kPeriod};
const QStringList kSupervised{"isEnabledRoaming=true", kPeriod, "DisconnectionMethod=1",
                              "PingIP=10.77.0.1", "isDisconnectionSendError=true"};

/// NetworkManager lets the supplicant roam by itself below -70 dBm; here the library is to be the
/// one that moves.
constexpr int kWeakDbm = -68;
constexpr int kNearDbm = -50;

int runs()
{
    return qEnvironmentVariableIsSet("KY_REALHOST_RUNS")
               ? qEnvironmentVariableIntValue("KY_REALHOST_RUNS")
               : 20;
}

void report(const char* what, QVector<int> times)
{
    std::sort(times.begin(), times.end());
    qInfo("measured: %s: median %d ms, min %d ms, max %d ms, %d runs", what,
          times.at(times.size() / 2), times.first(), times.last(), times.size());
}

/// The access point of the network that the link is on, waiting for a link.
int accessPointInUse()
{
    QString bssid;
    site::waitUntil(
        [&] {
            bssid = site::linkedBssid();
            return !bssid.isEmpty();
        },
        20000);
    return bssid == site::bssid(site::Site5G) ? site::Site5G : site::Site24G;
}

int otherThan(int accessPoint)
{
    return accessPoint == site::Site5G ? site::Site24G : site::Site5G;
}

/// The current one falls behind the other one; milliseconds until the link is there, -1 at the
/// limit.
int roam(int from, int to, int limitMs = 60000)
{
    site::setLevel(to, kNearDbm);
    site::setLevel(from, kWeakDbm);
    QElapsedTimer time;
    time.start();
    if (!site::waitUntil([&] { return site::linkedBssid() == site::bssid(to); }, limitMs))
        return -1;
    return int(time.elapsed());
}

/// How often the library itself asked for another access point.
int switchesAskedFor(const HostDaemon& daemon)
{
    return int(daemon.log().count("[text][Switch AP:"));
}

#define JOIN_SITE(daemon)                                                                          \
    QVERIFY2(daemon.isUp(), qPrintable(daemon.log()));                                             \
    {                                                                                              \
        const site::CtlAnswer joined =                                                             \
            daemon.ctl({"wifi", "connect", "RobotSite", "--password", site::kKey});                \
        QVERIFY2(joined.status == 0, qPrintable(joined.error));                                    \
        QVERIFY(site::canReachRouter());                                                           \
    }

#define CTL(daemon, ...)                                                                           \
    {                                                                                              \
        const site::CtlAnswer answered = daemon.ctl({__VA_ARGS__});                                \
        QVERIFY2(answered.status == 0, qPrintable(answered.error));                                \
    }

} // namespace

void tst_RealDrive::roamsToTheBetterAccessPoint()
{
    HostDaemon daemon(kRoaming);
    JOIN_SITE(daemon);
    CTL(daemon, "net", "supervision", "on");
    QVector<int> times;

    for (int run = 0; run < runs(); ++run) {
        const int from = accessPointInUse();
        const int took = roam(from, otherThan(from));
        QVERIFY2(took >= 0, qPrintable(QStringLiteral("run %1:\n%2").arg(run).arg(daemon.log())));
        times << took;
    }

    report("level falls to link on the better access point", times);
    qInfo("measured: switches that the library asked for: %d in %d roams", switchesAskedFor(daemon),
          runs());
    QVERIFY(switchesAskedFor(daemon) > 0);
    QVERIFY(site::canReachRouter());
}

void tst_RealDrive::staysWhileTheLinkIsGood()
{
    HostDaemon daemon(kRoaming);
    JOIN_SITE(daemon);
    const int at = accessPointInUse();
    site::setLevel(at, -60); // over the threshold, if 30 dB worse than the other
    site::setLevel(otherThan(at), -30);
    CTL(daemon, "net", "supervision", "on");

    QTest::qWait(4 * kPeriodMs);

    QCOMPARE(site::linkedBssid(), site::bssid(at));
    QVERIFY2(daemon.log().count("[CurrentAP][" + site::bssid(at) + "|-60]") >= 2,
             qPrintable(daemon.log()));
    QCOMPARE(switchesAskedFor(daemon), 0);
}

void tst_RealDrive::staysOnFiveGhzIfToldSo()
{
    site::setLevel(site::Site24G, -80); // the join takes the one on 5 GHz
    HostDaemon daemon(kRoaming + QStringList{"isSwitchOnlyTo5G=true"});
    JOIN_SITE(daemon);
    QCOMPARE(accessPointInUse(), int(site::Site5G));
    // Else the supplicant would move by itself: scan results are enough for it.
    site::run("wpa_cli -i wlan0 bssid 0 " + site::bssid(site::Site5G));
    site::setLevel(site::Site5G, kWeakDbm);
    site::setLevel(site::Site24G, -30);
    CTL(daemon, "net", "supervision", "on");

    QVERIFY2(
        site::waitUntil(
            [&] { return daemon.log().count("[text][Not Switch AP:CurrentRssi:-68") >= 2; }, 40000),
        qPrintable(daemon.log()));

    QCOMPARE(site::linkedBssid(), site::bssid(site::Site5G));
    QCOMPARE(switchesAskedFor(daemon), 0);
}

void tst_RealDrive::trafficGoesOnOverARoam()
{
    HostDaemon daemon(kRoaming);
    JOIN_SITE(daemon);
    const QString ip = site::addressOf("wlan0").section('/', 0, 0);
    const QString echoClient = QCoreApplication::applicationFilePath();
    const QString quiet = site::run(
        QStringLiteral("ip netns exec ap %1 --echo-client %2 19208 15").arg(echoClient, ip));
    qInfo("measured: longest gap between echo answers over the Wi-Fi without a roam in 15 s: %d ms",
          quiet.trimmed().toInt());
    QVector<int> gaps;

    for (int run = 0; run < std::min(runs(), 5); ++run) {
        CTL(daemon, "net", "supervision", "off");
        QProcess client;
        const QStringList words{"netns",         "exec", "ap",    echoClient,
                                "--echo-client", ip,     "19208", "30"};
        client.start("ip", words);
        QVERIFY(client.waitForStarted());
        CTL(daemon, "net", "supervision", "on");
        const int from = accessPointInUse();
        QVERIFY2(roam(from, otherThan(from), 25000) >= 0, qPrintable(daemon.log()));
        QVERIFY(site::waitUntil([&] { return client.state() == QProcess::NotRunning; }, 80000));
        gaps << client.readAllStandardOutput().trimmed().toInt();
        QVERIFY2(gaps.last() > 0, "no answer came");
    }

    report("longest gap between echo answers over the Wi-Fi with one roam in 30 s", gaps);
}

void tst_RealDrive::lostLinkIsReportedRepairedAndReportedAgain()
{
    HostDaemon daemon(kSupervised);
    JOIN_SITE(daemon);
    site::LinkEvents events;
    CTL(daemon, "net", "supervision", "on");
    QVERIFY(events.waitFor("good", 60000) >= 0);
    QVector<int> detected;
    QVector<int> recovered;

    for (int run = 0; run < runs(); ++run) {
        site::switchAccessPoint(site::Site5G, false);
        site::switchAccessPoint(site::Site24G, false);
        detected << events.waitFor("lost", 90000);
        QVERIFY2(detected.last() >= 0, qPrintable(daemon.log()));
        QCOMPARE(daemon.ctl({"link", "status"}).json.value("msg").toString(),
                 QString("The network has been disconnected:10.77.0.1"));

        site::switchAccessPoint(site::Site5G, true);
        site::switchAccessPoint(site::Site24G, true);
        recovered << events.waitFor("good", 180000);
        QVERIFY2(recovered.last() >= 0, qPrintable(daemon.log()));
    }

    report("access points gone to 4802", detected);
    report("access points back to 4803", recovered);
    QVERIFY(site::canReachRouter());
}

void tst_RealDrive::fetchedPageTellsLossAndRecovery()
{
    HostDaemon daemon({"isEnabledRoaming=true", kPeriod, "DisconnectionMethod=2",
                       "PingUrl=http://10.77.0.1/", "isDisconnectionSendError=true"});
    JOIN_SITE(daemon);
    site::LinkEvents events;
    CTL(daemon, "net", "supervision", "on");
    QVERIFY2(events.waitFor("good", 60000) >= 0, qPrintable(daemon.log()));

    site::switchAccessPoint(site::Site5G, false);
    site::switchAccessPoint(site::Site24G, false);
    QVERIFY2(events.waitFor("lost", 90000) >= 0, qPrintable(daemon.log()));

    site::switchAccessPoint(site::Site24G, true);
    QVERIFY2(events.waitFor("good", 180000) >= 0, qPrintable(daemon.log()));
    QCOMPARE(site::linkedBssid(), site::bssid(site::Site24G));
}

void tst_RealDrive::supervisionLivesThroughARestartOfNetworkManager()
{
    HostDaemon daemon(kSupervised);
    JOIN_SITE(daemon);
    site::LinkEvents events;
    CTL(daemon, "net", "supervision", "on");
    QVERIFY(events.waitFor("good", 60000) >= 0);

    site::run("systemctl restart NetworkManager");

    const int took = events.waitFor("good", 120000);
    QVERIFY2(took >= 0, qPrintable(daemon.log()));
    qInfo("measured: NetworkManager restarted to the next 4803: %d ms", took);
    QCOMPARE(site::linkedSsid(), QStringLiteral("RobotSite"));
    QVERIFY(site::canReachRouter());
}

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 5 && qstrcmp(argv[1], "--echo-client") == 0) {
        const int gap = site::longestEchoGap(QString::fromLatin1(argv[2]),
                                             QByteArray(argv[3]).toUShort(), atoi(argv[4]));
        printf("%d\n", gap);
        return 0;
    }
    tst_RealDrive tests;
    return QTest::qExec(&tests, argc, argv);
}
#include "tst_RealDrive.moc"
