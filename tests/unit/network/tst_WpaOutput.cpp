#include "network/tools/SsidEscapes.h"
#include "network/tools/WpaCliScan.h"
#include "network/tools/WpaCliStatus.h"

#include <QFile>
#include <QTest>

namespace {

QString capture(const QString& name)
{
    QFile file(QStringLiteral(KY_TEST_DATA "/wpa_cli/") + name);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

const QString kHead = QStringLiteral("bssid / frequency / signal level / flags / ssid\n");

} // namespace

class tst_WpaOutput : public QObject
{
    Q_OBJECT

private slots:
    void decodesEscapes_data();
    void decodesEscapes();
    void readsCapturedTable();
    void readsChineseSsid();
    void encryptionIsReadFromTheFlags_data();
    void encryptionIsReadFromTheFlags();
    void emptyTextHasNoRows();
    void singleRowIsSplitAtBlanks_data();
    void singleRowIsSplitAtBlanks();
    void damagedRowsAreDropped();
    void textThatIsNoNumberIsLevelZero();
    void recordHoldsTextAndEncryption();
    void hugeTableIsReadWhole();
    void busyScanIsKnownByItsWord_data();
    void busyScanIsKnownByItsWord();
    void readsCapturedStatus();
    void longerNamesAreKeptApart();
    void enterpriseSessionIsTakenForTheId();
    void emptySsidIsNoCurrentWifi();
    void statusOfOneLineSaysNothing();
};

void tst_WpaOutput::decodesEscapes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("decoded");

    QTest::newRow("no escape") << "plain"
                               << "plain";
    QTest::newRow("backslash alone") << "a\\b"
                                     << "a\\b";
    QTest::newRow("three bytes and a letter") << "\\xe4\\xb8\\xada" << QStringLiteral(u"中a");
    QTest::newRow("letters around")
        << "a\\xe4\\xb8\\xadb\\xe6\\x96\\x87c" << QStringLiteral(u"a中b文c");
    QTest::newRow("ends at NUL") << "\\x41\\x00\\x42z"
                                 << "Az";
    QTest::newRow("cut after x") << "a\\x"
                                 << "a";
    QTest::newRow("cut after one digit") << "a\\x4" << QString(QStringLiteral("a") + QChar(4));
    QTest::newRow("backslash beside an escape") << "\\\\x41"
                                                << "A";
    QTest::newRow("other escape loses its backslash") << "\\n\\x41"
                                                      << "nA";
    QTest::newRow("digits that are none") << "\\xzz1"
                                          << "1";
}

void tst_WpaOutput::decodesEscapes()
{
    QFETCH(QString, text);

    QTEST(ky::decodeSsidEscapes(text), "decoded");
}

void tst_WpaOutput::readsCapturedTable()
{
    const ky::ScanTable table =
        ky::parseScanTable(capture(QStringLiteral("scan-result-connected.c.out")));

    QCOMPARE(table.rows.size(), 8);
    QCOMPARE(table.lineCount, 10);
    QVERIFY(!table.isSingleRow);
    QCOMPARE(table.rows.at(1).bssid, QStringLiteral("02:00:00:00:05:00"));
    QCOMPARE(table.rows.at(1).frequencyMhz(), 5745);
    QCOMPARE(table.rows.at(1).signalDbm(), -65);
    QCOMPARE(table.rows.at(1).ssid, QStringLiteral("RobotNet"));
    QCOMPARE(table.rows.at(5).ssid, QString()); // a hidden network
    QCOMPARE(table.rows.at(6).ssid, QStringLiteral("OpenNet"));
    QVERIFY(table.rows.at(3).isEncrypted);
    QVERIFY(!table.rows.at(6).isEncrypted);
}

void tst_WpaOutput::readsChineseSsid()
{
    const ky::ScanTable table =
        ky::parseScanTable(capture(QStringLiteral("scan-result-chinese-ssid.zh.out")));

    QCOMPARE(table.rows.at(4).ssid, QStringLiteral(u"机器人网络"));
}

void tst_WpaOutput::encryptionIsReadFromTheFlags_data()
{
    QTest::addColumn<QString>("flags");
    QTest::addColumn<bool>("inTable");
    QTest::addColumn<bool>("alone");

    QTest::newRow("open") << "[ESS]" << false << false;
    QTest::newRow("WPA2") << "[WPA2-PSK-CCMP][ESS]" << true << true;
    QTest::newRow("WEP") << "[WEP][ESS]" << false << true;
    QTest::newRow("open, UTF-8") << "[ESS][UTF-8]" << false << true;
    QTest::newRow("none") << "" << false << true;
}

void tst_WpaOutput::encryptionIsReadFromTheFlags()
{
    QFETCH(QString, flags);

    const ky::ScanTable table =
        ky::parseScanTable(kHead + QStringLiteral("02:00\t5180\t-60\t%1\tnet\n").arg(flags));
    const ky::ScanTable row =
        ky::parseScanTable(QStringLiteral("02:00 5180 -60 %1 net").arg(flags));

    QTEST(table.rows.at(0).isEncrypted, "inTable");
    QTEST(row.rows.at(0).isEncrypted, "alone");
}

void tst_WpaOutput::emptyTextHasNoRows()
{
    const ky::ScanTable table = ky::parseScanTable(QString());

    QVERIFY(table.rows.isEmpty());
    QVERIFY(!table.isSingleRow);
    QVERIFY(ky::parseScanTable(kHead).rows.isEmpty());
}

void tst_WpaOutput::singleRowIsSplitAtBlanks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("rows");

    QTest::newRow("five fields") << "02:00 5180 -60 [ESS] net" << 1;
    QTest::newRow("four fields") << "02:00 5180 -60 [ESS]" << 0;
    QTest::newRow("six fields") << "02:00 5180 -60 [ESS] net work" << 1;
    QTest::newRow("tabs do not part") << "02:00\t5180\t-60\t[ESS]\tnet" << 0;
    QTest::newRow("one word") << "FAIL" << 0;
}

void tst_WpaOutput::singleRowIsSplitAtBlanks()
{
    QFETCH(QString, text);

    const ky::ScanTable table = ky::parseScanTable(text);

    QVERIFY(table.isSingleRow);
    QTEST(table.rows.size(), "rows");
    if (!table.rows.isEmpty())
        QCOMPARE(table.rows.first().ssid, QStringLiteral("net"));
}

void tst_WpaOutput::damagedRowsAreDropped()
{
    const ky::ScanTable table = ky::parseScanTable(
        kHead + QStringLiteral(
                    "no tabs at all\n\n02:00\t5180\t-60\t[ESS]\n02:01\t5200\t-61\t[ESS]\tnet\tx\n"
                    "02:02\t52"));

    QCOMPARE(table.rows.size(), 1);
    QCOMPARE(table.rows.first().bssid, QStringLiteral("02:01"));
    QCOMPARE(table.rows.first().ssid, QStringLiteral("net"));
}

void tst_WpaOutput::textThatIsNoNumberIsLevelZero()
{
    const ky::ScanTable table =
        ky::parseScanTable(kHead + QStringLiteral("02:00\tfive\tloud\t[ESS]\tnet\n"));

    QCOMPARE(table.rows.first().frequencyMhz(), 0);
    QCOMPARE(table.rows.first().signalDbm(), 0);
    QCOMPARE(table.rows.first().rssi, QStringLiteral("loud"));
}

void tst_WpaOutput::recordHoldsTextAndEncryption()
{
    const QVariantMap record = ky::accessPointRecord(
        ky::parseScanTable(capture(QStringLiteral("scan-result-connected.c.out"))).rows.at(0));

    const QVariantMap expected{{QStringLiteral("ssid"), QStringLiteral("RobotNet")},
                               {QStringLiteral("bssid"), QStringLiteral("02:00:00:00:01:00")},
                               {QStringLiteral("frequency"), QStringLiteral("5180")},
                               {QStringLiteral("rssi"), QStringLiteral("-45")},
                               {QStringLiteral("is_encrypted"), true}};
    QCOMPARE(record, expected);
}

void tst_WpaOutput::hugeTableIsReadWhole()
{
    QString text = kHead;
    for (int i = 0; i < 20000; ++i)
        text += QStringLiteral("02:00\t5180\t-60\t[WPA2-PSK-CCMP][ESS]\tnet%1\n").arg(i);

    QCOMPARE(ky::parseScanTable(text).rows.size(), 20000);
}

void tst_WpaOutput::busyScanIsKnownByItsWord_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<bool>("isBusy");

    QTest::newRow("OK") << "scan-ok.c.out" << false;
    QTest::newRow("busy") << "scan-busy.c.out" << true;
    QTest::newRow("card down") << "scan-wifi-down.c.out" << false;
}

void tst_WpaOutput::busyScanIsKnownByItsWord()
{
    QFETCH(QString, file);
    const QString text = capture(file);
    QVERIFY(!text.isEmpty());

    QTEST(ky::isScanBusy(text), "isBusy");
}

void tst_WpaOutput::readsCapturedStatus()
{
    const QVariantMap status =
        ky::parseWpaStatus(capture(QStringLiteral("status-chinese-ssid.zh.out")));

    const QVariantMap expected{
        {QStringLiteral("bssid"), QStringLiteral("02:00:00:00:04:00")},
        {QStringLiteral("freq"), QStringLiteral("2462")},
        {QStringLiteral("ssid"), QStringLiteral(u"机器人网络")},
        {QStringLiteral("current_wifi"), QStringLiteral(u"机器人网络")},
        {QStringLiteral("id"), QStringLiteral("0")},
        {QStringLiteral("mode"), QStringLiteral("station")},
        {QStringLiteral("pairwise_cipher"), QStringLiteral("CCMP")},
        {QStringLiteral("group_cipher"), QStringLiteral("CCMP")},
        {QStringLiteral("key_mgmt"), QStringLiteral("WPA2-PSK")},
        {QStringLiteral("wpa_state"), QStringLiteral("COMPLETED")},
        {QStringLiteral("ip_address"), QStringLiteral("10.77.0.162")},
        {QStringLiteral("p2p_device_address"), QStringLiteral("42:00:00:00:00:00")},
        {QStringLiteral("address"), QStringLiteral("02:00:00:00:00:00")},
        {QStringLiteral("uuid"), QStringLiteral("362db47b-a53a-5191-88fb-5458b986b2e4")}};
    QCOMPARE(status, expected);
}

void tst_WpaOutput::longerNamesAreKeptApart()
{
    const QVariantMap status = ky::parseWpaStatus(QStringLiteral(
        "address=a\nip_address=b\np2p_device_address=c\nssid=d\nbssid=e\nid=f\nuuid=g\n"));

    const char* const names[] = {"address", "ip_address", "p2p_device_address", "ssid", "bssid",
                                 "id",      "uuid"};
    QString values;
    for (const char* name : names)
        values += status.value(QLatin1String(name)).toString();
    QCOMPARE(values, QStringLiteral("abcdefg"));
}

void tst_WpaOutput::enterpriseSessionIsTakenForTheId()
{
    const QVariantMap status = ky::parseWpaStatus(capture(QStringLiteral("status-peap.c.out")));

    QCOMPARE(status.value(QStringLiteral("key_mgmt")).toString(),
             QStringLiteral("WPA2/IEEE 802.1X/EAP"));
    QVERIFY(status.value(QStringLiteral("id"))
                .toString()
                .startsWith(QLatin1String("eap_session_19eb626775")));
    QVERIFY(!status.contains(QStringLiteral("Supplicant PAE state")));
}

void tst_WpaOutput::emptySsidIsNoCurrentWifi()
{
    const QVariantMap status = ky::parseWpaStatus(QStringLiteral("ssid=\nwpa_state=SCANNING\n"));

    QVERIFY(status.contains(QStringLiteral("ssid")));
    QVERIFY(!status.contains(QStringLiteral("current_wifi")));
}

void tst_WpaOutput::statusOfOneLineSaysNothing()
{
    QVERIFY(ky::parseWpaStatus(QStringLiteral("ssid=net")).isEmpty());
    QVERIFY(ky::parseWpaStatus(QString()).isEmpty());
}

QTEST_APPLESS_MAIN(tst_WpaOutput)
#include "tst_WpaOutput.moc"
