// Requests and arrivals that the process has no memory for. Each concerns its own exchange only.
#include "MemoryLimit.h"
#include "Peer.h"
#include "clients/BlockTcpObject.h"
#include "clients/BlockThreadTcp.h"
#include "clients/KyTcpClient.h"
#include "clients/SCStatusTcp.h"

#include <QtTest>

#include <atomic>
#include <memory>
#include <new>

namespace {

constexpr int kMebibyte = 1024 * 1024;
const QString kLoopback = QStringLiteral("127.0.0.1");

/// So many zero bytes that cost no memory as long as they are not copied.
QByteArray zeros(int mebibytes)
{
    static char bytes[300 * kMebibyte];
    return QByteArray::fromRawData(bytes, mebibytes * kMebibyte);
}

void answerAll(Connection& connection)
{
    for (QByteArray request = connection.readFrame(); !request.isEmpty();
         request = connection.readFrame())
        connection.write(answerTo(request, {}, "data"));
}

class Owner : public QObject
{
    Q_OBJECT

public slots:
    void stateChanged(QAbstractSocket::SocketState) {}
    void receiveTcpError(QAbstractSocket::SocketError) {}
};

} // namespace

class tst_RequestMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }
    void frameThatFitsNoMemoryFailsItsCallOnly();
    void restThatFitsNoMemoryEndsTheConnection();
    void chunkWithoutMemoryEndsTheConnection();
    void arrivalThatFitsNoMemoryEndsTheExchange();
    void statusRequestThatFitsNoMemoryIsNotSent();
    void statusAnswerWithoutMemoryIsToldBehindTheWait();
    void statusAnswerLostBesideTheWriteIsTold();
    void statusRequestThatNobodyReadsNeedsNoRoomForItsReport();
    void relayedRequestThatFitsNoMemoryFails();
    void relayedRequestThatCannotBeToldFails();
};

void tst_RequestMemory::frameThatFitsNoMemoryFailsItsCallOnly()
{
    Peer peer(answerAll);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QVERIFY(client.sendData(2000, "first", 1, {}));
    {
        const MemoryLimit limit(200);

        QVERIFY(!client.sendData(2000, zeros(300), 2, {}));
    }

    QCOMPARE(client.lastError(), QString("request: no memory"));
    QVERIFY(client.receiveMap().isEmpty());
    QVERIFY(client.sendData(2000, "next", 3, {}));
    QCOMPARE(client.receiveData(), QByteArray("data"));
}

void tst_RequestMemory::restThatFitsNoMemoryEndsTheConnection()
{
    std::atomic<bool> isOver{false};
    std::atomic<int> visits{0};
    Peer peer([&](Connection& connection) {
        if (visits++ > 0)
            return answerAll(connection);
        // Reads nothing, so that most of the frame has to wait on the other side.
        while (!isOver && !connection.isStopped())
            connection.pause(5);
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    {
        const MemoryLimit limit(150);

        QVERIFY(!client.sendData(2000, zeros(100), 1, {}));
    }
    isOver = true;

    QCOMPARE(client.lastError(), QString("request: no memory"));
    // On a connection of its own: the peer is not left with half a frame in front of it.
    QVERIFY(client.sendData(2000, "next", 2, {}));
    QCOMPARE(visits.load(), 2);
}

void tst_RequestMemory::chunkWithoutMemoryEndsTheConnection()
{
    Peer peer(answerAll);
    BlockThreadTcp worker;
    worker.setIp(kLoopback);
    worker.setPort(peer.port());
    worker.setPayloadSize(1024);
    QSignalSpy finished(&worker, &BlockThreadTcp::sigFinished);
    // In the place of a chunk that there is no room for.
    const auto refusal =
        connect(&worker, &BlockThreadTcp::sigBytesWritten, this, [] { throw std::bad_alloc(); });

    worker.sendData(2000, QByteArray(5000, 'x'), 1, {});
    QTRY_COMPARE(finished.count(), 1);

    QVERIFY(!worker.getIsOk());
    QCOMPARE(worker.lastError(), QString("request: no memory"));
    QCOMPARE(worker.getTcpSocketState(), QAbstractSocket::UnconnectedState);
    disconnect(refusal);
    // Nothing of the frame is left over.
    worker.setPayloadSize(0);
    worker.sendData(2000, QByteArray("next"), 2, {});
    QTRY_COMPARE(finished.count(), 2);
    QVERIFY2(worker.getIsOk(), qPrintable(worker.lastError()));
    QCOMPARE(worker.receiveData(), QByteArray("data"));
}

void tst_RequestMemory::arrivalThatFitsNoMemoryEndsTheExchange()
{
    std::atomic<bool> isHere{false};
    std::atomic<bool> isTight{false};
    Peer peer([&](Connection& connection) {
        const QByteArray request = connection.readFrame();
        connection.write(rawFrame(15125, 1, 1, 0, "{}"));
        const QByteArray piece(kMebibyte, 'n');
        for (int i = 0; i < 100; ++i)
            connection.write(piece);
        isHere = true;
        while (!isTight && !connection.isStopped())
            connection.pause(5);
        connection.write("n");
        connection.waitForEnd();
    });
    std::unique_ptr<MemoryLimit> limit;
    BlockThreadTcp worker;
    worker.setIp(kLoopback);
    worker.setPort(peer.port());
    QSignalSpy finished(&worker, &BlockThreadTcp::sigFinished);
    // While a listener is busy the bytes behind pile up, and are then taken as one.
    connect(&worker, &BlockThreadTcp::sigShowMessage, this, [&] {
        QTRY_VERIFY_WITH_TIMEOUT(isHere, 20000);
        limit = std::make_unique<MemoryLimit>(50);
        isTight = true;
    });

    worker.sendData(2000, QByteArray("text"), 1, {});
    QTRY_COMPARE(finished.count(), 1);
    limit.reset();

    QVERIFY(!worker.getIsOk());
    const QRegularExpression text("^reply \\[[0-9]{9} bytes and more\\]: no memory$");
    QVERIFY2(text.match(worker.lastError()).hasMatch(), qPrintable(worker.lastError()));
    QCOMPARE(worker.getTcpSocketState(), QAbstractSocket::UnconnectedState);
}

void tst_RequestMemory::statusRequestThatFitsNoMemoryIsNotSent()
{
    Peer peer(answerAll);
    Owner owner;
    SCStatusTcp client(&owner);
    client.setTimeOut(2000);
    QVERIFY(!client.connectHost(kLoopback, peer.port()));
    QVERIFY(client.tcpSocket()->waitForConnected(2000));
    QSignalSpy results(&client, &SCStatusTcp::sigChangedText);
    quint16 number = 1;
    {
        const MemoryLimit limit(200);

        QVERIFY(!client.writeTcpData(2000, "{}", zeros(300), number));
    }

    QCOMPARE(client.lastError(), QString("request [314572818 bytes]: no memory"));
    QVERIFY(client.writeTcpData(2000, {}, "next", ++number));
    QTRY_COMPARE(results.count(), 1);
    QCOMPARE(results.at(0).at(4).toInt(), 2);
}

void tst_RequestMemory::statusAnswerWithoutMemoryIsToldBehindTheWait()
{
    Peer peer(answerAll);
    Owner owner;
    SCStatusTcp client(&owner);
    client.setTimeOut(2000);
    QVERIFY(!client.connectHost(kLoopback, peer.port()));
    QVERIFY(client.tcpSocket()->waitForConnected(2000));
    // In the place of a report that there is no room for.
    const auto refusal =
        connect(&client, &SCStatusTcp::sigPrintInfo, this, [](const QString& text) {
            if (text.contains("[Response]"))
                throw std::bad_alloc();
        });
    quint16 number = 1;

    QVERIFY(!client.writeTcpData(2000, {}, "text", number));

    QCOMPARE(client.lastError(), QString("answer [20 bytes and more]: no memory"));
    disconnect(refusal);
    QVERIFY(!client.connectHost(kLoopback, peer.port()));
    QVERIFY(client.tcpSocket()->waitForConnected(2000));
    QVERIFY(client.writeTcpData(2000, {}, "next", number));
}

void tst_RequestMemory::statusAnswerLostBesideTheWriteIsTold()
{
    Peer peer([](Connection& connection) {
        // Speaks first, and reads nothing, so that the client meets this while it writes.
        connection.write(rawFrame(12000, 1, 2000, 0, "unasked"));
        while (!connection.isStopped())
            connection.pause(5);
    });
    Owner owner;
    SCStatusTcp client(&owner);
    client.setTimeOut(2000);
    QVERIFY(!client.connectHost(kLoopback, peer.port()));
    QVERIFY(client.tcpSocket()->waitForConnected(2000));
    connect(&client, &SCStatusTcp::sigChangedText, this, [] { throw std::bad_alloc(); });
    quint16 number = 1;

    QVERIFY(!client.writeTcpData(2000, {}, zeros(50), number));

    QCOMPARE(client.lastError(), QString("answer [23 bytes and more]: no memory"));
}

void tst_RequestMemory::statusRequestThatNobodyReadsNeedsNoRoomForItsReport()
{
    Peer peer(answerAll);
    Owner owner;
    SCStatusTcp client(&owner);
    QVERIFY(!client.connectHost(kLoopback, peer.port()));
    QVERIFY(client.tcpSocket()->waitForConnected(2000));
    // Twice in memory as bytes, on its way to the socket; the text alone would be as much again.
    const QByteArray data(40 * 1024 * 1024, 'x');
    quint16 number = 1;

    const auto isSent = [&] {
        const MemoryLimit limit(110);
        return client.writeTcpData(2000, {}, data, number);
    };

    QVERIFY(isSent());
    client.tcpSocket()->abort();
    QVERIFY(!client.connectHost(kLoopback, peer.port()));
    QVERIFY(client.tcpSocket()->waitForConnected(2000));
    connect(&client, &SCStatusTcp::sigPrintInfo, this, [] {});
    QVERIFY(!isSent());
}

void tst_RequestMemory::relayedRequestThatFitsNoMemoryFails()
{
    Peer peer(answerAll);
    KyTcpClient client;
    QSignalSpy told(&client, &KyTcpClient::sigSendWebSocketData);
    const QByteArray bytes = zeros(80);
    const QString text = QString::fromRawData(reinterpret_cast<const QChar*>(bytes.constData()),
                                              bytes.size() / int(sizeof(QChar)));
    const QVariantMap map{{"ip", kLoopback},
                          {"port", peer.port()},
                          {"type", 2000},
                          {"number", 1},
                          {"jsonData", QVariantMap{{"a", text}}}};

    const MemoryLimit limit(40);
    QVERIFY(!client.sendData(map));

    QCOMPARE(told.count(), 0);
}

void tst_RequestMemory::relayedRequestThatCannotBeToldFails()
{
    Peer peer(answerAll);
    KyTcpClient client;
    // In the place of what there is no room for.
    connect(&client, &KyTcpClient::sigSendWebSocketData, this, [] { throw std::bad_alloc(); });

    QVERIFY(!client.sendData({{"ip", kLoopback}, {"port", peer.port()}, {"type", 2000}}));
}

QTEST_GUILESS_MAIN(tst_RequestMemory)
#include "tst_RequestMemory.moc"
