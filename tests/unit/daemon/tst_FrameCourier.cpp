#include "TaskState.h"

#include "daemon/FrameCourier.h"
#include "daemon/PeerExchange.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <memory>

class tst_FrameCourier : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(QDir::setCurrent(_folder.path())); }
    void framesAreDeliveredInOrder();
    void slowPeerDoesNotBlockTheCaller();
    void failureIsLoggedAndTheNextGoesOut();
    void oldestIsDroppedWhenTooManyWait();
    void endDropsWhatWaits();
    void endCallsOffAWaitForAnAnswer();

private:
    QTemporaryDir _folder; ///< for the command database
};

namespace {

ky::Parcel parcel(int command)
{
    return {QStringLiteral("127.0.0.1"), 1, command, 123, QByteArray("x")};
}

} // namespace

void tst_FrameCourier::framesAreDeliveredInOrder()
{
    QList<int> seen;
    QSemaphore done;
    ky::FrameCourier courier([&](const ky::Parcel& one) {
        seen << one.command;
        done.release();
        return QString();
    });

    for (int i = 0; i < 100; ++i)
        courier.post(parcel(i));

    QVERIFY(done.tryAcquire(100, 5000));
    for (int i = 0; i < 100; ++i)
        QCOMPARE(seen.at(i), i);
}

void tst_FrameCourier::slowPeerDoesNotBlockTheCaller()
{
    QSemaphore gate;
    QSemaphore started;
    ky::FrameCourier courier([&](const ky::Parcel&) {
        started.release();
        gate.acquire();
        return QString();
    });
    courier.post(parcel(1));
    QVERIFY(started.tryAcquire(1, 5000));

    // Were this to wait for the delivery in hand, it would never return.
    courier.post(parcel(2));

    gate.release(2);
    QVERIFY(started.tryAcquire(1, 5000));
}

void tst_FrameCourier::failureIsLoggedAndTheNextGoesOut()
{
    QSemaphore done;
    QTest::ignoreMessage(QtWarningMsg,
                         "[warning][run]frame [4802] to [127.0.0.1:1]: nobody there ");
    ky::FrameCourier courier([&](const ky::Parcel& one) {
        done.release();
        return one.command == 4802 ? QStringLiteral("nobody there") : QString();
    });

    courier.post(parcel(4802));
    courier.post(parcel(4803));

    QVERIFY(done.tryAcquire(2, 5000));
}

void tst_FrameCourier::oldestIsDroppedWhenTooManyWait()
{
    QSemaphore gate;
    QSemaphore started;
    QList<int> seen;
    {
        ky::FrameCourier courier([&](const ky::Parcel& one) {
            seen << one.command;
            started.release();
            gate.acquire();
            return QString();
        });
        courier.post(parcel(0));
        QVERIFY(started.tryAcquire(1, 5000));
        QTest::ignoreMessage(
            QtWarningMsg,
            "[warning][post]too many frames wait for their peers, the oldest is dropped ");
        for (int i = 1; i <= ky::FrameCourier::kMaxWaiting + 1; ++i)
            courier.post(parcel(i));
        gate.release(ky::FrameCourier::kMaxWaiting + 1);
        QVERIFY(started.tryAcquire(ky::FrameCourier::kMaxWaiting, 5000));
    }

    QCOMPARE(seen.size(), ky::FrameCourier::kMaxWaiting + 1);
    QCOMPARE(seen.at(1), 2);
    QCOMPARE(seen.last(), ky::FrameCourier::kMaxWaiting + 1);
}

void tst_FrameCourier::endDropsWhatWaits()
{
    QSemaphore started;
    QSemaphore gate;
    std::atomic<int> count{0};
    auto* courier = new ky::FrameCourier([&](const ky::Parcel&) {
        ++count;
        started.release();
        gate.acquire();
        return QString();
    });
    courier->post(parcel(1));
    courier->post(parcel(2));
    QVERIFY(started.tryAcquire(1, 5000));

    QThread* ending = QThread::create([courier] { delete courier; });
    ending->start();
    QVERIFY(TaskState::waitUntilOthersSleep()); // in the end, which waits for the gate
    QVERIFY(!ending->isFinished());
    gate.release(2);
    QVERIFY(ending->wait(5000));
    delete ending;

    QCOMPARE(int(count), 1);
}

void tst_FrameCourier::endCallsOffAWaitForAnAnswer()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const quint16 port = silent.serverPort();
    auto courier = std::make_unique<ky::FrameCourier>([port](const ky::Parcel& one) {
        ky::PeerRequest request;
        request.ip = one.ip;
        request.port = port;
        request.command = one.command;
        request.limitMs = 60000;
        return ky::exchangeWithPeer(request).error;
    });
    courier->post(parcel(4802));
    QVERIFY(silent.waitForNewConnection(5000));
    QTcpSocket* peer = silent.nextPendingConnection();
    QVERIFY(peer->waitForReadyRead(5000));
    QElapsedTimer clock;
    clock.start();

    courier.reset();

    QVERIFY2(clock.elapsed() < 10000, qPrintable(QString::number(clock.elapsed())));
}

QTEST_GUILESS_MAIN(tst_FrameCourier)
#include "tst_FrameCourier.moc"
