#include "ports/CanFrameMap.h"

#include <QtTest>

using ky::LengthFallback;

class tst_CanFrameMap : public QObject
{
    Q_OBJECT

private slots:
    void choosesLengthCode_data();
    void choosesLengthCode();
    void composesIdentifierWord_data();
    void composesIdentifierWord();
    void laysOutFrameAsTheKernelDoes();
    void refusesWhatNoFrameHolds_data();
    void refusesWhatNoFrameHolds();
    void readsWrongTypesAsNothing();
    void readsFrame_data();
    void readsFrame();
    void neverReadsDataBehindTheFrame();
    void roundTripKeepsEveryByte();
    void judgesReadBySize_data();
    void judgesReadBySize();
};

namespace {

QVariantMap request(const QByteArray& data, const QVariant& dataLength)
{
    return {{"frameId", 0x123}, {"dataLength", dataLength}, {"data", data}};
}

} // namespace

void tst_CanFrameMap::choosesLengthCode_data()
{
    QTest::addColumn<int>("dataLength");
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<int>("fullFrame");
    QTest::addColumn<int>("dataSizeRule");

    QTest::newRow("empty, 0") << 0 << 0 << 8 << 0;
    QTest::newRow("empty, 2") << 2 << 0 << 2 << 2;
    QTest::newRow("empty, 8") << 8 << 0 << 8 << 8;
    QTest::newRow("empty, negative") << -1 << 0 << 8 << 0;
    QTest::newRow("1 byte, 1") << 1 << 1 << 8 << 1;
    QTest::newRow("3 bytes, 3") << 3 << 3 << 8 << 3;
    QTest::newRow("3 bytes, 2") << 2 << 3 << 8 << 3;
    QTest::newRow("7 bytes, 0") << 0 << 7 << 8 << 7;
    QTest::newRow("7 bytes, 8") << 8 << 7 << 8 << 7;
    QTest::newRow("8 bytes, 0") << 0 << 8 << 8 << 8;
    QTest::newRow("8 bytes, 1") << 1 << 8 << 1 << 1;
    QTest::newRow("8 bytes, 2") << 2 << 8 << 2 << 2;
    QTest::newRow("8 bytes, 3") << 3 << 8 << 3 << 3;
    QTest::newRow("8 bytes, 8") << 8 << 8 << 8 << 8;
    QTest::newRow("8 bytes, negative") << -3 << 8 << 8 << 8;
    QTest::newRow("one byte of it counts") << 256 + 3 << 8 << 3 << 3;
}

void tst_CanFrameMap::choosesLengthCode()
{
    QFETCH(int, dataLength);
    QFETCH(int, dataSize);

    QTEST(int(ky::canLengthCode(dataLength, dataSize, LengthFallback::FullFrame)), "fullFrame");
    QTEST(int(ky::canLengthCode(dataLength, dataSize, LengthFallback::DataSize)), "dataSizeRule");
}

void tst_CanFrameMap::composesIdentifierWord_data()
{
    QTest::addColumn<QVariant>("frameId");
    QTest::addColumn<QVariant>("frameType");
    QTest::addColumn<QVariant>("frameFormat");
    QTest::addColumn<quint32>("word");

    QTest::newRow("standard data") << QVariant(0x7FF) << QVariant(0) << QVariant(0) << 0x7FFu;
    QTest::newRow("extended") << QVariant(0x1FFFFFFF) << QVariant(1) << QVariant(0) << 0x9FFFFFFFu;
    QTest::newRow("remote") << QVariant(5) << QVariant(0) << QVariant(1) << 0x40000005u;
    QTest::newRow("extended remote") << QVariant(5) << QVariant(1) << QVariant(1) << 0xC0000005u;
    QTest::newRow("only 1 is extended") << QVariant(5) << QVariant(2) << QVariant(-1) << 5u;
    QTest::newRow("above 11 bits, standard")
        << QVariant(0x800) << QVariant(0) << QVariant(0) << 0x800u;
    QTest::newRow("bit 29 passes")
        << QVariant(0x20000001) << QVariant(0) << QVariant(0) << 0x20000001u;
    QTest::newRow("bit 30 is the kind's")
        << QVariant(0x60000001) << QVariant(0) << QVariant(0) << 0x20000001u;
    QTest::newRow("bit 31 is the kind's")
        << QVariant(int(0x80000001)) << QVariant(0) << QVariant(0) << 1u;
    QTest::newRow("all bits, as JSON has it")
        << QVariant(4294967295.0) << QVariant(0.0) << QVariant(0.0) << 0x3FFFFFFFu;
    QTest::newRow("negative") << QVariant(-1) << QVariant(1) << QVariant(1) << 0xFFFFFFFFu;
    QTest::newRow("text") << QVariant("291") << QVariant("1") << QVariant("0") << 0x80000123u;
    QTest::newRow("no number") << QVariant("x") << QVariant() << QVariant(QVariantMap()) << 0u;
}

void tst_CanFrameMap::composesIdentifierWord()
{
    QFETCH(QVariant, frameId);
    QFETCH(QVariant, frameType);
    QFETCH(QVariant, frameFormat);
    QString error;

    const auto frame = ky::buildCanFrame(
        {{"frameId", frameId}, {"frameType", frameType}, {"frameFormat", frameFormat}},
        LengthFallback::DataSize, &error);

    QVERIFY(frame);
    QTEST(frame->can_id, "word");
}

void tst_CanFrameMap::laysOutFrameAsTheKernelDoes()
{
    QVariantMap map = request("\x11\x22\x33", 3);
    map["frameType"] = 1;
    QString error;

    const auto frame = ky::buildCanFrame(map, LengthFallback::DataSize, &error);

    QVERIFY(frame);
    const QByteArray bytes(reinterpret_cast<const char*>(&*frame), ky::kCanFrameSize);
    QCOMPARE(bytes.toHex(), QByteArray("23010080" // identifier and flags, little-endian
                                       "03000000"
                                       "1122330000000000"));
}

void tst_CanFrameMap::refusesWhatNoFrameHolds_data()
{
    QTest::addColumn<int>("dataSize");
    QTest::addColumn<int>("dataLength");
    QTest::addColumn<QString>("error");

    QTest::newRow("8 bytes fit") << 8 << 8 << "";
    QTest::newRow("9 bytes") << 9 << 8 << "CAN data [9 bytes]: a frame holds at most 8";
    QTest::newRow("16 bytes") << 16 << 0 << "CAN data [16 bytes]: a frame holds at most 8";
    QTest::newRow("a million bytes")
        << 1000000 << 1000000 << "CAN data [1000000 bytes]: a frame holds at most 8";
    QTest::newRow("length code 9") << 8 << 9 << "CAN length code [9]: a frame holds at most 8";
    QTest::newRow("length code 9, no data")
        << 0 << 9 << "CAN length code [9]: a frame holds at most 8";
    QTest::newRow("length code 255")
        << 8 << 255 << "CAN length code [255]: a frame holds at most 8";
}

void tst_CanFrameMap::refusesWhatNoFrameHolds()
{
    QFETCH(int, dataSize);
    QFETCH(int, dataLength);
    QFETCH(QString, error);
    const QVariantMap map = request(QByteArray(dataSize, 'x'), dataLength);

    for (const auto fallback : {LengthFallback::FullFrame, LengthFallback::DataSize}) {
        QString text;
        QCOMPARE(ky::buildCanFrame(map, fallback, &text).has_value(), error.isEmpty());
        QCOMPARE(text, error);
    }
}

void tst_CanFrameMap::readsWrongTypesAsNothing()
{
    const QVariantMap map{{"frameId", QVariantList{1}},
                          {"frameType", QVariantMap{{"a", 1}}},
                          {"dataLength", "many"},
                          {"data", QVariantList{1, 2, 3}}};
    QString error;

    const auto frame = ky::buildCanFrame(map, LengthFallback::DataSize, &error);

    QVERIFY(frame);
    QCOMPARE(QByteArray(reinterpret_cast<const char*>(&*frame), 16), QByteArray(16, '\0'));
}

void tst_CanFrameMap::readsFrame_data()
{
    QTest::addColumn<quint32>("word");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("format");
    QTest::addColumn<int>("id");

    QTest::newRow("standard") << 0x7FFu << 0 << 0 << 0x7FF;
    QTest::newRow("extended") << 0x9ABCDEF0u << 1 << 0 << 0x1ABCDEF0;
    QTest::newRow("remote") << 0x40000001u << 0 << 1 << 1;
    QTest::newRow("error frame flag is no part of the identifier") << 0x20000004u << 0 << 0 << 4;
    QTest::newRow("all bits") << 0xFFFFFFFFu << 1 << 1 << 0x1FFFFFFF;
}

void tst_CanFrameMap::readsFrame()
{
    QFETCH(quint32, word);
    can_frame frame = {};
    frame.can_id = word;
    frame.can_dlc = 2;
    frame.data[0] = 0xFE;

    const QVariantMap map = ky::canFrameMap(frame);

    QCOMPARE(map.keys(),
             QStringList({"data", "dataLength", "frameFormat", "frameId", "frameType"}));
    QTEST(map["frameType"].toInt(), "type");
    QTEST(map["frameFormat"].toInt(), "format");
    QTEST(map["frameId"].toInt(), "id");
    QCOMPARE(map["frameId"].type(), QVariant::Int);
    QCOMPARE(map["dataLength"], QVariant(2));
    QCOMPARE(map["data"], QVariant(QByteArray("\xFE\0", 2)));
}

void tst_CanFrameMap::neverReadsDataBehindTheFrame()
{
    can_frame frame = {};
    memset(frame.data, 'd', sizeof frame.data);
    for (const int code : {9, 15, 255}) {
        frame.can_dlc = quint8(code);

        const QVariantMap map = ky::canFrameMap(frame);

        QCOMPARE(map["dataLength"].toInt(), code);
        QCOMPARE(map["data"].toByteArray(), QByteArray(8, 'd'));
    }
}

void tst_CanFrameMap::roundTripKeepsEveryByte()
{
    for (int start = 0; start < 256; start += 8) {
        QByteArray data;
        for (int i = 0; i < 8; ++i)
            data += char(start + i);
        QString error;

        const auto frame = ky::buildCanFrame(request(data, 8), LengthFallback::DataSize, &error);

        QCOMPARE(ky::canFrameMap(*frame)["data"].toByteArray(), data);
    }
}

void tst_CanFrameMap::judgesReadBySize_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("verdict");

    QTest::newRow("failed") << qint64(-1) << int(ky::CanRead::Failed);
    QTest::newRow("end") << qint64(0) << int(ky::CanRead::Incomplete);
    QTest::newRow("15") << qint64(15) << int(ky::CanRead::Incomplete);
    QTest::newRow("16") << qint64(16) << int(ky::CanRead::Frame);
    QTest::newRow("17") << qint64(17) << int(ky::CanRead::Frame);
}

void tst_CanFrameMap::judgesReadBySize()
{
    QFETCH(qint64, size);
    QTEST(int(ky::judgeCanRead(size)), "verdict");
}

QTEST_GUILESS_MAIN(tst_CanFrameMap)
#include "tst_CanFrameMap.moc"
