#include "service/FrameWriter.h"
#include "service/TcpSocket.h"

#include <QtTest>

class tst_FrameWriter : public QObject
{
    Q_OBJECT

private slots:
    void newHeaderStartsWithSyncAndVersion();
    void writesHeaderFields_data();
    void writesHeaderFields();
    void bodyIsJsonThenData();
    void jsonSizeKeepsLow16Bits();
    void accessorsSwapBytes();
};

void tst_FrameWriter::newHeaderStartsWithSyncAndVersion()
{
    const VantHeader header;

    const QByteArray bytes(reinterpret_cast<const char*>(&header), 16);

    QCOMPARE(bytes.toHex(), QByteArray("5a010000000000000000000000000000"));
}

void tst_FrameWriter::writesHeaderFields_data()
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

void tst_FrameWriter::writesHeaderFields()
{
    QFETCH(int, type);
    QFETCH(int, number);
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, data);

    const QByteArray frame = ky::buildFrame(quint16(type), quint16(number), json, data);

    QTEST(frame.left(16).toHex(), "head");
    QCOMPARE(frame.size(), 16 + json.size() + data.size());
}

void tst_FrameWriter::bodyIsJsonThenData()
{
    const QByteArray frame = ky::buildFrame(2000, 1, "[1]", QByteArray("\0\1", 2));

    QCOMPARE(frame.mid(16), QByteArray("[1]\0\1", 5));
}

void tst_FrameWriter::jsonSizeKeepsLow16Bits()
{
    const QByteArray frame = ky::buildFrame(2000, 1, QByteArray(65537, ' '), "d");

    QCOMPARE(frame.mid(4, 4).toHex(), QByteArray("00010002"));
    QCOMPARE(frame.mid(12, 2).toHex(), QByteArray("0001"));
}

void tst_FrameWriter::accessorsSwapBytes()
{
    VantHeader header;
    const QByteArray frame = ky::buildFrame(12345, 1, "{}", {});
    memcpy(&header, frame.constData(), sizeof header);

    QCOMPARE(TcpSocket::getJsonSize(&header), quint16(2));
    QCOMPARE(TcpSocket::getRevCommand(&header), quint16(2345));
}

QTEST_GUILESS_MAIN(tst_FrameWriter)
#include "tst_FrameWriter.moc"
