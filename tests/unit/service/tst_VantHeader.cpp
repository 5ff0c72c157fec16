#include "service/TcpSocket.h"
#include "service/VantHeader.h"
#include "wire/FrameWriter.h"

#include <QtTest>

class tst_VantHeader : public QObject
{
    Q_OBJECT

private slots:
    void newHeaderStartsWithSyncAndVersion();
    void accessorsSwapBytes();
};

void tst_VantHeader::newHeaderStartsWithSyncAndVersion()
{
    const VantHeader header;

    const QByteArray bytes(reinterpret_cast<const char*>(&header), 16);

    QCOMPARE(bytes.toHex(), QByteArray("5a010000000000000000000000000000"));
}

void tst_VantHeader::accessorsSwapBytes()
{
    VantHeader header;
    const QByteArray frame = ky::buildFrame(12345, 1, "{}", {});
    memcpy(&header, frame.constData(), sizeof header);

    QCOMPARE(TcpSocket::getJsonSize(&header), quint16(2));
    QCOMPARE(TcpSocket::getRevCommand(&header), quint16(2345));
}

QTEST_GUILESS_MAIN(tst_VantHeader)
#include "tst_VantHeader.moc"
