#include "network/tools/IwOutput.h"

#include <QFile>
#include <QTest>

namespace {

QString capture(const QString& name)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/iw/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

class tst_IwOutput : public QObject
{
    Q_OBJECT

private slots:
    void readsCapturedLink_data();
    void readsCapturedLink();
    void escapesOfTheSsidStayAsPrinted();
    void readsDamagedLines_data();
    void readsDamagedLines();
    void anyCutOfALinkIsRead();
    void recordCarriesTheLinkAndTwoZeros();
    void readsIwconfigLayout();
    void readsIwconfigPieces_data();
    void readsIwconfigPieces();
    void emptyIwconfigGivesLevelZero();
};

void tst_IwOutput::readsCapturedLink_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("isAssociated");
    QTest::addColumn<QString>("bssid");
    QTest::addColumn<int>("frequencyMhz");
    QTest::addColumn<int>("signalDbm");

    QTest::newRow("connected") << "link-connected.c.out" << true << "02:00:00:00:01:00" << 5180
                               << -45;
    QTest::newRow("weak") << "link-level-68.c.out" << true << "02:00:00:00:05:00" << 5745 << -68;
    QTest::newRow("Chinese") << "link-chinese-ssid.zh.out" << true << "02:00:00:00:04:00" << 2462
                             << -60;
    QTest::newRow("lost") << "link-ap-lost.c.out" << false << "" << 0 << 0;
    QTest::newRow("card down") << "link-wifi-down.c.out" << false << "" << 0 << 0;
    QTest::newRow("hotspot") << "link-hotspot.zh.out" << false << "" << 0 << 0;
}

void tst_IwOutput::readsCapturedLink()
{
    QFETCH(QString, file);
    const QString text = capture(file);
    QVERIFY(!text.isEmpty());

    const ky::LinkState link = ky::parseIwLink(text);

    QTEST(link.isAssociated(), "isAssociated");
    QTEST(link.bssid, "bssid");
    QTEST(link.frequencyMhz, "frequencyMhz");
    QTEST(link.signalDbm, "signalDbm");
}

void tst_IwOutput::escapesOfTheSsidStayAsPrinted()
{
    const ky::LinkState link = ky::parseIwLink(capture(QStringLiteral("link-chinese-ssid.zh.out")));

    QCOMPARE(link.ssid, QStringLiteral("\\xe6\\x9c\\xba\\xe5\\x99\\xa8\\xe4\\xba\\xba"
                                       "\\xe7\\xbd\\x91\\xe7\\xbb\\x9c"));
}

void tst_IwOutput::readsDamagedLines_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("bssid");
    QTest::addColumn<int>("frequencyMhz");
    QTest::addColumn<int>("signalDbm");

    QTest::newRow("empty") << ""
                           << ""
                           << "" << 0 << 0;
    QTest::newRow("three words") << "Connected to 02:00"
                                 << ""
                                 << "" << 0 << 0;
    QTest::newRow("four words") << "Connected to 02:00 (on"
                                << ""
                                << "02:00" << 0 << 0;
    QTest::newRow("SSID of blanks within") << "\tSSID:  a   b "
                                           << "a b"
                                           << "" << 0 << 0;
    QTest::newRow("frequency with a word too many") << "\tfreq: 5180 MHz"
                                                    << ""
                                                    << "" << 0 << 0;
    QTest::newRow("frequency with a fraction") << "\tfreq: 5180.0"
                                               << ""
                                               << "" << 0 << 0;
    QTest::newRow("level without unit") << "\tsignal: -60"
                                        << ""
                                        << "" << 0 << 0;
    QTest::newRow("level is no number") << "\tsignal: low dBm"
                                        << ""
                                        << "" << 0 << 0;
    QTest::newRow("level with antennas") << "\tsignal: -60 [-61, -62] dBm"
                                         << ""
                                         << "" << 0 << 0;
    QTest::newRow("later value counts") << "\tsignal: -60 dBm\n\tsignal: -70 dBm"
                                        << ""
                                        << "" << 0 << -70;
    QTest::newRow("SSID with the words of a link") << "\tSSID: Connected to home"
                                                   << ""
                                                   << "to" << 0 << 0;
}

void tst_IwOutput::readsDamagedLines()
{
    QFETCH(QString, text);

    const ky::LinkState link = ky::parseIwLink(text);

    QTEST(link.ssid, "ssid");
    QTEST(link.bssid, "bssid");
    QTEST(link.frequencyMhz, "frequencyMhz");
    QTEST(link.signalDbm, "signalDbm");
}

void tst_IwOutput::anyCutOfALinkIsRead()
{
    const QString whole = capture(QStringLiteral("link-connected.c.out"));
    const int bothLines = whole.indexOf(QLatin1String("RobotNet"));
    QVERIFY(bothLines > 0);
    for (int length = 0; length <= whole.size(); ++length)
        QCOMPARE(ky::parseIwLink(whole.left(length)).isAssociated(), length > bothLines);
}

void tst_IwOutput::recordCarriesTheLinkAndTwoZeros()
{
    const QVariantMap record =
        ky::linkRecord({QStringLiteral("net"), QStringLiteral("02:00"), -61, 5180});

    const QVariantMap expected{{QStringLiteral("qualityValue"), 0},
                               {QStringLiteral("qualityMax"), 0},
                               {QStringLiteral("ssid"), QStringLiteral("net")},
                               {QStringLiteral("bssid"), QStringLiteral("02:00")},
                               {QStringLiteral("signalLevel"), -61},
                               {QStringLiteral("frequenc"), 5180}};
    QCOMPARE(record, expected);
}

void tst_IwOutput::readsIwconfigLayout()
{
    const ky::IwconfigState state = ky::parseIwconfig(QStringLiteral(
        "wlan0     IEEE 802.11  ESSID:\"RobotNet\"  \n"
        "          Mode:Managed  Frequency:5.745 GHz  Access Point: 02:AB:00:00:CD:EF"
        "   \n"
        "          Bit Rate=6 Mb/s   Tx-Power=20 dBm   \n"
        "          Link Quality=49/70  Signal level=-61 dBm  \n"));

    QCOMPARE(state.ssid, QStringLiteral("RobotNet"));
    QCOMPARE(state.bssid, QStringLiteral("02:ab:00:00:cd:ef"));
    QCOMPARE(state.qualityValue, 49);
    QCOMPARE(state.qualityMax, 70);
    QCOMPARE(state.signalDbm, -61);
    QCOMPARE(state.frequencyMhz, 5745);
}

void tst_IwOutput::readsIwconfigPieces_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("quality");
    QTest::addColumn<int>("signalDbm");
    QTest::addColumn<int>("frequencyMhz");
    QTest::addColumn<QString>("ssid");

    QTest::newRow("quality of one part") << "Link Quality=49" << 0 << 0 << 0 << "";
    QTest::newRow("quality of three parts") << "Link Quality=1/2/3" << 0 << 0 << 0 << "";
    QTest::newRow("level without unit") << "Signal level=-61" << 0 << 0 << 0 << "";
    QTest::newRow("level of three parts") << "Signal level=-61 dBm x" << 0 << 0 << 0 << "";
    QTest::newRow("frequency without unit") << "Frequency:2.4" << 0 << 0 << 0 << "";
    QTest::newRow("frequency is cut") << "Frequency:2.4379 GHz" << 0 << 0 << 2437 << "";
    QTest::newRow("frequency without end") << "Frequency:1e300 GHz" << 0 << 0 << 0 << "";
    QTest::newRow("no frequency") << "Frequency:nan GHz" << 0 << 0 << 0 << "";
    QTest::newRow("all quotes go") << "ESSID:\"a\"b\"" << 0 << 0 << 0 << "ab";
    QTest::newRow("one blank does not part")
        << "ESSID:\"a\" Signal level=-1 dBm" << 0 << 0 << 0 << "a Signal level=-1 dBm";
}

void tst_IwOutput::readsIwconfigPieces()
{
    QFETCH(QString, text);

    const ky::IwconfigState state = ky::parseIwconfig(text);

    QTEST(state.qualityValue, "quality");
    QTEST(state.signalDbm, "signalDbm");
    QTEST(state.frequencyMhz, "frequencyMhz");
    QTEST(state.ssid, "ssid");
}

void tst_IwOutput::emptyIwconfigGivesLevelZero()
{
    QCOMPARE(ky::parseIwconfig(QString()).signalDbm, 0);
    QCOMPARE(ky::parseIwconfig(QString()).ssid, QString());
}

QTEST_APPLESS_MAIN(tst_IwOutput)
#include "tst_IwOutput.moc"
