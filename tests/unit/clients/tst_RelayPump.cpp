// The copying of a relay, on connections that have left their bytes: what the pump does with
// bytes that a connection has not taken itself.
#include "clients/RelayPump.h"

#include "LogCapture.h"
#include "Peer.h"
#include "host/BaseThread.h"
#include "service/TcpSocket.h"

#include <QSemaphore>
#include <QTcpServer>
#include <QtTest>

#include <memory>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");

/// A thread whose run() relays between two connections that take no frames themselves.
class Relay : public BaseThread
{
    Q_OBJECT

public:
    Relay(qintptr client, quint16 serverPort)
        : _client(client)
        , _serverPort(serverPort)
    {}
    ~Relay() override { stopThread(); }

protected:
    void run() override
    {
        TcpSocket client;
        TcpSocket server;
        for (TcpSocket* socket : {&client, &server})
            QObject::disconnect(socket, &QIODevice::readyRead, socket, &TcpSocket::slotReadyRead);
        client.setSocketDescriptor(_client);
        client.setIntptr(_client);
        server.connectToHost(kLoopback, _serverPort);
        if (server.waitForConnected(2000))
            ky::RelayPump(client, server, kLoopback, _serverPort).run(*this);
    }

private:
    qintptr _client;
    quint16 _serverPort;
};

/// Accepts one client and hands out its descriptor.
class Door : public QTcpServer
{
public:
    Door() { listen(QHostAddress::LocalHost); }
    qintptr accepted = -1;

protected:
    void incomingConnection(qintptr handle) override { accepted = handle; }
};

/// A client that has just connected, and the descriptor of its other end.
struct Client
{
    Client()
    {
        socket.connectToHost(QHostAddress(QHostAddress::LocalHost), door.serverPort());
        QVERIFY(socket.waitForConnected(2000));
        QTRY_VERIFY(door.accepted != -1);
        socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    }
    void write(const QByteArray& bytes)
    {
        socket.write(bytes);
        socket.flush();
    }
    QByteArray read(int size)
    {
        QByteArray bytes;
        while (bytes.size() < size && (socket.bytesAvailable() || socket.waitForReadyRead(3000)))
            bytes += socket.readAll();
        return bytes;
    }

    Door door;
    QTcpSocket socket;
};

} // namespace

class tst_RelayPump : public QObject
{
    Q_OBJECT

private slots:
    void bytesGoBothWays();
    void firstMessageNeedNotBeJson();
    void clientThatGoesEndsTheRelay();
    void silentClientIsDroppedBehindThreeSeconds();
    void lostServerIsConnectedAgain();
    void stopEndsTheRelay();
    void clientMaySpeakAfterItsFirstSilentWait();
    void dataSetTheIdleCountTo1();
    void failedReconnectIsFollowedByAPause();
};

void tst_RelayPump::bytesGoBothWays()
{
    Peer server([](Connection& connection) {
        const QByteArray login = connection.read(36);
        connection.write("welcome" + login);
        connection.write(connection.read(4));
        connection.waitForEnd();
    });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    const QByteArray login = R"({"userName":"me","password":"open"}.)";
    QElapsedTimer timer;
    timer.start();
    client.write(login);
    relay.start();

    QCOMPARE(client.read(7 + login.size()), "welcome" + login);
    client.write("more");
    QCOMPARE(client.read(4), QByteArray("more"));

    // A client that sends at once is not kept waiting.
    QVERIFY(timer.elapsed() < 2500);
    relay.stopThread();
    QCOMPARE(log.with("[debug][run][ false b:"), QStringList("[debug][run][ false b: 36 ]"));
    QCOMPARE(log.with("[debug][run][b:"), QStringList("[debug][run][b: 4 ]"));
}

void tst_RelayPump::firstMessageNeedNotBeJson()
{
    Peer server([](Connection& connection) {
        connection.write(connection.read(5));
        connection.waitForEnd();
    });
    for (const QByteArray& message :
         {QByteArray("plain"), QByteArray(R"({"userName":"me","password":"open"})")}) {
        Client client;
        LogCapture log;
        Relay relay(client.door.accepted, server.port());
        client.write(message);
        relay.start();

        QCOMPARE(client.read(5), message.left(5));

        relay.stopThread();
        const QString user = message == "plain" ? QStringLiteral(" ") : QStringLiteral("me open");
        QCOMPARE(log.with("[usr:"), QStringList("[debug][run][usr: " + user + " ]"));
    }
}

void tst_RelayPump::clientThatGoesEndsTheRelay()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    client.write("hello");
    relay.start();
    QTRY_VERIFY(!log.with("[usr:").isEmpty());

    client.socket.disconnectFromHost();

    QVERIFY(relay.wait(3000));
    QCOMPARE(log.with("[warning][run][客户端断开了: 127.0.0.1").size(), 1);
}

void tst_RelayPump::silentClientIsDroppedBehindThreeSeconds()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    client.write("hello");
    relay.start();
    QTRY_VERIFY(!log.with("[usr:").isEmpty());
    QElapsedTimer timer;
    timer.start();

    QVERIFY(relay.wait(8000));

    QVERIFY2(timer.elapsed() > 2500 && timer.elapsed() < 6000,
             qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(
        log.with("没有数据则踢掉"),
        QStringList(
            QStringLiteral("[warning][run][3s没有数据则踢掉: %1 ]").arg(client.door.accepted)));
}

void tst_RelayPump::lostServerIsConnectedAgain()
{
    std::atomic<int> visits{0};
    Peer server([&visits](Connection& connection) {
        const bool isFirst = visits++ == 0;
        if (connection.read(5).size() < 5 || isFirst)
            return;
        connection.write("back!");
        connection.waitForEnd();
    });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    client.write("hello");
    relay.start();
    QTRY_VERIFY(!log.with("正在尝试重新连接").isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(visits.load(), 2, 5000);

    // What is sent while the server is still being connected is lost, so it is sent again.
    QByteArray answer;
    for (int i = 0; i < 5 && answer.isEmpty(); ++i) {
        client.write("again");
        answer = client.read(5);
    }
    QCOMPARE(answer, QByteArray("back!"));

    relay.stopThread();
    QCOMPARE(log.with("正在尝试重新连接").first(),
             QStringLiteral("[warning][run][服务器已断开127.0.0.1:%1 :正在尝试重新连接]")
                 .arg(server.port()));
    QVERIFY(log.with("重新连接失败")
                .first()
                .startsWith(QStringLiteral("[warning][run][服务器已断开127.0.0.1:%1 :重新连接失败:")
                                .arg(server.port())));
}

void tst_RelayPump::stopEndsTheRelay()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    client.write("hello");
    relay.start();
    QTRY_VERIFY(!log.with("[usr:").isEmpty());
    QElapsedTimer timer;
    timer.start();

    relay.stopThread();

    QVERIFY(timer.elapsed() < 1500);
}

void tst_RelayPump::clientMaySpeakAfterItsFirstSilentWait()
{
    Peer server([](Connection& connection) {
        connection.write(connection.read(5));
        connection.waitForEnd();
    });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    relay.start();
    QTRY_COMPARE(log.with("[debug][run][ false b: 0 ]").size(), 1);

    client.write("hello");

    QByteArray answer = client.read(5);
    answer += client.read(5 - answer.size());
    QCOMPARE(answer, QByteArray("hello"));
    relay.stopThread();
    QCOMPARE(log.with("[debug][run][ false b:"),
             QStringList({"[debug][run][ false b: 0 ]", "[debug][run][ false b: 5 ]"}));
    QVERIFY(log.with("isWaitAuth").isEmpty());
}

void tst_RelayPump::dataSetTheIdleCountTo1()
{
    Peer server([](Connection& connection) { connection.waitForEnd(); });
    Client client;
    QSemaphore taken;
    QSemaphore gone;
    LogCapture log;
    Relay relay(client.door.accepted, server.port());
    client.write("hello");
    relay.start();
    QTRY_VERIFY(!log.with("[usr:").isEmpty());

    // The relay is held while it has the bytes, until its client has gone: else a pass in between
    // would count one more.
    log.onLine([&](const QString& line) {
        if (!line.contains("[b: 4 ]"))
            return;
        taken.release();
        gone.tryAcquire(1, 5000);
    });
    client.write("more");
    const bool isTaken = taken.tryAcquire(1, 3000);
    client.socket.disconnectFromHost();
    gone.release();

    QVERIFY(isTaken);
    QVERIFY(relay.wait(3000));
    QCOMPARE(log.with("[b: 4 ]").size(), 1);
    QCOMPARE(log.with("客户端断开了"), QStringList("[warning][run][客户端断开了: 127.0.0.1 1 ]"));
}

void tst_RelayPump::failedReconnectIsFollowedByAPause()
{
    auto server = std::make_unique<Peer>([](Connection& connection) { connection.read(5); });
    Client client;
    LogCapture log;
    Relay relay(client.door.accepted, server->port());
    client.write("hello");
    relay.start();
    QTRY_VERIFY(!log.with("[usr:").isEmpty());
    server.reset();
    QTRY_VERIFY_WITH_TIMEOUT(log.with("重新连接失败").size() >= 1, 8000);
    const int failures = log.with("重新连接失败").size();
    QElapsedTimer timer;
    timer.start();

    QTRY_VERIFY_WITH_TIMEOUT(log.with("重新连接失败").size() >= failures + 2, 20000);

    // Two pauses of a second, less the time that the first failure waited to be seen.
    QVERIFY2(timer.elapsed() >= 1800, qPrintable(QString::number(timer.elapsed())));
}

QTEST_GUILESS_MAIN(tst_RelayPump)
#include "tst_RelayPump.moc"
