#include "clients/BlockTcpObject.h"

#include "Peer.h"
#include "clients/BlockThreadTcp.h"

#include <QtTest>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");

/// Answers every request with its own data area.
void echo(Connection& connection)
{
    for (;;) {
        const QByteArray request = connection.readFrame();
        if (request.isEmpty() || !connection.write(answerTo(request, {}, request.mid(16))))
            return;
    }
}

} // namespace

class tst_BlockTcpObject : public QObject
{
    Q_OBJECT

private slots:
    void exchangeReturnsTheAnswer();
    void refusedPeerGivesTheWorkersWords();
};

void tst_BlockTcpObject::exchangeReturnsTheAnswer()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());

    QVERIFY(client.sendData(5101, QByteArray("data"), 7, QVariant()));

    QCOMPARE(client.receiveData(), QByteArray("data"));
    QCOMPARE(client.receiveMap().value("revCommand").toInt(), 15101);
    QCOMPARE(client.receiveMap().value("sendCommand").toInt(), 5101);
    QCOMPARE(client.receiveMap().value("number").toInt(), 7);
}

void tst_BlockTcpObject::refusedPeerGivesTheWorkersWords()
{
    BlockTcpObject client;
    client.init(kLoopback, refusedPort());

    QVERIFY(!client.sendData(5101, QByteArray(), 7, QVariant()));

    QVERIFY2(client.lastError() == QStringLiteral("socketError:0") ||
                 client.lastError().startsWith("TcpSocket.waitForConnected error:"),
             qPrintable(client.lastError()));
    QCOMPARE(client.receiveMap().value("ret_code").toInt(), 404);
    QCOMPARE(client.receiveMap().value("msg").toString(), QStringLiteral("socketError:0"));
}

QTEST_GUILESS_MAIN(tst_BlockTcpObject)
#include "tst_BlockTcpObject.moc"
