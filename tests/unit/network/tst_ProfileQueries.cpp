#include "LogCapture.h"
#include "NetworkFixture.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/Profiles.h"
#include "network/tools/WpaCliStatus.h"

#include <QTest>

#include <memory>

namespace {

const QString kActive = QStringLiteral("nmcli connection show --active");
const QString kStatus = QStringLiteral("sudo wpa_cli -i wlan0 status ");
const QString kCards =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kUuid = QStringLiteral("34710274-0dd6-4cbe-a64e-d14adcbf1658");
const QString kNotConnected =
    QStringLiteral("[wlan0]The network card is not connected to the network");
const QString kUntouched = QStringLiteral("untouched");

QByteArray wifiProfile(const char* id, const char* uuid, const char* ssid)
{
    return QByteArray("[connection]\nid=") + id + "\nuuid=" + uuid +
           "\ntype=wifi\ninterface-name=wlan0\n\n[wifi]\nssid=" + ssid +
           "\n\n[wifi-security]\npsk=pass,w;o\\\\rd\n\n[ipv4]\nmethod=auto\n";
}

QString captured(const char* name)
{
    return NetworkFixture::capture(QLatin1String(name));
}

} // namespace

class tst_ProfileQueries : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        _fixture = std::make_unique<NetworkFixture>();
        _network = std::make_unique<OpenNetwork>(nullptr);
    }
    void cleanup()
    {
        _network.reset();
        _fixture.reset();
    }

    void activeUuidIsThatOfTheDevice_data();
    void activeUuidIsThatOfTheDevice();
    void failedActiveQueryIsTheLastError();
    void uuidIsFoundBySsid_data();
    void uuidIsFoundBySsid();
    void emptySsidIsNotSought();
    void failedSsidQueryIsTheLastError();
    void ssidReachesGrepInItsQuotes();
    void connectionIsAskedOfWpaFirst_data();
    void connectionIsAskedOfWpaFirst();
    void emptyDeviceNeverReachesWpa();
    void failedWpaCountsAsNotConnected();
    void wifiProfilesAreFoundByNameWhateverTheCase();
    void whatAKilledProcessLeftIsNoProfile();
    void noFolderHasNoCurrentProfile();
    void otherTypesAreNoWifi();
    void hiddenFilesAreProfilesToo();
    void hotspotCountsAsWifi();
    void slashInANameIsInTheIdOnly();
    void passwordAndSsidAreThoseOfTheProfile();
    void chineseSsidIsReadFromItsBytes();
    void fileNamesWithFoldersAreNoProfiles();
    void profileIsFoundById();
    void missingIdIsAnError();
    void emptyIdFindsNothing();
    void profileIsFoundByUuid();
    void connectedSsidIsThatOfTheActiveProfile();
    void connectedSsidNeedsAProfile();
    void connectedSsidNeedsACardAndAConnection();
    void thousandProfilesAreSearched();
    void rowsAndUuidsAreReadFromAnyText();
    void wpaStatusIsReadFromAnyText();

private:
    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_ProfileQueries::activeUuidIsThatOfTheDevice_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("uuid");

    QTest::newRow("connected") << captured("nmcli/connection-show-active-wifi.c.out") << kUuid;
    QTest::newRow("Chinese") << captured("nmcli/connection-show-active-wifi.zh.out")
                             << ky::uuidInRow(ky::rowHolding(
                                    captured("nmcli/connection-show-active-wifi.zh.out"),
                                    QStringLiteral("wlan0")));
    QTest::newRow("other card only") << captured("nmcli/connection-show-active-wired.c.out") << "";
    QTest::newRow("none") << captured("nmcli/connection-show-active-none.c.out") << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("one line, no line feed") << "RobotNet " + kUuid + " wifi wlan0"
                                            << "";
    QTest::newRow("one line") << "RobotNet " + kUuid + " wifi wlan0 \n" << kUuid;
    QTest::newRow("35 characters") << "RobotNet " + kUuid.left(35) + " wifi wlan0\n"
                                   << "";
    QTest::newRow("long name before the UUID") << QString(36, u'n') + " " + kUuid + " wifi wlan0\n"
                                               << QString(36, u'n');
    QTest::newRow("first line counts, though it has no UUID")
        << "wlan0\nRobotNet " + kUuid + " wifi wlan0\n"
        << "";
}

void tst_ProfileQueries::activeUuidIsThatOfTheDevice()
{
    QFETCH(QString, output);
    QFETCH(QString, uuid);
    _fixture->host().answer(kActive, output);
    QString found = kUntouched;

    QCOMPARE(_network->getActiveUUID(QStringLiteral("wlan0"), found), !uuid.isEmpty());

    QCOMPARE(found, uuid.isEmpty() ? kUntouched : uuid);
    QCOMPARE(_network->getLastError(), uuid.isEmpty() ? kNotConnected : QString());
    QCOMPARE(_fixture->host().calls().first().limitMs, 6000);
}

void tst_ProfileQueries::failedActiveQueryIsTheLastError()
{
    _fixture->host().fail(kActive, QStringLiteral("Error: NetworkManager is not running."));
    QString uuid;

    QVERIFY(!_network->getActiveUUID(QStringLiteral("wlan0"), uuid));

    QCOMPARE(_network->getLastError(), QStringLiteral("Error: NetworkManager is not running."));
}

void tst_ProfileQueries::uuidIsFoundBySsid_data()
{
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("output");
    QTest::addColumn<QString>("uuid");
    const QString other = QString(kUuid).replace(0, 1, u'9');

    QTest::newRow("one hit") << "RobotNet"
                             << "RobotNet  " + kUuid + "  wifi  wlan0 \n"
                             << kUuid;
    QTest::newRow("one hit, no line feed") << "RobotNet"
                                           << "RobotNet  " + kUuid + "  wifi"
                                           << "";
    QTest::newRow("second line holds it")
        << "RobotNet"
        << "Other " + other + " wifi\nRobotNet " + kUuid + " wifi\n"
        << kUuid;
    QTest::newRow("no line holds it: the first") << "Robot.et"
                                                 << "RobotNet " + kUuid + " wifi\nx\n"
                                                 << kUuid;
    QTest::newRow("nothing found") << "RobotNet"
                                   << ""
                                   << "";
    QTest::newRow("Chinese") << QStringLiteral(u"机器人网络")
                             << captured("nmcli/connection-show-grep-chinese.c.out")
                             << ky::uuidInRow(ky::firstRow(
                                    captured("nmcli/connection-show-grep-chinese.c.out")));
}

void tst_ProfileQueries::uuidIsFoundBySsid()
{
    QFETCH(QString, ssid);
    QFETCH(QString, output);
    QFETCH(QString, uuid);
    _fixture->host().answer(QStringLiteral("nmcli connection show | grep '%1'").arg(ssid), output);
    QString found = kUntouched;

    QCOMPARE(_network->getUuidBySsid(ssid, found), !uuid.isEmpty());

    QCOMPARE(found, uuid.isEmpty() ? kUntouched : uuid);
    QCOMPARE(_network->getLastError(),
             uuid.isEmpty()
                 ? QStringLiteral("The uuid corresponding to [ssid:%1] was not found").arg(ssid)
                 : QString());
    QCOMPARE(_fixture->host().calls().first().limitMs, 6000);
}

void tst_ProfileQueries::emptySsidIsNotSought()
{
    QString uuid;

    QVERIFY(!_network->getUuidBySsid(QString(), uuid));

    QCOMPARE(_network->getLastError(), QStringLiteral("Query SSID is empty"));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_ProfileQueries::failedSsidQueryIsTheLastError()
{
    _fixture->host().answerOthers({QStringLiteral("Error: no permission"), false});
    QString uuid;

    QVERIFY(!_network->getUuidBySsid(QStringLiteral("a"), uuid));

    QCOMPARE(_network->getLastError(), QStringLiteral("Error: no permission"));
}

void tst_ProfileQueries::ssidReachesGrepInItsQuotes()
{
    QString uuid;

    _network->getUuidBySsid(QStringLiteral("a'; reboot; '$(id)%2"), uuid);

    QCOMPARE(
        _fixture->host().lines(),
        QStringList{QStringLiteral("nmcli connection show | grep 'a'\\''; reboot; '\\''$(id)%2'")});
}

void tst_ProfileQueries::connectionIsAskedOfWpaFirst_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("isConnected");

    QTest::newRow("connected") << captured("wpa_cli/status-connected.c.out") << true;
    QTest::newRow("enterprise") << captured("wpa_cli/status-peap.c.out") << true;
    QTest::newRow("hotspot looks like a connection")
        << captured("wpa_cli/status-hotspot.c.out") << true;
    QTest::newRow("disconnected") << captured("wpa_cli/status-disconnected.c.out") << false;
    QTest::newRow("scanning") << captured("wpa_cli/status-scanning.c.out") << false;
    QTest::newRow("lost, address still there") << captured("wpa_cli/status-ap-lost.c.out") << false;
    QTest::newRow("state alone") << "wpa_state=COMPLETED" << true;
    QTest::newRow("indented") << "  wpa_state=COMPLETED  \n" << true;
    QTest::newRow("inside another key") << "xwpa_state=COMPLETED\n" << false;
    QTest::newRow("last one counts") << "wpa_state=COMPLETED\nwpa_state=SCANNING\n" << false;
    QTest::newRow("empty") << "" << false;
}

void tst_ProfileQueries::connectionIsAskedOfWpaFirst()
{
    QFETCH(QString, status);
    QFETCH(bool, isConnected);
    _fixture->host().answer(kStatus, status);
    _fixture->host().answer(kActive, captured("nmcli/connection-show-active-wifi.c.out"));
    QString uuid;

    QCOMPARE(_network->getConnectionActiveiUUID(QStringLiteral("wlan0"), uuid), isConnected);

    QCOMPARE(uuid, isConnected ? kUuid : QString());
    QCOMPARE(_fixture->host().lines(),
             isConnected ? QStringList({kStatus, kActive}) : QStringList{kStatus});
    QCOMPARE(_fixture->host().calls().first().limitMs, 20000);
    QCOMPARE(_network->getLastError(), isConnected ? QString() : kNotConnected);
}

void tst_ProfileQueries::emptyDeviceNeverReachesWpa()
{
    QString uuid;

    QVERIFY(!_network->getConnectionActiveiUUID(QString(), uuid));

    QCOMPARE(_network->getLastError(),
             QStringLiteral("The name of the device to query the network connection is empty"));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_ProfileQueries::failedWpaCountsAsNotConnected()
{
    _fixture->host().fail(kStatus, captured("wpa_cli/status-no-device.c.err"));
    QString uuid;

    QVERIFY(!_network->getConnectionActiveiUUID(QStringLiteral("wlan0"), uuid));

    QCOMPARE(_network->getLastError(), kNotConnected);
}

/// By name, whatever the case. A folder that lists by itself gives these names in the order in
/// which they came, in the reverse of it, or by a hash: each time another file is the first.
void tst_ProfileQueries::wifiProfilesAreFoundByNameWhateverTheCase()
{
    for (const char* name : {"k", "B", "z", "a", "M", "c2", "C10"})
        _fixture->writeProfile(QLatin1String(name), wifiProfile(name, name, name));
    QStringList found;

    for (int i = 0; i < 7; ++i) {
        found << _network->getCurrentWifiUUid();
        QFile::remove(_fixture->profileFolder() + QLatin1Char('/') + found.last());
    }

    QCOMPARE(found, QStringList({"a", "B", "C10", "c2", "k", "M", "z"}));
}

/// A process was killed while it changed the profile: the copy has the same UUID and type.
void tst_ProfileQueries::whatAKilledProcessLeftIsNoProfile()
{
    _fixture->writeProfile(QStringLiteral(".kynew-aB3xY9"), wifiProfile("left", "u", "left"));
    QCOMPARE(_network->getCurrentWifiUUid(), QString());
    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(QStringLiteral("u")), QString());
    QVERIFY(_network->getNetworkManagerFileInfo(QStringLiteral("left")).isEmpty());
    QCOMPARE(_network->getWifiPassword(QStringLiteral(".kynew-aB3xY9")), QString());

    _fixture->writeProfile(QStringLiteral("real"), wifiProfile("real", "u", "real"));

    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(QStringLiteral("u")),
             QStringLiteral("real"));
}

void tst_ProfileQueries::noFolderHasNoCurrentProfile()
{
    QDir(_fixture->profileFolder()).removeRecursively();

    QCOMPARE(_network->getCurrentWifiUUid(), QString());
    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(kUuid), QString());
}

void tst_ProfileQueries::otherTypesAreNoWifi()
{
    _fixture->writeProfile(QStringLiteral("wired.nmconnection"),
                           captured("keyfile/wired-dhcp.c.out").toUtf8());
    QDir(_fixture->profileFolder()).mkdir(QStringLiteral("wifi.nmconnection"));

    QCOMPARE(_network->getCurrentWifiUUid(), QString());
}

void tst_ProfileQueries::hiddenFilesAreProfilesToo()
{
    _fixture->writeProfile(QStringLiteral(".hidden.nmconnection"), wifiProfile("a", "u", "a"));

    QCOMPARE(_network->getCurrentWifiUUid(), QStringLiteral("u"));
}

void tst_ProfileQueries::hotspotCountsAsWifi()
{
    _fixture->writeProfile(QStringLiteral("MyHostspot.nmconnection"),
                           captured("keyfile/hotspot.c.out").toUtf8());

    QCOMPARE(_network->getCurrentWifiUUid(),
             QStringLiteral("53fa2212-edd2-4308-8fc4-000352c33d0f"));
}

void tst_ProfileQueries::slashInANameIsInTheIdOnly()
{
    _fixture->writeProfile(QStringLiteral("a_b;c%d.nmconnection"),
                           captured("keyfile/wifi-slash.c.out")
                               .section(QLatin1Char('\n'), 1) // the first line lists the file
                               .toUtf8());

    const QVariantMap info = _network->getNetworkManagerFileInfo(QStringLiteral("a/b;c%d"));

    QCOMPARE(info.value(QStringLiteral("fileName")).toString(),
             QStringLiteral("a_b;c%d.nmconnection"));
    QCOMPARE(_network->getWifiSSID(QStringLiteral("a_b;c%d.nmconnection")),
             QStringLiteral("a/b;c%d"));
}

void tst_ProfileQueries::passwordAndSsidAreThoseOfTheProfile()
{
    _fixture->writeProfile(QStringLiteral("a.nmconnection"), wifiProfile("a", "u", "a,b\\\\;c"));

    QCOMPARE(_network->getWifiPassword(QStringLiteral("a.nmconnection")),
             QStringLiteral("pass,w;o\\rd"));
    QCOMPARE(_network->getWifiSSID(QStringLiteral("a.nmconnection")), QStringLiteral("a,b;c"));
    QCOMPARE(_network->getWifiSSID(QStringLiteral("none.nmconnection")), QString());
    QCOMPARE(_network->getWifiPassword(QString()), QString());
}

void tst_ProfileQueries::chineseSsidIsReadFromItsBytes()
{
    _fixture->writeProfile(QStringLiteral("c.nmconnection"),
                           captured("keyfile/wifi-chinese.c.out").toUtf8());

    QCOMPARE(_network->getWifiSSID(QStringLiteral("c.nmconnection")),
             QStringLiteral(u"机器人网络"));
    QCOMPARE(_network->getNetworkManagerFileInfo(QStringLiteral(u"机器人网络"))
                 .value(QStringLiteral("fileName")),
             QVariant(QStringLiteral("c.nmconnection")));
}

void tst_ProfileQueries::fileNamesWithFoldersAreNoProfiles()
{
    _fixture->write(_fixture->path(QStringLiteral("etc/NetworkManager/secret")),
                    wifiProfile("a", "u", "a"));

    QCOMPARE(_network->getWifiPassword(QStringLiteral("../secret")), QString());
    QCOMPARE(_network->getWifiSSID(QStringLiteral("../secret")), QString());
}

void tst_ProfileQueries::profileIsFoundById()
{
    _fixture->writeProfile(QStringLiteral("a.nmconnection"), wifiProfile("first", "u1", "a"));
    _fixture->writeProfile(QStringLiteral("b.nmconnection"), wifiProfile("a;b,c", "u2", "a"));
    const LogCapture log("ky.network");

    const QVariantMap info = _network->getNetworkManagerFileInfo(QStringLiteral("a;b,c"));

    QCOMPARE(info, (QVariantMap{{QStringLiteral("fileName"), QStringLiteral("b.nmconnection")},
                                {QStringLiteral("id"), QStringLiteral("a;b,c")},
                                {QStringLiteral("uuid"), QStringLiteral("u2")}}));
    QCOMPARE(LogCapture::lines().size(), 1);
    QVERIFY(LogCapture::lines().first().startsWith(
        QStringLiteral("[debug][getNetworkManagerFileInfo]QMap((fileName, ")));
}

void tst_ProfileQueries::missingIdIsAnError()
{
    QVERIFY(_network->getNetworkManagerFileInfo(QStringLiteral("none")).isEmpty());

    QCOMPARE(_network->getLastError(),
             QStringLiteral("The name/UUID already used for the connection was not queried"));
}

void tst_ProfileQueries::emptyIdFindsNothing()
{
    _fixture->writeProfile(QStringLiteral("broken"), "no keyfile at all");

    QVERIFY(_network->getNetworkManagerFileInfo(QString()).isEmpty());
    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(QString()), QString());
}

void tst_ProfileQueries::profileIsFoundByUuid()
{
    const QByteArray content = wifiProfile("b", "u2", "b");
    _fixture->writeProfile(QStringLiteral("a.nmconnection"), wifiProfile("a", "u1", "a"));
    _fixture->writeProfile(QStringLiteral("b %1.nmconnection"), content);
    const LogCapture log("ky.network");

    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(QStringLiteral("u2")),
             QStringLiteral("b %1.nmconnection"));

    QVERIFY(LogCapture::holds(
        QStringLiteral(u"[debug][getNetworkManagerSSIDFileNameBy][system-connections "
                       u"中记录的网络： connection.uuid:u2 fileName:b %1.nmconnection file.size:") +
        QString::number(content.size()) + QLatin1Char(']')));
}

void tst_ProfileQueries::connectedSsidIsThatOfTheActiveProfile()
{
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _fixture->host().answer(kStatus, captured("wpa_cli/status-connected.c.out"));
    _fixture->host().answer(kActive, captured("nmcli/connection-show-active-wifi.c.out"));
    _fixture->writeProfile(QStringLiteral("x"),
                           captured("keyfile/wifi-connect-psk.c.out").toUtf8());
    QString ssid;

    QVERIFY(_network->getConnectedWifiSSID(ssid));

    QCOMPARE(ssid, QStringLiteral("RobotNet"));
    QCOMPARE(_fixture->host().lines(), (QStringList{kCards, kStatus, kActive}));
}

void tst_ProfileQueries::connectedSsidNeedsAProfile()
{
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _fixture->host().answer(kStatus, captured("wpa_cli/status-connected.c.out"));
    _fixture->host().answer(kActive, captured("nmcli/connection-show-active-wifi.c.out"));
    QString ssid;

    QVERIFY(!_network->getConnectedWifiSSID(ssid));

    QCOMPARE(_network->getLastError(),
             QStringLiteral("The wireless network is not connected: possible reasons 1. Not "
                            "connected to the wireless network 2. The wireless network card is "
                            "disabled"));
}

void tst_ProfileQueries::connectedSsidNeedsACardAndAConnection()
{
    QString ssid;

    QVERIFY(!_network->getConnectedWifiSSID(ssid));
    QCOMPARE(_fixture->host().lines(), QStringList{kCards});

    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    QVERIFY(!_network->getConnectedWifiSSID(ssid));
    QCOMPARE(_network->getLastError(), kNotConnected);
}

void tst_ProfileQueries::thousandProfilesAreSearched()
{
    for (int i = 0; i < 1000; ++i) {
        const QByteArray number = QByteArray::number(i);
        _fixture->writeProfile(QStringLiteral("p%1.nmconnection").arg(i),
                               wifiProfile("p" + number, "uuid-" + number + ".", "p" + number));
    }

    for (int i : {0, 499, 999})
        QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(QStringLiteral("uuid-%1.").arg(i)),
                 QStringLiteral("p%1.nmconnection").arg(i));
    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(QStringLiteral("none")), QString());
}

void tst_ProfileQueries::rowsAndUuidsAreReadFromAnyText()
{
    for (const QString& text : hostileTexts()) {
        ky::rowHolding(text, QStringLiteral("wlan0"));
        const QString row = ky::firstRow(text);
        QVERIFY(text.startsWith(row));
        for (const QString& uuid : ky::uuidsIn(text))
            QVERIFY(uuid.size() > 35 && !uuid.contains(QLatin1Char(' ')));
        ky::uuidInRow(text);
    }
    const QString whole = captured("nmcli/connection-show-two-of-one-name.c.out");
    const QStringList uuids = ky::uuidsIn(whole);
    QCOMPARE(uuids.size(), 3);
    for (int size = 0; size <= whole.size(); ++size) {
        const QStringList read = ky::uuidsIn(whole.left(size));
        QCOMPARE(read, uuids.mid(0, read.size()));
    }
}

void tst_ProfileQueries::wpaStatusIsReadFromAnyText()
{
    for (const QString& text : hostileTexts()) {
        QVERIFY(!ky::isWpaCompleted(text));
        QVERIFY(ky::isWpaCompleted(text + QStringLiteral("\nwpa_state=COMPLETED")));
    }
    const QString whole = captured("wpa_cli/status-connected.c.out");
    const int end = whole.indexOf(QLatin1String("wpa_state=COMPLETED")) + 19;
    for (int size = 0; size <= whole.size(); ++size)
        QCOMPARE(ky::isWpaCompleted(whole.left(size)), size >= end);
}

QTEST_GUILESS_MAIN(tst_ProfileQueries)
#include "tst_ProfileQueries.moc"
