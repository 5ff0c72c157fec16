#include "clients/BlockTcpObject.h"

#include "Peer.h"
#include "clients/BlockThreadTcp.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>
#include <QTimer>
#include <QtTest>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");
const QString kRefused = QStringLiteral("TcpSocket.waitForConnected error:Connection refused");
const QString kBusy = QStringLiteral("Event loop is running");

void echo(Connection& connection)
{
    for (;;) {
        const QByteArray request = connection.readFrame();
        if (request.isEmpty() || !connection.write(answerTo(request, {}, request.mid(16))))
            return;
    }
}

/// Takes requests and never answers.
void swallow(Connection& connection)
{
    connection.waitForEnd();
}

int entriesOf(const char* folder)
{
    return QDir(QString::fromLatin1(folder))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

int threads()
{
    return entriesOf("/proc/self/task");
}

int descriptors()
{
    return entriesOf("/proc/self/fd");
}

bool send(BlockTcpObject& client, const QByteArray& data, int number = 1)
{
    return client.sendData(2000, data, number, QVariant());
}

} // namespace

class tst_BlockTcpObject : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void exchangeReturnsTheAnswer();
    void jsonAreaStaysWithTheWorker();
    void refusedPeerGivesTheWorkersWords();
    void refusedPeerStaysRefusedInARow();
    void secondEndOfARefusalDoesNotEndTheNextCall();
    void silentPeerTimesOut();
    void timeoutOfAGoodExchangeIsStopped();
    void timeoutIsAddedToTheMapBefore();
    void lateAnswerEndsTheNextWaitEarly();
    void callAfterALateAnswerThatHasArrivedIsWhole();
    void failureOfTheWorkerIsCopied();
    void peersEndBeforeTheLookMakesTheCallFail();
    void errorReplyIsTrue();
    void reentryIsRefused();
    void callFromTheEndOfTheWaitIsRefused();
    void callFromATimerBesideTheEndIsRefused();
    void endedExchangeCannotTimeOut();
    void timedOutCallKeepsItsText();
    void refusedCallLeavesTheObjectReady();
    void eventsAreServedDuringTheWait();
    void progressIsPassedOn();
    void disconnectSignalClosesTheConnection();
    void peersEndIsPassedOn();
    void thousandExchangesLeaveNothingBehind();
    void manyObjectsLeaveNothingBehind();
    void twoFacadesDoNotShare();
    void facadesInTwoThreads();
    void releasedObjectFails();
    void releaseInsideTheWaitEndsIt();
    void releaseBehindTheRequestEndsTheCall();
    void peerThatAnswersManyTimes();
};

void tst_BlockTcpObject::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
}

void tst_BlockTcpObject::exchangeReturnsTheAnswer()
{
    Peer peer(echo);
    BlockTcpObject client;
    QCOMPARE(client.waitTimeout(), 15000);
    QVERIFY(!client.isOk());
    client.init(kLoopback, peer.port());
    QSignalSpy finished(&client, &BlockTcpObject::sigFinished);

    QVERIFY(client.sendData(5101, QByteArray("data"), 7, QVariantMap{{"a", 1}}));

    QVERIFY(client.isOk());
    QCOMPARE(client.receiveData(), QByteArray("{\"a\":1}data"));
    QCOMPARE(client.receiveMap().value("revCommand").toInt(), 15101);
    QCOMPARE(client.receiveMap().value("sendCommand").toInt(), 5101);
    QCOMPARE(client.receiveMap().value("number").toInt(), 7);
    QCOMPARE(client.receiveMap().value("ip").toString(), kLoopback);
    QCOMPARE(client.receiveMap().value("port").toInt(), int(peer.port()));
    QCOMPARE(finished.count(), 1);
}

void tst_BlockTcpObject::jsonAreaStaysWithTheWorker()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), "{\"a\":1}", "data"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());

    QVERIFY(send(client, {}));

    QCOMPARE(client.receiveData(), QByteArray("data"));
    QCOMPARE(client.worker()->receiveJsonVar(), QVariant(QVariantMap{{"a", 1}}));
}

void tst_BlockTcpObject::refusedPeerGivesTheWorkersWords()
{
    BlockTcpObject client;
    client.init(kLoopback, refusedPort());

    QVERIFY(!send(client, {}));

    QCOMPARE(client.lastError(), kRefused);
    QCOMPARE(client.receiveMap().value("ret_code").toInt(), 404);
    QCOMPARE(client.receiveMap().value("msg").toString(), QStringLiteral("socketError:0"));
}

void tst_BlockTcpObject::refusedPeerStaysRefusedInARow()
{
    BlockTcpObject client;
    client.init(kLoopback, refusedPort());

    for (int i = 0; i < 300; ++i) {
        QVERIFY(!send(client, {}));
        QCOMPARE(client.lastError(), kRefused);
    }
}

void tst_BlockTcpObject::secondEndOfARefusalDoesNotEndTheNextCall()
{
    Peer peer([](Connection& connection) {
        const QByteArray request = connection.readFrame();
        connection.pause(100);
        connection.write(answerTo(request, {}, "own"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    // Behind the client's own connection: the worker tells the second end when the next call waits.
    connect(
        client.worker(), &BlockThreadTcp::sigFinished, client.worker(), [] { QThread::msleep(50); },
        Qt::DirectConnection);
    client.init(kLoopback, refusedPort());
    QVERIFY(!send(client, "first"));
    client.init(kLoopback, peer.port());

    QVERIFY2(send(client, "second"), qPrintable(client.lastError()));

    QCOMPARE(client.receiveData(), QByteArray("own"));
}

void tst_BlockTcpObject::silentPeerTimesOut()
{
    Peer peer(swallow);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(150);
    QElapsedTimer timer;
    timer.start();

    QVERIFY(!send(client, {}));

    QVERIFY(timer.elapsed() >= 140);
    QVERIFY(timer.elapsed() < 3000);
    QVERIFY(!client.isOk());
    QVERIFY(client.worker()->getIsOk());
    QCOMPARE(client.lastError(), QStringLiteral("Tcp requst timeout"));
    QCOMPARE(client.receiveMap(), QVariantMap({{"ret_code", 404}, {"msg", "timeout"}}));
}

void tst_BlockTcpObject::timeoutOfAGoodExchangeIsStopped()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(400);
    QVERIFY(send(client, "data"));
    QSignalSpy finished(&client, &BlockTcpObject::sigFinished);

    QVERIFY(!finished.wait(600)); // the limit of 400 ms must not strike later

    QVERIFY(client.isOk());
    QVERIFY(client.lastError().isEmpty());
}

void tst_BlockTcpObject::timeoutIsAddedToTheMapBefore()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, "data"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(2000);
    QVERIFY(send(client, {}, 1));
    client.setWaitTimeout(100);

    QVERIFY(!send(client, {}, 2));

    QCOMPARE(client.receiveMap().value("number").toInt(), 1);
    QCOMPARE(client.receiveMap().value("ret_code").toInt(), 404);
    QCOMPARE(client.receiveMap().value("msg").toString(), QStringLiteral("timeout"));
    QCOMPARE(client.receiveData(), QByteArray("data"));
}

void tst_BlockTcpObject::lateAnswerEndsTheNextWaitEarly()
{
    // The answer to the first request comes while the second, of the same number and command, is
    // waited for.
    Peer peer([](Connection& connection) {
        const QByteArray first = connection.readFrame();
        connection.readFrame();
        connection.write(answerTo(first, {}, "late"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(100);
    QVERIFY(!send(client, "first"));
    client.setWaitTimeout(5000);

    QVERIFY(send(client, "second"));

    QCOMPARE(client.receiveData(), QByteArray("late"));
}

void tst_BlockTcpObject::callAfterALateAnswerThatHasArrivedIsWhole()
{
    Peer peer([](Connection& connection) {
        const QByteArray first = connection.readFrame();
        connection.pause(150);
        connection.write(answerTo(first, {}, "late"));
        const QByteArray second = connection.readFrame();
        connection.pause(100);
        connection.write(answerTo(second, {}, "own"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(50);
    QVERIFY(!send(client, "first", 1));
    // Blocked without events: the late end waits in the queue when the next call starts.
    for (int i = 0; i < 500 && client.worker()->receiveData() != "late"; ++i)
        QThread::msleep(10);
    QCOMPARE(client.worker()->receiveData(), QByteArray("late"));
    client.setWaitTimeout(5000);

    QVERIFY(send(client, "second", 2));

    QCOMPARE(client.receiveData(), QByteArray("own"));
}

void tst_BlockTcpObject::failureOfTheWorkerIsCopied()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QVERIFY(send(client, "before"));

    QVERIFY(!client.sendData("no such command", QByteArray(), 1, QVariant()));

    QVERIFY(client.lastError().contains("no such command"));
    QVERIFY(client.receiveMap().isEmpty());
    QVERIFY(client.receiveData().isEmpty());
}

void tst_BlockTcpObject::peersEndBeforeTheLookMakesTheCallFail()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, "data"));
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    connect(&client, &BlockTcpObject::sigFinished, this,
            [&client] { QTRY_VERIFY(!client.worker()->getIsOk()); });

    QVERIFY(!send(client, {}));

    QCOMPARE(client.lastError(), QStringLiteral("socketError:1"));
    QCOMPARE(client.receiveData(), QByteArray("data"));
    QCOMPARE(client.receiveMap().value("revCommand").toInt(), 12000);
    QCOMPARE(client.receiveMap().value("ret_code").toInt(), 404);
}

void tst_BlockTcpObject::errorReplyIsTrue()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, R"({"ret_code":1,"err_msg":"no"})"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setLastError(QStringLiteral("before"));

    QVERIFY(send(client, {}));

    QCOMPARE(client.receiveMap().value("err_msg"), QVariant("[1] no"));
    QCOMPARE(client.lastError(), QStringLiteral("before"));
}

void tst_BlockTcpObject::reentryIsRefused()
{
    Peer peer([](Connection& connection) {
        const QByteArray request = connection.readFrame();
        connection.pause(100);
        connection.write(answerTo(request, {}, "data"));
        connection.waitForEnd();
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    bool isInnerOk = true;
    bool isOkInside = false;
    QString innerError;
    QTimer::singleShot(0, &client, [&] {
        isInnerOk = send(client, "inner");
        isOkInside = client.isOk();
        innerError = client.lastError();
    });

    const bool isOuterOk = send(client, "outer");
    QVERIFY2(isOuterOk, qPrintable(client.lastError()));

    QVERIFY(!isInnerOk);
    QVERIFY(isOkInside);
    QCOMPARE(innerError, kBusy);
    QCOMPARE(client.receiveData(), QByteArray("data"));
}

void tst_BlockTcpObject::callFromTheEndOfTheWaitIsRefused()
{
    std::atomic<int> requests{0};
    Peer peer([&requests](Connection& connection) {
        for (QByteArray request = connection.readFrame(); !request.isEmpty();
             request = connection.readFrame()) {
            ++requests;
            connection.write(answerTo(request, {}, request.mid(16)));
        }
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QStringList innerErrors;
    connect(&client, &BlockTcpObject::sigFinished, this, [&] {
        if (!send(client, "inner"))
            innerErrors += client.lastError();
    });

    QVERIFY(send(client, "outer"));

    QCOMPARE(innerErrors, QStringList(kBusy));
    QVERIFY(client.isOk());
    QCOMPARE(client.receiveData(), QByteArray("outer"));
    QCOMPARE(requests.load(), 1);
}

void tst_BlockTcpObject::callFromATimerBesideTheEndIsRefused()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    int sent = 0;
    QTimer beside;
    connect(&beside, &QTimer::timeout, this, [&] { sent += send(client, "inner") ? 1 : 0; });
    // The wait is over, and its call has still to return, when the timer's turn comes.
    connect(&client, &BlockTcpObject::sigFinished, this, [] { QCoreApplication::processEvents(); });
    beside.start(0);

    for (int i = 0; i < 200; ++i) {
        const QByteArray data = QByteArray::number(i);
        QVERIFY2(send(client, data, i), qPrintable(client.lastError()));
        QCOMPARE(client.receiveData(), data);
    }

    QCOMPARE(sent, 0);
}

void tst_BlockTcpObject::endedExchangeCannotTimeOut()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QVERIFY(send(client, "warm"));
    client.setWaitTimeout(2000);
    int ends = 0;
    bool isToldTwice = false;
    connect(&client, &BlockTcpObject::sigFinished, this, [&] {
        // Keeps the call from returning for longer than it may wait.
        if (++ends == 1)
            isToldTwice = QTest::qWaitFor([&ends] { return ends > 1; }, 2500);
    });

    QVERIFY2(send(client, "data"), qPrintable(client.lastError()));

    QVERIFY(!isToldTwice);
    QVERIFY(client.isOk());
    QCOMPARE(client.receiveData(), QByteArray("data"));
    QVERIFY(!client.receiveMap().contains("msg"));
}

void tst_BlockTcpObject::timedOutCallKeepsItsText()
{
    Peer peer(swallow);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(100);
    int refused = 0;
    connect(&client, &BlockTcpObject::sigFinished, this,
            [&] { refused += send(client, "inner") ? 0 : 1; });

    QVERIFY(!send(client, "outer"));

    QCOMPARE(refused, 1);
    QCOMPARE(client.lastError(), QStringLiteral("Tcp requst timeout"));
}

void tst_BlockTcpObject::refusedCallLeavesTheObjectReady()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    const auto inner = connect(&client, &BlockTcpObject::sigFinished, this,
                               [&client] { QVERIFY(!send(client, "inner")); });
    QVERIFY(send(client, "first"));
    disconnect(inner);

    QVERIFY(send(client, "second"));

    QCOMPARE(client.receiveData(), QByteArray("second"));
}

void tst_BlockTcpObject::eventsAreServedDuringTheWait()
{
    Peer peer(swallow);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.setWaitTimeout(200);
    int ticks = 0;
    QTimer ticker;
    connect(&ticker, &QTimer::timeout, this, [&] { ++ticks; });
    ticker.start(10);

    QVERIFY(!send(client, {}));

    QVERIFY(ticks >= 5);
}

void tst_BlockTcpObject::progressIsPassedOn()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.worker()->setPayloadSize(1000);
    QSignalSpy written(&client, &BlockTcpObject::sigWriteProgress);
    QSignalSpy read(&client, &BlockTcpObject::sigReadProgress);

    QVERIFY(send(client, QByteArray(2484, 'x')));

    QCOMPARE(written.at(0).at(0).toLongLong(), 1000);
    QCOMPARE(written.at(0).at(1).toLongLong(), 2500);
    QCOMPARE(written.at(1).at(0).toLongLong(), 248);
    QCOMPARE(written.last().at(0).toLongLong(), 100);
    QCOMPARE(read.last().at(0).toULongLong(), quint64(100));
    QCOMPARE(read.last().at(1).toULongLong(), quint64(100));
}

void tst_BlockTcpObject::disconnectSignalClosesTheConnection()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QVERIFY(send(client, "data"));
    QSignalSpy disconnected(&client, &BlockTcpObject::sigDisconnected);

    emit client.sigDisConnectTcp();

    QVERIFY(disconnected.wait(2000));
    QVERIFY(send(client, "again"));
    QCOMPARE(peer.connections(), 2);
}

void tst_BlockTcpObject::peersEndIsPassedOn()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, "data"));
        connection.pause(50);
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QSignalSpy disconnected(&client, &BlockTcpObject::sigDisconnected);

    QVERIFY(send(client, {}));

    QVERIFY(disconnected.count() == 1 || disconnected.wait(2000));
}

void tst_BlockTcpObject::thousandExchangesLeaveNothingBehind()
{
    Peer peer(echo);
    const int threadsBefore = threads();
    const int descriptorsBefore = descriptors();
    {
        BlockTcpObject client;
        client.init(kLoopback, peer.port());
        for (int i = 0; i < 1000; ++i) {
            QVERIFY(send(client, QByteArray::number(i), i));
            QCOMPARE(client.receiveData(), QByteArray::number(i));
        }
        QCOMPARE(threads(), threadsBefore + 1);
        QCOMPARE(peer.connections(), 1);
    }
    QTRY_COMPARE(threads(), threadsBefore);
    QTRY_COMPARE(descriptors(), descriptorsBefore);
}

void tst_BlockTcpObject::manyObjectsLeaveNothingBehind()
{
    Peer peer(echo);
    const int threadsBefore = threads();
    const int descriptorsBefore = descriptors();
    for (int i = 0; i < 50; ++i) {
        BlockTcpObject client;
        client.init(kLoopback, peer.port());
        QVERIFY(send(client, "data"));
    }
    QTRY_COMPARE(threads(), threadsBefore);
    QTRY_COMPARE(descriptors(), descriptorsBefore);
}

void tst_BlockTcpObject::twoFacadesDoNotShare()
{
    Peer good(echo);
    Peer silent(swallow);
    BlockTcpObject first;
    BlockTcpObject second;
    first.init(kLoopback, good.port());
    second.init(kLoopback, silent.port());
    second.setWaitTimeout(100);

    QVERIFY(!send(second, "x"));
    QVERIFY(send(first, "data"));
    first.releaseThis();

    QVERIFY(!send(second, "x"));
    QCOMPARE(second.lastError(), QStringLiteral("Tcp requst timeout"));
    QCOMPARE(first.receiveData(), QByteArray("data"));
    QVERIFY(first.lastError().isEmpty());
}

void tst_BlockTcpObject::facadesInTwoThreads()
{
    Peer left(echo);
    Peer right(echo);
    std::atomic<int> good{0};
    const auto work = [&good](quint16 port) {
        BlockTcpObject client;
        client.init(kLoopback, port);
        for (int i = 0; i < 200; ++i)
            good += send(client, QByteArray::number(i), i) &&
                    client.receiveData() == QByteArray::number(i);
    };
    std::thread first(work, left.port());
    std::thread second(work, right.port());
    first.join();
    second.join();

    QCOMPARE(good.load(), 400);
}

void tst_BlockTcpObject::releasedObjectFails()
{
    Peer peer(echo);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    client.releaseThis();
    client.releaseThis();
    client.init(kLoopback, peer.port());

    QVERIFY(!send(client, {}));

    QCOMPARE(client.lastError(), QStringLiteral("request: the client has been released"));
    QVERIFY(!client.worker());
}

void tst_BlockTcpObject::releaseInsideTheWaitEndsIt()
{
    Peer peer(swallow);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    QTimer::singleShot(50, &client, &BlockTcpObject::releaseThis);
    QElapsedTimer timer;
    timer.start();

    QVERIFY(!send(client, {}));

    QVERIFY(timer.elapsed() < 5000);
    QVERIFY(!client.lastError().isEmpty());
}

void tst_BlockTcpObject::releaseBehindTheRequestEndsTheCall()
{
    Peer peer(swallow);
    BlockTcpObject client;
    client.init(kLoopback, peer.port());
    connect(&client, &BlockTcpObject::sigSendData, &client, &BlockTcpObject::releaseThis);
    // A call that nothing ends would hold up the test for ever.
    QTimer limit;
    connect(&limit, &QTimer::timeout, this, [] { qFatal("the call goes on without a worker"); });
    limit.start(5000);

    QVERIFY(!send(client, {}));

    QVERIFY(!client.lastError().isEmpty());
}

void tst_BlockTcpObject::peerThatAnswersManyTimes()
{
    // Each further answer replaces the result while this thread copies it. Data and map always
    // belong to the same one.
    Peer peer([](Connection& connection) {
        for (;;) {
            const QByteArray request = connection.readFrame();
            if (request.isEmpty())
                return;
            QByteArray answers;
            for (int i = 0; i < 50; ++i)
                answers +=
                    answerTo(request, {}, R"({"create_on":")" + QByteArray::number(i) + "\"}");
            connection.write(answers);
        }
    });
    BlockTcpObject client;
    client.init(kLoopback, peer.port());

    for (int i = 0; i < 1000; ++i) {
        QVERIFY(send(client, "data"));
        const QJsonObject data = QJsonDocument::fromJson(client.receiveData()).object();
        QCOMPARE(client.receiveMap().value("create_on").toString(),
                 data.value("create_on").toString());
    }
}

QTEST_GUILESS_MAIN(tst_BlockTcpObject)
#include "tst_BlockTcpObject.moc"
