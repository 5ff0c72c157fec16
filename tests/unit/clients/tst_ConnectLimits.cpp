// What takes the full limit of a connect (5 or 6 s), all cases at the same time.
#include "Peer.h"
#include "clients/BlockTcpObject.h"
#include "clients/BlockThreadTcp.h"
#include "clients/KyTcpClient.h"

#include <QElapsedTimer>
#include <QtTest>

#include <future>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");

struct Outcome
{
    bool isOk = false;
    qint64 ms = 0;
    QString error;
    QVariantMap map;
    int finished = 0;
};

Outcome askWorker(quint16 port)
{
    BlockThreadTcp worker;
    worker.setIp(kLoopback);
    worker.setPort(port);
    QSignalSpy finished(&worker, &BlockThreadTcp::sigFinished);
    QElapsedTimer timer;
    timer.start();
    worker.sendData(2000, QByteArray(), 1, QVariant());
    return {worker.getIsOk(), timer.elapsed(), worker.lastError(), worker.receiveMap(),
            finished.count()};
}

Outcome askFacade(quint16 port)
{
    BlockTcpObject client;
    client.init(kLoopback, port);
    QElapsedTimer timer;
    timer.start();
    const bool isOk = client.sendData(2000, QByteArray(), 1, QVariant());
    return {isOk, timer.elapsed(), client.lastError(), client.receiveMap()};
}

/// A time-out inside the connect; the worker's own failure comes behind it.
Outcome askFacadeBriefly(quint16 port)
{
    BlockTcpObject client;
    client.init(kLoopback, port);
    client.setWaitTimeout(100);
    QSignalSpy finished(&client, &BlockTcpObject::sigFinished);
    QElapsedTimer timer;
    timer.start();
    const bool isOk = client.sendData(2000, QByteArray(), 1, QVariant());
    Outcome outcome{isOk, timer.elapsed(), client.lastError(), client.receiveMap()};
    const bool hasEnded = QTest::qWaitFor([&] { return finished.count() >= 2; }, 10000);
    outcome.finished = hasEnded ? finished.count() : -1;
    if (client.lastError() != outcome.error || client.receiveMap() != outcome.map)
        outcome.error = QStringLiteral("changed behind the call");
    return outcome;
}

Outcome askRelayClient(quint16 port)
{
    KyTcpClient client;
    QElapsedTimer timer;
    timer.start();
    const bool isOk = client.sendData({{"ip", kLoopback}, {"port", port}});
    return {isOk, timer.elapsed(), {}, {}};
}

} // namespace

class tst_ConnectLimits : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void workerGivesUpAfterSixSeconds();
    void facadeReturnsTheWorkersWords();
    void shortTimeoutEndsInsideTheConnect();
    void relayClientGivesUpAfterFiveSeconds();

private:
    SilentAddress _silent;
    Outcome _worker;
    Outcome _facade;
    Outcome _brief;
    Outcome _relay;
};

void tst_ConnectLimits::initTestCase()
{
    const quint16 port = _silent.port();
    auto worker = std::async(std::launch::async, askWorker, port);
    auto facade = std::async(std::launch::async, askFacade, port);
    auto brief = std::async(std::launch::async, askFacadeBriefly, port);
    auto relay = std::async(std::launch::async, askRelayClient, port);
    _worker = worker.get();
    _facade = facade.get();
    _brief = brief.get();
    _relay = relay.get();
}

void tst_ConnectLimits::workerGivesUpAfterSixSeconds()
{
    QVERIFY(!_worker.isOk);
    QVERIFY2(_worker.ms >= 5900 && _worker.ms < 9000, qPrintable(QString::number(_worker.ms)));
    QCOMPARE(_worker.error,
             QStringLiteral("TcpSocket.waitForConnected error:Socket operation timed out"));
    QVERIFY(_worker.map.isEmpty());
    QCOMPARE(_worker.finished, 1);
}

void tst_ConnectLimits::facadeReturnsTheWorkersWords()
{
    QVERIFY(!_facade.isOk);
    QVERIFY2(_facade.ms >= 5900 && _facade.ms < 9000, qPrintable(QString::number(_facade.ms)));
    QCOMPARE(_facade.error,
             QStringLiteral("TcpSocket.waitForConnected error:Socket operation timed out"));
}

void tst_ConnectLimits::shortTimeoutEndsInsideTheConnect()
{
    QVERIFY(!_brief.isOk);
    QVERIFY2(_brief.ms < 3000, qPrintable(QString::number(_brief.ms)));
    QCOMPARE(_brief.error, QStringLiteral("Tcp requst timeout"));
    QCOMPARE(_brief.map, QVariantMap({{"ret_code", 404}, {"msg", "timeout"}}));
    QCOMPARE(_brief.finished, 2);
}

void tst_ConnectLimits::relayClientGivesUpAfterFiveSeconds()
{
    QVERIFY(!_relay.isOk);
    QVERIFY2(_relay.ms >= 4900 && _relay.ms < 8000, qPrintable(QString::number(_relay.ms)));
}

QTEST_GUILESS_MAIN(tst_ConnectLimits)
#include "tst_ConnectLimits.moc"
