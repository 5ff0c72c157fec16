#include "cli/Peer.h"
#include "cli/StatusProbe.h"
#include "clients/SCStatusTcp.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <limits>
#include <new>

/// Why an answer is missing, as a person reads it.
class tst_StatusProbe : public QObject
{
    Q_OBJECT

private slots:
    void requestLargerThanAFrameIsTold();
    void requestWithoutMemoryIsTold();
    void answerWithoutMemoryIsTold();
    void silenceIsTheTime();
    void noiseAndSilenceAreTheTime();
    void closedConnectionIsTold();
};

namespace {

/// A peer on loopback, and a probe that is connected to it.
struct Pair
{
    explicit Pair(int timeoutMs = 3000)
        : probe(optionsFor(server, timeoutMs))
    {
        QVERIFY2(probe.connectPeer().isEmpty(), "no connection");
        QVERIFY(server.waitForNewConnection(3000));
        peer = server.nextPendingConnection();
    }
    static ky::GlobalOptions optionsFor(QTcpServer& server, int timeoutMs)
    {
        server.listen(QHostAddress::LocalHost);
        ky::GlobalOptions options;
        options.host = QStringLiteral("127.0.0.1");
        options.port = server.serverPort();
        options.timeoutMs = timeoutMs;
        return options;
    }
    QString sentence(const char* reason) const
    {
        return QStringLiteral("no answer from 127.0.0.1:%1%2")
            .arg(server.serverPort())
            .arg(QLatin1String(reason));
    }
    void send(const QByteArray& bytes)
    {
        peer->write(bytes);
        peer->flush();
    }

    QTcpServer server;
    ky::StatusProbe probe;
    QTcpSocket* peer = nullptr;
};

QByteArray answerFrame()
{
    return QByteArray::fromHex("5a010001000000042ee007d000000002") + "data";
}

} // namespace

void tst_StatusProbe::requestLargerThanAFrameIsTold()
{
    Pair pair;
    // Never read: it is its size alone that does not fit.
    const QByteArray huge = QByteArray::fromRawData("x", std::numeric_limits<int>::max() - 4096);

    QCOMPARE(pair.probe.send(2000, "{}", huge, 1),
             pair.sentence(": request: larger than a frame can be"));
}

void tst_StatusProbe::requestWithoutMemoryIsTold()
{
    Pair pair;
    // In the place of a text that there is no room for.
    connect(&pair.probe.client(), &SCStatusTcp::sigPrintInfo, this, [] { throw std::bad_alloc(); });

    QCOMPARE(pair.probe.send(2000, {}, "data", 1),
             pair.sentence(": request [20 bytes]: no memory"));
}

void tst_StatusProbe::answerWithoutMemoryIsTold()
{
    Pair pair(200);
    // In the place of a text that there is no room for.
    connect(&pair.probe.client(), &SCStatusTcp::sigChangedText, this,
            [] { throw std::bad_alloc(); });
    QCOMPARE(pair.probe.send(2000, {}, {}, 1), pair.sentence(" within 200 ms"));

    pair.send(answerFrame());
    QVERIFY(!pair.probe.serve([] { return false; }, 3000));

    QCOMPARE(pair.probe.reason(), QString("answer [20 bytes and more]: no memory"));
}

void tst_StatusProbe::silenceIsTheTime()
{
    Pair pair(200);

    QCOMPARE(pair.probe.send(2000, {}, {}, 1), pair.sentence(" within 200 ms"));
}

void tst_StatusProbe::noiseAndSilenceAreTheTime()
{
    Pair pair(200);
    QCOMPARE(pair.probe.send(2000, {}, {}, 1), pair.sentence(" within 200 ms"));

    pair.send("noise");
    QVERIFY(pair.probe.serve([] { return false; }, 200));

    QCOMPARE(pair.probe.client().lastError(), QString("Header Error !!!"));
    QCOMPARE(pair.probe.reason(), QString());
}

void tst_StatusProbe::closedConnectionIsTold()
{
    Pair pair;
    pair.peer->disconnectFromHost();

    QCOMPARE(pair.probe.send(2000, {}, {}, 1), pair.sentence(": the connection was closed"));
}

QTEST_GUILESS_MAIN(tst_StatusProbe)
#include "tst_StatusProbe.moc"
