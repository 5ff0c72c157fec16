#include "DaemonFixture.h"
#include "FrameClient.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTcpServer>
#include <QTest>

#include <csignal>
#include <memory>

/// What the daemon asks of others for an operator.
class tst_DaemonPeers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void answerOfThePeerIsPassedOn();
    void dataAreaIsSentToThePeer();
    void jsonAreaGoesBothWays();
    void answerWithoutJsonAreaHasNoJson();
    void errorOfThePeerIsNoErrorOfTheCall();
    void refusedPeerIsAnError();
    void silentPeerIsAnErrorAfterItsLimit();
    void noisyPeerIsAnErrorAfterItsLimit();
    void othersAreServedWhileAPeerIsSilent();
    void callsBeyondTheLimitAreRefused();
    void wrongArgumentsAreRefused_data();
    void wrongArgumentsAreRefused();
    void endDuringACallIsClean();

private:
    static QByteArray request(quint16 port, const QVariant& command, int limitMs = 5000,
                              const QVariantMap& json = {});

    std::unique_ptr<DaemonFixture> _daemon;
};

QByteArray tst_DaemonPeers::request(quint16 port, const QVariant& command, int limitMs,
                                    const QVariantMap& json)
{
    QVariantMap map{
        {"ip", "127.0.0.1"}, {"port", port}, {"command", command}, {"timeout_ms", limitMs}};
    if (!json.isEmpty())
        map.insert("json", json);
    return QJsonDocument::fromVariant(map).toJson(QJsonDocument::Compact);
}

void tst_DaemonPeers::init()
{
    _daemon = std::make_unique<DaemonFixture>();
    QVERIFY2(_daemon->start(), qPrintable(_daemon->errorText()));
}

void tst_DaemonPeers::cleanup()
{
    QCOMPARE(_daemon->stop(SIGTERM), 0);
}

void tst_DaemonPeers::answerOfThePeerIsPassedOn()
{
    FrameClient client(_daemon->port());

    const QVariantMap answer = client.ask(2100, request(_daemon->port(), "version")).map();

    QCOMPARE(answer.value("ret_code").toInt(), 0);
    QCOMPARE(answer.value("result").toMap().value("revCommand").toInt(), 12002);
    QVERIFY(answer.value("reply").toMap().contains("qt"));
}

void tst_DaemonPeers::dataAreaIsSentToThePeer()
{
    FrameClient client(_daemon->port());

    const QVariantMap answer =
        client.ask(2100, request(_daemon->port(), 2000), "to the peer").map();

    QCOMPARE(answer.value("text").toString(), QString("to the peer"));
}

void tst_DaemonPeers::jsonAreaGoesBothWays()
{
    FrameClient client(_daemon->port());
    const QVariantMap json{{"a", 1.0}, {"世", QVariantList{true}}};

    const QVariantMap answer =
        client.ask(2100, request(_daemon->port(), 2000, 5000, json), "data").map();

    QCOMPARE(answer.value("ret_code").toInt(), 0);
    QCOMPARE(answer.value("json").toMap(), json);
    QCOMPARE(answer.value("text").toString(), QString("data"));
}

void tst_DaemonPeers::answerWithoutJsonAreaHasNoJson()
{
    FrameClient client(_daemon->port());

    const QVariantMap answer = client.ask(2100, request(_daemon->port(), 2000), "data").map();

    QVERIFY(answer.contains("text"));
    QVERIFY(!answer.contains("json"));
}

void tst_DaemonPeers::errorOfThePeerIsNoErrorOfTheCall()
{
    FrameClient client(_daemon->port());

    const QVariantMap answer = client.ask(2100, request(_daemon->port(), 4999)).map();

    QCOMPARE(answer.value("ret_code").toInt(), 0);
    QCOMPARE(answer.value("result").toMap().value("err_msg").toString(),
             QString("[40001] unknown command [4999]"));
}

void tst_DaemonPeers::refusedPeerIsAnError()
{
    FrameClient client(_daemon->port());

    const WireFrame answer = client.ask(2100, request(freePort(), 2000));

    QCOMPARE(answer.code(), 40101);
    QVERIFY2(answer.errorText().contains("Connection refused"), qPrintable(answer.errorText()));
}

void tst_DaemonPeers::silentPeerIsAnErrorAfterItsLimit()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    FrameClient client(_daemon->port());

    const WireFrame answer = client.ask(2100, request(silent.serverPort(), 2000, 300));

    QCOMPARE(answer.code(), 40101);
    QCOMPARE(answer.errorText(), QString("Tcp requst timeout"));
}

void tst_DaemonPeers::noisyPeerIsAnErrorAfterItsLimit()
{
    QTcpServer noisy;
    QVERIFY(noisy.listen(QHostAddress::LocalHost));
    FrameClient client(_daemon->port());
    client.send(2100, 1, request(noisy.serverPort(), 2000, 500));
    QVERIFY(noisy.waitForNewConnection(5000));
    QTcpSocket* peer = noisy.nextPendingConnection();
    peer->write(QByteArray(5000, '\x5a') + FrameClient::frame(12000, 999, {}, "not asked"));
    QVERIFY(peer->waitForBytesWritten(5000));

    QCOMPARE(client.receive().code(), 40101);
}

void tst_DaemonPeers::othersAreServedWhileAPeerIsSilent()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    FrameClient client(_daemon->port());
    client.send(2100, 1, request(silent.serverPort(), 2000, 60000));
    QVERIFY(silent.waitForNewConnection(5000));

    FrameClient other(_daemon->port());
    QCOMPARE(other.ask(2000, {}, "x").data, QByteArray("x"));
    // The same connection, too: answers are paired by number, not by order.
    QCOMPARE(client.ask(2002).type, 12002);
}

void tst_DaemonPeers::callsBeyondTheLimitAreRefused()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost, 0));
    FrameClient client(_daemon->port());
    for (int i = 1; i <= 33; ++i)
        client.send(2100, i, request(silent.serverPort(), 2000, 60000));

    const WireFrame refused = client.receive();

    QCOMPARE(refused.number, 33);
    QCOMPARE(refused.code(), 40102);
}

void tst_DaemonPeers::wrongArgumentsAreRefused_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("broken") << QByteArray("{\"ip\":");
    QTest::newRow("a list") << QByteArray("[1,2]");
    QTest::newRow("no port") << QByteArray("{\"ip\":\"127.0.0.1\",\"command\":2000}");
    QTest::newRow("types that do not fit")
        << QByteArray("{\"ip\":[],\"port\":{},\"command\":null,\"timeout_ms\":\"x\"}");
}

void tst_DaemonPeers::wrongArgumentsAreRefused()
{
    QFETCH(QByteArray, json);
    FrameClient client(_daemon->port());

    QCOMPARE(client.ask(2100, json).code(), 40002);
}

void tst_DaemonPeers::endDuringACallIsClean()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    FrameClient client(_daemon->port());
    client.send(2100, 1, request(silent.serverPort(), 2000, 60000));
    QVERIFY(silent.waitForNewConnection(5000));
    QElapsedTimer clock;
    clock.start();

    QCOMPARE(_daemon->stop(SIGTERM), 0);

    QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
}

QTEST_GUILESS_MAIN(tst_DaemonPeers)
#include "tst_DaemonPeers.moc"
