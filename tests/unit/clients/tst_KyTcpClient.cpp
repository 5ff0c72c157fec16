// The relay client. The cases that wait for seconds by rule run at the same time, once, in
// initTestCase().
#include "clients/KyTcpClient.h"

#include "LogCapture.h"
#include "Peer.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QNetworkProxy>
#include <QtTest>

#include <future>
#include <new>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");
const QString kConnected = QStringLiteral("vlx-client-onTcpConnected");
const QString kMessage = QStringLiteral("vlx-client-message");

struct Outcome
{
    bool isOk = false;
    qint64 ms = 0;
    QList<QPair<QString, QVariantMap>> signalled;

    QStringList keys() const
    {
        QStringList list;
        for (const auto& entry : signalled)
            list += entry.first;
        return list;
    }
};

QVariantMap request(quint16 port, const QVariant& json = QVariantMap{{"a", 1}})
{
    return {{"ip", kLoopback}, {"port", port}, {"jsonData", json}, {"type", 2000}, {"number", 7}};
}

Outcome ask(const QVariantMap& map)
{
    KyTcpClient client;
    Outcome outcome;
    QObject::connect(&client, &KyTcpClient::sigSendWebSocketData, &client,
                     [&outcome](const QString& key, const QVariantMap& sent) {
                         outcome.signalled += qMakePair(key, sent);
                     });
    QElapsedTimer timer;
    timer.start();
    outcome.isOk = client.sendData(map);
    outcome.ms = timer.elapsed();
    return outcome;
}

/// Writes the parts one after the other, so far apart that each is a read of its own.
Peer::Script inParts(std::function<QList<QByteArray>(const QByteArray&)> make)
{
    return [make = std::move(make)](Connection& connection) {
        const QByteArray frame = connection.readFrame();
        if (frame.isEmpty())
            return;
        for (const QByteArray& part : make(frame)) {
            connection.write(part);
            connection.pause(150);
        }
        connection.waitForEnd(30000);
    };
}

/// Writes so many of the 24 bytes of an answer, one each second.
Peer::Script inSingleBytes(int count)
{
    return [count](Connection& connection) {
        const QByteArray answer = answerTo(connection.readFrame(), {}, "in time!");
        for (int i = 0; i < count; ++i) {
            connection.write(answer.mid(i, 1));
            connection.pause(1000);
        }
        connection.waitForEnd();
    };
}

/// Asks a peer with this script on a thread of its own.
std::future<Outcome> start(Peer::Script script)
{
    return std::async(std::launch::async, [script = std::move(script)] {
        Peer peer(script);
        return ask(request(peer.port()));
    });
}

} // namespace

class tst_KyTcpClient : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void answerInTwoPartsIsDelivered();
    void requestCarriesTheTextAsData();
    void bodiesOfARequest_data();
    void bodiesOfARequest();
    void emptyContentIsRefusedBehindTheConnect_data();
    void emptyContentIsRefusedBehindTheConnect();
    void refusedConnection();
    void noiseInFrontIsDropped();
    void strayLetterStartsAFalseHeader();
    void numbersAreCutToTheirFields();

    void answerInOnePieceTakesFiveSeconds();
    void silentPeerEndsBehindTwoWaits();
    void halfAFrameCountsAsASuccess();
    void noiseAloneFails();
    void peerThatClosesBehindItsAnswer();
    void steadyAnswerMayTakeItsTime();
    void stalledAnswerEndsOneWaitLater();

    void oneFrameAtATime();
    void frameCutAtEveryByte();
    void bodyIsShownUpToItsFirstZero();
    void resultsOfTheParser_data();
    void resultsOfTheParser();
    void announcedFourGigabytesWait();
    void nextCallForgetsWhatWasLeft();
    void noiseInTwoPartsFailsInTheLoop();
    void command1100IsNotTreatedApart();
    void applicationProxyIsNotUsed();
    void answerWithoutMemoryIsNone();

private:
    Outcome _onePiece;
    Outcome _silent;
    Outcome _half;
    Outcome _noise;
    Outcome _closing;
    Outcome _steady;
    Outcome _stalled;
    QStringList _lines;
};

void tst_KyTcpClient::initTestCase()
{
    const auto answer = [](const QByteArray& frame) { return answerTo(frame, {}, "data"); };
    LogCapture log;
    auto onePiece = start(inParts([=](const QByteArray& f) { return QList{answer(f)}; }));
    auto silent = start(inParts([](const QByteArray&) { return QList<QByteArray>(); }));
    auto half = start(inParts([=](const QByteArray& f) { return QList{answer(f).left(18)}; }));
    auto noise = start(inParts([](const QByteArray&) { return QList<QByteArray>{"noise"}; }));
    auto closing =
        start([=](Connection& connection) { connection.write(answer(connection.readFrame())); });
    auto steady = start(inSingleBytes(24));
    auto stalled = start(inSingleBytes(4));
    _onePiece = onePiece.get();
    _silent = silent.get();
    _half = half.get();
    _noise = noise.get();
    _closing = closing.get();
    _steady = steady.get();
    _stalled = stalled.get();
    _lines = log.take();
}

void tst_KyTcpClient::answerInTwoPartsIsDelivered()
{
    Peer peer(inParts([](const QByteArray& frame) {
        const QByteArray answer = answerTo(frame, "{\"b\":2}", "data");
        return QList{answer.left(10), answer.mid(10)};
    }));
    const QVariantMap map = request(peer.port());

    const Outcome outcome = ask(map);

    QVERIFY(outcome.isOk);
    QVERIFY2(outcome.ms < 3000, qPrintable(QString::number(outcome.ms)));
    QCOMPARE(outcome.keys(), QStringList({kConnected, kMessage}));
    QCOMPARE(outcome.signalled.at(0).second, map);
    QCOMPARE(outcome.signalled.at(1).second,
             QVariantMap({{"headHex", "5a0100070000000b2ee007d000070002"},
                          {"sendCommand", 2000},
                          {"number", 7},
                          {"data", "{\"b\":2}data"},
                          {"jsonData", ""},
                          {"revCommand", 12000}}));
}

void tst_KyTcpClient::requestCarriesTheTextAsData()
{
    QByteArray received;
    Peer peer(inParts([&received](const QByteArray& frame) {
        received = frame;
        const QByteArray answer = answerTo(frame, {}, {});
        return QList{answer.left(2), answer.mid(2)};
    }));

    QVERIFY(ask(request(peer.port())).isOk);

    QCOMPARE(received, rawFrame(2000, 7, quint16(2000 - 10000), 0, "{\"a\":1}"));
}

void tst_KyTcpClient::bodiesOfARequest_data()
{
    QTest::addColumn<QVariant>("json");
    QTest::addColumn<QByteArray>("body");

    QTest::newRow("nothing") << QVariant() << QByteArray();
    // Content is a map or a list.
    QTest::newRow("null") << QVariant::fromValue(nullptr) << QByteArray();
    QTest::newRow("empty text") << QVariant(QString()) << QByteArray();
    QTest::newRow("text") << QVariant(QStringLiteral("{\"a\":1}")) << QByteArray();
    QTest::newRow("number") << QVariant(5) << QByteArray();
    QTest::newRow("false") << QVariant(false) << QByteArray();
    QTest::newRow("JSON object") << QVariant(QJsonObject{{"a", 1}}) << QByteArray("{\"a\":1}");
    QTest::newRow("list of texts") << QVariant(QStringList{"a"}) << QByteArray("[\"a\"]");
    QTest::newRow("hash") << QVariant(QVariantHash{{"a", 1}}) << QByteArray("{\"a\":1}");
    QTest::newRow("list") << QVariant(QVariantList{1}) << QByteArray("[1]");
    QTest::newRow("non-ASCII") << QVariant(QVariantMap{{"a", QString::fromUtf8("数")}})
                               << QByteArray("{\"a\":\"数\"}");
    QTest::newRow("long") << QVariant(QVariantMap{{"a", QString(70000, 'x')}})
                          << "{\"a\":\"" + QByteArray(70000, 'x') + "\"}";
}

void tst_KyTcpClient::bodiesOfARequest()
{
    QFETCH(QVariant, json);
    QFETCH(QByteArray, body);
    QByteArray received;
    Peer peer(inParts([&received](const QByteArray& frame) {
        received = frame;
        const QByteArray answer = answerTo(frame, {}, {});
        return QList{answer.left(2), answer.mid(2)};
    }));

    QVERIFY(ask(request(peer.port(), json)).isOk);

    QCOMPARE(received, rawFrame(2000, 7, quint16(2000 - 10000), 0, body));
}

void tst_KyTcpClient::emptyContentIsRefusedBehindTheConnect_data()
{
    QTest::addColumn<QVariant>("json");
    QTest::addColumn<QString>("line");

    QTest::newRow("map") << QVariant(QVariantMap()) << "[debug][sendData][data error: {} ]";
    QTest::newRow("list") << QVariant(QVariantList()) << "[debug][sendData][data error: [] ]";
}

void tst_KyTcpClient::emptyContentIsRefusedBehindTheConnect()
{
    QFETCH(QVariant, json);
    QFETCH(QString, line);
    std::atomic<int> received{-1};
    Peer peer([&received](Connection& connection) { received = connection.readToEnd().size(); });
    LogCapture log;

    const Outcome outcome = ask(request(peer.port(), json));

    QVERIFY(!outcome.isOk);
    QVERIFY(outcome.signalled.isEmpty());
    QCOMPARE(log.lines(), QStringList(line));
    QTRY_COMPARE(received.load(), 0);
}

void tst_KyTcpClient::refusedConnection()
{
    const quint16 port = refusedPort();
    LogCapture log;

    const Outcome outcome = ask(request(port));

    QVERIFY(!outcome.isOk);
    QVERIFY(outcome.signalled.isEmpty());
    QCOMPARE(log.lines(),
             QStringList(
                 QStringLiteral("[warning][sendData][!!!!!connect socket: timeout 127.0.0.1 %1 ]")
                     .arg(port)));
}

void tst_KyTcpClient::noiseInFrontIsDropped()
{
    Peer peer(inParts([](const QByteArray& frame) {
        return QList<QByteArray>{"noise", answerTo(frame, {}, "data")};
    }));
    LogCapture log;

    const Outcome outcome = ask(request(peer.port()));

    QVERIFY(outcome.isOk);
    QCOMPARE(outcome.signalled.last().second.value("data").toString(), QStringLiteral("data"));
    QCOMPARE(log.lines().filter("[warning][resolveTcpReadData]Network packet loss").size(), 5);
}

void tst_KyTcpClient::strayLetterStartsAFalseHeader()
{
    KyTcpClient client;
    QSignalSpy spy(&client, &KyTcpClient::sigSendWebSocketData);
    const QByteArray answer = rawFrame(12000, 7, 2000, 0, {});

    // "Z" in front of the frame: the size is read one byte too early, from number and size.
    QCOMPARE(client.resolveTcpReadData("Z" + answer), 1);

    QCOMPARE(spy.count(), 0);
}

void tst_KyTcpClient::numbersAreCutToTheirFields()
{
    QByteArray received;
    Peer peer(inParts([&received](const QByteArray& frame) {
        received = frame;
        const QByteArray answer = answerTo(frame, {}, {});
        return QList{answer.left(2), answer.mid(2)};
    }));
    QVariantMap map = request(peer.port());
    map["port"] = 65536 + peer.port();
    map["number"] = 65536 + 9;
    map["type"] = 65536 + 2000;

    QVERIFY(ask(map).isOk);

    QCOMPARE(numberOf(received), quint16(9));
    QCOMPARE(typeOf(received), quint16(2000));
}

void tst_KyTcpClient::answerInOnePieceTakesFiveSeconds()
{
    QVERIFY(_onePiece.isOk);
    QCOMPARE(_onePiece.keys(), QStringList({kConnected, kMessage}));
    QCOMPARE(_onePiece.signalled.last().second.value("data").toString(), QStringLiteral("data"));
    QVERIFY2(_onePiece.ms >= 4900 && _onePiece.ms < 9000,
             qPrintable(QString::number(_onePiece.ms)));
}

void tst_KyTcpClient::silentPeerEndsBehindTwoWaits()
{
    QVERIFY(!_silent.isOk);
    QCOMPARE(_silent.keys(), QStringList(kConnected));
    QVERIFY2(_silent.ms >= 9900 && _silent.ms < 14000, qPrintable(QString::number(_silent.ms)));
    // This one, and the stalled one, whose last bytes have been taken when the wait runs out.
    QCOMPARE(_lines.filter("[warning][sendData][b.isEmpty()]").size(), 2);
}

void tst_KyTcpClient::halfAFrameCountsAsASuccess()
{
    QVERIFY(_half.isOk);
    QCOMPARE(_half.keys(), QStringList(kConnected));
    QCOMPARE(_lines.filter("[warning][sendData][!!!!!!!! _lastMessage:").size(), 1);
}

void tst_KyTcpClient::noiseAloneFails()
{
    QVERIFY(!_noise.isOk);
    QCOMPARE(_noise.keys(), QStringList(kConnected));
    QCOMPARE(_lines.filter("[warning][sendData][无法解析包2: noise _lastMessage:  ]").size(), 1);
}

void tst_KyTcpClient::peerThatClosesBehindItsAnswer()
{
    // The end of the connection ends the second wait at once.
    QVERIFY(_closing.isOk);
    QCOMPARE(_closing.keys(), QStringList({kConnected, kMessage}));
    QVERIFY2(_closing.ms < 4000, qPrintable(QString::number(_closing.ms)));
}

void tst_KyTcpClient::steadyAnswerMayTakeItsTime()
{
    QVERIFY2(_steady.isOk, qPrintable(QString::number(_steady.ms)));
    QVERIFY2(_steady.ms > 22000, qPrintable(QString::number(_steady.ms)));
    QCOMPARE(_steady.keys(), QStringList({kConnected, kMessage}));
    QCOMPARE(_steady.signalled.last().second.value("data").toString(), QStringLiteral("in time!"));
}

void tst_KyTcpClient::stalledAnswerEndsOneWaitLater()
{
    QVERIFY(!_stalled.isOk);
    // Three seconds of bytes, and five without.
    QVERIFY2(_stalled.ms >= 7900 && _stalled.ms < 12000, qPrintable(QString::number(_stalled.ms)));
    QCOMPARE(_stalled.keys(), QStringList(kConnected));
}

void tst_KyTcpClient::oneFrameAtATime()
{
    KyTcpClient client;
    QSignalSpy spy(&client, &KyTcpClient::sigSendWebSocketData);

    QCOMPARE(client.resolveTcpReadData(rawFrame(12000, 1, 2000, 0, "first") +
                                       rawFrame(12000, 2, 2000, 0, "second")),
             0);
    QCOMPARE(spy.count(), 1);
    QCOMPARE(client.resolveTcpReadData({}), 0);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(1).toMap().value("data").toString(), QStringLiteral("second"));
    QCOMPARE(client.resolveTcpReadData({}), -1);
}

void tst_KyTcpClient::frameCutAtEveryByte()
{
    const QByteArray frame = rawFrame(12000, 7, 2000, 2, "{}data");
    for (int cut = 1; cut < frame.size(); ++cut) {
        KyTcpClient client;
        QSignalSpy spy(&client, &KyTcpClient::sigSendWebSocketData);
        QCOMPARE(client.resolveTcpReadData(frame.left(cut)), 1);
        QCOMPARE(spy.count(), 0);
        QCOMPARE(client.resolveTcpReadData(frame.mid(cut)), 0);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(1).toMap().value("data").toString(), QStringLiteral("{}data"));
    }
}

void tst_KyTcpClient::bodyIsShownUpToItsFirstZero()
{
    KyTcpClient client;
    QSignalSpy spy(&client, &KyTcpClient::sigSendWebSocketData);

    QCOMPARE(client.resolveTcpReadData(rawFrame(12000, 7, 2000, 0, QByteArray("ab\0cd", 5))), 0);

    QCOMPARE(spy.at(0).at(1).toMap().value("data").toString(), QStringLiteral("ab"));
}

void tst_KyTcpClient::resultsOfTheParser_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("result");

    const QByteArray frame = rawFrame(12000, 7, 2000, 0, "data");
    QTest::newRow("nothing") << QByteArray() << -1;
    QTest::newRow("noise") << QByteArray("noise") << -1;
    QTest::newRow("sync byte") << QByteArray("\x5A") << 1;
    QTest::newRow("15 bytes") << frame.left(15) << 1;
    QTest::newRow("header without its body") << frame.left(16) << 1;
    QTest::newRow("one byte short") << frame.left(19) << 1;
    QTest::newRow("frame") << frame << 0;
    QTest::newRow("other version") << QByteArray(frame).replace(1, 1, "\x02") << 0;
    QTest::newRow("noise in front") << "noise" + frame << 0;
    QTest::newRow("header alone") << rawFrame(12000, 7, 2000, 0, {}) << 0;
}

void tst_KyTcpClient::resultsOfTheParser()
{
    QFETCH(QByteArray, bytes);
    KyTcpClient client;

    QTEST(client.resolveTcpReadData(bytes), "result");
}

void tst_KyTcpClient::announcedFourGigabytesWait()
{
    KyTcpClient client;
    QByteArray head = rawFrame(12000, 7, 2000, 0, {});
    head.replace(4, 4, QByteArray(4, '\xFF'));

    QCOMPARE(client.resolveTcpReadData(head), 1);
    for (int i = 0; i < 100; ++i)
        QCOMPARE(client.resolveTcpReadData(QByteArray(65536, 'x')), 1);
}

void tst_KyTcpClient::nextCallForgetsWhatWasLeft()
{
    int call = 0;
    Peer peer(inParts([&call](const QByteArray& frame) {
        const QByteArray answer = answerTo(frame, {}, "call " + QByteArray::number(++call));
        // A piece of a next frame, which nobody asked for, stays behind the first answer.
        return QList{answer.left(10),
                     answer.mid(10) + (call == 1 ? answer.left(18) : QByteArray())};
    }));
    KyTcpClient client;
    QSignalSpy spy(&client, &KyTcpClient::sigSendWebSocketData);

    QVERIFY(client.sendData(request(peer.port())));
    QVERIFY(client.sendData(request(peer.port())));

    QCOMPARE(spy.count(), 4);
    QCOMPARE(spy.at(1).at(1).toMap().value("data").toString(), QStringLiteral("call 1"));
    QCOMPARE(spy.at(3).at(1).toMap().value("data").toString(), QStringLiteral("call 2"));
}

void tst_KyTcpClient::noiseInTwoPartsFailsInTheLoop()
{
    Peer peer(inParts([](const QByteArray&) { return QList<QByteArray>{"noi", "se"}; }));
    LogCapture log;

    const Outcome outcome = ask(request(peer.port()));

    QVERIFY(!outcome.isOk);
    QVERIFY2(outcome.ms < 4000, qPrintable(QString::number(outcome.ms)));
    QCOMPARE(outcome.keys(), QStringList(kConnected));
    QCOMPARE(log.with("无法解析包"),
             QStringList("[warning][sendData][无法解析包1: noise _lastMessage:  ]"));
}

void tst_KyTcpClient::command1100IsNotTreatedApart()
{
    QByteArray received;
    Peer peer(inParts([&received](const QByteArray& frame) {
        received = frame;
        const QByteArray answer = answerTo(frame, {}, "alive");
        return QList{answer.left(2), answer.mid(2)};
    }));
    QVariantMap map = request(peer.port());
    map["type"] = 1100;

    const Outcome outcome = ask(map);

    QVERIFY(outcome.isOk);
    QCOMPARE(received, rawFrame(1100, 7, quint16(1100 - 10000), 0, "{\"a\":1}"));
    QCOMPARE(outcome.keys(), QStringList({kConnected, kMessage}));
    QCOMPARE(outcome.signalled.last().second.value("revCommand").toInt(), 11100);
    QCOMPARE(outcome.signalled.last().second.value("data").toString(), QStringLiteral("alive"));
}

void tst_KyTcpClient::applicationProxyIsNotUsed()
{
    Peer proxy([](Connection& connection) { connection.read(3); });
    QNetworkProxy::setApplicationProxy({QNetworkProxy::Socks5Proxy, kLoopback, proxy.port()});
    QVariantMap map = request(19208);
    // Loopback is never asked of a proxy, and to this address no connection is ever made.
    map["ip"] = QStringLiteral("255.255.255.255");

    const Outcome outcome = ask(map);

    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    QVERIFY(!outcome.isOk);
    QCOMPARE(proxy.connections(), 0);
}

void tst_KyTcpClient::answerWithoutMemoryIsNone()
{
    KyTcpClient client;
    const QByteArray answer = rawFrame(12000, 7, 2000, 0, "data");
    int deliveries = 0;
    // In the place of a text that there is no room for.
    connect(&client, &KyTcpClient::sigSendWebSocketData, this, [&deliveries] {
        if (++deliveries == 1)
            throw std::bad_alloc();
    });

    QCOMPARE(client.resolveTcpReadData(answer + "rest"), -1);

    // Nothing is left of it.
    QCOMPARE(client.resolveTcpReadData(answer), 0);
    QCOMPARE(deliveries, 2);
}

QTEST_GUILESS_MAIN(tst_KyTcpClient)
#include "tst_KyTcpClient.moc"
