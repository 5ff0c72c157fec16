#include "network/tools/HostapdConf.h"
#include "network/tools/NmcliDeviceTable.h"

#include <QFile>
#include <QTest>

namespace {

QString capture(const QString& name)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/nmcli/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QVariantMap device(const QString& value)
{
    return {{QStringLiteral("device"), value},
            {QStringLiteral("type"), value},
            {QStringLiteral("state"), value},
            {QStringLiteral("connection"), value}};
}

} // namespace

class tst_HotspotText : public QObject
{
    Q_OBJECT

private slots:
    void rewritesTheTwoValues_data();
    void rewritesTheTwoValues();
    void textBeyondAsciiIsWrittenAsUtf8();
    void bytesOfOtherLinesStay();
    void valueWithALineEndDoesNotFit_data();
    void valueWithALineEndDoesNotFit();
    void capturedTableGivesEmptyValues();
    void allFourKeysHoldTheLastPart();
    void textWithoutLineFeedIsNoTable();
    void hotspotIsNeverFoundInATable_data();
    void hotspotIsNeverFoundInATable();
    void oneValueWouldHaveToNameAndSayConnected_data();
    void oneValueWouldHaveToNameAndSayConnected();
};

void tst_HotspotText::rewritesTheTwoValues_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    const auto row = [](const char* name, const char* before, const char* after) {
        QTest::newRow(name) << QByteArray(before) << QByteArray(after);
    };

    row("both", "ssid=old\nwpa_passphrase=oldpass\n", "ssid=robot\nwpa_passphrase=secret12\n");
    row("blanks around the sign", "  ssid \t = old\n", "ssid=robot\n");
    row("blanks around the other", " wpa_passphrase = x\n", "wpa_passphrase=secret12\n");
    row("comment", "#ssid=old\n", "#ssid=old\n");
    row("comment with a blank", "# ssid=old\n", "# ssid=old\n");
    row("longer key", "ignore_broadcast_ssid=0\nssid2=x\n", "ignore_broadcast_ssid=0\nssid2=x\n");
    row("line without sign", "ssid\ninterface wlsp1s1\n", "ssid\ninterface wlsp1s1\n");
    row("value with a sign", "ssid=a=b\n", "ssid=robot\n");
    row("twice", "ssid=a\nx=1\nssid=b\n", "ssid=robot\nx=1\nssid=robot\n");
    row("no end of line", "x=1\nssid=a", "x=1\nssid=robot\n");
    row("no end of another line", "ssid=a\nx=1", "ssid=robot\nx=1");
    row("empty lines", "\n\nssid=a\n\n", "\n\nssid=robot\n\n");
    row("empty", "", "");
    row("key of capitals", "SSID=a\n", "SSID=a\n");
}

void tst_HotspotText::rewritesTheTwoValues()
{
    QFETCH(QByteArray, before);

    QTEST(ky::rewrittenHostapdConf(before, QStringLiteral("robot"), QStringLiteral("secret12")),
          "after");
}

void tst_HotspotText::textBeyondAsciiIsWrittenAsUtf8()
{
    QCOMPARE(ky::rewrittenHostapdConf("ssid=a\n", QStringLiteral(u"机器人"), QString()),
             QByteArray("ssid=机器人\n"));
}

void tst_HotspotText::bytesOfOtherLinesStay()
{
    const QByteArray odd("# \xff\xfe caf\xe9\ninterface=wlsp1s1\r\n\0x\n", 31);

    QCOMPARE(ky::rewrittenHostapdConf(odd, QStringLiteral("a"), QStringLiteral("b")), odd);
}

void tst_HotspotText::valueWithALineEndDoesNotFit_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("fits");

    QTest::newRow("plain") << "robot" << true;
    QTest::newRow("empty") << "" << true;
    QTest::newRow("signs") << "a=b # c" << true;
    QTest::newRow("line feed") << "a\nctrl_interface=/tmp/x" << false;
    QTest::newRow("carriage return") << "a\rb" << false;
    QTest::newRow("NUL") << QString(QChar(0)) << false;
}

void tst_HotspotText::valueWithALineEndDoesNotFit()
{
    QFETCH(QString, value);

    QTEST(ky::fitsHostapdConf(value), "fits");
}

void tst_HotspotText::capturedTableGivesEmptyValues()
{
    const auto devices =
        ky::parseDeviceTable(capture(QStringLiteral("device-status-connected.c.out")));

    QVERIFY(devices);
    QCOMPARE(devices->size(), 10); // nine devices, and what is behind the last line feed
    for (const QVariantMap& entry : *devices)
        QCOMPARE(entry, device(QString()));
}

void tst_HotspotText::allFourKeysHoldTheLastPart()
{
    const auto devices = ky::parseDeviceTable(
        QStringLiteral("DEVICE TYPE STATE CONNECTION\nwlan0  wifi  connected  RobotNet\neth0"));

    QCOMPARE(*devices, (QList<QVariantMap>{device(QStringLiteral("RobotNet")),
                                           device(QStringLiteral("eth0"))}));
}

void tst_HotspotText::textWithoutLineFeedIsNoTable()
{
    QVERIFY(!ky::parseDeviceTable(QString()));
    QVERIFY(!ky::parseDeviceTable(QStringLiteral("wlan0 wifi connected MyHostspot")));
    QVERIFY(ky::parseDeviceTable(QStringLiteral("\n")));
}

void tst_HotspotText::hotspotIsNeverFoundInATable_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("English") << capture(QStringLiteral("device-status-hotspot.c.out"));
    QTest::newRow("Chinese") << capture(QStringLiteral("device-status-hotspot.zh.out"));
    QTest::newRow("without padding") << "HEAD\nwlan0 wifi connected MyHostspot\n";
}

void tst_HotspotText::hotspotIsNeverFoundInATable()
{
    QFETCH(QString, text);
    QVERIFY(text.contains(QLatin1String("MyHostspot")));

    QVERIFY(!ky::holdsConnectedHotspot(*ky::parseDeviceTable(text)));
}

void tst_HotspotText::oneValueWouldHaveToNameAndSayConnected_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("connection");
    QTest::addColumn<bool>("isFound");

    QTest::newRow("English") << "connected"
                             << "MyHostspot" << true;
    QTest::newRow("Chinese") << QStringLiteral(u"已连接") << "MyHostspot" << true;
    QTest::newRow("disconnected holds the word") << "disconnected"
                                                 << "MyHostspot" << true;
    QTest::newRow("Chinese, disconnected") << QStringLiteral(u"已断开") << "MyHostspot" << false;
    QTest::newRow("another connection") << "connected"
                                        << "MyHotspot" << false;
    QTest::newRow("the same value") << "MyHostspot"
                                    << "MyHostspot" << false;
}

void tst_HotspotText::oneValueWouldHaveToNameAndSayConnected()
{
    QFETCH(QString, state);
    QFETCH(QString, connection);
    QVariantMap entry = device(QString());
    entry.insert(QStringLiteral("state"), state);
    entry.insert(QStringLiteral("connection"), connection);

    QTEST(ky::holdsConnectedHotspot({device(QString()), entry}), "isFound");
}

QTEST_APPLESS_MAIN(tst_HotspotText)
#include "tst_HotspotText.moc"
