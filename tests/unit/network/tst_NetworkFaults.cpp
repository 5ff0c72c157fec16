#include "NetworkFixture.h"

#include <QProcess>
#include <QSettings>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

namespace {

const QByteArray kStale = "[connection]\nid=site\nuuid=uuid-1\ntype=wifi\n\n[wifi-security]\n"
                          "psk=a,b;c\\\\d\n\n[ipv4]\naddress1=10.0.0.7/24,10.0.0.1\n"
                          "method=auto\n\n[proxy]\n";

QByteArray cleaned()
{
    return QByteArray(kStale).replace("address1=10.0.0.7/24,10.0.0.1\n", "");
}

/// No file of this process can grow while it lives, as on a full disk.
class FullDisk
{
public:
    FullDisk()
    {
        _before = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &_limit);
        rlimit none = _limit;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &_limit);
        std::signal(SIGXFSZ, _before);
    }

private:
    rlimit _limit{};
    void (*_before)(int) = nullptr;
};

/// What the killed process does: it writes settings and a keyfile, again and again.
int writeForever(const QString& folder)
{
    QDir::setCurrent(folder);
    const ky::HostRoot root(folder);
    PublicClass::init()->hardwareType = -2;
    OpenNetwork network;
    const QString profile = folder + QStringLiteral("/etc/NetworkManager/system-connections/site");
    for (int i = 0;; ++i) {
        network.setEnabledRoaming(i % 2 == 0);
        const QString aside = folder + QStringLiteral("/aside");
        QFile::copy(folder + QStringLiteral("/stale"), aside);
        std::rename(qUtf8Printable(aside), qUtf8Printable(profile));
        network.checkDHCP();
        std::puts("once more");
        std::fflush(stdout);
    }
}

} // namespace

class tst_NetworkFaults : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void fullDiskLeavesTheSettingsWhole();
    void fullDiskLeavesTheKeyFileWhole();
    void fullDiskLeavesTheHotspotFileWhole();
    void cycleGoesOnAfterAFullDisk();
    void settingsFileThatIsReplacedInMidCycle();
    void settingsFileOfNoise();
    void profilesThatVanishInMidCycle();
    void processKilledWhileItWrites();

private:
    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_NetworkFaults::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _network = std::make_unique<OpenNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
}

void tst_NetworkFaults::cleanup()
{
    _network.reset();
    _fixture.reset();
}

void tst_NetworkFaults::fullDiskLeavesTheSettingsWhole()
{
    _fixture->set(ky::settings::kPingIp, QStringLiteral("10.0.0.1"));
    const QByteArray before = _fixture->read(QLatin1String(ky::settings::kFile));

    {
        const FullDisk full;
        _network->setEnabledRoaming(true);
        _network->changedNetworkCardStatus(1, true);
    }

    QCOMPARE(_fixture->read(QLatin1String(ky::settings::kFile)), before);
    QVERIFY(_network->_isEnabledRoaming); // it counts until the next start
}

void tst_NetworkFaults::fullDiskLeavesTheKeyFileWhole()
{
    _fixture->writeProfile(QStringLiteral("site"), kStale);

    {
        const FullDisk full;
        _network->checkDHCP();
    }

    QCOMPARE(_fixture->read(_fixture->profileFolder() + QStringLiteral("/site")), kStale);
    QVERIFY(!_network->getLastError().isEmpty());
    QVERIFY(_fixture->host().lines().isEmpty()); // nothing changed, nothing to load
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("site")});
}

void tst_NetworkFaults::fullDiskLeavesTheHotspotFileWhole()
{
    PublicClass::init()->hardwareType = 6;
    PublicClass::init()->applicationDir = _fixture->path(QStringLiteral("app"));
    const QString path = _fixture->path(QStringLiteral("app/appInfo/backupFile/hostapd.conf"));
    _fixture->write(path, "ssid=old\n");

    {
        const FullDisk full;
        QVERIFY(!_network->startHotspot({{QStringLiteral("ssid"), QStringLiteral("new")}}));
    }

    QCOMPARE(_fixture->read(path), QByteArray("ssid=old\n"));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_NetworkFaults::cycleGoesOnAfterAFullDisk()
{
    _fixture->writeProfile(QStringLiteral("site"), kStale);
    {
        const FullDisk full;
        _network->setEnabledRoaming(true);
        _network->slotAutoConnectEth1Ethernet();
    }

    _network->slotAutoConnectEth1Ethernet();

    QCOMPARE(_fixture->host().lines().filter(QStringLiteral("iw wlan0 link")).size(), 2);
}

void tst_NetworkFaults::settingsFileThatIsReplacedInMidCycle()
{
    _network->_isEnabledRoaming = true;
    _network->_wirelessUUID = QStringLiteral("uuid-1");
    int replaced = 0;
    _fixture->host().onCall([&](const RecordedHost::Call&) {
        _fixture->write(_fixture->path(QLatin1String(ky::settings::kFile)),
                        "[WirelessCard]\nstartScanningSignal=-1\nPingIP=10.9.9.9\n");
        ++replaced;
    });

    _network->slotAutoConnectEth1Ethernet();

    QVERIFY(replaced > 0);
    QCOMPARE(_network->_startScanningSignal, -66);
    _network->resetAPSetting();
    QCOMPARE(_network->_startScanningSignal, -1);
    QCOMPARE(_network->_pingIp, QStringLiteral("10.9.9.9"));
}

void tst_NetworkFaults::settingsFileOfNoise()
{
    QByteArray noise(8192, '\0');
    quint32 state = 7;
    for (char& c : noise) {
        state = state * 1664525 + 1013904223;
        c = char(state >> 24);
    }
    _fixture->write(_fixture->path(QLatin1String(ky::settings::kFile)), noise);

    _network->resetAPSetting();
    _network->initAutoConnect();
    _network->slotAutoConnectEth1Ethernet();

    QCOMPARE(_network->_autoConnectWaitTime, 10000);
}

void tst_NetworkFaults::profilesThatVanishInMidCycle()
{
    _fixture->writeProfile(QStringLiteral("site"), kStale);
    _network->_isEnabledRoaming = true;
    _fixture->host().onCall([&](const RecordedHost::Call&) {
        QFile::remove(_fixture->profileFolder() + QStringLiteral("/site"));
    });

    _network->slotAutoConnectEth1Ethernet();
    _network->slotAutoConnectEth1Ethernet();

    QCOMPARE(_fixture->host().lines().filter(QStringLiteral("iw wlan0 link")).size(), 2);
}

void tst_NetworkFaults::processKilledWhileItWrites()
{
    const QString folder = _fixture->path({});
    const QString profile = _fixture->profileFolder() + QStringLiteral("/site");
    _fixture->write(_fixture->path(QStringLiteral("stale")), kStale);
    _fixture->set(ky::settings::kPingIp, QStringLiteral("10.0.0.1"));
    _fixture->set(ky::settings::kIsEnabledRoaming, false);
    _fixture->writeProfile(QStringLiteral("site"), kStale);
    int sawCleaned = 0;

    for (int round = 0; round < 30; ++round) {
        QProcess writer;
        writer.start(QCoreApplication::applicationFilePath(),
                     {QStringLiteral("--write-forever"), folder});
        QVERIFY(writer.waitForReadyRead(10000));
        writer.waitForFinished(round); // a little later each time
        writer.kill();
        QVERIFY(writer.waitForFinished(10000));

        const QByteArray keys = _fixture->read(profile);
        QVERIFY2(keys == kStale || keys == cleaned(), keys.constData());
        sawCleaned += keys == cleaned();
        const QSettings settings(QLatin1String(ky::settings::kFile), QSettings::IniFormat);
        QCOMPARE(settings.status(), QSettings::NoError);
        QCOMPARE(settings.value(QLatin1String(ky::settings::kPingIp)).toString(),
                 QStringLiteral("10.0.0.1"));
        QVERIFY(settings.contains(QLatin1String(ky::settings::kIsEnabledRoaming)));
    }
    QVERIFY(sawCleaned > 0);
}

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String("--write-forever"))
        return writeForever(QDir(arguments.value(2)).absolutePath());
    tst_NetworkFaults test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_NetworkFaults.moc"
