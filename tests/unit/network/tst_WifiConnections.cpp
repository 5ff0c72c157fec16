#include "ClosedFolder.h"
#include "LogCapture.h"
#include "NetworkFixture.h"

#include <QTest>

#include <memory>

namespace settings = ky::settings;

namespace {

const QString kCards =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kUp = QStringLiteral("sudo nmcli connection up U-1 ifname wlan0");
const QString kRestart = QStringLiteral("service network-manager restart");
const QString kReload = QStringLiteral("sudo nmcli connection reload");
const QString kListWifi = QStringLiteral("nmcli connection show | grep wifi");
const QString kListEth1 = QStringLiteral("nmcli connection show | grep eth1");
const QString kLshw = QStringLiteral("lshw -c network");
const QString kJoin = QStringLiteral("nmcli device wifi connect 'Robot' password 'pw' ");
const QString kAutoconnect =
    QStringLiteral("nmcli connection modify 'Robot' connection.autoconnect yes");
const QString kAdd =
    QStringLiteral("sudo nmcli connection add type wifi con-name \"Robot\" ifname wlan0 ssid "
                   "\"Robot\" ipv4.method auto  wifi-sec.key-mgmt wpa-psk  wifi-sec.psk 'pw'  "
                   "connection.autoconnect true ");
const QString kNotQueried =
    QStringLiteral("The name/UUID already used for the connection was not queried");

const QByteArray kWifi = "[connection]\nid=Robot\nuuid=U-1\ntype=wifi\ninterface-name=wlan0\n";
const QByteArray kWired = "[connection]\nid=w\nuuid=U-2\ntype=ethernet\ninterface-name=eth1\n";

QString captured(const char* name)
{
    return NetworkFixture::capture(QLatin1String(name));
}

QVariantMap request(const QVariantMap& wifi)
{
    return {{QStringLiteral("interface"), QStringLiteral("connectWifi")},
            {QStringLiteral("connectWifi"), wifi}};
}

QVariantMap plainWifi()
{
    return {{QStringLiteral("ssid"), QStringLiteral("Robot")},
            {QStringLiteral("password"), QStringLiteral("pw")},
            {QStringLiteral("dhcp"), true}};
}

QVariantMap file(const char* name, const char* base64)
{
    return {{QStringLiteral("fileName"), QString::fromUtf8(name)},
            {QStringLiteral("base64"), QString::fromLatin1(base64)}};
}

QVariantMap nameAlone(const char* name)
{
    return {{QStringLiteral("fileName"), QString::fromUtf8(name)}};
}

} // namespace

class tst_WifiConnections : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void storedProfileIsBroughtUp_data();
    void storedProfileIsBroughtUp();
    void bringingUpNeedsACard();
    void severalCardsLeaveTheKnownOne();
    void noProfileIsAnEmptyUuid();
    void refusedConnectionIsTheLastError();
    void failedCommandDoesNotRestart();
    void failedCommandRestartsIfAsked_data();
    void failedCommandRestartsIfAsked();
    void refusalInWordsNeverRestarts();
    void connectionIsLogged();

    void joinsByName();
    void emptySsidIsFalseWithoutReason();
    void ssidAndPasswordAreTrimmed();
    void blankPasswordIsNone();
    void joinRemovesOldProfilesFirst();
    void refusedJoinIsTheLastError_data();
    void refusedJoinIsTheLastError();
    void autoconnectDecidesTheResult();

    void shortFormUsesTheNameAlone();
    void shortFormWithEmptySsidIsFalse();
    void shortFormTellsItsRefusal();
    void shortFormKeepsAFailureToItself();

    void deviceConnects_data();
    void deviceConnects();

    void otherInterfacesAreNothingToDo();
    void describedProfileIsMadeAndBroughtUp();
    void describedProfileNeedsACard();
    void describedProfileEndsAtTheFirstFailure_data();
    void describedProfileEndsAtTheFirstFailure();
    void backupFolderIsMade();
    void certificatesAreWrittenForTheirOwnerAlone();
    void certificatesWithoutContent();
    void existingCertificateKeepsItsMode();
    void unwritableCertificateIsNotReported();
    void noBackupFolderWritesNothing();
    void namesThatLeadOutAreRefusedBeforeAnyChange_data();
    void namesThatLeadOutAreRefusedBeforeAnyChange();

    void profilesOfATypeAreRemoved();
    void hotspotIsRemovedWithTheWifiProfiles();
    void profilesOfACardAreRemovedAndReloaded();
    void nothingRemovedIsNothingToReload();
    void eachListedProfileIsRemovedWhateverBecomesOfTheOthers();
    void profileThatCannotGoIsNoReasonToReload();
    void goneProfilesRunNoDelete();
    void oneHitWithoutLineFeedIsNone();
    void failedListEndsTheRemoval();
    void failedReloadGoesOn();
    void removalsAreLogged();
    void partsOfMoreThan35CharactersAreUuids();
    void emptyNameRemovesNoProfile();
    void cardNameThatFindsOthersRemovesNothing_data();
    void cardNameThatFindsOthersRemovesNothing();
    void cardNameOfTheKernelsReachesGrep_data();
    void cardNameOfTheKernelsReachesGrep();
    void nameThatNobodyKnowsRemovesNothing_data();
    void nameThatNobodyKnowsRemovesNothing();
    void cardOfTheHostNeedsNoKeyfile();
    void ownCardNeedsNeitherKeyfileNorInterface_data();
    void ownCardNeedsNeitherKeyfileNorInterface();
    void typeThatFindsOthersRemovesNothing_data();
    void typeThatFindsOthersRemovesNothing();
    void typeOfAProfileReachesGrep_data();
    void typeOfAProfileReachesGrep();
    void typeThatNobodyKnowsRemovesNothing_data();
    void typeThatNobodyKnowsRemovesNothing();
    void typeOfAKeyfileIsAType();
    void leftoverIsNoProfileToRemove();
    void profilesOfOthersStayByteForByte();

    void wirelessDriverIsNotFound();
    void otherKindsAreNothingToDo();
    void noDriverIsAnError();
    void driverGoesOnTheBlacklist_data();
    void driverGoesOnTheBlacklist();
    void absentBlacklistIsMade();
    void disablingIsLogged();
    void flagIsOnlyStored();
    void profileThatStaysIsWarnedOf();
    void unwritableBlacklistIsFalse();

private:
    QStringList lines() const { return RecordedHost::instance().lines(); }
    QList<int> limits() const
    {
        QList<int> limits;
        for (const RecordedHost::Call& call : RecordedHost::instance().calls())
            limits << call.limitMs;
        return limits;
    }
    QString blacklist() const
    {
        return _fixture->path(QStringLiteral("etc/modprobe.d/blacklist.conf"));
    }
    QString setBackupFolder();

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_WifiConnections::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _network = std::make_unique<OpenNetwork>(nullptr);
}

void tst_WifiConnections::cleanup()
{
    _network.reset();
    _fixture.reset();
}

QString tst_WifiConnections::setBackupFolder()
{
    const QString folder = _fixture->path(QStringLiteral("backup/network"));
    PublicClass::init()->writeIni(PublicClass::init()->settingsFile,
                                  QStringLiteral("AppInfo/networkBackup"), folder);
    return folder;
}

// --- connectWifi ---

void tst_WifiConnections::storedProfileIsBroughtUp_data()
{
    QTest::addColumn<QString>("output");

    QTest::newRow("English") << captured("nmcli/connection-up-good.c.out");
    QTest::newRow("Chinese") << captured("nmcli/connection-up-good.zh.out");
}

void tst_WifiConnections::storedProfileIsBroughtUp()
{
    QFETCH(QString, output);
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().answer(kUp, output);

    QVERIFY(_network->connectWifi(8000, true));

    QCOMPARE(lines(), (QStringList{kCards, kUp}));
    QCOMPARE(limits(), (QList<int>{20000, 8000}));
    QCOMPARE(_network->_wirelessUUID, QStringLiteral("U-1"));
    QCOMPARE(_network->_wirelessCardName, QStringLiteral("wlan0"));
    QVERIFY(_network->getLastError().isEmpty());
}

void tst_WifiConnections::bringingUpNeedsACard()
{
    _fixture->host().reset();

    QVERIFY(!_network->connectWifi(8000, true));

    QCOMPARE(lines(), QStringList{kCards});
}

// Neither of the two names tells which card is meant: that of the settings stays.
void tst_WifiConnections::severalCardsLeaveTheKnownOne()
{
    _fixture->host().reset();
    _fixture->host().answer(kCards, QStringLiteral("wlx1\nwwan0\n"));
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    _network->_wirelessCardName = QStringLiteral("wlx1");
    QVariantMap map;
    QString ssid;
    const auto isRun = [this](const char* line) { return lines().contains(QLatin1String(line)); };

    _network->connectWifi(8000, false);
    _network->runIwconfig(request(plainWifi()));
    _network->getWifiCardInfo(map);
    _network->getConnectedWifiSSID(ssid);
    _network->getWinApiWifiList(map);

    QVERIFY(isRun("sudo nmcli connection up  ifname wlx1"));
    QCOMPARE(lines().filter(QStringLiteral("con-name \"Robot\" ifname wlx1 ssid")).size(), 1);
    QVERIFY(isRun("nmcli device show wlx1"));
    QCOMPARE(lines().count(QStringLiteral("sudo wpa_cli -i wlx1 status ")), 2);
    QVERIFY(isRun("sudo wpa_cli -i wlx1 scan"));
    QCOMPARE(_network->_wirelessCardName, QStringLiteral("wlx1"));
}

void tst_WifiConnections::noProfileIsAnEmptyUuid()
{
    QVERIFY(!_network->connectWifi(8000, false));

    QCOMPARE(lines().last(), QStringLiteral("sudo nmcli connection up  ifname wlan0"));
}

void tst_WifiConnections::refusedConnectionIsTheLastError()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().answer(kUp, QStringLiteral("Verbindung wurde aktiviert"));

    QVERIFY(!_network->connectWifi(8000, false));

    QCOMPARE(_network->getLastError(), QStringLiteral("Verbindung wurde aktiviert"));
}

void tst_WifiConnections::failedCommandDoesNotRestart()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().fail(kUp, captured("nmcli/connection-up-peap-bad.zh.err"));

    QVERIFY(!_network->connectWifi(8000, false));

    QCOMPARE(_network->getLastError(), captured("nmcli/connection-up-peap-bad.zh.err"));
    QCOMPARE(lines(), (QStringList{kCards, kUp}));
}

void tst_WifiConnections::failedCommandRestartsIfAsked_data()
{
    QTest::addColumn<bool>("hasRestarted");
    QTest::addColumn<QString>("error");

    QTest::newRow("restarted") << true << "Running[service network-manager restart]";
    QTest::newRow("not found") << false << "Failed to restart network-manager.service";
}

void tst_WifiConnections::failedCommandRestartsIfAsked()
{
    QFETCH(bool, hasRestarted);
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().fail(kUp, QStringLiteral("Error"));
    _fixture->host().answer(kRestart, QStringLiteral("Failed to restart network-manager.service"),
                            hasRestarted);

    QVERIFY(!_network->connectWifi(8000, true));

    QTEST(_network->getLastError(), "error");
    QCOMPARE(lines(), (QStringList{kCards, kUp, kRestart, QStringLiteral("sleep 5")}));
    QCOMPARE(limits().at(2), 20000);
}

void tst_WifiConnections::refusalInWordsNeverRestarts()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().answer(kUp, QStringLiteral("something else"));

    QVERIFY(!_network->connectWifi(8000, true));

    QCOMPARE(lines(), (QStringList{kCards, kUp}));
}

void tst_WifiConnections::connectionIsLogged()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    const LogCapture log("ky.network");

    _network->connectWifi(8000, false);

    QVERIFY(LogCapture::holds(QStringLiteral("[debug][connectWifi][_wirelessCardName:wlan0]")));
    QVERIFY(LogCapture::holds(QStringLiteral("[debug][connectWifi][_wirelessUUID:U-1]")));
}

// --- connectWindowWifi ---

void tst_WifiConnections::joinsByName()
{
    _fixture->host().answer(kJoin, captured("nmcli/wifi-connect-good.c.out"));

    QVERIFY(_network->connectWindowWifi(QStringLiteral("Robot"), QStringLiteral("pw"), false));

    QCOMPARE(lines(), (QStringList{kListWifi, kJoin, kAutoconnect}));
    QCOMPARE(limits(), (QList<int>{20000, 20000, 20000}));
}

void tst_WifiConnections::emptySsidIsFalseWithoutReason()
{
    _network->setLastError(QStringLiteral("before"));

    QVERIFY(!_network->connectWindowWifi(QString(), QStringLiteral("pw"), false));

    QCOMPARE(_network->getLastError(), QStringLiteral("before"));
    QVERIFY(lines().isEmpty());
}

void tst_WifiConnections::ssidAndPasswordAreTrimmed()
{
    _fixture->host().answer(kJoin, captured("nmcli/wifi-connect-good.zh.out"));

    QVERIFY(
        _network->connectWindowWifi(QStringLiteral(" Robot\n"), QStringLiteral("\tpw "), false));
}

void tst_WifiConnections::blankPasswordIsNone()
{
    _network->connectWindowWifi(QStringLiteral("Robot"), QStringLiteral("   "), true);

    QCOMPARE(lines().last(), QStringLiteral("nmcli device wifi connect 'Robot' hidden yes"));
}

void tst_WifiConnections::joinRemovesOldProfilesFirst()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    const QString folder = _fixture->profileFolder();
    QStringList atJoin;
    _fixture->host().onCall([&](const RecordedHost::Call& call) {
        if (call.line == kJoin)
            atJoin = QDir(folder).entryList(QDir::Files);
    });

    _network->connectWindowWifi(QStringLiteral("Robot"), QStringLiteral("pw"), false);

    QCOMPARE(atJoin, QStringList{QStringLiteral("w")});
}

void tst_WifiConnections::refusedJoinIsTheLastError_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("hasRun");

    QTest::newRow("failed") << captured("nmcli/wifi-connect-bad-password.c.err") << false;
    QTest::newRow("failed, Chinese") << captured("nmcli/wifi-connect-bad-password.zh.err") << false;
    QTest::newRow("ran without the words") << "Gerät wurde aktiviert" << true;
    QTest::newRow("ran without output") << "" << true;
}

void tst_WifiConnections::refusedJoinIsTheLastError()
{
    QFETCH(QString, text);
    QFETCH(bool, hasRun);
    _fixture->host().answer(kJoin, text, hasRun);

    QVERIFY(!_network->connectWindowWifi(QStringLiteral("Robot"), QStringLiteral("pw"), false));

    QCOMPARE(_network->getLastError(), text);
    QVERIFY(!lines().contains(kAutoconnect));
}

void tst_WifiConnections::autoconnectDecidesTheResult()
{
    _fixture->host().answer(kJoin, captured("nmcli/wifi-connect-chinese-ssid.zh.out"));
    _fixture->host().fail(kAutoconnect, QStringLiteral("Error: not permitted"));

    QVERIFY(!_network->connectWindowWifi(QStringLiteral("Robot"), QStringLiteral("pw"), false));

    QCOMPARE(_network->getLastError(), QStringLiteral("Error: not permitted"));
}

// --- connectWindowWifi2 ---

void tst_WifiConnections::shortFormUsesTheNameAlone()
{
    const QString line = QStringLiteral(" nmcli d wifi connect 'Robot'");
    _fixture->host().answer(line, captured("nmcli/wifi-connect-good.c.out"));
    _fixture->writeProfile(QStringLiteral("r"), kWifi);

    QVERIFY(_network->connectWindowWifi2(QStringLiteral(" Robot "), QStringLiteral("pw"), true));

    QCOMPARE(lines(), QStringList{line});
    QCOMPARE(limits(), QList<int>{20000});
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("r")});
}

void tst_WifiConnections::shortFormWithEmptySsidIsFalse()
{
    QVERIFY(!_network->connectWindowWifi2(QString(), QString(), false));

    QVERIFY(lines().isEmpty());
}

void tst_WifiConnections::shortFormTellsItsRefusal()
{
    _fixture->host().answerOthers({QStringLiteral("no words"), true});

    QVERIFY(!_network->connectWindowWifi2(QStringLiteral("Robot"), QString(), false));

    QCOMPARE(_network->getLastError(), QStringLiteral("no words"));
}

void tst_WifiConnections::shortFormKeepsAFailureToItself()
{
    _network->setLastError(QStringLiteral("before"));
    _fixture->host().answerOthers({QStringLiteral("Error: successfully failed"), false});

    QVERIFY(!_network->connectWindowWifi2(QStringLiteral("Robot"), QString(), false));

    QCOMPARE(_network->getLastError(), QStringLiteral("before"));
}

// --- connectDeviceCard ---

void tst_WifiConnections::deviceConnects_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");
    QTest::addColumn<bool>("isConnected");

    QTest::newRow("English") << captured("nmcli/wired-device-connect-good.c.out") << true << true;
    QTest::newRow("Chinese") << captured("nmcli/wired-device-connect-good.zh.out") << true << true;
    QTest::newRow("unknown") << captured("nmcli/device-connect-unknown.c.err") << false << false;
    QTest::newRow("unknown, Chinese")
        << captured("nmcli/device-connect-unknown.zh.err") << false << false;
    QTest::newRow("no words") << "done" << true << false;
    QTest::newRow("wired, profile made on the way")
        << captured("nmcli/device-connect-no-profile-wired.c.out") << true << true;
    QTest::newRow("wireless without a profile")
        << captured("nmcli/device-connect-no-profile-wifi.c.err") << false << false;
    QTest::newRow("wireless without a profile, Chinese")
        << captured("nmcli/device-connect-no-profile-wifi.zh.err") << false << false;
}

void tst_WifiConnections::deviceConnects()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    QFETCH(bool, isConnected);
    _fixture->host().answer(QStringLiteral("nmcli device connect eth1"), output, hasRun);

    QCOMPARE(_network->connectDeviceCard(QStringLiteral("eth1")), isConnected);

    QCOMPARE(_network->getLastError(), isConnected ? QString() : output);
    QCOMPARE(limits(), QList<int>{20000});
}

// --- runIwconfig ---

void tst_WifiConnections::otherInterfacesAreNothingToDo()
{
    QVERIFY(_network->runIwconfig({}));
    QVERIFY(_network->runIwconfig({{QStringLiteral("interface"), QStringLiteral("other")}}));

    QVERIFY(lines().isEmpty());
}

void tst_WifiConnections::describedProfileIsMadeAndBroughtUp()
{
    _fixture->host().answer(kUp, captured("nmcli/connection-up-good.c.out"));
    _fixture->host().onCall([this](const RecordedHost::Call& call) {
        if (call.line == kAdd)
            _fixture->writeProfile(QStringLiteral("r"), kWifi);
    });

    QVERIFY(_network->runIwconfig(request(plainWifi())));

    QCOMPARE(lines(),
             (QStringList{kCards, kListWifi, kAdd, QStringLiteral("sleep 1"), kReload,
                          QStringLiteral("sleep 2"), kCards, kUp, QStringLiteral("sleep 1")}));
    QCOMPARE(limits(), (QList<int>{20000, 20000, 20000, 0, 20000, 0, 20000, 15000, 0}));
}

void tst_WifiConnections::describedProfileNeedsACard()
{
    _fixture->host().reset();
    _fixture->writeProfile(QStringLiteral("r"), kWifi);

    QVERIFY(!_network->runIwconfig(request(plainWifi())));

    QCOMPARE(lines(), QStringList{kCards});
    QCOMPARE(_fixture->profiles().size(), 1);
}

void tst_WifiConnections::describedProfileEndsAtTheFirstFailure_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<QString>("last");

    QTest::newRow("add") << kAdd << kAdd;
    QTest::newRow("reload") << kReload << kReload;
    QTest::newRow("up") << QStringLiteral("sudo nmcli connection up  ifname wlan0")
                        << QStringLiteral("sudo nmcli connection up  ifname wlan0");
}

void tst_WifiConnections::describedProfileEndsAtTheFirstFailure()
{
    QFETCH(QString, failing);
    _fixture->host().fail(failing, QStringLiteral("Error: no"));

    QVERIFY(!_network->runIwconfig(request(plainWifi())));

    QTEST(lines().last(), "last");
    QCOMPARE(_network->getLastError(), QStringLiteral("Error: no"));
}

void tst_WifiConnections::backupFolderIsMade()
{
    const QString folder = setBackupFolder();
    const LogCapture log("ky.network");

    _network->runIwconfig(request(plainWifi()));

    QVERIFY(QDir(folder).exists());
    QVERIFY(LogCapture::holds(QStringLiteral("[debug][runIwconfig][cardName: wlan0 ]")));
}

void tst_WifiConnections::certificatesAreWrittenForTheirOwnerAlone()
{
    const QString folder = setBackupFolder();
    QVariantMap wifi = plainWifi();
    wifi.insert(QStringLiteral("verification"), true);
    wifi.insert(QStringLiteral("802-1x.ca-cert"), file("ca $(id).pem", "Y2E="));
    wifi.insert(QStringLiteral("802-1x.client-cert"), file("client.pem", "Y2xpZW50"));
    wifi.insert(QStringLiteral("802-1x.private-key"), file("r.key", "a2V5"));

    _network->runIwconfig(request(wifi));

    QCOMPARE(_fixture->read(folder + QStringLiteral("/ca $(id).pem")), QByteArray("ca"));
    QCOMPARE(_fixture->read(folder + QStringLiteral("/client.pem")), QByteArray("client"));
    QCOMPARE(_fixture->read(folder + QStringLiteral("/r.key")), QByteArray("key"));
    struct stat key = {};
    QCOMPARE(stat(QFile::encodeName(folder + QStringLiteral("/r.key")).constData(), &key), 0);
    QCOMPARE(key.st_mode & 07777, mode_t(0600));
    QVERIFY(lines().at(2).contains(
        QStringLiteral(" 802-1x.ca-cert \"%1/ca \\$(id).pem\" ").arg(folder)));
}

void tst_WifiConnections::certificatesWithoutContent()
{
    const QString folder = setBackupFolder();
    QVariantMap wifi = plainWifi();
    wifi.insert(QStringLiteral("802-1x.ca-cert"), nameAlone("ca.pem"));
    wifi.insert(QStringLiteral("802-1x.client-cert"), nameAlone("client.pem"));
    wifi.insert(QStringLiteral("802-1x.private-key"), nameAlone("r.key"));

    _network->runIwconfig(request(wifi));

    // A CA certificate is taken to be there already, the two others become empty files.
    QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name),
             (QStringList{QStringLiteral("client.pem"), QStringLiteral("r.key")}));
    QCOMPARE(QFileInfo(folder + QStringLiteral("/r.key")).size(), qint64(0));
}

void tst_WifiConnections::existingCertificateKeepsItsMode()
{
    const QString folder = setBackupFolder();
    const QString path = folder + QStringLiteral("/ca.pem");
    _fixture->write(path, "a longer content than the new one");
    QCOMPARE(chmod(QFile::encodeName(path).constData(), 0640), 0);
    QVariantMap wifi = plainWifi();
    wifi.insert(QStringLiteral("802-1x.ca-cert"), file("ca.pem", "Y2E="));

    _network->runIwconfig(request(wifi));

    QCOMPARE(_fixture->read(path), QByteArray("ca"));
    struct stat now = {};
    QCOMPARE(stat(QFile::encodeName(path).constData(), &now), 0);
    QCOMPARE(now.st_mode & 07777, mode_t(0640));
}

void tst_WifiConnections::unwritableCertificateIsNotReported()
{
    const QString folder = setBackupFolder();
    QDir().mkpath(folder + QStringLiteral("/r.key"));
    QVariantMap wifi = plainWifi();
    wifi.insert(QStringLiteral("verification"), true);
    wifi.insert(QStringLiteral("802-1x.private-key"), file("r.key", "a2V5"));

    _network->runIwconfig(request(wifi));

    QVERIFY(
        lines().at(2).contains(QStringLiteral(" 802-1x.private-key \"%1/r.key\" ").arg(folder)));
}

void tst_WifiConnections::noBackupFolderWritesNothing()
{
    QVariantMap wifi = plainWifi();
    wifi.insert(QStringLiteral("verification"), true);
    wifi.insert(QStringLiteral("802-1x.client-cert"), file("tst_WifiConnections.pem", "Y2E="));

    _network->runIwconfig(request(wifi));

    QVERIFY(lines().at(2).contains(QStringLiteral("\"/tst_WifiConnections.pem\"")));
    QVERIFY(!QFile::exists(QStringLiteral("/tst_WifiConnections.pem")));
}

void tst_WifiConnections::namesThatLeadOutAreRefusedBeforeAnyChange_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("name");

    QTest::newRow("above") << "802-1x.ca-cert"
                           << "../ca.pem";
    QTest::newRow("above, further in") << "802-1x.client-cert"
                                       << "a/../../ca.pem";
    QTest::newRow("absolute") << "802-1x.private-key"
                              << "/etc/cron.d/evil";
    QTest::newRow("the folder above") << "802-1x.private-key"
                                      << "..";
}

void tst_WifiConnections::namesThatLeadOutAreRefusedBeforeAnyChange()
{
    QFETCH(QString, key);
    QFETCH(QString, name);
    const QString folder = setBackupFolder();
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    QVariantMap wifi = plainWifi();
    wifi.insert(key, QVariantMap{{QStringLiteral("fileName"), name},
                                 {QStringLiteral("base64"), QStringLiteral("Y2E=")}});

    QVERIFY(!_network->runIwconfig(request(wifi)));

    QCOMPARE(_network->getLastError(),
             QStringLiteral("file name [%1]: leads out of the backup folder").arg(name));
    QVERIFY(lines().isEmpty());
    QVERIFY(!QDir(folder).exists());
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("r")});
}

// --- removals ---

void tst_WifiConnections::profilesOfATypeAreRemoved()
{
    const QString uuid = QStringLiteral("34710274-0dd6-4cbe-a64e-d14adcbf1658");
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->writeProfile(QStringLiteral(".hidden"), kWifi);
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    _fixture->host().answer(
        kListWifi,
        captured("nmcli/connection-show-active-wifi.c.out").section(QLatin1Char('\n'), 1, 1) +
            QLatin1Char('\n'));

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("w")});
    QCOMPARE(lines(), (QStringList{kListWifi, QStringLiteral("nmcli connection delete ") + uuid,
                                   QStringLiteral("sleep 1")}));
    QCOMPARE(limits(), (QList<int>{20000, 20000, 0}));
}

void tst_WifiConnections::hotspotIsRemovedWithTheWifiProfiles()
{
    _fixture->writeProfile(QStringLiteral("MyHostspot.nmconnection"),
                           captured("keyfile/hotspot.c.out").toUtf8());

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QVERIFY(_fixture->profiles().isEmpty());
}

void tst_WifiConnections::profilesOfACardAreRemovedAndReloaded()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    _fixture->host().answer(kListEth1, captured("nmcli/connection-show-grep-eth1.c.out"));
    const LogCapture log("ky.network");

    _network->deleteConnections(QStringLiteral("eth1"));

    QCOMPARE(LogCapture::lines(),
             QStringList{QStringLiteral("[debug][deleteConnections]File deleted successfully: ") +
                         _fixture->profileFolder() + QStringLiteral("/w")});
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("r")});
    QCOMPARE(lines().size(), 4);
    QCOMPARE(lines().mid(0, 2), (QStringList{kReload, kListEth1}));
    QVERIFY(lines().at(2).startsWith(QStringLiteral("nmcli connection delete ")));
    QCOMPARE(limits(), (QList<int>{30000, 20000, 20000, 0}));
}

void tst_WifiConnections::nothingRemovedIsNothingToReload()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _network->_aLXB10NetworkCardName = QStringLiteral("eth1");
    const LogCapture log("ky.network");

    _network->deleteConnections(QStringLiteral("eth1"));

    QCOMPARE(lines(), QStringList{kListEth1});
    QVERIFY(LogCapture::holds(QStringLiteral("[debug][deleteConnections]") + kNotQueried));
    QVERIFY(_network->getLastError().isEmpty());
}

// "delete" ends with status 10 for a profile that is gone; the next one is removed all the same.
void tst_WifiConnections::eachListedProfileIsRemovedWhateverBecomesOfTheOthers()
{
    const QString first = QStringLiteral("nmcli connection delete ") + QString(36, u'a');
    const QString second = QStringLiteral("nmcli connection delete ") + QString(36, u'b');
    _fixture->host().answer(kListWifi, QStringLiteral("r  %1  wifi  wlan0 \ns  %2  wifi  -- \n")
                                           .arg(QString(36, u'a'), QString(36, u'b')));
    _fixture->host().fail(first, captured("nmcli/hotspot-delete-absent.c.err"));
    _network->setLastError(QStringLiteral("before"));

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QCOMPARE(lines(), (QStringList{kListWifi, first, second, QStringLiteral("sleep 1")}));
    QCOMPARE(_network->getLastError(), QStringLiteral("before"));
}

void tst_WifiConnections::profileThatCannotGoIsNoReasonToReload()
{
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    const ClosedFolder locked(_fixture->profileFolder());

    _network->deleteConnections(QStringLiteral("eth1"));

    QCOMPARE(lines(), QStringList{kListEth1});
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("w")});
}

void tst_WifiConnections::goneProfilesRunNoDelete()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().answer(kListWifi, captured("nmcli/connection-show-grep-none.c.out"));

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QVERIFY(_fixture->profiles().isEmpty());
    QCOMPARE(lines(), QStringList{kListWifi});
    QCOMPARE(_network->getLastError(), kNotQueried);
}

void tst_WifiConnections::oneHitWithoutLineFeedIsNone()
{
    _fixture->host().answer(kListWifi,
                            QStringLiteral("r  34710274-0dd6-4cbe-a64e-d14adcbf1658  wifi"));

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QCOMPARE(lines(), QStringList{kListWifi});
    QCOMPARE(_network->getLastError(), kNotQueried);
}

void tst_WifiConnections::failedListEndsTheRemoval()
{
    _fixture->host().fail(kListWifi,
                          QStringLiteral("a 34710274-0dd6-4cbe-a64e-d14adcbf1658 wifi\nError\n"));

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QCOMPARE(lines(), QStringList{kListWifi});
    QVERIFY(_network->getLastError().endsWith(QStringLiteral("Error\n")));
}

void tst_WifiConnections::failedReloadGoesOn()
{
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    _fixture->host().fail(kReload, QStringLiteral("Error: reload"));

    _network->deleteConnections(QStringLiteral("eth1"));

    QCOMPARE(lines(), (QStringList{kReload, kListEth1}));
    QCOMPARE(_network->getLastError(), QStringLiteral("Error: reload"));
}

void tst_WifiConnections::removalsAreLogged()
{
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    const LogCapture log("ky.network");

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QVERIFY(LogCapture::holds(
        QStringLiteral("[debug][deleteByConnectionType]File deleted successfully: ") +
        _fixture->profileFolder() + QStringLiteral("/r")));
}

void tst_WifiConnections::partsOfMoreThan35CharactersAreUuids()
{
    const QString at35(35, u'a');
    const QString at36(36, u'b');
    _fixture->host().answer(kListWifi, at35 + QLatin1Char(' ') + at36 + QStringLiteral(" wifi\n"));

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QCOMPARE(lines(), (QStringList{kListWifi, QStringLiteral("nmcli connection delete ") + at36,
                                   QStringLiteral("sleep 1")}));
}

void tst_WifiConnections::emptyNameRemovesNoProfile()
{
    _fixture->writeProfile(QStringLiteral("any"), "[connection]\nid=any\n");

    _network->deleteConnections(QString());
    _network->deleteByConnectionType(QString());

    QCOMPARE(_fixture->profiles().size(), 1);
    QVERIFY(lines().isEmpty()); // grep would find every row by nothing
}

void tst_WifiConnections::cardNameThatFindsOthersRemovesNothing_data()
{
    QTest::addColumn<QString>("card");

    QTest::newRow("dot") << ".";
    QTest::newRow("two dots") << "..";
    QTest::newRow("three dots") << "...";
    QTest::newRow("anything") << ".*";
    QTest::newRow("letter and anything") << "e*";
    QTest::newRow("set") << "[a-z]";
    QTest::newRow("beginning") << "^";
    QTest::newRow("end") << "$";
    QTest::newRow("class") << "\\w";
    QTest::newRow("option") << "-v";
    QTest::newRow("option with an expression") << "-e.";
    QTest::newRow("slash") << "../eth1";
    QTest::newRow("blank") << " ";
    QTest::newRow("name and blank") << "eth1 ";
    QTest::newRow("line feed") << "\n";
    QTest::newRow("empty second line") << "eth1\n";
    QTest::newRow("colon") << "eth1:0";
    QTest::newRow("dashes") << "--";
    QTest::newRow("16 bytes") << "abcdefghijklmnop";
    QTest::newRow("zero byte") << QString(QChar::Null);
}

void tst_WifiConnections::cardNameThatFindsOthersRemovesNothing()
{
    QFETCH(QString, card);
    _fixture->writeProfile(QStringLiteral("w"),
                           "[connection]\ninterface-name=" + card.toUtf8() + '\n');
    _fixture->host().answerOthers({captured("nmcli/connection-show-grep-eth1.c.out"), true});

    _network->deleteConnections(card);

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->profiles().size(), 1);
    QVERIFY2(_network->getLastError().contains(QLatin1Char('[') + card + QLatin1Char(']')),
             qPrintable(_network->getLastError()));
}

void tst_WifiConnections::cardNameOfTheKernelsReachesGrep_data()
{
    QTest::addColumn<QString>("card");

    QTest::newRow("wired") << "enp0s31f6";
    QTest::newRow("VLAN") << "eth0.100";
    QTest::newRow("by its hardware address") << "wlx020000000000";
    QTest::newRow("other characters") << "br-lan_1@x+y";
    QTest::newRow("one letter") << "e";
    QTest::newRow("15 bytes") << "abcdefghijklmno";
    QTest::newRow("Chinese") << QStringLiteral(u"机器人");
}

void tst_WifiConnections::cardNameOfTheKernelsReachesGrep()
{
    QFETCH(QString, card);
    _fixture->writeProfile(QStringLiteral("w"),
                           "[connection]\ninterface-name=" + card.toUtf8() + '\n');

    _network->deleteConnections(card);

    QCOMPARE(lines(),
             (QStringList{kReload, QStringLiteral("nmcli connection show | grep ") + card}));
    QVERIFY(_network->getLastError().isEmpty());
}

void tst_WifiConnections::nameThatNobodyKnowsRemovesNothing_data()
{
    QTest::addColumn<QString>("card");

    for (const char* card : {"e", "a", "0", "1", "wifi", "ethernet", "eth", "th1", "w", "nosuch0"})
        QTest::newRow(card) << QString::fromLatin1(card);
}

// To grep a part of a name is as good as a name, and "e" stands in nearly every row.
void tst_WifiConnections::nameThatNobodyKnowsRemovesNothing()
{
    QFETCH(QString, card);
    _fixture->writeProfile(QStringLiteral("w"), kWired);
    _fixture->host().answerOthers({captured("nmcli/connection-show-grep-eth1.c.out"), true});

    _network->deleteConnections(card);

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("w")});
    QVERIFY2(_network->getLastError().contains(QLatin1Char('[') + card + QLatin1Char(']')),
             qPrintable(_network->getLastError()));
}

void tst_WifiConnections::cardOfTheHostNeedsNoKeyfile()
{
    _network->deleteConnections(QStringLiteral("lo"));

    QCOMPARE(lines(), QStringList{QStringLiteral("nmcli connection show | grep lo")});
    QVERIFY(_network->getLastError().isEmpty());
}

void tst_WifiConnections::ownCardNeedsNeitherKeyfileNorInterface_data()
{
    QTest::addColumn<bool>("isWired");

    QTest::newRow("wired") << true;
    QTest::newRow("wireless") << false;
}

// It may be unplugged, and the operations for it begin with the removal.
void tst_WifiConnections::ownCardNeedsNeitherKeyfileNorInterface()
{
    QFETCH(bool, isWired);
    (isWired ? _network->_aLXB10NetworkCardName : _network->_wirelessCardName) =
        QStringLiteral("kyown0");

    _network->deleteConnections(QStringLiteral("kyown0"));

    QCOMPARE(lines(), QStringList{QStringLiteral("nmcli connection show | grep kyown0")});
}

void tst_WifiConnections::typeThatFindsOthersRemovesNothing_data()
{
    QTest::addColumn<QString>("type");

    for (const char* type : {".", "..", ".*", "[a-z]", "^", "$", "-v", "-e.", "a/b", " ", "wifi ",
                             "wifi\n", "\n", "--", "\\w", "_"})
        QTest::newRow(type) << QString::fromLatin1(type);
}

void tst_WifiConnections::typeThatFindsOthersRemovesNothing()
{
    QFETCH(QString, type);
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().answerOthers({captured("nmcli/connection-show-grep-eth1.c.out"), true});

    _network->deleteByConnectionType(type);

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->profiles().size(), 1);
    QVERIFY2(_network->getLastError().contains(QLatin1Char('[') + type + QLatin1Char(']')),
             qPrintable(_network->getLastError()));
}

void tst_WifiConnections::typeOfAProfileReachesGrep_data()
{
    QTest::addColumn<QString>("type");

    for (const char* type : {"wifi", "802-11-wireless", "802-3-ethernet", "6lowpan", "wifi-p2p"})
        QTest::newRow(type) << QString::fromLatin1(type);
}

void tst_WifiConnections::typeOfAProfileReachesGrep()
{
    QFETCH(QString, type);

    _network->deleteByConnectionType(type);

    QCOMPARE(lines(), QStringList{QStringLiteral("nmcli connection show | grep ") + type});
}

void tst_WifiConnections::typeThatNobodyKnowsRemovesNothing_data()
{
    QTest::addColumn<QString>("type");

    for (const char* type : {"e", "0", "w", "ether", "wif", "connection", "eth1"})
        QTest::newRow(type) << QString::fromLatin1(type);
}

void tst_WifiConnections::typeThatNobodyKnowsRemovesNothing()
{
    QFETCH(QString, type);
    _fixture->writeProfile(QStringLiteral("r"), kWifi);
    _fixture->host().answerOthers({captured("nmcli/connection-show-grep-eth1.c.out"), true});

    _network->deleteByConnectionType(type);

    QVERIFY(lines().isEmpty());
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("r")});
    QVERIFY2(_network->getLastError().contains(QLatin1Char('[') + type + QLatin1Char(']')),
             qPrintable(_network->getLastError()));
}

void tst_WifiConnections::typeOfAKeyfileIsAType()
{
    _fixture->writeProfile(QStringLiteral("n"), "[connection]\nid=n\ntype=newest\n");

    _network->deleteByConnectionType(QStringLiteral("newest"));

    QVERIFY(_fixture->profiles().isEmpty());
    QCOMPARE(lines(), QStringList{QStringLiteral("nmcli connection show | grep newest")});
}

/// It goes at the next start; until then nobody counts it, so there is nothing to reload.
void tst_WifiConnections::leftoverIsNoProfileToRemove()
{
    _fixture->writeProfile(QStringLiteral(".kynew-aB3xY9"), kWired);
    _network->_aLXB10NetworkCardName = QStringLiteral("eth1");

    _network->deleteConnections(QStringLiteral("eth1"));

    QCOMPARE(lines(), QStringList{kListEth1});
}

void tst_WifiConnections::profilesOfOthersStayByteForByte()
{
    const QByteArray content = captured("keyfile/wired-static.c.out").toUtf8();
    _fixture->writeProfile(QStringLiteral("w"), content);

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QCOMPARE(_fixture->read(_fixture->profileFolder() + QStringLiteral("/w")), content);
}

// --- setPermanentlyDisabled ---

void tst_WifiConnections::wirelessDriverIsNotFound()
{
    QVERIFY(!_network->setPermanentlyDisabled(0, true));

    QCOMPARE(_network->getLastError(), QStringLiteral("Wireless network card driver not found"));
    QVERIFY(lines().isEmpty());
}

void tst_WifiConnections::otherKindsAreNothingToDo()
{
    QVERIFY(_network->setPermanentlyDisabled(2, true));
    QVERIFY(_network->setPermanentlyDisabled(-1, false));

    QVERIFY(lines().isEmpty());
}

void tst_WifiConnections::noDriverIsAnError()
{
    _fixture->host().answer(kLshw, captured("lshw/network.c.out"));

    QVERIFY(!_network->setPermanentlyDisabled(1, true));

    QCOMPARE(
        _network->getLastError(),
        QStringLiteral("Permanent disabling of wired network cards is currently not supported"));
    QVERIFY(!QFile::exists(blacklist()));
}

void tst_WifiConnections::driverGoesOnTheBlacklist_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    QTest::newRow("empty") << QByteArray("") << QByteArray("\n blacklist r8169 #wifi");
    QTest::newRow("old content stands twice")
        << QByteArray("# x\nblacklist pcspkr\n")
        << QByteArray("# x\nblacklist pcspkr\n# x\nblacklist pcspkr\n\n blacklist r8169 #wifi");
    QTest::newRow("already listed")
        << QByteArray("blacklist r8169\n") << QByteArray("blacklist r8169\n");
    QTest::newRow("a longer name counts")
        << QByteArray("blacklist r8169x\n") << QByteArray("blacklist r8169x\n");
    QTest::newRow("a comment counts")
        << QByteArray("#blacklist r8169") << QByteArray("#blacklist r8169");
    QTest::newRow("bytes that are no text stay")
        << QByteArray("\xff\0\n", 3)
        << QByteArray("\xff\0\n\xff\0\n", 6) + "\n blacklist r8169 #wifi";
}

void tst_WifiConnections::driverGoesOnTheBlacklist()
{
    QFETCH(QByteArray, before);
    _fixture->host().answer(
        kLshw, QStringLiteral("description: Wired interface\nconfiguration: driver=r8169\n"));
    _fixture->write(blacklist(), before);

    QVERIFY(_network->setPermanentlyDisabled(1, true));

    QTEST(_fixture->read(blacklist()), "after");
    QCOMPARE(_fixture->setting(settings::kWirelessCardDriver), QVariant(QStringLiteral("r8169")));
    QCOMPARE(_fixture->setting(settings::kIsPermanentlyDisabled).toBool(), true);
}

void tst_WifiConnections::absentBlacklistIsMade()
{
    _fixture->host().answer(
        kLshw, QStringLiteral("description: Wired interface\nconfiguration: driver=r8169\n"));
    QDir().mkpath(QFileInfo(blacklist()).path());

    QVERIFY(_network->setPermanentlyDisabled(1, true));

    QCOMPARE(_fixture->read(blacklist()), QByteArray("\n blacklist r8169 #wifi"));
}

void tst_WifiConnections::disablingIsLogged()
{
    _network->_wirelessCardName = QStringLiteral("wlan7");
    const LogCapture log("ky.network");

    _network->setPermanentlyDisabled(1, true);

    QVERIFY(log.holds(QStringLiteral("[debug][setPermanentlyDisabled][_wirelessCardName: wlan7")));
}

void tst_WifiConnections::profileThatStaysIsWarnedOf()
{
    _fixture->writeProfile(QStringLiteral("w"), "[connection]\ntype=wifi\n");
    const ClosedFolder locked(_fixture->profileFolder());
    const LogCapture log("ky.network");

    _network->deleteByConnectionType(QStringLiteral("wifi"));

    QVERIFY(log.holds(QStringLiteral("[warning][deleteByConnectionType]Failed to deleted file: ") +
                      _fixture->profileFolder() + QStringLiteral("/w")));
    QCOMPARE(_fixture->profiles(), QStringList{QStringLiteral("w")});
}

void tst_WifiConnections::flagIsOnlyStored()
{
    _fixture->host().answer(
        kLshw, QStringLiteral("description: Wired interface\nconfiguration: driver=r8169\n"));
    _fixture->write(blacklist(), "blacklist r8169\n");

    QVERIFY(_network->setPermanentlyDisabled(1, false));

    QCOMPARE(_fixture->read(blacklist()), QByteArray("blacklist r8169\n"));
    QCOMPARE(_fixture->setting(settings::kIsPermanentlyDisabled).toBool(), false);
}

void tst_WifiConnections::unwritableBlacklistIsFalse()
{
    _fixture->host().answer(
        kLshw, QStringLiteral("description: Wired interface\nconfiguration: driver=r8169\n"));
    QDir().mkpath(blacklist()); // a folder in its place

    QVERIFY(!_network->setPermanentlyDisabled(1, true));

    QVERIFY(_network->getLastError().startsWith(QStringLiteral("open [") + blacklist()));
    QVERIFY(!_fixture->setting(settings::kWirelessCardDriver).isValid());
}

QTEST_GUILESS_MAIN(tst_WifiConnections)
#include "tst_WifiConnections.moc"
