#include "TestClock.h"

#include "time/NTPPackage.h"

#include <QtTest>

namespace {

constexpr qint64 kFrom1900To1970Ms = 2208988800000;

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

/// Puts the local clock to a time that is told in milliseconds since 1900.
void stopAt1900(qint64 ms)
{
    TestClock::stopAt(ms - kFrom1900To1970Ms);
}

/// A reply as RFC 5905 lays it out (figure 8), each field with bytes of its own.
QByteArray wholeReply()
{
    return hex("e4"                 // leap 3, version 4, mode 4
               "02"                 // stratum
               "06"                 // poll
               "e9"                 // precision, -23
               "00010203"           // root delay
               "04050607"           // root dispersion
               "7f7f0101"           // reference identifier
               "eeac064000000000"   // 2026-11-21 12:00:00.000
               "eeac064140000000"   // 12:00:01.250
               "eeac064280000000"   // 12:00:02.500
               "eeac0643c0000000"); // 12:00:03.750
}

constexpr qint64 kNoonMs = 4004251200000; // 2026-11-21 12:00:00 UTC since 1900

NTPPackage withTimes(qint64 t1, qint64 t2, qint64 t3, qint64 t4)
{
    NTPPackage package;
    package.originTimestamp = t1;
    package.receiveTimestamp = t2;
    package.transmitTimestamp = t3;
    package.localTimestamp = t4;
    return package;
}

} // namespace

class tst_NTPPackage : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void newRecordHasTheClientsFields();
    void newRecordSerialises();
    void requestCarriesTheFirstFourFieldsOnly();
    void requestIsStampedWithTheLocalClock();
    void bytesBecomeANumber_data();
    void bytesBecomeANumber();
    void timestampBecomesMilliseconds_data();
    void timestampBecomesMilliseconds();
    void millisecondsBecomeATimestamp_data();
    void millisecondsBecomeATimestamp();
    void fractionIsTheTruncatedShareOfTwoToThe32();
    void wayBackLosesAMillisecondFor992Of1000();
    void highBitsOfTheSecondsAreLost();
    void parsedTimestampNeverExceedsTheEra();
    void timestampIsCutAtItsFirstZeroByte_data();
    void timestampIsCutAtItsFirstZeroByte();
    void replyIsTakenApart();
    void everyLeapVersionAndModeIsSplit();
    void arrivalIsTheTimeOfParsing();
    void shortReplyParsesWithoutFault_data();
    void shortReplyParsesWithoutFault();
    void bytesBehindTheReplyAreIgnored();
    void requestIsNoInverseOfParsing();
    void offsetTruncatesTowardsZero_data();
    void offsetTruncatesTowardsZero();
    void offsetUsesTheEchoedOrigin();
    void originComparesSizeAndBytes_data();
    void originComparesSizeAndBytes();
};

void tst_NTPPackage::cleanup()
{
    TestClock::runWith(0);
}

void tst_NTPPackage::newRecordHasTheClientsFields()
{
    const NTPPackage package;

    QCOMPARE(package.li, quint8(0));
    QCOMPARE(package.vn, quint8(3));
    QCOMPARE(package.mode, quint8(3));
    QCOMPARE(package.stratum, quint8(0));
    QCOMPARE(package.poll, qint8(4));
    QCOMPARE(package.precision, qint8(-6));
    QCOMPARE(package.rootDelay, 0u);
    QCOMPARE(package.rootDispersion, 0u);
    QCOMPARE(package.referenceId, 0u);
    QCOMPARE(package.referenceTimestamp, qint64(0));
    QCOMPARE(package.originTimestamp, qint64(0));
    QCOMPARE(package.receiveTimestamp, qint64(0));
    QCOMPARE(package.transmitTimestamp, qint64(0));
    QCOMPARE(package.originBytes, QByteArray());
    QCOMPARE(package.localTimestamp, qint64(0));
}

void tst_NTPPackage::newRecordSerialises()
{
    stopAt1900(kNoonMs + 100);
    NTPPackage package;

    const QByteArray packet = package.toByteArray();

    QCOMPARE(packet.left(4), hex("1b0004fa"));
    QCOMPARE(packet.mid(4, 36), QByteArray(36, '\0'));
    QCOMPARE(packet.mid(40), hex("eeac064019999999")); // 0.1 * 2^32 = 0x19999999.99…
    QCOMPARE(packet.size(), 48);
}

void tst_NTPPackage::requestCarriesTheFirstFourFieldsOnly()
{
    stopAt1900(kNoonMs + 100);
    NTPPackage package;
    package.parseByByteArray(wholeReply());

    const QByteArray packet = package.toByteArray();

    QCOMPARE(packet.left(4), hex("e40206e9"));
    QCOMPARE(packet.mid(4, 36), QByteArray(36, '\0'));
}

void tst_NTPPackage::requestIsStampedWithTheLocalClock()
{
    stopAt1900(kNoonMs + 937);
    NTPPackage package;

    package.toByteArray();

    QCOMPARE(package.localTimestamp, kNoonMs + 937);
    QCOMPARE(package.originBytes, millionSecondToByte64(kNoonMs + 937));
    QCOMPARE(package.originTimestamp, qint64(0));
}

void tst_NTPPackage::bytesBecomeANumber_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<quint32>("number");

    QTest::newRow("none") << QByteArray() << 0u;
    QTest::newRow("one") << hex("aa") << 0xAA000000u;
    QTest::newRow("two") << hex("aabb") << 0xAABB0000u;
    QTest::newRow("three") << hex("aabbcc") << 0xAABBCC00u;
    QTest::newRow("four") << hex("aabbccdd") << 0xAABBCCDDu;
    QTest::newRow("the fifth is ignored") << hex("aabbccddee") << 0xAABBCCDDu;
    QTest::newRow("zeros") << hex("00000001") << 1u;
    QTest::newRow("all ones") << hex("ffffffff") << 0xFFFFFFFFu;
}

void tst_NTPPackage::bytesBecomeANumber()
{
    QFETCH(QByteArray, bytes);
    QFETCH(quint32, number);

    QCOMPARE(byteToUInt32(bytes), number);
}

void tst_NTPPackage::timestampBecomesMilliseconds_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<qint64>("ms");

    QTest::newRow("none") << QByteArray() << qint64(0);
    QTest::newRow("1970") << hex("83aa7e8000000000") << kFrom1900To1970Ms;
    QTest::newRow("2000") << hex("bc17c20000000000") << qint64(3155673600000);
    QTest::newRow("half") << hex("bc17c20080000000") << qint64(3155673600500);
    QTest::newRow("one unit of fraction") << hex("0000000000000001") << qint64(0);
    QTest::newRow("just below a millisecond") << hex("0000000000418937") << qint64(0);
    QTest::newRow("just above a millisecond") << hex("0000000000418938") << qint64(1);
    QTest::newRow("largest fraction") << hex("00000001ffffffff") << qint64(1999);
    QTest::newRow("seconds alone") << hex("00000002") << qint64(2000);
    QTest::newRow("cut in the fraction") << hex("0000000280") << qint64(2500);
    QTest::newRow("cut in the seconds") << hex("8000") << 0x80000000LL * 1000;
    QTest::newRow("bytes behind it") << hex("0000000180000000ffff") << qint64(1500);
}

void tst_NTPPackage::timestampBecomesMilliseconds()
{
    QFETCH(QByteArray, bytes);
    QFETCH(qint64, ms);

    QCOMPARE(byte64ToMillionSecond(bytes), ms);
}

void tst_NTPPackage::millisecondsBecomeATimestamp_data()
{
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("zero") << qint64(0) << hex("0000000000000000");
    QTest::newRow("one second") << qint64(1000) << hex("0000000100000000");
    QTest::newRow("one millisecond") << qint64(1) << hex("0000000000418937");
    QTest::newRow("an eighth") << qint64(125) << hex("0000000020000000");
    QTest::newRow("half") << qint64(500) << hex("0000000080000000");
    QTest::newRow("999") << qint64(999) << hex("00000000ffbe76c8");
    QTest::newRow("1970") << kFrom1900To1970Ms << hex("83aa7e8000000000");
    QTest::newRow("one before 1900") << qint64(-1) << hex("00000000ffbe76c9");
    QTest::newRow("a second and a half before 1900") << qint64(-1500) << hex("ffffffff80000000");
    QTest::newRow("last second of the era") << qint64(4294967295500) << hex("ffffffff80000000");
}

void tst_NTPPackage::millisecondsBecomeATimestamp()
{
    QFETCH(qint64, ms);
    QFETCH(QByteArray, bytes);

    QCOMPARE(millionSecondToByte64(ms), bytes);
}

void tst_NTPPackage::fractionIsTheTruncatedShareOfTwoToThe32()
{
    for (quint64 ms = 0; ms < 1000; ++ms) {
        const quint32 fraction = quint32((ms << 32) / 1000);
        QCOMPARE(byteToUInt32(millionSecondToByte64(qint64(ms)).mid(4)), fraction);
    }
}

void tst_NTPPackage::wayBackLosesAMillisecondFor992Of1000()
{
    int less = 0;
    for (int ms = 0; ms < 1000; ++ms) {
        const qint64 back = byte64ToMillionSecond(millionSecondToByte64(kNoonMs + ms));
        QVERIFY(back == kNoonMs + ms || back == kNoonMs + ms - 1);
        less += back < kNoonMs + ms;
    }

    QCOMPARE(less, 992);
    QCOMPARE(byteToUInt32(millionSecondToByte64(1).mid(4)), 4294967u);
    QCOMPARE(byte64ToMillionSecond(millionSecondToByte64(1)), qint64(0));
}

void tst_NTPPackage::highBitsOfTheSecondsAreLost()
{
    const qint64 endOfEraMs = 4294967296000; // 2036-02-07 06:28:16

    QCOMPARE(millionSecondToByte64(endOfEraMs), hex("0000000000000000"));
    QCOMPARE(millionSecondToByte64(endOfEraMs + 7500), hex("0000000780000000"));
    QCOMPARE(byte64ToMillionSecond(millionSecondToByte64(endOfEraMs + 7500)), qint64(7500));
}

void tst_NTPPackage::parsedTimestampNeverExceedsTheEra()
{
    QCOMPARE(byte64ToMillionSecond(QByteArray(8, '\xff')), qint64(4294967295999));
}

void tst_NTPPackage::timestampIsCutAtItsFirstZeroByte_data()
{
    QTest::addColumn<qint64>("since1900Ms");
    QTest::addColumn<int>("kept");

    QTest::newRow("1000 ms: first byte is zero") << qint64(1000) << 0;
    QTest::newRow("second byte") << 0x8300FFFFLL * 1000 + 100 << 1;
    QTest::newRow("third byte") << 0x83AA00FFLL * 1000 + 100 << 2;
    QTest::newRow("fourth byte") << 0x83AAFF00LL * 1000 + 100 << 3;
    QTest::newRow("whole second") << kNoonMs << 4;
    QTest::newRow("one millisecond, 00418937") << kNoonMs + 1 << 4;
    QTest::newRow("an eighth, 20000000") << kNoonMs + 125 << 5;
    QTest::newRow("no zero byte") << kNoonMs + 100 << 8;
}

void tst_NTPPackage::timestampIsCutAtItsFirstZeroByte()
{
    QFETCH(qint64, since1900Ms);
    QFETCH(int, kept);
    stopAt1900(since1900Ms);
    NTPPackage package;

    const QByteArray packet = package.toByteArray();

    QCOMPARE(package.originBytes, millionSecondToByte64(since1900Ms));
    QCOMPARE(packet.size(), 40 + kept);
    QCOMPARE(packet.mid(40), package.originBytes.left(kept));
    QCOMPARE(packet.left(40), hex("1b0004fa") + QByteArray(36, '\0'));
}

void tst_NTPPackage::replyIsTakenApart()
{
    NTPPackage package;

    package.parseByByteArray(wholeReply());

    QCOMPARE(package.li, quint8(3));
    QCOMPARE(package.vn, quint8(4));
    QCOMPARE(package.mode, quint8(4));
    QCOMPARE(package.stratum, quint8(2));
    QCOMPARE(package.poll, qint8(6));
    QCOMPARE(package.precision, qint8(-23));
    QCOMPARE(package.rootDelay, 0x00010203u);
    QCOMPARE(package.rootDispersion, 0x04050607u);
    QCOMPARE(package.referenceId, 0x7F7F0101u);
    QCOMPARE(package.referenceTimestamp, kNoonMs);
    QCOMPARE(package.originTimestamp, kNoonMs + 1250);
    QCOMPARE(package.receiveTimestamp, kNoonMs + 2500);
    QCOMPARE(package.transmitTimestamp, kNoonMs + 3750);
    QCOMPARE(package.originBytes, hex("eeac064140000000"));
}

void tst_NTPPackage::everyLeapVersionAndModeIsSplit()
{
    for (int first = 0; first < 256; ++first) {
        QByteArray reply = wholeReply();
        reply[0] = char(first);
        NTPPackage package;
        package.parseByByteArray(reply);
        QCOMPARE(int(package.li), first / 64);
        QCOMPARE(int(package.vn), first / 8 % 8);
        QCOMPARE(int(package.mode), first % 8);
    }
}

void tst_NTPPackage::arrivalIsTheTimeOfParsing()
{
    stopAt1900(kNoonMs + 4000);
    NTPPackage package;
    package.toByteArray();
    stopAt1900(kNoonMs + 5000);

    package.parseByByteArray(wholeReply());

    QCOMPARE(package.localTimestamp, kNoonMs + 5000);
    // (2500 - 1250 + 3750 - 5000) / 2: request and reply took 1250 ms each
    QCOMPARE(package.calcOffset(), qint64(0));
}

void tst_NTPPackage::shortReplyParsesWithoutFault_data()
{
    QTest::addColumn<int>("size");

    for (int size : {8, 9, 12, 15, 16, 20, 23})
        QTest::addRow("%d bytes", size) << size;
}

void tst_NTPPackage::shortReplyParsesWithoutFault()
{
    QFETCH(int, size);
    NTPPackage package;

    package.parseByByteArray(wholeReply().left(size));

    QCOMPARE(package.stratum, quint8(2));
    QCOMPARE(package.rootDelay, 0x00010203u);
    QCOMPARE(package.originTimestamp, qint64(0));
    QCOMPARE(package.receiveTimestamp, qint64(0));
    QCOMPARE(package.transmitTimestamp, qint64(0));
    QCOMPARE(package.originBytes, QByteArray());
    QVERIFY(!package.checkByOriginTimestamp(hex("eeac064140000000")));
}

void tst_NTPPackage::bytesBehindTheReplyAreIgnored()
{
    NTPPackage package;

    package.parseByByteArray(wholeReply() + QByteArray(2000, '\xff'));

    QCOMPARE(package.transmitTimestamp, kNoonMs + 3750);
    QCOMPARE(package.originBytes.size(), 8);
}

void tst_NTPPackage::requestIsNoInverseOfParsing()
{
    NTPPackage package;
    package.parseByByteArray(wholeReply());

    QVERIFY(package.toByteArray() != wholeReply());
}

void tst_NTPPackage::offsetTruncatesTowardsZero_data()
{
    QTest::addColumn<qint64>("sum");
    QTest::addColumn<qint64>("offset");

    const qint64 yearMs = 365LL * 86400 * 1000;
    QTest::newRow("3") << qint64(3) << qint64(1);
    QTest::newRow("2") << qint64(2) << qint64(1);
    QTest::newRow("1") << qint64(1) << qint64(0);
    QTest::newRow("0") << qint64(0) << qint64(0);
    QTest::newRow("-1") << qint64(-1) << qint64(0);
    QTest::newRow("-2") << qint64(-2) << qint64(-1);
    QTest::newRow("-3") << qint64(-3) << qint64(-1);
    QTest::newRow("a year ahead") << 2 * yearMs << yearMs;
    QTest::newRow("a year behind") << -2 * yearMs << -yearMs;
}

void tst_NTPPackage::offsetTruncatesTowardsZero()
{
    QFETCH(qint64, sum);
    QFETCH(qint64, offset);

    QCOMPARE(withTimes(kNoonMs, kNoonMs + sum, kNoonMs, kNoonMs).calcOffset(), offset);
    QCOMPARE(withTimes(kNoonMs, kNoonMs, kNoonMs + sum, kNoonMs).calcOffset(), offset);
}

void tst_NTPPackage::offsetUsesTheEchoedOrigin()
{
    // RFC 5905, 8: theta = ((T2 - T1) + (T3 - T4)) / 2; here 10 ms out, 4 ms in the server,
    // 30 ms back, and a server that is 500 ms ahead.
    NTPPackage package = withTimes(kNoonMs, kNoonMs + 510, kNoonMs + 514, kNoonMs + 44);

    QCOMPARE(package.calcOffset(), qint64(490));
}

void tst_NTPPackage::originComparesSizeAndBytes_data()
{
    QTest::addColumn<QByteArray>("own");
    QTest::addColumn<QByteArray>("other");
    QTest::addColumn<bool>("isSame");

    const QByteArray bytes = hex("eeac064140000001");
    QTest::newRow("two empty ones") << QByteArray() << QByteArray() << true;
    QTest::newRow("null and empty") << QByteArray() << QByteArray("") << true;
    QTest::newRow("same") << bytes << QByteArray(bytes.constData(), 8) << true;
    QTest::newRow("last byte") << bytes << hex("eeac064140000002") << false;
    QTest::newRow("behind a zero byte")
        << hex("ee00064140000001") << hex("ee00064140000002") << false;
    QTest::newRow("one byte less") << bytes << bytes.left(7) << false;
    QTest::newRow("one byte more") << bytes << bytes + '\0' << false;
    QTest::newRow("own is empty") << QByteArray() << bytes << false;
}

void tst_NTPPackage::originComparesSizeAndBytes()
{
    QFETCH(QByteArray, own);
    QFETCH(QByteArray, other);
    QFETCH(bool, isSame);
    NTPPackage package;
    package.originBytes = own;

    QCOMPARE(package.checkByOriginTimestamp(other), isSame);
}

QTEST_GUILESS_MAIN(tst_NTPPackage)
#include "tst_NTPPackage.moc"
