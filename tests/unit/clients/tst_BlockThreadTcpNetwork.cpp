// The worker of the blocking client against real peers: connecting, failing, writing in chunks.
#include "clients/BlockThreadTcp.h"

#include "LogCapture.h"
#include "Peer.h"
#include "host/SqliteClass.h"

#include <QNetworkProxy>
#include <QTcpServer>
#include <QtTest>

#include <memory>
#include <mutex>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");

struct Client
{
    explicit Client(quint16 port)
    {
        worker.setIp(kLoopback);
        worker.setPort(port);
    }
    bool waitForEnd(int limitMs = 5000) { return !finished.isEmpty() || finished.wait(limitMs); }

    BlockThreadTcp worker;
    QSignalSpy finished{&worker, &BlockThreadTcp::sigFinished};
    QSignalSpy disconnected{&worker, &BlockThreadTcp::sigDisconnected};
    QSignalSpy written{&worker, &BlockThreadTcp::sigBytesWritten};
};

void echo(Connection& connection)
{
    for (;;) {
        const QByteArray request = connection.readFrame();
        if (request.isEmpty() || !connection.write(answerTo(request, {}, request.mid(16))))
            return;
    }
}

/// Answers each request with bytes made from it.
Peer::Script answering(std::function<QByteArray(const QByteArray&)> make)
{
    return [make = std::move(make)](Connection& connection) {
        const QByteArray request = connection.readFrame();
        if (!request.isEmpty() && connection.write(make(request)))
            connection.waitForEnd();
    };
}

QList<QPair<qint64, qint64>> progress(const QSignalSpy& spy)
{
    QList<QPair<qint64, qint64>> list;
    for (const QList<QVariant>& call : spy)
        list += qMakePair(call.at(0).toLongLong(), call.at(1).toLongLong());
    return list;
}

using Steps = QList<QPair<qint64, qint64>>;

} // namespace

class tst_BlockThreadTcpNetwork : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void connectionIsKeptBetweenExchanges();
    void sameAddressIsOnlyLogged();
    void otherAddressIsANewConnection();
    void debugTextNamesTheConnection();
    void disconnectAbortsAndForgets();
    void jsonAreaIsGoneWithTheNextExchange();

    void refusedConnectionIsToldTwice();
    void peerThatClosesWithoutAnAnswer();
    void peerThatClosesBehindItsAnswer();
    void peerThatResets();
    void unknownNameEndsTheExchange();
    void noiseInFrontOfTheAnswer();
    void noiseAlone();
    void halfAFrameThenSilence();
    void halfAFrameThenTheEnd();
    void wrongNumberDoesNotEnd();
    void wrongCommandDoesNotEnd();
    void errorReplyIsAGoodEnd();
    void answerInSingleBytesBehindTheSync();

    void wholeFrameIsWrittenAtOnce_data();
    void wholeFrameIsWrittenAtOnce();
    void longFrameTellsItsSizeEachTime();
    void chunkedFrameArrives_data();
    void chunkedFrameArrives();
    void chunksOfAThousand();
    void chunkLargerThanTheFrame();
    void nothingWrittenYetIsNoCrash();
    void unreachablePeerIsToldTwice();
    void connectComesBeforeTheFrame();
    void callClearsTheStop();
    void samePortAtAnotherAddressIsANewConnection();
    void replyLogNamesTheConnectionOfItsTime();
    void debugTextTellsTheLastError();
    void applicationProxyIsUsed();
    void progressOfTheNextUploadStartsAnew();
    void disconnectLeavesWhatWasToBeWritten();
    void destructionTellsNothing();
};

void tst_BlockThreadTcpNetwork::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*.info=false"));
}

void tst_BlockThreadTcpNetwork::connectionIsKeptBetweenExchanges()
{
    Peer peer(echo);
    Client client(peer.port());

    for (int number = 1; number <= 3; ++number) {
        client.finished.clear();
        client.worker.sendData(2000, QByteArray("data"), number, QVariant());
        QVERIFY(client.waitForEnd());
        QVERIFY(client.worker.getIsOk());
        QCOMPARE(client.worker.receiveMap().value("number").toInt(), number);
    }

    QCOMPARE(peer.connections(), 1);
    QCOMPARE(client.worker.getTcpSocketState(), QAbstractSocket::ConnectedState);
}

void tst_BlockThreadTcpNetwork::sameAddressIsOnlyLogged()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.connectSocket(kLoopback, peer.port());
    LogCapture log;

    client.worker.connectSocket(kLoopback, peer.port());

    QCOMPARE(log.lines(),
             QStringList(QStringLiteral("[debug][connectSocket]IP: 127.0.0.1 port: %1 peer: "
                                        "127.0.0.1 %1")
                             .arg(peer.port())));
    QCOMPARE(client.disconnected.count(), 0);
    QTRY_COMPARE(peer.connections(), 1);
}

void tst_BlockThreadTcpNetwork::otherAddressIsANewConnection()
{
    Peer first(echo);
    Peer second(echo);
    Client client(first.port());
    client.worker.connectSocket(kLoopback, first.port());
    client.worker.resolveTcpReadData(answerTo(rawFrame(2000, 1, 0, 0, {}), {}, "xyz").left(18));

    client.worker.connectSocket(kLoopback, second.port());

    QCOMPARE(client.disconnected.count(), 1);
    QCOMPARE(client.worker.getPort(), second.port());
    // The half frame of the first peer is gone: an answer of the second one is understood.
    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());
    QVERIFY(client.waitForEnd());
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
    QCOMPARE(second.connections(), 1);
}

void tst_BlockThreadTcpNetwork::debugTextNamesTheConnection()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.connectSocket(kLoopback, peer.port());

    const QString text = client.worker.getTcpSocketDebug();

    const QRegularExpression form(
        QStringLiteral(R"(^\[Local:127\.0\.0\.1:\d+\]\[Server:127\.0\.0\.1:%1\]\[Tcp:none\]$)")
            .arg(peer.port()));
    QVERIFY2(form.match(text).hasMatch(), qPrintable(text));
}

void tst_BlockThreadTcpNetwork::disconnectAbortsAndForgets()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.disconnectSocket();
    client.worker.connectSocket(kLoopback, peer.port());
    client.worker.resolveTcpReadData(rawFrame(12000, 1, 2000, 0, "xyz").left(18));

    client.worker.disconnectSocket();

    QCOMPARE(client.disconnected.count(), 1);
    QCOMPARE(client.worker.getTcpSocketState(), QAbstractSocket::UnconnectedState);
    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());
    QVERIFY(client.waitForEnd());
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
}

void tst_BlockThreadTcpNetwork::jsonAreaIsGoneWithTheNextExchange()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.setReceiveJsonVar(1);

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QVERIFY(!client.worker.receiveJsonVar().isValid());
    QVERIFY(client.waitForEnd());
}

void tst_BlockThreadTcpNetwork::refusedConnectionIsToldTwice()
{
    Client client(refusedPort());

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QCOMPARE(client.finished.count(), 2);
    QVERIFY(!client.worker.getIsOk());
    QCOMPARE(client.worker.lastError(),
             QStringLiteral("TcpSocket.waitForConnected error:Connection refused"));
    QCOMPARE(client.worker.receiveMap(),
             QVariantMap({{"ret_code", 404}, {"msg", "socketError:0"}}));
}

void tst_BlockThreadTcpNetwork::peerThatClosesWithoutAnAnswer()
{
    Peer peer([](Connection& connection) { connection.readFrame(); });
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QVERIFY(client.waitForEnd());
    QCOMPARE(client.finished.count(), 1);
    QVERIFY(!client.worker.getIsOk());
    QCOMPARE(client.worker.lastError(), QStringLiteral("socketError:1"));
    QCOMPARE(client.worker.receiveMap().value("ret_code").toInt(), 404);
    QCOMPARE(client.worker.receiveMap().value("msg").toString(), QStringLiteral("socketError:1"));
    QTRY_COMPARE(client.disconnected.count(), 1);
}

void tst_BlockThreadTcpNetwork::peerThatClosesBehindItsAnswer()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, "data"));
    });
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    // Once for the answer and once for the end, which makes the good outcome a bad one.
    QTRY_COMPARE(client.finished.count(), 2);
    QVERIFY(!client.worker.getIsOk());
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
    QCOMPARE(client.worker.receiveMap().value("revCommand").toInt(), 12000);
    QCOMPARE(client.worker.receiveMap().value("ret_code").toInt(), 404);
}

void tst_BlockThreadTcpNetwork::peerThatResets()
{
    Peer peer([](Connection& connection) {
        connection.readFrame();
        connection.reset();
    });
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QVERIFY(client.waitForEnd());
    QVERIFY(!client.worker.getIsOk());
    QVERIFY(client.worker.lastError().startsWith("socketError:"));
    QCOMPARE(client.worker.receiveMap().value("msg").toString(), client.worker.lastError());
}

void tst_BlockThreadTcpNetwork::unknownNameEndsTheExchange()
{
    Peer peer(echo);
    Client client(peer.port());

    client.worker.sendData("no such command", QByteArray("data"), 1, QVariant());

    QCOMPARE(client.finished.count(), 1);
    QVERIFY(!client.worker.getIsOk());
    QCOMPARE(client.worker.lastError(), SqliteClass::init()->getLastError());
    QVERIFY(client.worker.receiveMap().isEmpty());
}

void tst_BlockThreadTcpNetwork::noiseInFrontOfTheAnswer()
{
    Peer peer(answering(
        [](const QByteArray& request) { return "noise" + answerTo(request, {}, "data"); }));
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QVERIFY(client.waitForEnd());
    QVERIFY(client.worker.getIsOk());
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
    QCOMPARE(client.worker.lastError(), QStringLiteral("Network packet loss:e"));
}

void tst_BlockThreadTcpNetwork::noiseAlone()
{
    Peer peer(answering([](const QByteArray&) { return QByteArray("noise!"); }));
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QTRY_COMPARE(client.worker.lastError(), QStringLiteral("Network packet loss:!"));
    QCOMPARE(client.finished.count(), 0);
    QVERIFY(client.worker.getIsOk());
    QVERIFY(client.worker.receiveMap().isEmpty());
}

void tst_BlockThreadTcpNetwork::halfAFrameThenSilence()
{
    Peer peer(answering([](const QByteArray& request) {
        return answerTo(request, {}, QByteArray(100, 'x')).left(16 + 50);
    }));
    Client client(peer.port());
    QSignalSpy read(&client.worker, &BlockThreadTcp::sigProgressValue);

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QVERIFY(read.wait(5000));
    QCOMPARE(read.at(0).at(0).toInt(), 50);
    QVERIFY(!client.finished.wait(100));
    QVERIFY(client.worker.receiveMap().isEmpty());
}

void tst_BlockThreadTcpNetwork::halfAFrameThenTheEnd()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, QByteArray(100, 'x')).left(66));
    });
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());
    QVERIFY(client.waitForEnd());
    QCOMPARE(client.worker.lastError(), QStringLiteral("socketError:1"));

    // The half frame has been forgotten: it would swallow the start of this answer.
    client.worker.getSendData2({}, {}, 2000, 1);
    client.worker.resolveTcpReadData(rawFrame(12000, 1, 2000, 0, "data"));
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
}

void tst_BlockThreadTcpNetwork::wrongNumberDoesNotEnd()
{
    Peer peer(answering([](const QByteArray& request) {
        return rawFrame(12000, quint16(numberOf(request) + 1), 2000, 0, "other");
    }));
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QTRY_COMPARE(client.worker.receiveData(), QByteArray("other"));
    QCOMPARE(client.finished.count(), 0);
}

void tst_BlockThreadTcpNetwork::wrongCommandDoesNotEnd()
{
    Peer peer(answering([](const QByteArray& request) {
        return rawFrame(12001, numberOf(request), 2001, 0, "other");
    }));
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QTRY_COMPARE(client.worker.receiveData(), QByteArray("other"));
    QCOMPARE(client.finished.count(), 0);
}

void tst_BlockThreadTcpNetwork::errorReplyIsAGoodEnd()
{
    Peer peer(answering([](const QByteArray& request) {
        return answerTo(request, {}, R"({"ret_code":40013,"err_msg":"no"})");
    }));
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QVERIFY(client.waitForEnd());
    QVERIFY(client.worker.getIsOk());
    QCOMPARE(client.worker.receiveMap().value("err_msg"), QVariant("[40013] no"));
    QCOMPARE(client.worker.receiveMap().value("ret_code").toInt(), 40013);
}

void tst_BlockThreadTcpNetwork::answerInSingleBytesBehindTheSync()
{
    Peer peer([](Connection& connection) {
        const QByteArray frame = answerTo(connection.readFrame(), "{\"a\":1}", "data");
        connection.write(frame.left(2));
        for (int i = 2; i < frame.size(); ++i)
            connection.write(frame.mid(i, 1));
        connection.waitForEnd();
    });
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(), 1, QVariant());

    QVERIFY(client.waitForEnd());
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
    QCOMPARE(client.worker.receiveJsonVar(), QVariant(QVariantMap{{"a", 1}}));
}

void tst_BlockThreadTcpNetwork::wholeFrameIsWrittenAtOnce_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("total");

    QTest::newRow("header alone") << 0 << 16;
    QTest::newRow("one byte less than a hundred") << 83 << 99;
    QTest::newRow("a hundred") << 84 << 100;
    QTest::newRow("one byte more") << 85 << 101;
    QTest::newRow("a few packets") << 9984 << 10000;
}

void tst_BlockThreadTcpNetwork::wholeFrameIsWrittenAtOnce()
{
    QFETCH(int, size);
    QFETCH(int, total);
    Peer peer(echo);
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(size, 'x'), 1, QVariant());

    QCOMPARE(progress(client.written), Steps({{total, total}, {100, 100}}));
    QVERIFY(client.waitForEnd());
}

void tst_BlockThreadTcpNetwork::longFrameTellsItsSizeEachTime()
{
    constexpr qint64 kTotal = 20000016;
    Peer peer(answering([](const QByteArray& request) { return answerTo(request, {}, {}); }));
    Client client(peer.port());

    client.worker.sendData(2000, QByteArray(20000000, 'x'), 1, QVariant());
    QVERIFY(client.waitForEnd(20000));

    // More than the kernel takes at once: the socket tells of each part.
    const Steps steps = progress(client.written);
    QVERIFY(steps.size() > 2 && steps.size() % 2 == 0);
    for (int i = 0; i < steps.size(); i += 2)
        QCOMPARE(steps.mid(i, 2), Steps({{kTotal, kTotal}, {100, 100}}));
}

void tst_BlockThreadTcpNetwork::chunkedFrameArrives_data()
{
    QTest::addColumn<int>("payload");
    QTest::addColumn<int>("size");

    QTest::newRow("single bytes") << 1 << 500;
    QTest::newRow("a thousand") << 1000 << 200000;
    QTest::newRow("one byte less than the frame") << 1015 << 1000;
    QTest::newRow("the frame") << 1016 << 1000;
    QTest::newRow("more than the frame") << 5000 << 1000;
    QTest::newRow("more than a kernel buffer") << 65536 << 20000000;
    QTest::newRow("at once, small") << 0 << 1000;
    QTest::newRow("at once, more than a kernel buffer") << 0 << 20000000;
}

void tst_BlockThreadTcpNetwork::chunkedFrameArrives()
{
    QFETCH(int, payload);
    QFETCH(int, size);
    QByteArray received;
    Peer peer([&received](Connection& connection) {
        const QByteArray request = connection.readFrame();
        received = request.mid(16);
        connection.write(answerTo(request, {}, {}));
        connection.waitForEnd();
    });
    Client client(peer.port());
    client.worker.setPayloadSize(quint64(payload));
    QByteArray data(size, 'x');
    for (int i = 0; i < size; i += 97)
        data[i] = char(i);

    client.worker.sendData(2000, data, 1, QVariant());

    QVERIFY(client.waitForEnd(20000));
    QVERIFY(client.worker.getIsOk());
    QVERIFY(received == data);
    QCOMPARE(progress(client.written).last(), qMakePair(qint64(100), qint64(100)));
}

void tst_BlockThreadTcpNetwork::chunksOfAThousand()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.setPayloadSize(1000);

    client.worker.sendData(2000, QByteArray(2484, 'x'), 1, QVariant());

    QVERIFY(client.waitForEnd());
    // Sent and total, then the quotient the wrong way round, whose later and smaller value is
    // swallowed; 100 both when the last chunk is handed over and when it has gone.
    QCOMPARE(progress(client.written),
             Steps({{1000, 2500}, {248, 100}, {2000, 2500}, {100, 100}, {2500, 2500}, {100, 100}}));
}

void tst_BlockThreadTcpNetwork::chunkLargerThanTheFrame()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.setPayloadSize(std::numeric_limits<quint64>::max());

    client.worker.sendData(2000, QByteArray(84, 'x'), 1, QVariant());

    QVERIFY(client.waitForEnd());
    QCOMPARE(progress(client.written), Steps({{100, 100}, {100, 100}}));
}

void tst_BlockThreadTcpNetwork::nothingWrittenYetIsNoCrash()
{
    BlockThreadTcp worker;
    QSignalSpy written(&worker, &BlockThreadTcp::sigBytesWritten);

    worker.slotBytesWritten(0);

    QCOMPARE(progress(written), Steps({{0, 0}, {100, 100}}));
}

void tst_BlockThreadTcpNetwork::unreachablePeerIsToldTwice()
{
    Client client(19208);
    // No route leads there with this kind of connection, whatever the machine's network.
    client.worker.setIp(QStringLiteral("255.255.255.255"));

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QCOMPARE(client.finished.count(), 2);
    QVERIFY(!client.worker.getIsOk());
    QVERIFY2(client.worker.lastError().startsWith("TcpSocket.waitForConnected error:"),
             qPrintable(client.worker.lastError()));
    QCOMPARE(client.worker.receiveMap().value("ret_code").toInt(), 404);
    QVERIFY(client.worker.receiveMap().value("msg").toString().startsWith("socketError:"));
}

void tst_BlockThreadTcpNetwork::connectComesBeforeTheFrame()
{
    Client refused(refusedPort());
    refused.worker.sendData(QStringLiteral("no such name"), {}, 1, {});
    QVERIFY(refused.worker.lastError().startsWith("TcpSocket.waitForConnected error:"));

    Peer peer(echo);
    Client client(peer.port());
    client.worker.sendData(QStringLiteral("no such name"), {}, 1, {});
    QVERIFY(!client.worker.getIsOk());
    QTRY_COMPARE(peer.connections(), 1);
    QCOMPARE(client.worker.getTcpSocketState(), QAbstractSocket::ConnectedState);
}

void tst_BlockThreadTcpNetwork::callClearsTheStop()
{
    Peer peer(echo);
    Client client(peer.port());
    client.worker.setNeedStop(true);

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QVERIFY(!client.worker.isNeedStop());
    QVERIFY(client.waitForEnd());
    QCOMPARE(client.worker.receiveData(), QByteArray("data"));
}

void tst_BlockThreadTcpNetwork::samePortAtAnotherAddressIsANewConnection()
{
    QTcpServer first;
    QVERIFY(first.listen(QHostAddress(kLoopback)));
    QTcpServer second;
    const QString other = QStringLiteral("127.0.0.2");
    QVERIFY(second.listen(QHostAddress(other), first.serverPort()));
    Client client(first.serverPort());
    client.worker.connectSocket(kLoopback, first.serverPort());

    client.worker.connectSocket(other, first.serverPort());

    QCOMPARE(client.disconnected.count(), 1);
    QCOMPARE(client.worker.getIp(), other);
    QVERIFY(second.waitForNewConnection(2000));
    client.worker.connectSocket(other, first.serverPort());
    QCOMPARE(client.disconnected.count(), 1);
}

void tst_BlockThreadTcpNetwork::replyLogNamesTheConnectionOfItsTime()
{
    Peer peer(echo);
    Client client(peer.port());
    QLoggingCategory::setFilterRules(QString());
    QStringList seen;
    for (int number = 1; number <= 2; ++number) {
        LogCapture log;
        client.finished.clear();
        client.worker.sendData(2000, QByteArray("data"), number, QVariant());
        const QString connection = client.worker.getTcpSocketDebug();
        QVERIFY(client.waitForEnd());
        const QStringList lines = log.with(" Rev Server:Send:");
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith("[info][resolveTcpReadData][]" + connection + " Rev "),
                 qPrintable(lines.first()));
        seen += connection;
        client.worker.disconnectSocket();
    }
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*.info=false"));
    QVERIFY(seen.at(0) != seen.at(1));
}

void tst_BlockThreadTcpNetwork::debugTextTellsTheLastError()
{
    const quint16 port = refusedPort();
    Client client(port);

    client.worker.connectSocket(kLoopback, port);

    QVERIFY2(client.worker.getTcpSocketDebug().endsWith("[Tcp:Connection refused]"),
             qPrintable(client.worker.getTcpSocketDebug()));
}

void tst_BlockThreadTcpNetwork::applicationProxyIsUsed()
{
    std::mutex mutex;
    QByteArray greeting;
    Peer proxy([&](Connection& connection) {
        const QByteArray bytes = connection.read(3);
        const std::lock_guard<std::mutex> lock(mutex);
        greeting = bytes;
    });
    QNetworkProxy::setApplicationProxy({QNetworkProxy::Socks5Proxy, kLoopback, proxy.port()});
    Client client(19208);
    // Loopback is never asked of a proxy, and to this address no connection is ever made.
    client.worker.setIp(QStringLiteral("255.255.255.255"));

    client.worker.sendData(2000, QByteArray("data"), 1, QVariant());

    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    QVERIFY(!client.worker.getIsOk());
    QCOMPARE(proxy.connections(), 1);
    const std::lock_guard<std::mutex> lock(mutex);
    QCOMPARE(greeting.left(1), QByteArray("\x05"));
}

void tst_BlockThreadTcpNetwork::progressOfTheNextUploadStartsAnew()
{
    Peer peer([](Connection& connection) { connection.waitForEnd(); });
    Client client(peer.port());
    client.worker.setPayloadSize(1000);
    // 5016 bytes in all, over the first 1000, times 99.
    const QPair<qint64, qint64> highest{497, 100};
    for (int number = 1; number <= 2; ++number) {
        client.written.clear();
        client.worker.sendData(2000, QByteArray(5000, 'u'), number, QVariant());

        QTRY_VERIFY(progress(client.written).contains({100, 100}));

        QCOMPARE(progress(client.written).count(highest), 1);
    }
}

void tst_BlockThreadTcpNetwork::disconnectLeavesWhatWasToBeWritten()
{
    Peer peer([](Connection& connection) { connection.waitForEnd(); });
    Client client(peer.port());
    client.worker.setPayloadSize(1000);
    client.worker.sendData(2000, QByteArray(5000, 'u'), 1, QVariant());
    client.worker.disconnectSocket();
    client.written.clear();

    client.worker.slotBytesWritten(0);

    QCOMPARE(progress(client.written).first(), qMakePair(qint64(1000), qint64(5016)));
}

void tst_BlockThreadTcpNetwork::destructionTellsNothing()
{
    Peer peer(echo);
    QObject context;
    int told = 0;
    auto worker = std::make_unique<BlockThreadTcp>();
    worker->connectSocket(kLoopback, peer.port());
    QCOMPARE(worker->getTcpSocketState(), QAbstractSocket::ConnectedState);
    connect(worker.get(), &BlockThreadTcp::sigDisconnected, &context, [&told] { ++told; });
    connect(worker.get(), &BlockThreadTcp::sigFinished, &context, [&told] { ++told; });

    worker.reset();

    QCOMPARE(told, 0);
}

QTEST_GUILESS_MAIN(tst_BlockThreadTcpNetwork)
#include "tst_BlockThreadTcpNetwork.moc"
