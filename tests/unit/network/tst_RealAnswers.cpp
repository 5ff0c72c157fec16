#include "NetworkFixture.h"

#include <QTest>

#include <memory>

namespace {

const QString kCards =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kChinese = QStringLiteral(u"机器人网络");

QString captured(const QString& name)
{
    return NetworkFixture::capture(name);
}

/// The value of the first line that begins with the label, in a captured output.
QString valueIn(const char* capture, const char* label)
{
    const QStringList lines = captured(QLatin1String(capture)).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        if (line.trimmed().startsWith(QLatin1String(label)))
            return line.trimmed().mid(int(qstrlen(label)));
    }
    return {};
}

} // namespace

/// What the library makes of answers of real tools that one would not expect.
class tst_RealAnswers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void twoProfilesOfOneNameAreNoFailure();
    void serviceOfAnotherNameIsToldAsTheToolTellsIt_data();
    void serviceOfAnotherNameIsToldAsTheToolTellsIt();
    void questionMarksHideAChineseName();
    void uselessPassPhraseReadsLikeAWrongOne_data();
    void uselessPassPhraseReadsLikeAWrongOne();
    void unansweredActivationIsTold_data();
    void unansweredActivationIsTold();
    void emptyUuidWithoutAnyProfileIsTold_data();
    void emptyUuidWithoutAnyProfileIsTold();
    void absentProfileIsNoObstacle();
    void bothToolsEscapeAnSsidAlike();
    void secondProfileOfANameIsFoundByItsOwnKeys();
    void idThatLooksLikeAUuidIsTakenForOne();

private:
    QString up(const QString& uuid) const
    {
        return QStringLiteral("sudo nmcli connection up %1 ifname wlan0").arg(uuid);
    }
    QStringList lines() const { return RecordedHost::instance().lines(); }
    QString error() const { return _network->getLastError(); }

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_RealAnswers::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _network = std::make_unique<OpenNetwork>(nullptr);
}

void tst_RealAnswers::cleanup()
{
    _network.reset();
    _fixture.reset();
}

// "add" succeeds and warns on the other channel; "modify" by name changes the first of the two and
// says nothing.
void tst_RealAnswers::twoProfilesOfOneNameAreNoFailure()
{
    const QString join = QStringLiteral("nmcli device wifi connect 'RobotNet' password 'pw' ");
    const QString modify =
        QStringLiteral("nmcli connection modify 'RobotNet' connection.autoconnect yes");
    const QString add = QStringLiteral("sudo nmcli connection add type wifi con-name \"RobotNet\" "
                                       "ifname wlan0 ssid \"RobotNet\" ipv4.method auto  "
                                       "connection.autoconnect true ");
    _fixture->host().answer(join, captured("nmcli/wifi-connect-good.c.out"));
    _fixture->host().answer(modify, captured("nmcli/modify-by-name-two.c.out"));
    _fixture->host().answer(add, captured("nmcli/add-wifi-same-name-again.c.out"));
    _fixture->host().answer(up(QString()), captured("nmcli/connection-up-added.c.out"));

    QVERIFY(_network->connectWindowWifi("RobotNet", "pw", false));
    QVERIFY(_network->runIwconfig(
        {{"interface", "connectWifi"},
         {"connectWifi", QVariantMap{{"ssid", "RobotNet"}, {"dhcp", true}}}}));

    QVERIFY(lines().contains(modify) && lines().contains(add));
}

void tst_RealAnswers::serviceOfAnotherNameIsToldAsTheToolTellsIt_data()
{
    QTest::addColumn<QString>("said");

    QTest::newRow("C") << captured("service/restart-network-manager.c.err");
    QTest::newRow("Chinese") << captured("service/restart-network-manager.zh.err");
}

void tst_RealAnswers::serviceOfAnotherNameIsToldAsTheToolTellsIt()
{
    QFETCH(QString, said);
    QVERIFY(said.contains(QLatin1String("network-manager.service")));
    _fixture->host().fail(up(QString()), captured("nmcli/not-running-up.c.err"));
    _fixture->host().fail(QStringLiteral("service network-manager restart"), said);

    QVERIFY(!_network->connectWifi(8000, true));

    QCOMPARE(error(), said);
    QCOMPARE(_fixture->host().sleeps(), QList<int>{5});
}

// Under plain LC_ALL=C the name is found neither by grep nor in a row that holds it; the device is.
void tst_RealAnswers::questionMarksHideAChineseName()
{
    const QString table = captured("nmcli/connection-show-plain-C.C.out");
    QVERIFY(table.contains(QLatin1String("?????")));
    _fixture->host().answer(QStringLiteral("nmcli connection show | grep '%1'").arg(kChinese),
                            captured("nmcli/connection-show-grep-chinese-plain-C.C.out"));
    _fixture->host().answer(QStringLiteral("nmcli connection show --active"), table);
    QString uuid;

    QVERIFY(!_network->getUuidBySsid(kChinese, uuid));
    QCOMPARE(error(),
             QStringLiteral("The uuid corresponding to [ssid:%1] was not found").arg(kChinese));
    QVERIFY(_network->getActiveUUID(QStringLiteral("wlan0"), uuid));
    QCOMPARE(uuid, QStringLiteral("02070978-4fef-45fc-ba57-ebc13e2ec6bd"));
}

void tst_RealAnswers::uselessPassPhraseReadsLikeAWrongOne_data()
{
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("said");

    for (const char* locale : {"c", "zh"}) {
        const auto said = [locale](const char* what) {
            return captured(QStringLiteral("nmcli/wifi-connect-%1.%2.err")
                                .arg(QLatin1String(what), QLatin1String(locale)));
        };
        QTest::addRow("too short, %s", locale)
            << "abcd"
            << "nmcli device wifi connect 'RobotNet' password 'abcd' " << said("short-password");
        QTest::addRow("none, %s", locale)
            << ""
            << "nmcli device wifi connect 'RobotNet' " << said("no-password");
        QTest::addRow("wrong, %s", locale)
            << "wrongpass"
            << "nmcli device wifi connect 'RobotNet' password 'wrongpass' " << said("bad-password");
    }
}

void tst_RealAnswers::uselessPassPhraseReadsLikeAWrongOne()
{
    QFETCH(QString, password);
    QFETCH(QString, line);
    QFETCH(QString, said);
    _fixture->host().fail(line, said);

    QVERIFY(!_network->connectWindowWifi("RobotNet", password, false));

    QCOMPARE(lines().last(), line);
    QCOMPARE(error(), said);
    const bool isChinese = QByteArray(QTest::currentDataTag()).endsWith("zh");
    QVERIFY(said.contains(isChinese ? QStringLiteral(u"需要密钥")
                                    : QStringLiteral("Secrets were required")));
}

void tst_RealAnswers::unansweredActivationIsTold_data()
{
    QTest::addColumn<QString>("said");

    for (const char* name : {"connection-up-ap-lost.c", "connection-up-ap-lost.zh",
                             "connection-up-peap-bad.c", "connection-up-peap-bad.zh"})
        QTest::newRow(name) << captured(QStringLiteral("nmcli/%1.err").arg(QLatin1String(name)));
}

// These words come after 26 s; a caller with a shorter limit reads of its limit instead.
void tst_RealAnswers::unansweredActivationIsTold()
{
    QFETCH(QString, said);
    QVERIFY(!said.isEmpty());
    _fixture->host().fail(up(QString()), said);

    QVERIFY(!_network->connectWifi(30000, false));

    QCOMPARE(error(), said);
    QCOMPARE(_fixture->host().calls().last().limitMs, 30000);
}

void tst_RealAnswers::emptyUuidWithoutAnyProfileIsTold_data()
{
    QTest::addColumn<QString>("said");

    QTest::newRow("C") << captured("nmcli/connection-up-empty-uuid.c.err");
    QTest::newRow("Chinese") << captured("nmcli/connection-up-empty-uuid.zh.err");
}

void tst_RealAnswers::emptyUuidWithoutAnyProfileIsTold()
{
    QFETCH(QString, said);
    QVERIFY(said.contains(QLatin1String("wlan0")));
    _fixture->host().fail(QStringLiteral("sudo nmcli connection up  ifname wlan0"), said);

    QVERIFY(!_network->connectWifi(8000, false));

    QCOMPARE(error(), said);
}

// "delete" ends with status 10 where the profile is gone already: what is added goes on.
void tst_RealAnswers::absentProfileIsNoObstacle()
{
    const QString uuid = QStringLiteral("34710274-0dd6-4cbe-a64e-d14adcbf1658");
    const QString join = QStringLiteral("nmcli device wifi connect 'RobotNet' password 'pw' ");
    _fixture->host().answer(QStringLiteral("nmcli connection show | grep wifi"),
                            captured("nmcli/connection-show-active-wifi.c.out"));
    _fixture->host().fail(QStringLiteral("nmcli connection delete ") + uuid,
                          captured("nmcli/internal-delete-absent.zh.err"));
    _fixture->host().answer(join, captured("nmcli/wifi-connect-good.zh.out"));

    QVERIFY(_network->connectWindowWifi("RobotNet", "pw", false));

    QVERIFY(lines().contains(QStringLiteral("nmcli connection delete ") + uuid));
    QCOMPARE(error(), QString());
}

void tst_RealAnswers::bothToolsEscapeAnSsidAlike()
{
    const QString status = valueIn("wpa_cli/status-chinese-ssid.c.out", "ssid=");
    const QString link = valueIn("iw/link-chinese-ssid.c.out", "SSID: ");
    QCOMPARE(status.size(), 15 * 4); // each byte is "\xNN"

    QCOMPARE(link, status);
    QCOMPARE(_network->hexStringToStr(status), kChinese);
    QCOMPARE(_network->hexStringToStr(status + QStringLiteral("-5G")), kChinese + "-5G");
}

void tst_RealAnswers::secondProfileOfANameIsFoundByItsOwnKeys()
{
    const QString second = QStringLiteral("RobotNet-afd12e69-05b9-489c-baed-a0d5140eb09e");
    QByteArray profile = captured("keyfile/wifi-connect-psk.c.out").toUtf8();
    _fixture->writeProfile(QStringLiteral("RobotNet.nmconnection"), profile);
    profile.replace("34710274-0dd6-4cbe-a64e-d14adcbf1658", second.mid(9).toLatin1());
    profile.replace("psk=robotpass", "psk=otherpass");
    _fixture->writeProfile(second + QStringLiteral(".nmconnection"), profile);

    const QString file = _network->getNetworkManagerSSIDFileNameBy(second.mid(9));

    QCOMPARE(file, second + QStringLiteral(".nmconnection"));
    QCOMPARE(_network->getWifiPassword(file), QStringLiteral("otherpass"));
}

// In a keyfile ID and UUID are two keys; in a row of a table the first long word counts.
void tst_RealAnswers::idThatLooksLikeAUuidIsTakenForOne()
{
    const QString id = QStringLiteral("11111111-2222-3333-4444-555555555555");
    const QString uuid = QStringLiteral("34710274-0dd6-4cbe-a64e-d14adcbf1658");
    QByteArray profile = captured("keyfile/wifi-connect-psk.c.out").toUtf8();
    profile.replace("id=RobotNet", "id=" + id.toLatin1());
    _fixture->writeProfile(id + QStringLiteral(".nmconnection"), profile);
    _fixture->host().answer(
        QStringLiteral("nmcli connection show --active"),
        captured("nmcli/connection-show-active-wifi.c.out").replace(QLatin1String("RobotNet"), id));
    QString found;

    QVERIFY(_network->getActiveUUID(QStringLiteral("wlan0"), found));

    QCOMPARE(found, id);
    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(id), QString());
    QCOMPARE(_network->getNetworkManagerSSIDFileNameBy(uuid), id + ".nmconnection");
    QCOMPARE(_network->getNetworkManagerFileInfo(id).value(QStringLiteral("uuid")), QVariant(uuid));
    QVERIFY(_network->getNetworkManagerFileInfo(uuid).isEmpty());
}

QTEST_GUILESS_MAIN(tst_RealAnswers)
#include "tst_RealAnswers.moc"
