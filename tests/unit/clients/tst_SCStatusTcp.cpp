#include "clients/SCStatusTcp.h"

#include "LogCapture.h"
#include "Peer.h"
#include "clients/StatusReport.h"

#include <QtTest>

#include <new>

namespace {

const QString kLoopback = QStringLiteral("127.0.0.1");
const QString kNotice =
    QStringLiteral("If the data region length is larger than 2048 bytes, it will not be printed");

class Owner : public QObject
{
    Q_OBJECT

public:
    QList<QAbstractSocket::SocketState> states;
    QList<QAbstractSocket::SocketError> errors;

public slots:
    void stateChanged(QAbstractSocket::SocketState state) { states += state; }
    void receiveTcpError(QAbstractSocket::SocketError error) { errors += error; }
};

/// A status client with its owner, connected to a peer.
struct Client
{
    explicit Client(quint16 port, int timeOutMs = 2000)
    {
        status->setTimeOut(timeOutMs);
        QVERIFY(!status->connectHost(kLoopback, port));
        status->tcpSocket()->waitForConnected(2000);
    }
    bool send(const QByteArray& json = {}, const QByteArray& data = {}, quint16 command = 2000,
              quint16 number = 7)
    {
        return status->writeTcpData(command, json, data, number);
    }

    Owner owner;
    SCStatusTcp* status = new SCStatusTcp(&owner);
    QSignalSpy reports{status, &SCStatusTcp::sigPrintInfo};
    QSignalSpy results{status, &SCStatusTcp::sigChangedText};
};

Peer::Script answering(std::function<QByteArray(const QByteArray&)> make)
{
    return [make = std::move(make)](Connection& connection) {
        const QByteArray request = connection.readFrame();
        if (!request.isEmpty() && connection.write(make(request)))
            connection.waitForEnd();
    };
}

/// A report without its first 24 characters, the time of day.
QString behindTime(const QString& report)
{
    return report.mid(report.indexOf(QLatin1String("]:")) + 2);
}

} // namespace

class tst_SCStatusTcp : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void arrivalBeforeAnyConnectIsNoCrash();
    void requestReportShowsEveryField();
    void responseReportShowsEveryField();
    void reportsDoNotFillPlacesOfTheData();
    void exchangeReportsBothFrames();
    void frameOnTheWireIsWhatTheReportSays();
    void requestHexEndsAtTheLimit_data();
    void requestHexEndsAtTheLimit();
    void responseHexGoesByAllThatIsBuffered();
    void connectHostIsAToggle();
    void connectHostDropsAConnectionInTheMaking();
    void ownerHearsOfStatesAndErrors();
    void noTimeOutMeansNoWait();
    void silentPeerTimesOut();
    void unreachablePeerTimesOutWriting();
    void lateAnswerIsStillReported();
    void wrongSyncByteIsToldByteByByte();
    void noiseAloneLeavesNothing();
    void versionIsNotLookedAt();
    void halfAFrameThenSilence();
    void frameCutAtEveryByteIsReportedOnce();
    void jsonBeyondTheBodyIsCut();
    void twoFramesInOneReadAreReportedInOrder();
    void peerThatClosesBehindItsAnswer();
    void releasedSocketIsClosed();
    void writingBeforeConnectingFails();
    void linesOfASendAndAnAnswer();
    void helpers();
    void answerWithoutMemoryDropsTheConnection();
    void requestWithoutMemoryIsNotSent();
};

void tst_SCStatusTcp::initTestCase()
{
    qRegisterMetaType<QAbstractSocket::SocketState>();
}

void tst_SCStatusTcp::init()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
}

void tst_SCStatusTcp::arrivalBeforeAnyConnectIsNoCrash()
{
    SCStatusTcp status;
    QSignalSpy results(&status, &SCStatusTcp::sigChangedText);

    status.receiveTcpReadyRead();

    QCOMPARE(results.count(), 0);
}

void tst_SCStatusTcp::requestReportShowsEveryField()
{
    const QByteArray json = "{\"a\":1}";
    const QByteArray data("ab\0\xC3", 4);
    const QByteArray frame = rawFrame(5101, 255, quint16(5101 - 10000), 7, json + data);

    QCOMPARE(
        ky::requestReport(QStringLiteral("[now]:"), 19208, frame, json, data),
        QStringLiteral("\n[now]:---------[Request] ---------\nType:5101 (0x13ed) \n"
                       "Port: 19208\nNumber: 255 (0xff)\n"
                       "Head hex: 5A0100FF0000000B13EDECDD00070002 \n"
                       "Data[size:4 (0x4)]: ab \nData hex: 616200C3 \nJSON[size:7]: {\"a\":1}"));
}

void tst_SCStatusTcp::responseReportShowsEveryField()
{
    const QByteArray data(26, 'x');
    const QByteArray head = rawFrame(15101, 255, 5101, 2, "{}" + data).left(16);

    QCOMPARE(ky::responseReport(QStringLiteral("[now]:"), head, "{}", data, QStringLiteral("HEX")),
             QStringLiteral("[now]:---------[Response]---------\nType:15101 (3afd) \n"
                            "Number: 255 (0xff)\nHead hex: 5A0100FF0000001C3AFD13ED00020002\n"
                            "Data[size:26 (0x1a)]: xxxxxxxxxxxxxxxxxxxxxxxxxx \nData hex: HEX \n"
                            "JSON[size:2]: {}\n"));
}

void tst_SCStatusTcp::reportsDoNotFillPlacesOfTheData()
{
    const QByteArray frame = rawFrame(1, 1, quint16(1 - 10000), 0, "%1%13");

    const QString report =
        ky::requestReport(QStringLiteral("[now]:"), 1, frame, QByteArray(), "%1%13");

    QVERIFY(report.contains(QLatin1String("Data[size:5 (0x5)]: %1%13 \n")));
}

void tst_SCStatusTcp::exchangeReportsBothFrames()
{
    Peer peer(answering(
        [](const QByteArray& request) { return answerTo(request, "{\"b\":2}", "data"); }));
    Client client(peer.port());

    QVERIFY(client.send("{\"a\":1}", "abc"));

    QCOMPARE(client.reports.count(), 2);
    const QString request = client.reports.at(0).at(0).toString();
    QVERIFY(
        QRegularExpression(R"(^\n\[\d{8}\|\d\d:\d\d:\d\d:\d{3}\]:-)").match(request).hasMatch());
    QVERIFY(request.contains(QStringLiteral("\nPort: %1\n").arg(peer.port())));
    QVERIFY(behindTime(client.reports.at(1).at(0).toString())
                .startsWith("---------[Response]---------\nType:12000 (2ee0) \nNumber: 7 (0x7)\n"));
    QCOMPARE(client.results.count(), 1);
    const QList<QVariant> result = client.results.first();
    QCOMPARE(result.mid(0, 5),
             QList<QVariant>({true, 12000, QByteArray("data"), QByteArray("64617461"), 7}));
    QVERIFY(result.at(5).toInt() >= 0 && result.at(5).toInt() < 2000);
}

void tst_SCStatusTcp::frameOnTheWireIsWhatTheReportSays()
{
    QByteArray received;
    Peer peer(answering([&received](const QByteArray& request) {
        received = request;
        return answerTo(request, {}, {});
    }));
    Client client(peer.port());

    QVERIFY(client.send("{}", "x", 65535, 65535));

    QCOMPARE(received, rawFrame(65535, 65535, 55535, 2, "{}x"));
    QVERIFY(client.reports.at(0).at(0).toString().contains(
        QString::fromLatin1(received.left(16).toHex().toUpper())));
}

void tst_SCStatusTcp::requestHexEndsAtTheLimit_data()
{
    QTest::addColumn<int>("frameSize");
    QTest::addColumn<bool>("isShown");

    QTest::newRow("2047") << 2047 << true;
    QTest::newRow("2048") << 2048 << true;
    QTest::newRow("2049") << 2049 << false;
}

void tst_SCStatusTcp::requestHexEndsAtTheLimit()
{
    QFETCH(int, frameSize);
    QFETCH(bool, isShown);
    Peer peer(answering([](const QByteArray& request) { return request; }));
    Client client(peer.port());
    const QByteArray data(frameSize - 16, 'x');

    QVERIFY(client.send({}, data));

    // The same frame came back and stands alone in the buffer, so the rule is seen both ways.
    QTRY_COMPARE(client.reports.count(), 2);
    for (const QList<QVariant>& call : client.reports) {
        const QString report = call.at(0).toString();
        QCOMPARE(report.contains(QString::fromLatin1(data.toHex())), isShown);
        QCOMPARE(report.contains(kNotice), !isShown);
    }
    QCOMPARE(client.results.first().at(3).toByteArray(), data.toHex());
}

void tst_SCStatusTcp::responseHexGoesByAllThatIsBuffered()
{
    Peer peer(answering([](const QByteArray& request) {
        return answerTo(request, {}, "short") + answerTo(request, {}, QByteArray(2017, 'x')) +
               answerTo(request, {}, "short");
    }));
    Client client(peer.port());

    QVERIFY(client.send());

    QTRY_COMPARE(client.reports.count(), 4);
    QVERIFY(client.reports.at(1).at(0).toString().contains(kNotice));
    QVERIFY(client.reports.at(2).at(0).toString().contains(kNotice));
    QVERIFY(!client.reports.at(3).at(0).toString().contains(kNotice));
}

void tst_SCStatusTcp::connectHostIsAToggle()
{
    Peer peer([](Connection& connection) { connection.waitForEnd(); });
    Client client(peer.port());
    QCOMPARE(client.status->tcpSocket()->state(), QAbstractSocket::ConnectedState);
    QLoggingCategory::setFilterRules(QString());
    LogCapture log;

    QVERIFY(client.status->connectHost(kLoopback, peer.port()));

    QCOMPARE(client.status->tcpSocket()->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(log.lines(), QStringList("[debug][connectHost]----close _tcpSocket----\n"));
    QVERIFY(!client.status->connectHost(kLoopback, peer.port()));
    QVERIFY(client.status->tcpSocket()->waitForConnected(2000));
}

void tst_SCStatusTcp::connectHostDropsAConnectionInTheMaking()
{
    SilentAddress silent;
    Owner owner;
    auto* status = new SCStatusTcp(&owner);
    QVERIFY(!status->connectHost(kLoopback, silent.port()));
    QTRY_COMPARE(status->tcpSocket()->state(), QAbstractSocket::ConnectingState);

    QVERIFY(status->connectHost(kLoopback, silent.port()));

    QCOMPARE(status->tcpSocket()->state(), QAbstractSocket::UnconnectedState);
}

void tst_SCStatusTcp::ownerHearsOfStatesAndErrors()
{
    Owner owner;
    auto* status = new SCStatusTcp(&owner);

    QVERIFY(!status->connectHost(kLoopback, refusedPort()));

    QTRY_COMPARE(owner.errors,
                 QList<QAbstractSocket::SocketError>{QAbstractSocket::ConnectionRefusedError});
    QVERIFY(owner.states.contains(QAbstractSocket::ConnectingState));
    QCOMPARE(owner.states.last(), QAbstractSocket::UnconnectedState);
    QVERIFY(status->lastError().isEmpty());
}

void tst_SCStatusTcp::noTimeOutMeansNoWait()
{
    Peer peer([](Connection& connection) { connection.waitForEnd(); });
    Client client(peer.port(), 0);

    QVERIFY(client.send({}, "data"));

    QCOMPARE(client.reports.count(), 1);
    QVERIFY(client.status->lastError().isEmpty());
}

void tst_SCStatusTcp::silentPeerTimesOut()
{
    Peer peer([](Connection& connection) { connection.waitForEnd(); });
    Client client(peer.port(), 100);
    QElapsedTimer timer;
    timer.start();

    QVERIFY(!client.send());

    QVERIFY(timer.elapsed() >= 90 && timer.elapsed() < 2000);
    QCOMPARE(client.status->lastError(), QStringLiteral("waitForReadyRead: time out!"));
    QCOMPARE(client.status->tcpSocket()->state(), QAbstractSocket::ConnectedState);
}

void tst_SCStatusTcp::unreachablePeerTimesOutWriting()
{
    SilentAddress silent;
    Owner owner;
    auto* status = new SCStatusTcp(&owner);
    status->setTimeOut(100);
    QVERIFY(!status->connectHost(kLoopback, silent.port()));
    quint16 number = 7;

    QVERIFY(!status->writeTcpData(2000, {}, {}, number));

    QCOMPARE(status->lastError(), QStringLiteral("waitForBytesWritten: time out!"));
}

void tst_SCStatusTcp::lateAnswerIsStillReported()
{
    Peer peer([](Connection& connection) {
        const QByteArray request = connection.readFrame();
        connection.pause(150);
        connection.write(answerTo(request, {}, "late"));
        connection.waitForEnd();
    });
    Client client(peer.port(), 50);

    QVERIFY(!client.send());

    QTRY_COMPARE(client.results.count(), 1);
    QCOMPARE(client.results.first().at(2).toByteArray(), QByteArray("late"));
    QVERIFY(client.results.first().at(5).toInt() >= 100);
}

void tst_SCStatusTcp::wrongSyncByteIsToldByteByByte()
{
    Peer peer(
        answering([](const QByteArray& request) { return "abc" + answerTo(request, {}, "data"); }));
    Client client(peer.port());

    QVERIFY(client.send());

    QCOMPARE(client.results.count(), 4);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(client.results.at(i).mid(0, 5),
                 QList<QVariant>({false, 2000, QByteArray(), QByteArray(), 0}));
    QVERIFY(client.results.at(3).at(0).toBool());
    QCOMPARE(client.status->lastError(), QStringLiteral("Header Error !!!"));
}

void tst_SCStatusTcp::noiseAloneLeavesNothing()
{
    Peer peer([](Connection& connection) {
        const QByteArray request = connection.readFrame();
        connection.write("noise");
        connection.readFrame();
        connection.write(answerTo(request, {}, "data"));
        connection.waitForEnd();
    });
    Client client(peer.port());

    QVERIFY(client.send());
    QCOMPARE(client.results.count(), 5);
    QVERIFY(client.send());

    QCOMPARE(client.results.count(), 6);
    QCOMPARE(client.results.last().at(2).toByteArray(), QByteArray("data"));
}

void tst_SCStatusTcp::versionIsNotLookedAt()
{
    Peer peer(answering([](const QByteArray& request) {
        return answerTo(request, {}, "data").replace(1, 1, QByteArray(1, '\x09'));
    }));
    Client client(peer.port());

    QVERIFY(client.send());

    QCOMPARE(client.results.count(), 1);
    QVERIFY(client.results.first().at(0).toBool());
}

void tst_SCStatusTcp::halfAFrameThenSilence()
{
    Peer peer([](Connection& connection) {
        const QByteArray frame = answerTo(connection.readFrame(), {}, "data");
        connection.write(frame.left(10));
        connection.readFrame();
        connection.write(frame.mid(10));
        connection.waitForEnd();
    });
    Client client(peer.port());

    // Any bytes end the wait well; the report waits for the whole frame.
    QVERIFY(client.send());
    QCOMPARE(client.results.count(), 0);
    QVERIFY(client.send());

    QCOMPARE(client.results.count(), 1);
    QCOMPARE(client.results.first().at(2).toByteArray(), QByteArray("data"));
}

void tst_SCStatusTcp::frameCutAtEveryByteIsReportedOnce()
{
    const QByteArray frame = rawFrame(12000, 7, 2000, 2, "{}data");
    Peer peer([&frame](Connection& connection) {
        for (int cut = 1; cut < frame.size(); ++cut) {
            connection.readFrame();
            connection.write(frame.left(cut));
            connection.readFrame();
            connection.write(frame.mid(cut));
        }
        connection.waitForEnd();
    });
    Client client(peer.port());

    for (int cut = 1; cut < frame.size(); ++cut) {
        client.results.clear();
        QVERIFY(client.send());
        QCOMPARE(client.results.count(), 0);
        QVERIFY(client.send());
        QCOMPARE(client.results.count(), 1);
        QCOMPARE(client.results.first().at(2).toByteArray(), QByteArray("data"));
    }
}

void tst_SCStatusTcp::jsonBeyondTheBodyIsCut()
{
    Peer peer(answering([](const QByteArray& request) {
        return rawFrame(12000, numberOf(request), 2000, 100, "{\"a\":1}");
    }));
    Client client(peer.port());

    QVERIFY(client.send());

    QVERIFY(client.results.first().at(2).toByteArray().isEmpty());
    QVERIFY(client.reports.at(1).at(0).toString().endsWith(
        "Data[size:0 (0x0)]:  \nData hex:  \nJSON[size:7]: {\"a\":1}\n"));
}

void tst_SCStatusTcp::twoFramesInOneReadAreReportedInOrder()
{
    Peer peer(answering([](const QByteArray& request) {
        return answerTo(request, {}, "first") + answerTo(request, {}, "second");
    }));
    Client client(peer.port());

    QVERIFY(client.send());

    QCOMPARE(client.results.count(), 2);
    QCOMPARE(client.results.at(0).at(2).toByteArray(), QByteArray("first"));
    QCOMPARE(client.results.at(1).at(2).toByteArray(), QByteArray("second"));
}

void tst_SCStatusTcp::peerThatClosesBehindItsAnswer()
{
    Peer peer([](Connection& connection) {
        connection.write(answerTo(connection.readFrame(), {}, "data"));
    });
    Client client(peer.port());

    QVERIFY(client.send());

    QCOMPARE(client.results.count(), 1);
    QTRY_COMPARE(client.owner.errors,
                 QList<QAbstractSocket::SocketError>{QAbstractSocket::RemoteHostClosedError});
}

void tst_SCStatusTcp::releasedSocketIsClosed()
{
    Peer peer([](Connection& connection) { connection.waitForEnd(); });
    Client client(peer.port());

    client.status->releaseTcpSocket();
    client.status->releaseTcpSocket();

    QVERIFY(!client.status->tcpSocket()->isOpen());
    QCOMPARE(client.status->tcpSocket()->state(), QAbstractSocket::UnconnectedState);
}

void tst_SCStatusTcp::writingBeforeConnectingFails()
{
    Owner owner;
    auto* status = new SCStatusTcp(&owner);
    quint16 number = 1;

    QVERIFY(!status->writeTcpData(2000, {}, {}, number));

    QVERIFY(!status->lastError().isEmpty());
    QVERIFY(!status->tcpSocket());
    QCOMPARE(status->getTimeOut(), 0);
}

void tst_SCStatusTcp::linesOfASendAndAnAnswer()
{
    Peer peer(answering([](const QByteArray& request) { return answerTo(request, "{}", "data"); }));
    Client client(peer.port());
    QLoggingCategory::setFilterRules(QString());
    LogCapture log;

    QVERIFY(client.send("{\"a\":1}", "abc"));

    QCOMPARE(log.lines(),
             QStringList({
                 "[debug][writeTcpData]j: {\"a\":1}",
                 "[debug][writeTcpData]send: Z\x01   Hex: "
                 "5a0100070000000a07d0e0c0000700027b2261223a317d616263 vantData:size: 26",
                 "[debug][writeTcpData]TCP:_timeOut: 2000",
                 "[debug][receiveTcpReadyRead]>>>>>>>>>>>>>>>>>>>>>>jsonSize: 2 tempJsonData: [{}]",
                 "[debug][receiveTcpReadyRead]jsonData: {} revByteData: data   Hex: 64617461",
             }));
}

void tst_SCStatusTcp::helpers()
{
    const SCStatusTcp status;
    QCOMPARE(status.hexToQString("0aff"), QStringLiteral("0AFF"));
    QVERIFY(QRegularExpression(R"(^\[\d{8}\|\d\d:\d\d:\d\d:\d{3}\]:$)")
                .match(status.getCurrentDateTime())
                .hasMatch());
    QVERIFY(status.time().isNull());
}

void tst_SCStatusTcp::answerWithoutMemoryDropsTheConnection()
{
    Peer peer(answering([](const QByteArray& request) { return answerTo(request, {}, "data"); }));
    Client client(peer.port());
    // In the place of a text that there is no room for.
    connect(client.status, &SCStatusTcp::sigPrintInfo, this, [](const QString& report) {
        if (report.contains("[Response]"))
            throw std::bad_alloc();
    });

    client.send();

    QTRY_COMPARE(client.status->tcpSocket()->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(client.status->lastError().section(' ', 1), QString("[20 bytes and more]: no memory"));
    QCOMPARE(client.results.count(), 0);
}

void tst_SCStatusTcp::requestWithoutMemoryIsNotSent()
{
    Peer peer(answering([](const QByteArray& request) { return answerTo(request, {}, "data"); }));
    Client client(peer.port());
    int reports = 0;
    // In the place of a text that there is no room for.
    connect(client.status, &SCStatusTcp::sigPrintInfo, this, [&reports] {
        if (++reports == 1)
            throw std::bad_alloc();
    });

    QVERIFY(!client.send("{}", "first", 2000, 1));

    QCOMPARE(client.status->lastError(), QString("request [23 bytes]: no memory"));
    // The connection has seen nothing of it and serves the next.
    QVERIFY(client.send({}, "second", 2000, 2));
    QTRY_COMPARE(client.results.count(), 1);
    QCOMPARE(client.results.at(0).at(4).toInt(), 2);
}

QTEST_GUILESS_MAIN(tst_SCStatusTcp)
#include "tst_SCStatusTcp.moc"
