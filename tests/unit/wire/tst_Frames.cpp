#include "wire/FrameHead.h"
#include "wire/FrameWriter.h"
#include "wire/StreamBuffer.h"

#include <QtTest>

#include <limits>

class tst_Frames : public QObject
{
    Q_OBJECT

private slots:
    void writesHeaderFields_data();
    void writesHeaderFields();
    void bodyIsJsonThenData();
    void jsonSizeKeepsLow16Bits();
    void bodyThatNoArrayHoldsGivesNoFrame();
    void headIsReadInNetworkOrder();
    void headThatIsWrittenOverOldBytesLeavesNone();
    void nextFrameIsFoundByBothBytes_data();
    void nextFrameIsFoundByBothBytes();
    void bufferKeepsWhatWasNotDropped();
    void bufferRefusesWhatItCannotHold();
};

void tst_Frames::writesHeaderFields_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("head");

    QTest::newRow("worked example") << 5101 << 7 << QByteArray("{\"a\":1}") << QByteArray("xyz")
                                    << QByteArray("5a0100070000000a13edecdd00070002");
    QTest::newRow("no body") << 2000 << 0 << QByteArray() << QByteArray()
                             << QByteArray("5a0100000000000007d0e0c000000002");
    QTest::newRow("type 10000 wraps to 0") << 10000 << 1 << QByteArray() << QByteArray()
                                           << QByteArray("5a010001000000002710000000000002");
    QTest::newRow("type 65535 carries 55535") << 65535 << 65535 << QByteArray() << QByteArray()
                                              << QByteArray("5a01ffff00000000ffffd8ef00000002");
    QTest::newRow("type 0 carries d8f0") << 0 << 0 << QByteArray() << QByteArray("d")
                                         << QByteArray("5a010000000000010000d8f000000002");
}

void tst_Frames::writesHeaderFields()
{
    QFETCH(int, type);
    QFETCH(int, number);
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, data);

    const QByteArray frame = ky::buildFrame(quint16(type), quint16(number), json, data);

    QTEST(frame.left(16).toHex(), "head");
    QCOMPARE(frame.size(), 16 + json.size() + data.size());
}

void tst_Frames::bodyIsJsonThenData()
{
    const QByteArray frame = ky::buildFrame(2000, 1, "[1]", QByteArray("\0\1", 2));

    QCOMPARE(frame.mid(16), QByteArray("[1]\0\1", 5));
}

void tst_Frames::jsonSizeKeepsLow16Bits()
{
    const QByteArray frame = ky::buildFrame(2000, 1, QByteArray(65537, ' '), "d");

    QCOMPARE(frame.mid(4, 4).toHex(), QByteArray("00010002"));
    QCOMPARE(frame.mid(12, 2).toHex(), QByteArray("0001"));
}

void tst_Frames::bodyThatNoArrayHoldsGivesNoFrame()
{
    // Never read: the size alone is too much.
    const QByteArray huge = QByteArray::fromRawData("", std::numeric_limits<int>::max() - 4096);

    QVERIFY(ky::buildFrame(2000, 1, huge, {}).isNull());
    QVERIFY(ky::buildFrame(2000, 1, {}, huge).isNull());
    QVERIFY(ky::buildFrame(2000, 1, huge, huge).isNull());
}

void tst_Frames::headIsReadInNetworkOrder()
{
    const QByteArray bytes = QByteArray::fromHex("5a0100070000000a13edecdd00070002");

    const ky::FrameHead head = ky::readFrameHead(bytes.constData());

    QCOMPARE(head.number, quint16(7));
    QCOMPARE(head.dataSize, quint32(10));
    QCOMPARE(head.type, quint16(5101));
    QCOMPARE(head.revCommand, quint16(0xECDD));
    QCOMPARE(head.jsonSize, quint16(7));
}

void tst_Frames::headThatIsWrittenOverOldBytesLeavesNone()
{
    QByteArray bytes(17, '\xff');
    ky::FrameHead head;
    head.number = 0x0102;
    head.dataSize = 0x03040506;
    head.type = 0x0708;
    head.revCommand = 0x090a;
    head.jsonSize = 0x0b0c;

    ky::writeFrameHead(head, bytes.data());

    QCOMPARE(bytes.toHex(), QByteArray("5a010102030405060708090a0b0c0002ff"));
}

void tst_Frames::nextFrameIsFoundByBothBytes_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<bool>("starts");
    QTest::addColumn<int>("next");

    QTest::newRow("frame, nothing behind") << QByteArray("5a01") << true << 2;
    QTest::newRow("lone sync byte") << QByteArray("5a") << false << 1;
    QTest::newRow("wrong version") << QByteArray("5a02") << false << 2;
    QTest::newRow("sync at the very end") << QByteArray("00005a") << false << 3;
    QTest::newRow("frame behind noise") << QByteArray("00ff5a01") << false << 2;
    QTest::newRow("false sync first") << QByteArray("005a5a01") << false << 2;
    QTest::newRow("frame behind a frame") << QByteArray("5a015a01") << true << 2;
    QTest::newRow("version alone") << QByteArray("01") << false << 1;
}

void tst_Frames::nextFrameIsFoundByBothBytes()
{
    QFETCH(QByteArray, hex);
    const QByteArray bytes = QByteArray::fromHex(hex);

    QTEST(ky::startsFrame(bytes.constData(), bytes.size()), "starts");
    QTEST(ky::findNextFrame(bytes.constData(), bytes.size()), "next");
}

void tst_Frames::bufferKeepsWhatWasNotDropped()
{
    ky::StreamBuffer buffer;
    QVERIFY(buffer.append("abcdef"));
    buffer.drop(4);
    QCOMPARE(QByteArray(buffer.data(), buffer.size()), QByteArray("ef"));
    QVERIFY(buffer.append("gh"));
    QCOMPARE(QByteArray(buffer.data(), buffer.size()), QByteArray("efgh"));
    buffer.drop(4);
    QVERIFY(buffer.isEmpty());
    QVERIFY(buffer.append("i"));
    QCOMPARE(QByteArray(buffer.data(), buffer.size()), QByteArray("i"));
}

void tst_Frames::bufferRefusesWhatItCannotHold()
{
    // Never touched: only the size counts.
    const QByteArray huge = QByteArray::fromRawData("", std::numeric_limits<int>::max() - 4096);
    QByteArray buffer = "kept";

    QVERIFY(!ky::appendWithin(buffer, huge));

    QCOMPARE(buffer, QByteArray("kept"));
}

QTEST_GUILESS_MAIN(tst_Frames)
#include "tst_Frames.moc"
