#include "LogCapture.h"
#include "Peer.h"
#include "clients/RobotUdp.h"
#include "clients/RobotUdpClient.h"

#include <QNetworkProxy>
#include <QTcpSocket>
#include <QUdpSocket>
#include <QtTest>

#include <memory>
#include <mutex>

namespace {

/// A plain socket at the other end.
struct Other
{
    Other() { socket.bind(QHostAddress(QHostAddress::LocalHost)); }
    QByteArray receive()
    {
        if (!socket.hasPendingDatagrams() && !socket.waitForReadyRead(2000))
            return "nothing came";
        QByteArray data(int(socket.pendingDatagramSize()), '\0');
        senderPort = 0;
        data.truncate(int(socket.readDatagram(data.data(), data.size(), nullptr, &senderPort)));
        return data;
    }
    void send(const QByteArray& data, quint16 port)
    {
        QCOMPARE(socket.writeDatagram(data, QHostAddress::LocalHost, port), qint64(data.size()));
    }

    QUdpSocket socket;
    quint16 senderPort = 0;
};

/// What an endpoint told: type and content of each datagram, copied inside the emission.
template <typename Endpoint>
struct Heard
{
    explicit Heard(Endpoint& endpoint)
    {
        QObject::connect(&endpoint, &Endpoint::sigReceiveData, &context,
                         [this](int type, QByteArray& data) { list += qMakePair(type, data); });
    }

    QObject context;
    QList<QPair<int, QByteArray>> list;
};

quint16 freePort()
{
    QUdpSocket socket;
    socket.bind(QHostAddress(QHostAddress::AnyIPv4));
    return socket.localPort();
}

/// Writes to a port where nobody is. The kernel reports each refusal on the socket, in the place of
/// a datagram, and the client has met it when this returns.
void askNobody(RobotUdpClient& client, quint16 port)
{
    QSignalSpy arrivals(client.findChild<QUdpSocket*>(), &QUdpSocket::readyRead);
    for (int i = 1; i <= 3; ++i) {
        QVERIFY(client.sendData("ask", QHostAddress::LocalHost, port));
        QTRY_COMPARE(arrivals.count(), i);
    }
}

std::unique_ptr<Other> peerOn(quint16 port)
{
    auto peer = std::make_unique<Other>();
    peer->socket.abort();
    if (!peer->socket.bind(QHostAddress(QHostAddress::LocalHost), port))
        qFatal("the port is not free any more");
    return peer;
}

using Datagrams = QList<QPair<int, QByteArray>>;

} // namespace

class tst_RobotUdp : public QObject
{
    Q_OBJECT

private slots:
    void endpointReceivesOnItsPort();
    void onlyTheLocalPortCounts();
    void secondPortChangesNothing();
    void failedBindIsToldInTheLogOnly();
    void releasedEndpointBindsAgain();
    void textIsSentInLatin1();
    void sendingBeforeConnectingIsNoCrash();
    void emptyDatagramIsEmptyData();
    void manyDatagramsArriveInOrder();
    void clientMarksWhatItReceives();
    void clientHearsItsPeerOnly();
    void clientConnectsOnce();
    void clientSendsBytes();
    void failedSendShowsInTheLogOnly();
    void abortedClientHearsNothing();
    void peerThatIsNotThereIsNoCrash();
    void peerThatRefusedIsHeardLater();
    void endpointThatCouldNotBeBoundStaysUnbound();
    void releasedEndpointTriesItsBindAgain();
    void endpointReleasedBehindAFailedBindStillSends();
    void boundPortIsNotShared();
    void applicationProxyIsNotUsedByTheClient();
};

void tst_RobotUdp::endpointReceivesOnItsPort()
{
    const quint16 port = freePort();
    RobotUdp endpoint;
    QVERIFY(!endpoint.isOpened());
    Heard<RobotUdp> heard(endpoint);
    LogCapture log;

    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));

    QVERIFY(endpoint.isOpened());
    QCOMPARE(log.lines(),
             QStringList(QStringLiteral("[debug][connectUdpSocket][_udpSocketSend->bind:localHost,"
                                        "port:%1 success]")
                             .arg(port)));
    Other other;
    other.send("hello", port);
    QTRY_COMPARE(heard.list, Datagrams({{0, "hello"}}));
}

void tst_RobotUdp::onlyTheLocalPortCounts()
{
    const quint16 port = freePort();
    RobotUdp endpoint;
    Heard<RobotUdp> heard(endpoint);

    QVERIFY(endpoint.connectUdpSocket(QStringLiteral("no address"), 99999999, port));

    Other other;
    other.send("hello", port);
    QTRY_COMPARE(heard.list.size(), 1);
}

void tst_RobotUdp::secondPortChangesNothing()
{
    const quint16 first = freePort();
    const quint16 second = freePort();
    RobotUdp endpoint;
    Heard<RobotUdp> heard(endpoint);
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, first));

    QVERIFY(endpoint.connectUdpSocket(QString(), 0, second));

    QUdpSocket probe;
    QVERIFY(probe.bind(QHostAddress::AnyIPv4, second));
    Other other;
    other.send("hello", first);
    QTRY_COMPARE(heard.list, Datagrams({{0, "hello"}}));
}

void tst_RobotUdp::failedBindIsToldInTheLogOnly()
{
    QUdpSocket taken;
    QVERIFY(taken.bind(QHostAddress::Any, 0, QUdpSocket::DontShareAddress));
    RobotUdp endpoint;
    LogCapture log;

    QVERIFY(endpoint.connectUdpSocket(QString(), 0, taken.localPort()));

    QCOMPARE(log.lines().size(), 1);
    const QString front = QStringLiteral("[warning][connectUdpSocket][_udpSocketSend->bind:"
                                         "localHost,port:%1 failed: ")
                              .arg(taken.localPort());
    QVERIFY2(log.lines().first().startsWith(front), qPrintable(log.lines().first()));
    QVERIFY(endpoint.lastError().isEmpty());
}

void tst_RobotUdp::releasedEndpointBindsAgain()
{
    RobotUdp endpoint;
    endpoint.releaseUdpSocket();
    Heard<RobotUdp> heard(endpoint);
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, freePort()));
    endpoint.releaseUdpSocket();
    QVERIFY(!endpoint.isOpened());
    const quint16 port = freePort();

    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));

    Other other;
    other.send("again", port);
    QTRY_COMPARE(heard.list, Datagrams({{0, "again"}}));
}

void tst_RobotUdp::textIsSentInLatin1()
{
    Other other;
    RobotUdp endpoint;
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, freePort()));
    LogCapture log;

    QVERIFY(endpoint.sendMessage(QString::fromUtf8("é数%1"), QHostAddress::LocalHost,
                                 other.socket.localPort()));

    QCOMPARE(other.receive(), QByteArray("\xE9?%1"));
    QCOMPARE(log.lines(), QStringList("[debug][sendMessage][RobotUdp::sendMessage:writeDatagram:" +
                                      QString::fromUtf8("é数%1") + " 127.0.0.1 : " +
                                      QString::number(other.socket.localPort()) + "]"));
}

void tst_RobotUdp::sendingBeforeConnectingIsNoCrash()
{
    RobotUdp endpoint;
    QVERIFY(!endpoint.sendMessage(QStringLiteral("x"), QHostAddress::LocalHost, 9));
    endpoint.slotReadyRead();
}

void tst_RobotUdp::emptyDatagramIsEmptyData()
{
    const quint16 port = freePort();
    RobotUdp endpoint;
    Heard<RobotUdp> heard(endpoint);
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));
    Other other;

    other.send("", port);
    other.send("next", port);

    QTRY_COMPARE(heard.list, Datagrams({{0, ""}, {0, "next"}}));
}

void tst_RobotUdp::manyDatagramsArriveInOrder()
{
    const quint16 port = freePort();
    RobotUdp endpoint;
    Heard<RobotUdp> heard(endpoint);
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));
    Other other;

    for (int i = 0; i < 100; ++i)
        other.send(QByteArray(i * 13, char('a' + i % 26)), port);

    QTRY_COMPARE(heard.list.size(), 100);
    for (int i = 0; i < 100; ++i)
        QCOMPARE(heard.list.at(i).second, QByteArray(i * 13, char('a' + i % 26)));
}

void tst_RobotUdp::clientMarksWhatItReceives()
{
    Other other;
    RobotUdpClient client;
    QCOMPARE(client.type(), 0);
    client.setType(42);
    Heard<RobotUdpClient> heard(client);

    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), other.socket.localPort(), 12345));
    QVERIFY(client.sendData("ask", QHostAddress::LocalHost, other.socket.localPort()));

    QCOMPARE(other.receive(), QByteArray("ask"));
    QVERIFY(other.senderPort != 12345);
    other.send("answer", other.senderPort);
    other.send("", other.senderPort);
    QTRY_COMPARE(heard.list, Datagrams({{42, "answer"}, {42, ""}}));
}

void tst_RobotUdp::clientHearsItsPeerOnly()
{
    Other peer;
    Other stranger;
    RobotUdpClient client;
    Heard<RobotUdpClient> heard(client);
    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), peer.socket.localPort(), 0));
    QVERIFY(client.sendData("ask", QHostAddress::LocalHost, peer.socket.localPort()));
    QCOMPARE(peer.receive(), QByteArray("ask"));

    stranger.send("stranger", peer.senderPort);
    peer.send("peer", peer.senderPort);

    QTRY_COMPARE(heard.list, Datagrams({{0, "peer"}}));
}

void tst_RobotUdp::clientConnectsOnce()
{
    Other first;
    Other second;
    RobotUdpClient client;
    Heard<RobotUdpClient> heard(client);
    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), first.socket.localPort(), 0));
    QVERIFY(client.sendData("ask", QHostAddress::LocalHost, first.socket.localPort()));
    QCOMPARE(first.receive(), QByteArray("ask"));

    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), second.socket.localPort(), 0));

    first.send("still here", first.senderPort);
    QTRY_COMPARE(heard.list, Datagrams({{0, "still here"}}));
}

void tst_RobotUdp::clientSendsBytes()
{
    Other other;
    RobotUdpClient client;
    const QByteArray data("ab\0cd", 5);
    LogCapture log;

    QVERIFY(client.sendData(data, QHostAddress::LocalHost, other.socket.localPort()));

    QCOMPARE(other.receive(), data);
    const QString end = " 127.0.0.1 : " + QString::number(other.socket.localPort());
    QCOMPARE(log.lines(),
             QStringList({"[debug][sendData][0 - writeDatagram:ab" + end + "]",
                          "[debug][sendData][1 - writeDatagram:ab" + end + " size:5]"}));
}

void tst_RobotUdp::failedSendShowsInTheLogOnly()
{
    RobotUdpClient client;
    LogCapture log;

    // More than a datagram can hold.
    QVERIFY(client.sendData(QByteArray(70000, 'x'), QHostAddress::LocalHost, 9));

    QVERIFY(log.lines().last().endsWith(QLatin1String("size:-1]")));
    QVERIFY(client.getLastError().isEmpty());
}

void tst_RobotUdp::abortedClientHearsNothing()
{
    Other other;
    RobotUdpClient client;
    Heard<RobotUdpClient> heard(client);
    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), other.socket.localPort(), 0));
    QVERIFY(client.sendData("ask", QHostAddress::LocalHost, other.socket.localPort()));
    QCOMPARE(other.receive(), QByteArray("ask"));
    client.abortUdp();

    other.socket.writeDatagram("answer", QHostAddress::LocalHost, other.senderPort);

    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), other.socket.localPort(), 0));
    QVERIFY(client.sendData("again", QHostAddress::LocalHost, other.socket.localPort()));
    QCOMPARE(other.receive(), QByteArray("again"));
    // What comes behind shows that nothing came before.
    other.send("marker", other.senderPort);
    QTRY_COMPARE(heard.list, Datagrams({{0, "marker"}}));
}

void tst_RobotUdp::peerThatIsNotThereIsNoCrash()
{
    const quint16 port = freePort();
    RobotUdpClient client;
    Heard<RobotUdpClient> heard(client);
    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), port, 0));
    askNobody(client, port);

    const auto peer = peerOn(port);
    QVERIFY(client.sendData("ask", QHostAddress::LocalHost, port));
    QCOMPARE(peer->receive(), QByteArray("ask"));
    peer->send("marker", peer->senderPort);

    QTRY_COMPARE(heard.list, Datagrams({{0, "marker"}}));
}

void tst_RobotUdp::peerThatRefusedIsHeardLater()
{
    const quint16 port = freePort();
    RobotUdpClient client;
    Heard<RobotUdpClient> heard(client);
    QVERIFY(client.connectUdpSocket(QStringLiteral("127.0.0.1"), port, 0));
    askNobody(client, port);
    // This refusal is not read before there is a peer: it takes the next request.
    QVERIFY(client.sendData("ask", QHostAddress::LocalHost, port));
    const auto peer = peerOn(port);

    for (int i = 0; i < 2; ++i)
        client.sendData("ask", QHostAddress::LocalHost, port);
    QCOMPARE(peer->receive(), QByteArray("ask"));
    peer->send("answer", peer->senderPort);
    peer->send("", peer->senderPort);

    QTRY_COMPARE(heard.list, Datagrams({{0, "answer"}, {0, ""}}));
}

void tst_RobotUdp::endpointThatCouldNotBeBoundStaysUnbound()
{
    auto holder = std::make_unique<QUdpSocket>();
    QVERIFY(holder->bind(0, QUdpSocket::DontShareAddress));
    const quint16 port = holder->localPort();
    RobotUdp endpoint;
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));
    holder.reset();
    LogCapture log;

    // Its socket is valid all the same, and a valid one is left as it is.
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));

    QVERIFY(!endpoint.isOpened());
    QCOMPARE(log.lines(), QStringList());
    RobotUdp another;
    QVERIFY(another.connectUdpSocket(QString(), 0, port));
    QVERIFY(another.isOpened());
}

void tst_RobotUdp::releasedEndpointTriesItsBindAgain()
{
    auto holder = std::make_unique<QUdpSocket>();
    QVERIFY(holder->bind(0, QUdpSocket::DontShareAddress));
    const quint16 port = holder->localPort();
    RobotUdp endpoint;
    Heard<RobotUdp> heard(endpoint);
    for (int i = 0; i < 2; ++i) {
        LogCapture log;
        QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));
        QCOMPARE(log.with("failed: ").size(), 1);
        endpoint.releaseUdpSocket();
        QVERIFY(!endpoint.isOpened());
    }
    holder.reset();

    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));

    QVERIFY(endpoint.isOpened());
    Other other;
    other.send("at last", port);
    QTRY_COMPARE(heard.list, Datagrams({{0, "at last"}}));
}

void tst_RobotUdp::endpointReleasedBehindAFailedBindStillSends()
{
    QUdpSocket taken;
    QVERIFY(taken.bind(QHostAddress::Any, 0, QUdpSocket::DontShareAddress));
    Other other;
    RobotUdp endpoint;
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, taken.localPort()));

    endpoint.releaseUdpSocket();

    QVERIFY(endpoint.sendMessage(QStringLiteral("x"), QHostAddress::LocalHost,
                                 other.socket.localPort()));
    QCOMPARE(other.receive(), QByteArray("x"));
}

void tst_RobotUdp::boundPortIsNotShared()
{
    const quint16 port = freePort();
    RobotUdp endpoint;
    QVERIFY(endpoint.connectUdpSocket(QString(), 0, port));
    QVERIFY(endpoint.isOpened());

    QUdpSocket second;

    QVERIFY(!second.bind(port, QUdpSocket::ShareAddress | QUdpSocket::ReuseAddressHint));
}

void tst_RobotUdp::applicationProxyIsNotUsedByTheClient()
{
    std::mutex mutex;
    QByteArray greeting;
    Peer proxy([&](Connection& connection) {
        const QByteArray bytes = connection.read(3);
        const std::lock_guard<std::mutex> lock(mutex);
        if (greeting.isEmpty())
            greeting = bytes;
    });
    const auto first = [&] {
        const std::lock_guard<std::mutex> lock(mutex);
        return greeting;
    };
    QNetworkProxy::setApplicationProxy(
        {QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), proxy.port()});
    RobotUdpClient client;
    // Loopback is never asked of a proxy, and to this address nothing is ever sent.
    const QHostAddress nobody(QHostAddress::Broadcast);

    client.connectUdpSocket(nobody.toString(), 9, 0);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);

    // The proxy serves one after the other: a visit of the client would be its first.
    QTcpSocket marker;
    marker.connectToHost(QHostAddress::LocalHost, proxy.port());
    QVERIFY(marker.waitForConnected(2000));
    marker.write("own");
    QTRY_COMPARE(first(), QByteArray("own"));
}

QTEST_GUILESS_MAIN(tst_RobotUdp)
#include "tst_RobotUdp.moc"
