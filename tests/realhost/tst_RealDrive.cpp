#include "EchoClient.h"
#include "Site.h"

#include "network/SystemNetwork.h"
#include "service/HCTcpServer.h"

#include <QProcess>
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

using site::Robot;

/// Driving through the site: roaming, loss and recovery, with the times that they take.
class tst_RealDrive : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { REQUIRE_SITE(); }
    void init() { site::reset(); }

    void roamsToTheBetterAccessPoint();
    void staysWhileTheLinkIsGood();
    void trafficGoesOnOverARoam();
    void lostLinkIsReportedRepairedAndReportedAgain();
    void supervisionLivesThroughARestartOfNetworkManager();
};

namespace {

constexpr int kPeriodMs = 5000;

int runs()
{
    return qEnvironmentVariableIsSet("KY_REALHOST_RUNS")
               ? qEnvironmentVariableIntValue("KY_REALHOST_RUNS")
               : 20;
}

QString summary(QVector<int> times)
{
    std::sort(times.begin(), times.end());
    return QStringLiteral("min %1 ms, median %2 ms, max %3 ms, %4 runs")
        .arg(times.first())
        .arg(times.at(times.size() / 2))
        .arg(times.last())
        .arg(times.size());
}

void report(const char* what, const QVector<int>& times)
{
    qInfo("measured: %s: %s", what, qPrintable(summary(times)));
}

/// Watches the link from a thread of its own, since supervision blocks the test's.
class LinkWatch
{
public:
    LinkWatch()
        : _thread([this] {
            while (!_isOver) {
                const QString now = site::linkedBssid();
                const std::lock_guard<std::mutex> lock(_mutex);
                _bssid = now;
            }
        })
    {}
    ~LinkWatch()
    {
        _isOver = true;
        _thread.join();
    }
    QString bssid()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        return _bssid;
    }

private:
    std::atomic<bool> _isOver{false};
    std::mutex _mutex;
    QString _bssid;
    std::thread _thread;
};

int accessPointOf(const QString& bssid)
{
    return bssid == site::bssid(site::Site5G) ? site::Site5G : site::Site24G;
}

int otherThan(int accessPoint)
{
    return accessPoint == site::Site5G ? site::Site24G : site::Site5G;
}

/// NetworkManager lets the supplicant roam by itself below -70 dBm; here the library is to be the
/// one that moves.
constexpr int kWeakDbm = -68;
constexpr int kNearDbm = -50;

void joinSite(Robot& robot)
{
    QVERIFY2(robot->connectWindowWifi("RobotSite", site::kKey, false),
             qPrintable(robot->getLastError()));
    QVERIFY(site::canReachRouter());
}

} // namespace

void tst_RealDrive::roamsToTheBetterAccessPoint()
{
    Robot robot({"isEnabledRoaming=true", "autoConnectWaitTime=5000"});
    joinSite(robot);
    QVector<int> times;
    robot->setAutoConnect(true);

    for (int run = 0; run < runs(); ++run) {
        LinkWatch watch;
        QVERIFY(site::waitUntil([&] { return !watch.bssid().isEmpty(); }, 10000));
        const int from = accessPointOf(watch.bssid());
        const int to = otherThan(from);
        site::setLevel(to, kNearDbm);
        site::setLevel(from, kWeakDbm);
        QElapsedTimer time;
        time.start();
        QVERIFY2(site::waitUntil([&] { return watch.bssid() == site::bssid(to); }, 60000),
                 qPrintable(QStringLiteral("run %1, still on %2").arg(run).arg(watch.bssid())));
        times << int(time.elapsed());
    }

    report("level falls to roamed", times);
    QVERIFY(site::canReachRouter());
}

void tst_RealDrive::staysWhileTheLinkIsGood()
{
    Robot robot({"isEnabledRoaming=true", "autoConnectWaitTime=5000"});
    joinSite(robot);
    const QString at = site::linkedBssid();
    site::setLevel(accessPointOf(at), -60);
    site::setLevel(otherThan(accessPointOf(at)), -30);
    robot->setAutoConnect(true);

    QTest::qWait(3 * kPeriodMs);

    QCOMPARE(site::linkedBssid(), at);
}

namespace {

/// Answers every frame with an empty one of the answer's type.
class Echo : public QObject
{
    Q_OBJECT

public:
    Echo()
    {
        server.setRelayObject(this);
        server.startListen(0);
    }
    HCTcpServer server{nullptr};

public slots:
    void slotRevInterface(QString, qintptr handle, quint16, quint16, QByteArray, QVariant)
    {
        server.sendDataToClient(handle, QByteArray::fromHex("5a0100010000000022e007d000000002"));
    }
};

} // namespace

void tst_RealDrive::trafficGoesOnOverARoam()
{
    QThread serving; // as in a daemon whose supervision has a thread of its own
    Echo* echo = nullptr;
    serving.start();
    QObject context;
    context.moveToThread(&serving);
    QMetaObject::invokeMethod(
        &context, [&] { echo = new Echo; }, Qt::BlockingQueuedConnection);
    Robot robot({"isEnabledRoaming=true", "autoConnectWaitTime=5000"});
    joinSite(robot);
    const QString ip = site::addressOf("wlan0").section('/', 0, 0);
    const int from = accessPointOf(site::linkedBssid());

    QProcess client;
    client.start("ip", {"netns", "exec", "ap", QCoreApplication::applicationFilePath(),
                        "--echo-client", ip, QString::number(echo->server.serverPort()), "40"});
    QTest::qWait(3000);
    site::setLevel(otherThan(from), kNearDbm);
    site::setLevel(from, kWeakDbm);
    robot->setAutoConnect(true);
    QVERIFY(site::waitUntil([&] { return client.state() == QProcess::NotRunning; }, 80000));

    const int gap = client.readAllStandardOutput().trimmed().toInt();
    QMetaObject::invokeMethod(
        &context, [&] { delete echo; }, Qt::BlockingQueuedConnection);
    serving.quit();
    serving.wait();
    qInfo("measured: longest gap between answers over a roam: %d ms", gap);
    QCOMPARE(site::linkedBssid(), site::bssid(otherThan(from)));
    QVERIFY2(gap > 0, "no answer came");
}

void tst_RealDrive::lostLinkIsReportedRepairedAndReportedAgain()
{
    Robot robot({"isEnabledRoaming=true", "autoConnectWaitTime=5000", "DisconnectionMethod=1",
                 "PingIP=10.77.0.1", "isDisconnectionSendError=true"});
    joinSite(robot);
    QVector<int> detected;
    QVector<int> recovered;
    QSignalSpy frames(&robot.network(), &SystemNetwork::sigWriteTcpClient);
    const auto last = [&] { return frames.isEmpty() ? 0 : frames.last().at(2).toInt(); };
    robot->setAutoConnect(true);
    QVERIFY(site::waitUntil([&] { return last() == 4803; }, 30000));

    for (int run = 0; run < runs(); ++run) {
        site::switchAccessPoint(site::Site5G, false);
        site::switchAccessPoint(site::Site24G, false);
        QElapsedTimer time;
        time.start();
        QVERIFY(site::waitUntil([&] { return last() == 4802; }, 90000));
        detected << int(time.elapsed());

        site::switchAccessPoint(site::Site5G, true);
        site::switchAccessPoint(site::Site24G, true);
        time.restart();
        QVERIFY2(site::waitUntil([&] { return last() == 4803; }, 180000),
                 qPrintable(robot->getLastError()));
        recovered << int(time.elapsed());
    }

    report("access points gone to 4802", detected);
    report("access points back to 4803", recovered);
    QVERIFY(site::canReachRouter());
}

void tst_RealDrive::supervisionLivesThroughARestartOfNetworkManager()
{
    Robot robot({"isEnabledRoaming=true", "autoConnectWaitTime=5000", "DisconnectionMethod=1",
                 "PingIP=10.77.0.1", "isDisconnectionSendError=true"});
    joinSite(robot);
    QSignalSpy frames(&robot.network(), &SystemNetwork::sigWriteTcpClient);
    robot->setAutoConnect(true);

    site::run("systemctl restart NetworkManager");

    QVERIFY(site::waitUntil(
        [&] { return !frames.isEmpty() && frames.last().at(2).toInt() == 4803; }, 120000));
    QCOMPARE(site::linkedSsid(), QStringLiteral("RobotSite"));
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
