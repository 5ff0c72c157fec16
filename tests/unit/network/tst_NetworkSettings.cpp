#include "LogCapture.h"
#include "NetworkFixture.h"

#include <QPointer>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <functional>
#include <memory>
#include <sys/resource.h>

namespace settings = ky::settings;

namespace {

const QString kIpv6Off = QStringLiteral("sudo sysctl -w net.ipv6.conf.default.disable_ipv6=1;"
                                        "sudo sysctl -w net.ipv6.conf.all.disable_ipv6=1");
const QString kIpv6On = QStringLiteral("sudo sysctl -w net.ipv6.conf.default.disable_ipv6=0;"
                                       "sudo sysctl -w net.ipv6.conf.all.disable_ipv6=0");
constexpr int kSomeBoard = 2;

const QStringList kCreatedKeys{
    QStringLiteral("autoConnectWaitTime"),        QStringLiteral("autoSwitchBestAPSignal"),
    QStringLiteral("isResetWirelessNetworkCard"), QStringLiteral("isSwitchOnlyTo5G"),
    QStringLiteral("startScanningSignal"),        QStringLiteral("switchingSignal")};

QStringList storedKeys()
{
    QSettings stored(QLatin1String(settings::kFile), QSettings::IniFormat);
    stored.beginGroup(QStringLiteral("WirelessCard"));
    return stored.childKeys();
}

} // namespace

class tst_NetworkSettings : public QObject
{
    Q_OBJECT

private slots:
    void init() { _fixture = std::make_unique<NetworkFixture>(); }
    void cleanup() { _fixture.reset(); }

    void membersHaveTheirDefaults();
    void unknownBoardReadsNothing();
    void boardMinusOneTakesNamesFromTheInterfaceTable();
    void knownBoardReadsItsSettings_data();
    void knownBoardReadsItsSettings();
    void missingCardNamesHaveDefaults();
    void interfaceTableIsLogged();
    void namesAreLoggedLast();
    void absentKeysAreCreatedWithTheirDefaults();
    void storedValuesAreTakenAndStay();
    void emptyValueCountsAsAbsent();
    void valueThatThisProcessHasStoredIsTaken_data();
    void valueThatThisProcessHasStoredIsTaken();
    void absentKeysAreStoredAtOnce();
    void whatCannotBeStoredIsToldByEachOperation_data();
    void whatCannotBeStoredIsToldByEachOperation();
    void createdKeysTakeTheMembersPresentValue();
    void waitBelowFiveSecondsBecomesSix_data();
    void waitBelowFiveSecondsBecomesSix();
    void ipv6FollowsItsKey_data();
    void ipv6FollowsItsKey();
    void failedSysctlChangesNothing();
    void bannedCardRunsNoSysctlAndStillReadsRoaming();
    void removedKeysReadAsEmpty();
    void settingsAreLoggedInOrder();
    void roamingIsStoredAtOnce();
    void requestIsStoredAndReadBack();
    void banIsNotedOnly();
    void timersEndWithTheObject();

private:
    std::unique_ptr<NetworkFixture> _fixture;
};

void tst_NetworkSettings::membersHaveTheirDefaults()
{
    const OpenNetwork network(nullptr);

    QCOMPARE(network.getRequstHandle(), qint64(0));
    QCOMPARE(network.getRequstNumber(), 0);
    QCOMPARE(network._autoConnectWaitTime, 10000);
    QCOMPARE(network._disconnectionMethod, 0);
    QCOMPARE(network._startScanningSignal, -66);
    QCOMPARE(network._switchingSignal, 7);
    QCOMPARE(network._autoSwitchBestAPSignal, -85);
    QVERIFY(network._isResetWirelessNetworkCard);
    QVERIFY(!network._isEnabledRoaming && !network._isSwitchOnlyTo5G);
    QVERIFY(!network._isDisableWirelessNetworkCard && !network._isDisconnectionSendError);
    QVERIFY(network._hmiIp.isEmpty() && network._wirelessUUID.isEmpty());
    QCOMPARE(network._autoConnectSSIDTimer, nullptr);
}

void tst_NetworkSettings::unknownBoardReadsNothing()
{
    _fixture->set(settings::kWirelessCardName, QStringLiteral("wlan7"));
    _fixture->set(settings::kHmiIp, QStringLiteral("10.0.0.9"));
    _fixture->set(settings::kAutoConnectWaitTime, 7000);
    PublicClass::init()->hardwareType = -2;

    const OpenNetwork network(nullptr);

    QVERIFY(network._wirelessCardName.isEmpty() && network._aLXB10NetworkCardName.isEmpty());
    QVERIFY(network._hmiIp.isEmpty());
    QCOMPARE(network._autoConnectWaitTime, 10000);
    QCOMPARE(storedKeys().size(), 2);
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_NetworkSettings::boardMinusOneTakesNamesFromTheInterfaceTable()
{
    QString lastWired;
    QString lastWireless;
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        if (interface.type() == QNetworkInterface::Ethernet)
            lastWired = interface.name();
        if (interface.type() == QNetworkInterface::Wifi)
            lastWireless = interface.name();
    }
    _fixture->set(settings::kWiredCardName, QStringLiteral("eth7"));
    PublicClass::init()->hardwareType = -1;

    const OpenNetwork network(nullptr);

    QCOMPARE(network._aLXB10NetworkCardName, lastWired);
    QCOMPARE(network._wirelessCardName, lastWireless);
}

void tst_NetworkSettings::knownBoardReadsItsSettings_data()
{
    QTest::addColumn<int>("board");

    QTest::newRow("the least that is known") << 0;
    QTest::newRow("some other") << kSomeBoard;
}

void tst_NetworkSettings::knownBoardReadsItsSettings()
{
    QFETCH(int, board);
    _fixture->set(settings::kWirelessCardName, QStringLiteral("wlan7"));
    _fixture->set(settings::kWirelessCardBanned, true);
    _fixture->set(settings::kWiredCardName, QStringLiteral("eth7"));
    _fixture->set(settings::kHmiIp, QStringLiteral("10.0.0.9"));
    PublicClass::init()->hardwareType = board;

    const OpenNetwork network(nullptr);

    QCOMPARE(network._wirelessCardName, QStringLiteral("wlan7"));
    QVERIFY(network._isDisableWirelessNetworkCard);
    QCOMPARE(network._aLXB10NetworkCardName, QStringLiteral("eth7"));
    QCOMPARE(network._hmiIp, QStringLiteral("10.0.0.9"));
    QVERIFY(!_fixture->host().lines().isEmpty()); // the host is prepared, too
}

void tst_NetworkSettings::missingCardNamesHaveDefaults()
{
    PublicClass::init()->hardwareType = kSomeBoard;

    const OpenNetwork network(nullptr);

    QCOMPARE(network._wirelessCardName, QStringLiteral("wlp1s0"));
    QCOMPARE(network._aLXB10NetworkCardName, QStringLiteral("eth0"));
}

void tst_NetworkSettings::interfaceTableIsLogged()
{
    const LogCapture log("ky.network");

    const OpenNetwork network(nullptr);

    const QString prefix = QStringLiteral("[info][SystemNetwork]");
    const int start = LogCapture::lines().indexOf(
        prefix + QStringLiteral("[=========QNetworkInterface[Start]=============]"));
    const int end = LogCapture::lines().indexOf(
        prefix + QStringLiteral("[=========QNetworkInterface[End]=============]"));
    QCOMPARE(start, 0);
    QCOMPARE(end, 1 + 6 * QNetworkInterface::allInterfaces().size());
    // The loopback: its type is 1, whose bit is that of "IsUp", whatever its flags are.
    const QNetworkInterface loopback = QNetworkInterface::interfaceFromName(QStringLiteral("lo"));
    const QString flags =
        QStringLiteral("[flags:%1(IsUp,)]").arg(int(loopback.flags())).prepend(prefix);
    QVERIFY(LogCapture::holds(flags));
    QVERIFY(LogCapture::holds(prefix + QStringLiteral("[type:1(Loopback)]")));
    QVERIFY(LogCapture::holds(prefix + QStringLiteral("[name:lo]")));
}

void tst_NetworkSettings::namesAreLoggedLast()
{
    const LogCapture log("ky.network");
    PublicClass::init()->hardwareType = kSomeBoard;

    const OpenNetwork network(nullptr);

    QCOMPARE(
        LogCapture::lines().mid(LogCapture::lines().size() - 2),
        (QStringList{
            QStringLiteral("[debug][SystemNetwork][_wirelessCardName: wlp1s0 isDisabled: false ]"),
            QStringLiteral("[debug][SystemNetwork][_aLXB10NetworkCardName: eth0")}));
}

void tst_NetworkSettings::absentKeysAreCreatedWithTheirDefaults()
{
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QCOMPARE(storedKeys(), kCreatedKeys);
    QCOMPARE(_fixture->setting(settings::kAutoConnectWaitTime).toInt(), 10000);
    QCOMPARE(_fixture->setting(settings::kAutoSwitchBestApSignal).toInt(), -85);
    QCOMPARE(_fixture->setting(settings::kIsResetWirelessCard).toBool(), true);
    QCOMPARE(_fixture->setting(settings::kIsSwitchOnlyTo5G).toBool(), false);
    QCOMPARE(_fixture->setting(settings::kStartScanningSignal).toInt(), -66);
    QCOMPARE(_fixture->setting(settings::kSwitchingSignal).toInt(), 7);
}

void tst_NetworkSettings::storedValuesAreTakenAndStay()
{
    _fixture->set(settings::kPingIp, QStringLiteral("10.0.0.1"));
    _fixture->set(settings::kPingUrl, QStringLiteral("http://10.0.0.1/"));
    _fixture->set(settings::kDisconnectionMethod, 2);
    _fixture->set(settings::kIsDisconnectionSendError, true);
    _fixture->set(settings::kIsSwitchOnlyTo5G, true);
    _fixture->set(settings::kStartScanningSignal, -70);
    _fixture->set(settings::kSwitchingSignal, 9);
    _fixture->set(settings::kAutoSwitchBestApSignal, -90);
    _fixture->set(settings::kIsResetWirelessCard, false);
    _fixture->set(settings::kAutoConnectWaitTime, 20000);
    _fixture->set(settings::kIsEnabledRoaming, true);
    const QByteArray before = _fixture->read(QLatin1String(settings::kFile));
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QCOMPARE(network._pingIp, QStringLiteral("10.0.0.1"));
    QCOMPARE(network._pingUrl, QStringLiteral("http://10.0.0.1/"));
    QCOMPARE(network._disconnectionMethod, 2);
    QVERIFY(network._isDisconnectionSendError && network._isSwitchOnlyTo5G);
    QCOMPARE(network._startScanningSignal, -70);
    QCOMPARE(network._switchingSignal, 9);
    QCOMPARE(network._autoSwitchBestAPSignal, -90);
    QVERIFY(!network._isResetWirelessNetworkCard);
    QCOMPARE(network._autoConnectWaitTime, 20000);
    QVERIFY(network._isEnabledRoaming);
    QCOMPARE(_fixture->read(QLatin1String(settings::kFile)), before);
}

void tst_NetworkSettings::emptyValueCountsAsAbsent()
{
    _fixture->write(_fixture->path(QLatin1String(settings::kFile)),
                    "[WirelessCard]\nstartScanningSignal=\n");
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QCOMPARE(network._startScanningSignal, -66);
    QCOMPARE(_fixture->setting(settings::kStartScanningSignal).toInt(), -66);
}

void tst_NetworkSettings::valueThatThisProcessHasStoredIsTaken_data()
{
    QTest::addColumn<bool>("isSaved");

    QTest::newRow("and saved") << true;
    QTest::newRow("and not saved yet") << false;
}

/// QSettings gives such a value back with its type, as a boolean or a number and not as a text.
void tst_NetworkSettings::valueThatThisProcessHasStoredIsTaken()
{
    QFETCH(bool, isSaved);
    QDir().mkpath(QFileInfo(QLatin1String(settings::kFile)).path());
    QSettings own(QLatin1String(settings::kFile), QSettings::IniFormat);
    own.setValue(QLatin1String(settings::kIsResetWirelessCard), false);
    own.setValue(QLatin1String(settings::kSwitchingSignal), 0);
    if (isSaved)
        own.sync();
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QVERIFY(!network._isResetWirelessNetworkCard);
    QCOMPARE(network._switchingSignal, 0);
    own.sync();
    const QByteArray stored = _fixture->read(QLatin1String(settings::kFile));
    QVERIFY2(stored.contains("isResetWirelessNetworkCard=false\n"), stored);
    QVERIFY2(stored.contains("switchingSignal=0\n"), stored);
    QVERIFY2(stored.contains("startScanningSignal=-66\n"), stored);
}

/// Six keys are one change: a file that cannot take them all gets none.
void tst_NetworkSettings::absentKeysAreStoredAtOnce()
{
    _fixture->write(QLatin1String(settings::kFile), "[HMI]\nip=10.0.0.1\n");
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 100; // bytes of one file: some of the keys would fit
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    {
        OpenNetwork network(nullptr);
        network.resetAPSetting();
    }
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);

    QCOMPARE(_fixture->read(QLatin1String(settings::kFile)), QByteArray("[HMI]\nip=10.0.0.1\n"));
}

using Operation = std::function<void(OpenNetwork&)>;
Q_DECLARE_METATYPE(Operation)

void tst_NetworkSettings::whatCannotBeStoredIsToldByEachOperation_data()
{
    QTest::addColumn<Operation>("operation");

    const auto row = [](const char* name, const Operation& operation) {
        QTest::newRow(name) << operation;
    };
    row("setEnabledRoaming", [](OpenNetwork& network) { network.setEnabledRoaming(true); });
    row("resetAPSetting", [](OpenNetwork& network) { network.resetAPSetting(); });
    row("setHMIInfo", [](OpenNetwork& network) {
        network.setHMIInfo({{QStringLiteral("hmiIP"), QStringLiteral("10.0.0.9")}});
        QCOMPARE(network._hmiIp, QStringLiteral("10.0.0.9"));
    });
    row("changedNetworkCardStatus",
        [](OpenNetwork& network) { QVERIFY(network.changedNetworkCardStatus(1, true)); });
    row("getAlxCardInfo", [](OpenNetwork& network) {
        QVariantMap info;
        network._aLXB10NetworkCardName = QStringLiteral("eth7");
        QVERIFY(network.getAlxCardInfo(info));
    });
}

/// The work is done and the result is the usual one; the log and the last error tell the rest.
void tst_NetworkSettings::whatCannotBeStoredIsToldByEachOperation()
{
    QFETCH(Operation, operation);
    _fixture->write(QStringLiteral("appInfo"), "a file in the place of the folder");
    OpenNetwork network(nullptr);
    const LogCapture log("ky.network");

    operation(network);

    const QString problem = QStringLiteral("settings not stored: ");
    QVERIFY2(network.getLastError().startsWith(problem), qUtf8Printable(network.getLastError()));
    QVERIFY2(network.getLastError().endsWith(QLatin1String("Not a directory")),
             qUtf8Printable(network.getLastError()));
    QCOMPARE(LogCapture::lines()
                 .filter(QStringLiteral("[warning][%1][%2").arg(QTest::currentDataTag(), problem))
                 .size(),
             1);
}

void tst_NetworkSettings::createdKeysTakeTheMembersPresentValue()
{
    OpenNetwork network(nullptr);
    network._switchingSignal = 11;

    network.resetAPSetting();

    QCOMPARE(_fixture->setting(settings::kSwitchingSignal).toInt(), 11);
}

void tst_NetworkSettings::waitBelowFiveSecondsBecomesSix_data()
{
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("period");

    QTest::newRow("below") << 4999 << 6000;
    QTest::newRow("at") << 5000 << 5000;
    QTest::newRow("above") << 5001 << 5001;
    QTest::newRow("negative") << -1 << 6000;
}

void tst_NetworkSettings::waitBelowFiveSecondsBecomesSix()
{
    QFETCH(int, stored);
    _fixture->set(settings::kAutoConnectWaitTime, stored);
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QTEST(network._autoConnectWaitTime, "period");
    QCOMPARE(_fixture->setting(settings::kAutoConnectWaitTime).toInt(), stored);
}

void tst_NetworkSettings::ipv6FollowsItsKey_data()
{
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("line");

    QTest::newRow("absent") << QVariant() << kIpv6Off;
    QTest::newRow("true") << QVariant(true) << kIpv6Off;
    QTest::newRow("1") << QVariant(1) << kIpv6Off;
    QTest::newRow("false") << QVariant(false) << kIpv6On;
    QTest::newRow("0") << QVariant(0) << kIpv6On;
}

void tst_NetworkSettings::ipv6FollowsItsKey()
{
    QFETCH(QVariant, stored);
    QFETCH(QString, line);
    if (stored.isValid())
        _fixture->set(settings::kDisableIpv6, stored);
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QCOMPARE(_fixture->host().lines(), QStringList{line});
    QCOMPARE(_fixture->host().calls().first().limitMs, 20000);
}

void tst_NetworkSettings::failedSysctlChangesNothing()
{
    _fixture->host().fail(kIpv6Off, QStringLiteral("sysctl: permission denied"));
    _fixture->set(settings::kIsEnabledRoaming, true);
    OpenNetwork network(nullptr);

    network.resetAPSetting();

    QVERIFY(network._isEnabledRoaming);
    QVERIFY(network.getLastError().isEmpty());
}

void tst_NetworkSettings::bannedCardRunsNoSysctlAndStillReadsRoaming()
{
    _fixture->set(settings::kIsEnabledRoaming, true);
    OpenNetwork network(nullptr);
    network.setIsDisableWirelessNetworkCard(true);

    network.resetAPSetting();

    QVERIFY(_fixture->host().lines().isEmpty());
    QVERIFY(network._isEnabledRoaming);
}

void tst_NetworkSettings::removedKeysReadAsEmpty()
{
    OpenNetwork network(nullptr);
    network._pingIp = QStringLiteral("10.0.0.1");
    network._pingUrl = QStringLiteral("http://10.0.0.1/");
    network._disconnectionMethod = 1;
    network._isDisconnectionSendError = true;
    network._isEnabledRoaming = true;

    network.resetAPSetting();

    QVERIFY(network._pingIp.isEmpty() && network._pingUrl.isEmpty());
    QCOMPARE(network._disconnectionMethod, 0);
    QVERIFY(!network._isDisconnectionSendError && !network._isEnabledRoaming);
}

void tst_NetworkSettings::settingsAreLoggedInOrder()
{
    OpenNetwork network(nullptr);
    const LogCapture log("ky.network");

    network.resetAPSetting();

    QStringList expected{QStringLiteral("====================="),
                         QStringLiteral("_pingIp: "),
                         QStringLiteral("_disconnectionMethod: 0"),
                         QStringLiteral("_isDisconnectionSendError: false"),
                         QStringLiteral("_pingUrl: "),
                         QStringLiteral("_isSwitchOnlyTo5G: false"),
                         QStringLiteral("_startScanningSignal: -66"),
                         QStringLiteral("_switchingSignal: 7"),
                         QStringLiteral("_autoSwitchBestAPSignal: -85"),
                         QStringLiteral("_autoConnectWaitTime: 10000"),
                         QStringLiteral("_isEnabledRoaming: false"),
                         QStringLiteral("_isResetWirelessNetworkCard: true"),
                         QStringLiteral("disableIpv6: 1"),
                         QStringLiteral("=====================")};
    for (QString& line : expected)
        line.prepend(QStringLiteral("[debug][resetAPSetting]"));
    QCOMPARE(LogCapture::lines(), expected);
}

void tst_NetworkSettings::roamingIsStoredAtOnce()
{
    OpenNetwork network(nullptr);

    network.setEnabledRoaming(true);

    QVERIFY(network._isEnabledRoaming);
    QCOMPARE(_fixture->setting(settings::kIsEnabledRoaming), QVariant(QStringLiteral("true")));
    QCOMPARE(network._autoConnectSSIDTimer, nullptr);
}

void tst_NetworkSettings::requestIsStoredAndReadBack()
{
    SystemNetwork network(nullptr);

    network.setRequstHandle(Q_INT64_C(1) << 40);
    network.setRequstNumber(7);

    QCOMPARE(network.getRequstHandle(), Q_INT64_C(1) << 40);
    QCOMPARE(network.getRequstNumber(), 7);
}

void tst_NetworkSettings::banIsNotedOnly()
{
    OpenNetwork network(nullptr);

    network.setIsDisableWirelessNetworkCard(true);

    QVERIFY(network._isDisableWirelessNetworkCard);
    QVERIFY(!QFile::exists(QLatin1String(settings::kFile)));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_NetworkSettings::timersEndWithTheObject()
{
    auto network = std::make_unique<OpenNetwork>(nullptr);
    // Without parents: nobody else ends them.
    const QPointer<QTimer> supervision = new QTimer;
    const QPointer<QTimer> reserved = new QTimer;
    network->_autoConnectSSIDTimer = supervision;
    network->_reservedTimer = reserved;

    network.reset();

    QVERIFY(supervision.isNull());
    QVERIFY(reserved.isNull());
}

QTEST_GUILESS_MAIN(tst_NetworkSettings)
#include "tst_NetworkSettings.moc"
