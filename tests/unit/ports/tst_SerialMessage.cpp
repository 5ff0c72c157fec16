#include "ports/SerialMessage.h"

#include "LogCapture.h"
#include "ports/SystemSerialPort.h"

#include <QtTest>

using ky::MessageVerdict;

class tst_SerialMessage : public QObject
{
    Q_OBJECT

private slots:
    void composesMessage_data();
    void composesMessage();
    void judgesMessage_data();
    void judgesMessage();
    void everyCutIsABadFrame();
    void acceptsOnlyOwnMessagesWithChecksumZero();
    void reportsInTheLogOnly_data();
    void reportsInTheLogOnly();
    void showsBytesAsHexPairs_data();
    void showsBytesAsHexPairs();
};

void tst_SerialMessage::composesMessage_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QByteArray>("hex");

    QTest::newRow("zero") << 0 << QByteArray("aabb000065cc");
    QTest::newRow("155 has checksum 0") << 155 << QByteArray("aabb009b00cc");
    QTest::newRow("negative is two's complement") << -1 << QByteArray("aabbffff63cc");
    QTest::newRow("largest") << 32767 << QByteArray("aabb7fffe3cc");
    QTest::newRow("smallest") << -32768 << QByteArray("aabb8000e5cc");
}

void tst_SerialMessage::composesMessage()
{
    QFETCH(int, value);
    SystemSerialPort port;

    QTEST(port.createMessage(short(value)).toHex(), "hex");
}

void tst_SerialMessage::judgesMessage_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("verdict");

    const auto row = [](const char* name, const char* hex, MessageVerdict verdict) {
        QTest::newRow(name) << QByteArray(hex) << int(verdict);
    };
    row("own message of 0", "aabb000065cc", MessageVerdict::BadChecksum);
    row("own message of 155", "aabb009b00cc", MessageVerdict::Good);
    row("wrong byte 0", "ab bb009b00cc", MessageVerdict::BadFrame);
    row("wrong byte 1", "aabc009b00cc", MessageVerdict::BadFrame);
    row("wrong last byte", "aabb009b00cd", MessageVerdict::BadFrame);
    row("any checksum while the first four add up to 0", "aabb009b01cc", MessageVerdict::Good);
    row("0 with the right sum over four bytes", "aabb000065cc", MessageVerdict::BadChecksum);
    row("wrong value", "aabb009c00cc", MessageVerdict::BadChecksum);
    row("byte 5 is read, the sum goes to the end", "aabb009b00cc00", MessageVerdict::BadChecksum);
    row("longer, and the sum fits", "aabb009b00cc3400", MessageVerdict::Good);
    row("empty", "", MessageVerdict::BadFrame);
}

void tst_SerialMessage::judgesMessage()
{
    QFETCH(QByteArray, hex);
    QTEST(int(ky::readSerialMessage(QByteArray::fromHex(hex)).verdict), "verdict");
}

void tst_SerialMessage::everyCutIsABadFrame()
{
    const QByteArray whole = QByteArray::fromHex("aabb009b00cc");
    for (int size = 0; size < whole.size(); ++size)
        QCOMPARE(ky::readSerialMessage(whole.left(size)).verdict, MessageVerdict::BadFrame);
}

void tst_SerialMessage::acceptsOnlyOwnMessagesWithChecksumZero()
{
    for (int value = -32768; value <= 32767; ++value) {
        const ky::SerialMessage read =
            ky::readSerialMessage(ky::composeSerialMessage(qint16(value)));
        const int bytes = (value >> 8 & 0xFF) + (value & 0xFF);
        const bool isGood = (bytes & 0xFF) == 0x9B;
        QCOMPARE(read.verdict, isGood ? MessageVerdict::Good : MessageVerdict::BadChecksum);
        QCOMPARE(int(read.value), value);
    }
}

void tst_SerialMessage::reportsInTheLogOnly_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<QString>("line");

    QTest::newRow("short") << QByteArray("aabb") << "[debug][parseMessage]Invalid header or footer";
    QTest::newRow("0") << QByteArray("aabb000065cc") << "[debug][parseMessage]Invalid checksum";
    QTest::newRow("155") << QByteArray("aabb009b00cc") << "[debug][parseMessage]Temperature: 155";
}

void tst_SerialMessage::reportsInTheLogOnly()
{
    QFETCH(QByteArray, hex);
    QFETCH(QString, line);
    SystemSerialPort port;
    LogCapture log("ky.ports");

    port.parseMessage(QByteArray::fromHex(hex));

    QCOMPARE(log.lines(), QStringList(line));
    QCOMPARE(port.getLastError(), QString());
}

void tst_SerialMessage::showsBytesAsHexPairs_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("two") << QByteArray("\xAA\xBB") << QByteArray("AA BB ");
    QTest::newRow("low and zero") << QByteArray("\x0F\0", 2) << QByteArray("0F 00 ");
    QTest::newRow("none") << QByteArray() << QByteArray();
}

void tst_SerialMessage::showsBytesAsHexPairs()
{
    QFETCH(QByteArray, bytes);
    SystemSerialPort port;

    QTEST(port.serialPortDebugging(bytes), "text");
}

QTEST_GUILESS_MAIN(tst_SerialMessage)
#include "tst_SerialMessage.moc"
