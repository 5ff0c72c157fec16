// The worker of the blocking client without a network: frames out, bytes in.
#include "clients/BlockThreadTcp.h"

#include "LogCapture.h"
#include "Peer.h"
#include "host/SqliteClass.h"

#include <QtTest>

#include <limits>
#include <new>

namespace {

constexpr quint16 kCommand = 2000;
constexpr quint16 kNumber = 7;

/// A worker that waits for the answer to command 2000, number 7.
struct Waiting
{
    Waiting()
    {
        worker.setIp(QStringLiteral("10.0.0.7"));
        worker.setPort(19208);
        worker.getSendData2({}, {}, kCommand, kNumber);
    }

    BlockThreadTcp worker;
    QSignalSpy finished{&worker, &BlockThreadTcp::sigFinished};
    QSignalSpy progress{&worker, &BlockThreadTcp::sigProgressValue};
};

QByteArray answer(const QByteArray& data, const QByteArray& json = {})
{
    return rawFrame(kCommand + 10000, kNumber, kCommand, quint16(json.size()), json + data);
}

QList<int> values(const QSignalSpy& spy)
{
    QList<int> list;
    for (const QList<QVariant>& call : spy)
        list += call.at(0).toInt();
    return list;
}

} // namespace

class tst_BlockThreadTcp : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void frameCarriesEveryField();
    void frameFieldsWrap_data();
    void frameFieldsWrap();
    void areasBecomeBytes_data();
    void areasBecomeBytes();
    void commandIsANumberOrAName_data();
    void commandIsANumberOrAName();
    void unknownNameFails();
    void requestThatNoFrameHoldsFails();
    void jsonBeyondItsFieldWraps();
    void sentFramesAreLogged_data();
    void sentFramesAreLogged();
    void silentCommandIsNotLogged();
    void debugTextNamesBothEnds();

    void answerEndsTheExchange();
    void otherAnswersOnlyReplaceTheResult_data();
    void otherAnswersOnlyReplaceTheResult();
    void headerAloneIsAWholeFrame();
    void loneSyncByteIsDropped();
    void frameSplitBehindItsFirstByteIsLost();
    void everyLostByteIsTold();
    void lastErrorHoldsTheLastLostByteWithLogsOff();
    void syncPairInsideABodyIsHarmless();
    void twoFramesInOneReadLeaveTheLast();
    void frameCutAtEveryByteArrives();
    void progressGrowsAndIsToldOnce();
    void progressOfTheNextFrameStartsAnew();
    void stopInTheMiddleKeepsTheSecondFrame();
    void silentAnswerHasNoProgress();
    void jsonAreaIsParsed();
    void jsonAreaThatDoesNotParseIsInvalid();
    void stopKeepsTheBytes();
    void messagesForPeopleAreShown();
    void repliesAreLogged_data();
    void repliesAreLogged();
    void errorReplyIsAWarningAlone();
    void announcedFourGigabytesWait();
    void resultMayBeReadWhileItIsReplaced();
    void stopSetByAListenerDropsTheReplyInHand();
    void laterReplyWithoutJsonKeepsTheJsonBefore();
    void replyWithoutMemoryEndsTheExchange();
};

void tst_BlockThreadTcp::initTestCase()
{
    SqliteClass::init()->portCommands[19208] = {{QStringLiteral("echo"), 2000},
                                                {QStringLiteral("alive"), 1100}};
}

void tst_BlockThreadTcp::frameCarriesEveryField()
{
    BlockThreadTcp worker;

    const QByteArray frame = worker.getSendData2("{\"a\":1}", "abc", 5101, 7);

    QCOMPARE(frame.left(16).toHex(), QByteArray("5a0100070000000a13edecdd00070002"));
    QCOMPARE(frame.mid(16), QByteArray("{\"a\":1}abc"));
}

void tst_BlockThreadTcp::frameFieldsWrap_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<int>("number");
    QTest::addColumn<QByteArray>("head");

    QTest::newRow("command 10000") << 10000 << 0 << QByteArray("5a0100000000000027100000");
    QTest::newRow("command 65535") << 65535 << 1 << QByteArray("5a01000100000000ffffd8ef");
    QTest::newRow("command 0") << 0 << 1 << QByteArray("5a010001000000000000d8f0");
    QTest::newRow("command 65536") << 65536 << 1 << QByteArray("5a010001000000000000d8f0");
    QTest::newRow("number 65537") << 10000 << 65537 << QByteArray("5a0100010000000027100000");
    QTest::newRow("number -1") << 10000 << -1 << QByteArray("5a01ffff0000000027100000");
}

void tst_BlockThreadTcp::frameFieldsWrap()
{
    QFETCH(int, command);
    QFETCH(int, number);
    BlockThreadTcp worker;
    QByteArray frame;

    QVERIFY(worker.getSendData(QVariant(), QVariant(), command, number, frame));

    QTEST(frame.left(12).toHex(), "head");
    QCOMPARE(frame.size(), 16);
}

void tst_BlockThreadTcp::areasBecomeBytes_data()
{
    QTest::addColumn<QVariant>("area");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("bytes") << QVariant(QByteArray("a\0b", 3)) << QByteArray("a\0b", 3);
    QTest::newRow("map") << QVariant(QVariantMap{{"a", 1}}) << QByteArray("{\"a\":1}");
    QTest::newRow("list") << QVariant(QVariantList{1, "x"}) << QByteArray("[1,\"x\"]");
    QTest::newRow("empty map") << QVariant(QVariantMap()) << QByteArray("{}");
    QTest::newRow("text") << QVariant("text") << QByteArray();
    QTest::newRow("number") << QVariant(5) << QByteArray();
    QTest::newRow("invalid") << QVariant() << QByteArray();
}

void tst_BlockThreadTcp::areasBecomeBytes()
{
    QFETCH(QVariant, area);
    QFETCH(QByteArray, bytes);
    BlockThreadTcp worker;
    QByteArray asJson;
    QByteArray asData;

    QVERIFY(worker.getSendData(area, QVariant(), 2000, 1, asJson));
    QVERIFY(worker.getSendData(QVariant(), area, 2000, 1, asData));

    QCOMPARE(asJson, rawFrame(2000, 1, quint16(2000 - 10000), quint16(bytes.size()), bytes));
    QCOMPARE(asData, rawFrame(2000, 1, quint16(2000 - 10000), 0, bytes));
}

void tst_BlockThreadTcp::commandIsANumberOrAName_data()
{
    QTest::addColumn<QVariant>("command");
    QTest::addColumn<int>("type");

    QTest::newRow("int") << QVariant(2000) << 2000;
    QTest::newRow("name") << QVariant("echo") << 2000;
    QTest::newRow("bytes") << QVariant(QByteArray("echo")) << 0;
    QTest::newRow("unsigned") << QVariant(2000u) << 0;
    QTest::newRow("double") << QVariant(2000.0) << 0;
    QTest::newRow("invalid") << QVariant() << 0;
}

void tst_BlockThreadTcp::commandIsANumberOrAName()
{
    QFETCH(QVariant, command);
    BlockThreadTcp worker;
    worker.setPort(19208);
    QByteArray frame;

    QVERIFY(worker.getSendData(QVariant(), QVariant(), command, 1, frame));

    QTEST(int(typeOf(frame)), "type");
}

void tst_BlockThreadTcp::unknownNameFails()
{
    BlockThreadTcp worker;
    worker.setPort(19208);
    QByteArray frame;

    QVERIFY(!worker.getSendData(QVariant(), QVariant(), "nothing", 1, frame));

    QCOMPARE(worker.lastError(), SqliteClass::init()->getLastError());
    QVERIFY(worker.lastError().contains("nothing"));
}

void tst_BlockThreadTcp::requestThatNoFrameHoldsFails()
{
    // Never touched: the sizes alone are too much.
    const QByteArray half = QByteArray::fromRawData("", std::numeric_limits<int>::max() / 2);
    BlockThreadTcp worker;
    QByteArray frame = "before";

    QVERIFY(!worker.getSendData(half, half, 1100, 1, frame));

    QCOMPARE(worker.lastError(), QStringLiteral("Error:Send data is empty"));
    QVERIFY(frame.isEmpty());
}

void tst_BlockThreadTcp::jsonBeyondItsFieldWraps()
{
    BlockThreadTcp worker;
    const QByteArray json(65536 + 5, 'j');

    const QByteArray frame = worker.getSendData2(json, "d", 2000, 1);

    QCOMPARE(frame.left(16), rawFrame(2000, 1, quint16(2000 - 10000), 5, json + "d").left(16));
    QCOMPARE(frame.size(), 16 + 65536 + 5 + 1);
}

void tst_BlockThreadTcp::sentFramesAreLogged_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("tail");
    QTest::addColumn<bool>("hasHead");

    QTest::newRow("header alone") << QByteArray() << QByteArray() << "Size:16B Data:" << false;
    QTest::newRow("data up to the zero")
        << QByteArray() << QByteArray("ab\0cd", 5) << "Size:21B Data:ab" << true;
    QTest::newRow("JSON is not shown")
        << QByteArray("{}") << QByteArray("x") << "Size:19B Data:x" << true;
    QTest::newRow("10000 bytes") << QByteArray() << QByteArray(9984, 'x')
                                 << "Size:10000B Data:" + QString(9984, 'x') << true;
    QTest::newRow("10001 bytes") << QByteArray() << QByteArray(9985, 'x') << "Size:10001B" << true;
}

void tst_BlockThreadTcp::sentFramesAreLogged()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, data);
    QFETCH(QString, tail);
    QFETCH(bool, hasHead);
    BlockThreadTcp worker;
    worker.setIp(QStringLiteral("10.0.0.7"));
    worker.setPort(19208);
    LogCapture log;
    QByteArray frame;

    QVERIFY(worker.getSendData(json, data, 2000, 7, frame));

    QStringList expected;
    if (hasHead)
        expected += "[debug][getSendData]head.toHex: " + frame.left(16).toHex();
    expected += "[info][getSendData][Local::0][Server:10.0.0.7:19208][Tcp:none] "
                "Send:[2000]echo [number:7] " +
                tail;
    QCOMPARE(log.lines(), expected);
}

void tst_BlockThreadTcp::silentCommandIsNotLogged()
{
    BlockThreadTcp worker;
    worker.setPort(19208);
    LogCapture log;
    QByteArray frame;

    QVERIFY(worker.getSendData(QVariant(), QByteArray(20000, 'x'), 1100, 7, frame));
    QVERIFY(worker.getSendData(QVariant(), QByteArray("x"), "alive", 7, frame));

    QCOMPARE(log.lines(), QStringList());
}

void tst_BlockThreadTcp::debugTextNamesBothEnds()
{
    BlockThreadTcp worker;
    QCOMPARE(worker.getTcpSocketState(), QAbstractSocket::UnconnectedState);
    QCOMPARE(worker.getTcpSocketDebug(), QStringLiteral("[Local::0][Server::0][Tcp:none]"));
}

void tst_BlockThreadTcp::answerEndsTheExchange()
{
    Waiting waiting;

    waiting.worker.resolveTcpReadData(answer("text"));

    QCOMPARE(waiting.finished.count(), 1);
    QCOMPARE(values(waiting.progress), QList<int>{100});
    QCOMPARE(waiting.worker.receiveData(), QByteArray("text"));
    QCOMPARE(waiting.worker.receiveMap().value("revCommand").toInt(), 12000);
    QCOMPARE(waiting.worker.receiveMap().value("sendCommand").toInt(), 2000);
    QVERIFY(waiting.worker.getIsOk());
}

void tst_BlockThreadTcp::otherAnswersOnlyReplaceTheResult_data()
{
    QTest::addColumn<QByteArray>("frame");

    QTest::newRow("number") << rawFrame(12000, 8, 2000, 0, "other");
    QTest::newRow("command") << rawFrame(12001, 7, 2001, 0, "other");
    QTest::newRow("type as sent, command wrapped") << rawFrame(2000, 7, 57536, 0, "other");
}

void tst_BlockThreadTcp::otherAnswersOnlyReplaceTheResult()
{
    QFETCH(QByteArray, frame);
    Waiting waiting;

    waiting.worker.resolveTcpReadData(frame);

    QCOMPARE(waiting.finished.count(), 0);
    QCOMPARE(waiting.worker.receiveData(), QByteArray("other"));
    QCOMPARE(values(waiting.progress), QList<int>{100});
    waiting.worker.resolveTcpReadData(answer("mine"));
    QCOMPARE(waiting.finished.count(), 1);
}

void tst_BlockThreadTcp::headerAloneIsAWholeFrame()
{
    Waiting waiting;
    const QByteArray frame = answer({});

    waiting.worker.resolveTcpReadData(frame.left(15));
    QCOMPARE(waiting.finished.count(), 0);
    waiting.worker.resolveTcpReadData(frame.mid(15));

    QCOMPARE(waiting.finished.count(), 1);
    QVERIFY(waiting.worker.receiveData().isEmpty());
    QVERIFY(!waiting.worker.receiveMap().contains("ret_code"));
}

void tst_BlockThreadTcp::loneSyncByteIsDropped()
{
    Waiting waiting;
    LogCapture log;

    waiting.worker.resolveTcpReadData("\x5A");

    QCOMPARE(log.lines(), QStringList("[warning][resolveTcpReadData]Network packet loss:Z"));
    QCOMPARE(waiting.worker.lastError(), QStringLiteral("Network packet loss:Z"));
    QVERIFY(waiting.worker.getIsOk());
}

void tst_BlockThreadTcp::frameSplitBehindItsFirstByteIsLost()
{
    Waiting waiting;
    const QByteArray frame = answer("lost");

    waiting.worker.resolveTcpReadData(frame.left(1));
    waiting.worker.resolveTcpReadData(frame.mid(1));
    QCOMPARE(waiting.finished.count(), 0);
    waiting.worker.resolveTcpReadData(answer("found"));

    QCOMPARE(waiting.finished.count(), 1);
    QCOMPARE(waiting.worker.receiveData(), QByteArray("found"));
}

void tst_BlockThreadTcp::everyLostByteIsTold()
{
    Waiting waiting;
    LogCapture log;

    waiting.worker.resolveTcpReadData("a\x5A"
                                      "b" +
                                      QByteArray(1, '\0') + answer({}));

    QCOMPARE(log.with("packet loss"),
             QStringList({"[warning][resolveTcpReadData]Network packet loss:a",
                          "[warning][resolveTcpReadData]Network packet loss:Z",
                          "[warning][resolveTcpReadData]Network packet loss:b",
                          "[warning][resolveTcpReadData]Network packet loss:"}));
    QCOMPARE(waiting.finished.count(), 1);
}

void tst_BlockThreadTcp::lastErrorHoldsTheLastLostByteWithLogsOff()
{
    Waiting waiting;
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));

    waiting.worker.resolveTcpReadData("abc" + answer("x"));
    QLoggingCategory::setFilterRules(QString());

    QCOMPARE(waiting.worker.lastError(), QStringLiteral("Network packet loss:c"));
    QCOMPARE(waiting.finished.count(), 1);
}

void tst_BlockThreadTcp::syncPairInsideABodyIsHarmless()
{
    Waiting waiting;
    const QByteArray inner = answer("inner");

    waiting.worker.resolveTcpReadData(answer(inner).left(20));
    waiting.worker.resolveTcpReadData(answer(inner).mid(20));

    QCOMPARE(waiting.finished.count(), 1);
    QCOMPARE(waiting.worker.receiveData(), inner);
}

void tst_BlockThreadTcp::twoFramesInOneReadLeaveTheLast()
{
    Waiting waiting;

    waiting.worker.resolveTcpReadData(answer("first") + rawFrame(12000, 9, 2000, 0, "second"));

    QCOMPARE(waiting.finished.count(), 1);
    QCOMPARE(waiting.worker.receiveData(), QByteArray("second"));
    QCOMPARE(waiting.worker.receiveMap().value("number").toInt(), 9);
    QCOMPARE(values(waiting.progress), QList<int>({100, 100}));
}

void tst_BlockThreadTcp::frameCutAtEveryByteArrives()
{
    const QByteArray frame = answer("some data", "{\"a\":\"b\"}");
    for (int cut = 2; cut < frame.size(); ++cut) {
        Waiting waiting;
        waiting.worker.resolveTcpReadData(frame.left(cut));
        QCOMPARE(waiting.finished.count(), 0);
        waiting.worker.resolveTcpReadData(frame.mid(cut));
        QCOMPARE(waiting.finished.count(), 1);
        QCOMPARE(waiting.worker.receiveData(), QByteArray("some data"));
        QCOMPARE(waiting.worker.receiveJsonVar().toMap().value("a").toString(), QString("b"));
    }
}

void tst_BlockThreadTcp::progressGrowsAndIsToldOnce()
{
    Waiting waiting;
    const QByteArray frame = answer(QByteArray(100, 'x'));

    waiting.worker.resolveTcpReadData(frame.left(16));
    waiting.worker.resolveTcpReadData(frame.mid(16, 50));
    waiting.worker.resolveTcpReadData({});
    waiting.worker.resolveTcpReadData(frame.mid(66, 49));
    waiting.worker.resolveTcpReadData(frame.mid(115));

    QCOMPARE(values(waiting.progress), QList<int>({0, 50, 98, 100}));
}

void tst_BlockThreadTcp::progressOfTheNextFrameStartsAnew()
{
    Waiting waiting;
    const QByteArray frame = answer(QByteArray(100, 'x'));

    waiting.worker.resolveTcpReadData(frame.left(66));
    waiting.worker.resolveTcpReadData(frame.mid(66) + frame.left(36));

    QCOMPARE(values(waiting.progress), QList<int>({50, 100, 20}));
}

void tst_BlockThreadTcp::stopInTheMiddleKeepsTheSecondFrame()
{
    Waiting waiting;
    connect(&waiting.worker, &BlockThreadTcp::sigFinished, &waiting.worker,
            [&waiting] { waiting.worker.setNeedStop(true); });

    waiting.worker.resolveTcpReadData(answer("first") + answer("second"));
    QCOMPARE(waiting.worker.receiveData(), QByteArray("first"));
    waiting.worker.setNeedStop(false);
    waiting.worker.resolveTcpReadData({});

    QCOMPARE(waiting.worker.receiveData(), QByteArray("second"));
    QCOMPARE(waiting.finished.count(), 2);
}

void tst_BlockThreadTcp::silentAnswerHasNoProgress()
{
    Waiting waiting;
    waiting.worker.getSendData2({}, {}, 1100, kNumber);
    const QByteArray frame = rawFrame(11100, kNumber, 1100, 0, QByteArray(100, 'x'));
    LogCapture log;

    waiting.worker.resolveTcpReadData(frame.left(60));
    waiting.worker.resolveTcpReadData(frame.mid(60));

    QCOMPARE(values(waiting.progress), QList<int>{100});
    QCOMPARE(waiting.finished.count(), 1);
    QCOMPARE(log.lines(), QStringList());
}

void tst_BlockThreadTcp::jsonAreaIsParsed()
{
    Waiting waiting;
    LogCapture log;

    waiting.worker.resolveTcpReadData(answer("x", "{\"a\":[1]}"));

    QCOMPARE(waiting.worker.receiveJsonVar(), QVariant(QVariantMap{{"a", QVariantList{1}}}));
    QCOMPARE(log.lines().first(),
             QStringLiteral("[debug][resolveTcpReadData]>>>>>>>>>>>>>>>>>>>>>>jsonSize: 9 2000 "
                            "12000 tempJsonData: [{\"a\":[1]}]"));
}

void tst_BlockThreadTcp::jsonAreaThatDoesNotParseIsInvalid()
{
    Waiting waiting;
    waiting.worker.setReceiveJsonVar(1);

    waiting.worker.resolveTcpReadData(answer("x", "{\"a\":"));

    QVERIFY(!waiting.worker.receiveJsonVar().isValid());
    QCOMPARE(waiting.finished.count(), 1);
}

void tst_BlockThreadTcp::stopKeepsTheBytes()
{
    Waiting waiting;
    waiting.worker.setNeedStop(true);
    waiting.worker.resolveTcpReadData(answer("x"));
    QCOMPARE(waiting.finished.count(), 0);

    waiting.worker.setNeedStop(false);
    waiting.worker.resolveTcpReadData({});

    QCOMPARE(waiting.finished.count(), 1);
}

void tst_BlockThreadTcp::messagesForPeopleAreShown()
{
    Waiting waiting;
    QSignalSpy shown(&waiting.worker, &BlockThreadTcp::sigShowMessage);

    waiting.worker.resolveTcpReadData(rawFrame(15125, 7, 5125, 0, "{\"text\":\"hello\"}"));
    waiting.worker.resolveTcpReadData(rawFrame(15126, 7, 5126, 0, "{\"text\":\"other\"}"));

    QCOMPARE(shown.count(), 1);
    QCOMPARE(shown.at(0).at(0).toMap(), QVariantMap({{"text", "hello"}}));
}

void tst_BlockThreadTcp::repliesAreLogged_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("line");

    QTest::newRow("data up to the zero")
        << answer(QByteArray("ab\0cd", 5))
        << "[]Rev Server:Send:[2000]echo [number:7] Rev:12000 Data[size:5B]: ab";
    QTest::newRow("date of the answer")
        << answer("{\"create_on\":\"now\",\"ret_code\":0}")
        << "[now]Rev Server:Send:[2000]echo [number:7] Rev:12000 Data[size:32B]: "
           "{\"create_on\":\"now\",\"ret_code\":0}";
    QTest::newRow("size counts both areas")
        << answer("x", "{}")
        << "[]Rev Server:Send:[2000]echo [number:7] Rev:12000 Data[size:3B]: x";
    QTest::newRow("1024 bytes") << answer(QByteArray(1024, 'x'))
                                << "[]Rev Server:Send:[2000]echo [number:7] Rev:12000 "
                                   "Data[size:1024B]: " +
                                       QString(1024, 'x');
    QTest::newRow("1025 bytes") << answer(QByteArray(1025, 'x'))
                                << "[]Rev Server:Send:[2000]echo [number:7] Rev:12000 "
                                   "Data[size:1025B]: The data area is too large to display";
    QTest::newRow("file") << rawFrame(15101, 7, 5101, 0, "bytes")
                          << "[]Rev Server:Send:[5101] [number:7] Rev:15101 Data[size:5B]: This is "
                             "a file";
}

void tst_BlockThreadTcp::repliesAreLogged()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, line);
    Waiting waiting;
    LogCapture log;

    waiting.worker.resolveTcpReadData(frame);

    // The text of the connection stands between date and rest; there is no connection here.
    line.replace("]Rev Server", "] Rev Server");
    QCOMPARE(log.lines().last(), "[info][resolveTcpReadData]" + line);
}

void tst_BlockThreadTcp::errorReplyIsAWarningAlone()
{
    Waiting waiting;
    LogCapture log;

    waiting.worker.resolveTcpReadData(answer("{\"ret_code\":3,\"err_msg\":\"no\"}"));

    QCOMPARE(log.lines(),
             QStringList("[warning][resolveTcpReadData]Instruction error 1:  IP:10.0.0.7 : 19208 "
                         "Send: [2000]  Rev: [12000]  Error: [3] no [no]"));
    QCOMPARE(waiting.worker.receiveMap().value("err_msg"), QVariant("[3] no"));
    QVERIFY(waiting.worker.getIsOk());
    QVERIFY(waiting.worker.lastError().isEmpty());
}

void tst_BlockThreadTcp::announcedFourGigabytesWait()
{
    Waiting waiting;
    QByteArray head = answer({});
    head.replace(4, 4, QByteArray(4, '\xFF'));

    waiting.worker.resolveTcpReadData(head);
    for (int i = 0; i < 100; ++i)
        waiting.worker.resolveTcpReadData(QByteArray(65536, 'x'));

    QCOMPARE(waiting.finished.count(), 0);
    QCOMPARE(values(waiting.progress), QList<int>{0});
}

void tst_BlockThreadTcp::resultMayBeReadWhileItIsReplaced()
{
    // A peer that answers again and again makes the worker replace what the owner reads.
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    Waiting waiting;
    std::atomic<bool> isDone{false};
    std::thread worker([&] {
        for (int i = 0; i < 20000; ++i)
            waiting.worker.resolveTcpReadData(answer("data", "{\"a\":1}"));
        isDone = true;
    });

    int reads = 0;
    while (!isDone || reads < 1000) {
        const QVariantMap map = waiting.worker.receiveMap();
        const QByteArray data = waiting.worker.receiveData();
        QVERIFY(map.isEmpty() || map.size() == 7);
        QVERIFY(data.isEmpty() || data == "data");
        ++reads;
    }
    worker.join();
    QLoggingCategory::setFilterRules(QString());

    QCOMPARE(waiting.worker.receiveData(), QByteArray("data"));
}

void tst_BlockThreadTcp::stopSetByAListenerDropsTheReplyInHand()
{
    Waiting waiting;
    connect(&waiting.worker, &BlockThreadTcp::sigShowMessage, &waiting.worker,
            [&] { waiting.worker.setNeedStop(true); });

    waiting.worker.resolveTcpReadData(rawFrame(15125, kNumber, kCommand, 0, "{}"));

    QCOMPARE(waiting.finished.count(), 0);
    QCOMPARE(waiting.progress.count(), 0);
    QVERIFY(waiting.worker.receiveMap().isEmpty());
    QVERIFY(waiting.worker.receiveData().isEmpty());
    // It has been taken out of the stream nevertheless: the next one is seen.
    waiting.worker.setNeedStop(false);
    waiting.worker.resolveTcpReadData(answer("next"));
    QCOMPARE(waiting.finished.count(), 1);
    QCOMPARE(waiting.worker.receiveData(), QByteArray("next"));
    QCOMPARE(values(waiting.progress), QList<int>{100});
}

void tst_BlockThreadTcp::laterReplyWithoutJsonKeepsTheJsonBefore()
{
    Waiting waiting;
    waiting.worker.resolveTcpReadData(answer("one", "{\"a\":1}"));

    waiting.worker.resolveTcpReadData(answer("two"));

    QCOMPARE(waiting.worker.receiveData(), QByteArray("two"));
    QCOMPARE(waiting.worker.receiveJsonVar(), QVariant(QVariantMap{{"a", 1.0}}));
}

void tst_BlockThreadTcp::replyWithoutMemoryEndsTheExchange()
{
    Waiting waiting;
    // In the place of a text that there is no room for.
    connect(&waiting.worker, &BlockThreadTcp::sigShowMessage, this, [] { throw std::bad_alloc(); });

    waiting.worker.resolveTcpReadData(rawFrame(15125, 1, 1, 0, "{}") + answer("data"));

    QCOMPARE(waiting.finished.count(), 1);
    QVERIFY(!waiting.worker.getIsOk());
    QVERIFY2(waiting.worker.lastError().endsWith(" bytes and more]: no memory"),
             qPrintable(waiting.worker.lastError()));
    QCOMPARE(waiting.worker.receiveMap().value("ret_code").toInt(), 404);
    QVERIFY(waiting.worker.receiveData().isEmpty());
}

QTEST_GUILESS_MAIN(tst_BlockThreadTcp)
#include "tst_BlockThreadTcp.moc"
