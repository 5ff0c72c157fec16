#include "EchoService.h"
#include "FreePort.h"
#include "LogCapture.h"
#include "RawClient.h"

#include "service/KyNetworkObject.h"

#include <memory>

using ky::buildFrame;

/// Many clients at once, and many after one another.
class tst_ServiceLoad : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false")); }

    void threeHundredClientsLoseNoRequest();
    void hundredThousandConnectionsComeAndGo();
    void kickAndRestartUnderChurn();
    void frontIsToggledUnderLoad();
};

namespace {

constexpr int kThreads = 8;

bool isEchoed(RawClient& client, quint16 number, const QByteArray& data)
{
    return client.send(buildFrame(2000, number, {}, data)) &&
           client.receiveFrame() == buildFrame(12000, number, {}, data);
}

} // namespace

void tst_ServiceLoad::threeHundredClientsLoseNoRequest()
{
    constexpr int kClientsEach = 38; // 304 in all
    constexpr int kRequests = 100;
    const int before = threadCount();
    EchoService service;
    std::atomic<int> wrong{0};
    std::atomic<int> answered{0};
    std::atomic<int> connected{0};
    {
        const ClientThreads clients(kThreads, [&](int t) {
            std::vector<std::unique_ptr<RawClient>> mine;
            for (int i = 0; i < kClientsEach; ++i) {
                mine.push_back(std::make_unique<RawClient>());
                mine.back()->connectTo(service.port(), 2 + t);
                ++connected;
            }
            while (connected < kThreads * kClientsEach)
                std::this_thread::yield();
            for (int n = 0; n < kRequests; ++n) {
                for (int i = 0; i < kClientsEach; ++i)
                    mine[size_t(i)]->send(
                        buildFrame(2000, quint16(n), {}, QByteArray::number(t * 1000 + i)));
            }
            for (int i = 0; i < kClientsEach; ++i) {
                for (int n = 0; n < kRequests; ++n) {
                    const QByteArray answer = mine[size_t(i)]->receiveFrame();
                    const QByteArray due =
                        buildFrame(12000, quint16(n), {}, QByteArray::number(t * 1000 + i));
                    ++(answer == due ? answered : wrong);
                }
            }
        });
        QVERIFY(serveUntil([&] { return clients.areDone(); }, 120000));
    }

    QCOMPARE(wrong.load(), 0);
    QCOMPARE(answered.load(), kThreads * kClientsEach * kRequests);
    QTRY_COMPARE(threadCount(), before);
}

void tst_ServiceLoad::hundredThousandConnectionsComeAndGo()
{
    constexpr int kConnectionsEach = 100000 / kThreads;
    const int before = threadCount();
    EchoService service;
    std::atomic<int> served{0};
    {
        const ClientThreads clients(kThreads, [&](int t) {
            for (int i = 0; i < kConnectionsEach; ++i) {
                RawClient client;
                if (client.connectTo(service.port(), 2 + t) &&
                    isEchoed(client, quint16(i), QByteArray::number(t * 1000000 + i)))
                    ++served;
                if (i % 2)
                    client.reset();
            }
        });
        QVERIFY(serveUntil([&] { return clients.areDone(); }, 400000));
    }

    QCOMPARE(served.load(), kThreads * kConnectionsEach);
    QCOMPARE(service.requests, qint64(served.load()));
    QTRY_COMPARE(threadCount(), before);
}

void tst_ServiceLoad::kickAndRestartUnderChurn()
{
    const int before = threadCount();
    EchoService service;
    const quint16 port = service.port();
    std::atomic<bool> isOver{false};
    std::atomic<int> served{0};
    {
        const ClientThreads clients(kThreads, [&](int t) {
            while (!isOver) {
                RawClient client;
                if (client.connectTo(port, 2 + t) && isEchoed(client, 1, "churn"))
                    ++served;
            }
        });
        for (int round = 0; round < 30; ++round) {
            const int start = served;
            QVERIFY(serveUntil([&] { return served > start + 20; }, 20000));
            if (round % 3 == 0) {
                service.server.KickAllClients();
            } else if (round % 3 == 1) {
                service.server.KickAllClients();
                service.server.close();
                QVERIFY(service.server.startListen(port));
            } else {
                service.server.stopListen();
                QVERIFY(service.server.startListen(port));
            }
        }
        isOver = true;
        QVERIFY(serveUntil([&] { return clients.areDone(); }, 30000));
    }

    QTRY_COMPARE(threadCount(), before);
}

namespace {

/// A relay object with the daemon's front as its child.
class FrontEcho : public QObject
{
    Q_OBJECT

public:
    KyNetworkObject* front = new KyNetworkObject(this);

public slots:
    void slotRevInterface(QString, qintptr handle, quint16 answerType, quint16 number,
                          QByteArray data, QVariant)
    {
        front->sendDataToClient(handle, ky::buildFrame(answerType, number, {}, data));
    }
};

} // namespace

void tst_ServiceLoad::frontIsToggledUnderLoad()
{
    const int before = threadCount();
    const LogCapture log; // the rules leave nothing but what Qt says
    const quint16 port = freePort();
    std::atomic<bool> isOver{false};
    std::atomic<int> served{0};
    {
        FrontEcho daemon;
        const ClientThreads clients(kThreads, [&](int t) {
            while (!isOver) {
                RawClient client;
                if (!client.connectTo(port, 2 + t))
                    std::this_thread::yield();
                else
                    while (!isOver && isEchoed(client, 1, "load"))
                        ++served;
            }
        });
        bool isAlive = true;
        for (int round = 0; round < 20 && isAlive; ++round) {
            const int start = served;
            isAlive = daemon.front->listenTcp(port, 1, 0, true) &&
                      serveUntil([&] { return served > start + 200; }, 20000) &&
                      daemon.front->listenTcp(port, 1, 0, true) && !daemon.front->isTcpListening();
        }
        isOver = true;
        const bool areDone = serveUntil([&] { return clients.areDone(); }, 30000);
        QVERIFY(isAlive);
        QVERIFY(areDone);
    }
    QTRY_COMPARE(threadCount(), before);
    QCOMPARE(log.ofType(QtWarningMsg), QStringList());
}

QTEST_GUILESS_MAIN(tst_ServiceLoad)
#include "tst_ServiceLoad.moc"
