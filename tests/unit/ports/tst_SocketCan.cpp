#include "ports/SocketCan.h"

#include "LogCapture.h"
#include "ports/CanFrame.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <memory>

class tst_SocketCan : public QObject
{
    Q_OBJECT

private slots:
    void emptyMapFailsOnOpenAndWrite();
    void bindIsDoneLaterInTheEventLoop();
    void openPortIsNotBoundAgain();
    void failedBindIsReportedLater_data();
    void failedBindIsReportedLater();
    void failedBindTellsOfItself_data();
    void failedBindTellsOfItself();
    void closedPortCanBeBoundAgain();
    void writeToUnconnectedSocketIsTrue();
    void writesWholeFrame();
    void lengthCodeIsEightUnlessSizeIsAMultipleOfEight_data();
    void lengthCodeIsEightUnlessSizeIsAMultipleOfEight();
    void identifierBit29Passes();
    void dataThatDoesNotFitIsRefused();
    void firstNotificationHasNoReader();
    void eachNotificationAddsAReader();
    void bytesBehindTheFirstFrameAreDropped();
    void tooFewBytesGiveAWarningOnly();
    void closeDropsTheConnection();
    void destructorLetsNoSignalOfTheSocketOut();
    void accessorsOnlyStore();

private:
    /// A channel whose socket is connected to `peer`.
    struct Line
    {
        Line();
        void arrive(const QByteArray& bytes);

        SocketCan can;
        QTcpSocket* socket = can.findChild<QTcpSocket*>();
        QTcpServer server;
        std::unique_ptr<QTcpSocket> peer;
    };
};

namespace {

constexpr char kIncomplete[] = "[warning][readCan]Incomplete CAN frame received";

QByteArray frameBytes(quint32 word, char fill)
{
    can_frame frame = {};
    frame.can_id = word;
    frame.can_dlc = 2;
    frame.data[0] = quint8(fill);
    frame.data[1] = quint8(fill);
    return QByteArray(reinterpret_cast<const char*>(&frame), int(sizeof frame));
}

} // namespace

tst_SocketCan::Line::Line()
{
    server.listen(QHostAddress::LocalHost);
    socket->connectToHost(server.serverAddress(), server.serverPort());
    if (!socket->waitForConnected(2000) || !server.waitForNewConnection(2000))
        qFatal("no connection on loopback");
    peer.reset(server.nextPendingConnection());
}

/// Sends to the channel and waits until its notification has run.
void tst_SocketCan::Line::arrive(const QByteArray& bytes)
{
    QSignalSpy notified(socket, &QTcpSocket::readyRead);
    peer->write(bytes);
    peer->flush();
    if (!notified.wait(2000))
        qFatal("nothing arrived");
}

void tst_SocketCan::emptyMapFailsOnOpenAndWrite()
{
    SocketCan can;

    QVERIFY(!can.openCan({}));
    QCOMPARE(can.lastError(), QString("QVariantMap is empty"));
    can.setLastError(QString());
    QVERIFY(!can.writeCan({}));
    QCOMPARE(can.lastError(), QString("QVariantMap is empty"));
}

void tst_SocketCan::bindIsDoneLaterInTheEventLoop()
{
    LogCapture log("ky.ports");
    SocketCan can;
    auto* const socket = can.findChild<QTcpSocket*>();

    QVERIFY(can.openCan({{"portName", "127.0.0.1"}}));
    QCOMPARE(socket->state(), QAbstractSocket::UnconnectedState);
    QTRY_COMPARE(socket->state(), QAbstractSocket::BoundState);
    QCOMPARE(socket->localAddress(), QHostAddress(QHostAddress::LocalHost));
    QVERIFY(log.holds("[debug][openCan]portName: 127.0.0.1"));
    QVERIFY(log.holds("[debug][openCan]Successfully bound to CAN interface:  127.0.0.1"));
    QCOMPARE(can.canName(), QString());
    QVERIFY(!can.isReading());
}

void tst_SocketCan::openPortIsNotBoundAgain()
{
    LogCapture log("ky.ports");
    SocketCan can;
    QVERIFY(can.openCan({{"portName", "127.0.0.1"}}));
    QVERIFY(can.openCan({{"portName", "127.0.0.1"}})); // asked twice before the first bind
    QCoreApplication::processEvents();
    const quint16 port = can.findChild<QTcpSocket*>()->localPort();

    QVERIFY(can.openCan({{"portName", "127.0.0.1"}}));
    QCoreApplication::processEvents();

    QCOMPARE(log.count("[debug][openCan]Socket is already open"), 1);
    QCOMPARE(can.findChild<QTcpSocket*>()->localPort(), port);
    QCOMPARE(can.lastError(), QString());
}

void tst_SocketCan::failedBindIsReportedLater_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("no address") << "can0";
    QTest::newRow("empty") << "";
    QTest::newRow("over-long") << QString(100000, 'c');
    QTest::newRow("an address of another host") << "203.0.113.5";
}

void tst_SocketCan::failedBindIsReportedLater()
{
    QFETCH(QString, name);
    SocketCan can;

    QVERIFY(can.openCan({{"portName", name}}));
    QCOMPARE(can.lastError(), QString());
    QTRY_VERIFY(!can.lastError().isEmpty());
    const QString reason = can.findChild<QTcpSocket*>()->errorString();
    QCOMPARE(can.lastError(), QString("Bind CAN[%1] failed: %2").arg(name, reason));
    QCOMPARE(can.findChild<QTcpSocket*>()->state(), QAbstractSocket::UnconnectedState);

    QVERIFY(can.openCan({{"portName", "127.0.0.1"}})); // the next one tries again
    QTRY_COMPARE(can.findChild<QTcpSocket*>()->state(), QAbstractSocket::BoundState);
}

void tst_SocketCan::failedBindTellsOfItself_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("text");

    QTest::newRow("no address") << "can0"
                                << "Bind CAN[can0] failed: Not an IP address";
    QTest::newRow("empty") << ""
                           << "Bind CAN[] failed: Not an IP address";
    QTest::newRow("of another host")
        << "203.0.113.5"
        << "Bind CAN[203.0.113.5] failed: The address is not available";
}

/// Whatever the one before has met.
void tst_SocketCan::failedBindTellsOfItself()
{
    QFETCH(QString, name);
    SocketCan can;

    for (const char* const earlier : {"203.0.113.9", "can9"}) {
        QVERIFY(can.openCan({{"portName", earlier}}));
        QCoreApplication::processEvents();
        QVERIFY(can.openCan({{"portName", name}}));
        QCoreApplication::processEvents();

        QTEST(can.lastError(), "text");
    }
}

void tst_SocketCan::closedPortCanBeBoundAgain()
{
    SocketCan can;
    auto* const socket = can.findChild<QTcpSocket*>();
    can.openCan({{"portName", "127.0.0.1"}});
    QTRY_COMPARE(socket->state(), QAbstractSocket::BoundState);

    can.closeCan({});

    QCOMPARE(socket->state(), QAbstractSocket::UnconnectedState);
    can.openCan({{"portName", "127.0.0.1"}});
    QTRY_COMPARE(socket->state(), QAbstractSocket::BoundState);
    QCOMPARE(can.lastError(), QString());
}

void tst_SocketCan::writeToUnconnectedSocketIsTrue()
{
    LogCapture log("ky.ports");
    SocketCan can;

    QVERIFY(can.writeCan({{"frameId", 1}, {"data", QByteArray("ab")}}));

    QCOMPARE(can.lastError(), QString("Socket is not connected"));
    QVERIFY(log.holds("[debug][writeCan]Socket is not connected"));
    QVERIFY(log.holds("[debug][writeCan]Write size: 0 state: QAbstractSocket::UnconnectedState"));
}

void tst_SocketCan::writesWholeFrame()
{
    LogCapture log("ky.ports");
    Line line;

    QVERIFY(line.can.writeCan({{"frameId", 0x123},
                               {"frameType", 1},
                               {"frameFormat", 1},
                               {"dataLength", 8},
                               {"data", QByteArray("12345678")}}));

    QTRY_COMPARE(line.peer->bytesAvailable(), 16);
    QCOMPARE(line.peer->readAll().toHex(), QByteArray("230100c0"
                                                      "08000000"
                                                      "3132333435363738"));
    QVERIFY(log.holds("[debug][writeCan]Write size: 16 state: QAbstractSocket::ConnectedState"));
}

void tst_SocketCan::lengthCodeIsEightUnlessSizeIsAMultipleOfEight_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("dataLength");
    QTest::addColumn<int>("lengthCode");

    QTest::newRow("8 bytes, length 3") << QByteArray("abcdefgh") << 3 << 3;
    QTest::newRow("3 bytes, length 3") << QByteArray("abc") << 3 << 8;
    QTest::newRow("no data, length 0") << QByteArray() << 0 << 8;
    QTest::newRow("no data, length 2") << QByteArray() << 2 << 2;
}

void tst_SocketCan::lengthCodeIsEightUnlessSizeIsAMultipleOfEight()
{
    QFETCH(QByteArray, data);
    QFETCH(int, dataLength);
    Line line;

    QVERIFY(line.can.writeCan({{"frameId", 1}, {"dataLength", dataLength}, {"data", data}}));

    QTRY_COMPARE(line.peer->bytesAvailable(), 16);
    const QByteArray bytes = line.peer->readAll();
    QTEST(int(bytes.at(4)), "lengthCode");
    QCOMPARE(bytes.mid(8), data + QByteArray(8 - data.size(), '\0'));
}

void tst_SocketCan::identifierBit29Passes()
{
    Line line;

    QVERIFY(line.can.writeCan({{"frameId", 0x7FFFFFFF}, {"frameType", 1}}));

    QTRY_COMPARE(line.peer->bytesAvailable(), 16);
    QCOMPARE(line.peer->read(4).toHex(), QByteArray("ffffffbf"));
}

void tst_SocketCan::dataThatDoesNotFitIsRefused()
{
    Line line;

    QVERIFY(!line.can.writeCan({{"frameId", 1}, {"data", QByteArray(9, 'x')}}));
    QCOMPARE(line.can.lastError(), QString("CAN data [9 bytes]: a frame holds at most 8"));
    QVERIFY(!line.can.writeCan({{"dataLength", 9}, {"data", QByteArray(8, 'x')}}));
    QCOMPARE(line.can.lastError(), QString("CAN length code [9]: a frame holds at most 8"));
    QCOMPARE(line.socket->bytesToWrite(), 0);
}

void tst_SocketCan::firstNotificationHasNoReader()
{
    Line line;
    QSignalSpy frames(&line.can, &SocketCan::sigReadyRead);

    line.arrive(frameBytes(1, 'a'));
    QCOMPARE(frames.count(), 0);
    QCOMPARE(line.socket->bytesAvailable(), 16);

    line.arrive(frameBytes(2, 'b')); // its reader finds both frames, and takes one
    QCOMPARE(frames.count(), 1);
    QCOMPARE(frames[0][0].toMap(), QVariantMap({{"frameType", 0},
                                                {"frameFormat", 0},
                                                {"frameId", 1},
                                                {"dataLength", 2},
                                                {"data", QByteArray("aa")}}));
    QCOMPARE(line.socket->bytesAvailable(), 0);
}

void tst_SocketCan::eachNotificationAddsAReader()
{
    LogCapture log("ky.ports");
    Line line;
    QSignalSpy frames(&line.can, &SocketCan::sigReadyRead);

    // Readers at each notification: 0, 1, 2, 3. Those behind the first find nothing.
    for (int n = 0; n < 4; ++n)
        line.arrive(frameBytes(0x9FFFFFFF, 'c'));

    QCOMPARE(frames.count(), 3);
    QVERIFY2(log.holdsPart("[debug][readCan]Received CAN frame: ",
                           "(frameId, QVariant(int, 536870911))"),
             qPrintable(log.lines().join('\n')));
    QCOMPARE(log.count(kIncomplete), 0 + 0 + 1 + 2);
    QCOMPARE(frames[2][0].toMap()["frameId"].toInt(), 0x1FFFFFFF);
    QCOMPARE(frames[2][0].toMap()["frameType"].toInt(), 1);
}

void tst_SocketCan::bytesBehindTheFirstFrameAreDropped()
{
    Line line;
    QSignalSpy frames(&line.can, &SocketCan::sigReadyRead);
    line.can.readCan(); // by hand: a reader is there at the first notification

    line.arrive(frameBytes(1, 'a') + frameBytes(2, 'b') + "rest");
    line.arrive(frameBytes(3, 'c'));

    QCOMPARE(frames.count(), 2);
    QCOMPARE(frames[0][0].toMap()["frameId"].toInt(), 1);
    QCOMPARE(frames[1][0].toMap()["frameId"].toInt(), 3);
}

void tst_SocketCan::tooFewBytesGiveAWarningOnly()
{
    LogCapture log("ky.ports");
    Line line;
    QSignalSpy frames(&line.can, &SocketCan::sigReadyRead);
    line.can.readCan();

    line.arrive(QByteArray(15, 'x'));

    QCOMPARE(frames.count(), 0);
    QCOMPARE(log.count(kIncomplete), 1);
    QCOMPARE(line.can.lastError(), QString());
}

void tst_SocketCan::closeDropsTheConnection()
{
    Line line;
    QSignalSpy gone(line.peer.get(), &QTcpSocket::disconnected);

    line.can.closeCan({{"portName", "any"}});

    QCOMPARE(line.socket->state(), QAbstractSocket::UnconnectedState);
    QVERIFY(gone.count() == 1 || gone.wait(2000));
}

void tst_SocketCan::destructorLetsNoSignalOfTheSocketOut()
{
    auto can = std::make_unique<SocketCan>();
    auto* const socket = can->findChild<QTcpSocket*>();
    can->openCan({{"portName", "127.0.0.1"}});
    QTRY_COMPARE(socket->state(), QAbstractSocket::BoundState);
    QSignalSpy states(socket, &QTcpSocket::stateChanged);

    can.reset();

    QCOMPARE(states.count(), 0); // an abort alone would tell of it
}

void tst_SocketCan::accessorsOnlyStore()
{
    SocketCan can;
    can.setCanName("can3");
    can.setStop(true);

    QCOMPARE(can.canName(), QString("can3"));
    QVERIFY(can.isStop());
    QVERIFY(!can.isReading());
    QVERIFY(can.writeCan({{"frameId", 1}}));
}

QTEST_GUILESS_MAIN(tst_SocketCan)
#include "tst_SocketCan.moc"
