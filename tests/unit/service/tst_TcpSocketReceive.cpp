#include "LogCapture.h"
#include "RelayRecorder.h"

#include "host/PublicClass.h"
#include "host/SqliteClass.h"
#include "service/TcpSocket.h"
#include "wire/FrameWriter.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using ky::buildFrame;

/// The receive chain without a network: chunks go in as reads would bring them.
class tst_TcpSocketReceive : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void emptyFrameIsDeliveredWithInvalidJsonAndNoData();
    void emptyFrameInFrontOfAnotherIsDeliveredTheSame();
    void bodyOfExactlyJsonSizeHasNoData();
    void jsonSizeOverDataSizeIsCut();
    void brokenJsonIsInvalidAndStillDelivered();
    void dataBehindJsonIsKeptByteForByte();
    void answerTypeIsTypePlus10000In16Bits();
    void nameComesFromTheServicePortTable();
    void missingServicePortTableIsCreatedEmpty();
    void firstNameInKeyOrderWins();
    void twoFramesInOneReadAreDeliveredInOrder();
    void syncPairInsideABodyIsHarmless();
    void noiseIsDroppedByteByByteWithAWarningEach();
    void noiseIsDroppedWithoutAWordWhenWarningsAreOff();
    void loneSyncByteIsDropped();
    void fragmentBehindAFrameDeliversTheLastRequestAgain_data();
    void fragmentBehindAFrameDeliversTheLastRequestAgain();
    void fragmentAfterResynchronisationDeliversTheLastRequestAgain();
    void frameCutAtEveryByteIsDeliveredOnce();
    void needStopKeepsBytesForTheNextRead();
    void missingRelayObjectIsWarnedAbout();
    void relayWithoutTheSlotIsWarnedAbout();
    void announced4GiBReserveLittle();
    void logShowsTheRequestWithTheDigitTrick();
    void logShowsTheJsonArea();
    void lastBytesOfTheHeaderAreIgnored();
    void logHidesDataOver1024Bytes();
    void logShowsDataUpToItsFirstZero();

private:
    void read(const QByteArray& bytes)
    {
        _socket->resolveTcpReadData(5, bytes);
        QCoreApplication::sendPostedEvents(&_relay);
    }
    const std::vector<RelayRecorder::Request>& requests() const { return _relay.requests; }

    RelayRecorder _relay;
    std::unique_ptr<TcpSocket> _socket;
};

void tst_TcpSocketReceive::init()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    SqliteClass::init()->portCommands = {{19208, {{"echo", 2000}, {"abc", 2000}, {"other", 7}}}};
    _relay.requests.clear();
    _socket = std::make_unique<TcpSocket>();
    _socket->setRelayObj(&_relay);
}

void tst_TcpSocketReceive::cleanup()
{
    _socket.reset();
}

void tst_TcpSocketReceive::emptyFrameIsDeliveredWithInvalidJsonAndNoData()
{
    read(buildFrame(2000, 9, {}, {}));

    QCOMPARE(requests().size(), size_t(1));
    QVERIFY(!requests()[0].json.isValid());
    QVERIFY(requests()[0].data.isEmpty());
    QCOMPARE(requests()[0].number, quint16(9));
    QCOMPARE(requests()[0].handle, qintptr(5));
}

void tst_TcpSocketReceive::emptyFrameInFrontOfAnotherIsDeliveredTheSame()
{
    read(buildFrame(2000, 1, {}, {}) + buildFrame(2000, 2, {}, "x"));

    QCOMPARE(requests().size(), size_t(2));
    QVERIFY(!requests()[0].json.isValid());
    QVERIFY(requests()[0].data.isEmpty());
    QCOMPARE(requests()[1].data, QByteArray("x"));
}

void tst_TcpSocketReceive::bodyOfExactlyJsonSizeHasNoData()
{
    read(buildFrame(2000, 1, "{\"a\":1}", {}));

    QCOMPARE(requests().size(), size_t(1));
    QCOMPARE(requests()[0].json.toMap().value("a").toInt(), 1);
    QVERIFY(requests()[0].data.isEmpty());
}

void tst_TcpSocketReceive::jsonSizeOverDataSizeIsCut()
{
    QByteArray frame = buildFrame(2000, 1, "[12]", {});
    frame[12] = '\x7f';

    read(frame + buildFrame(2000, 2, {}, {}));

    QCOMPARE(requests().size(), size_t(2));
    QCOMPARE(requests()[0].json.toList(), QVariantList{12});
    QVERIFY(requests()[0].data.isEmpty());
}

void tst_TcpSocketReceive::brokenJsonIsInvalidAndStillDelivered()
{
    read(buildFrame(2000, 1, "{\"a\":", "data"));

    QCOMPARE(requests().size(), size_t(1));
    QVERIFY(!requests()[0].json.isValid());
    QCOMPARE(requests()[0].data, QByteArray("data"));
}

void tst_TcpSocketReceive::dataBehindJsonIsKeptByteForByte()
{
    QByteArray data;
    for (int i = 0; i < 256; ++i)
        data += char(i);

    read(buildFrame(2000, 1, "{}", data));

    QCOMPARE(requests().at(0).data, data);
}

void tst_TcpSocketReceive::answerTypeIsTypePlus10000In16Bits()
{
    read(buildFrame(2000, 1, {}, {}) + buildFrame(60000, 1, {}, {}));

    QCOMPARE(requests().at(0).answerType, quint16(12000));
    QCOMPARE(requests().at(1).answerType, quint16(4464));
}

void tst_TcpSocketReceive::nameComesFromTheServicePortTable()
{
    read(buildFrame(7, 1, {}, {}) + buildFrame(8, 1, {}, {}));

    QCOMPARE(requests().at(0).name, QStringLiteral("other"));
    QCOMPARE(requests().at(1).name, QString());
}

void tst_TcpSocketReceive::missingServicePortTableIsCreatedEmpty()
{
    SqliteClass::init()->portCommands.clear();

    QCOMPARE(_socket->CDString(2000), QString());
    QVERIFY(SqliteClass::init()->portCommands.contains(19208));
}

void tst_TcpSocketReceive::firstNameInKeyOrderWins()
{
    QCOMPARE(_socket->CDString(2000), QStringLiteral("abc"));
}

void tst_TcpSocketReceive::twoFramesInOneReadAreDeliveredInOrder()
{
    read(buildFrame(2000, 1, {}, "one") + buildFrame(2000, 2, {}, "two"));

    QCOMPARE(requests().size(), size_t(2));
    QCOMPARE(requests()[0].data, QByteArray("one"));
    QCOMPARE(requests()[1].data, QByteArray("two"));
}

void tst_TcpSocketReceive::syncPairInsideABodyIsHarmless()
{
    const QByteArray body("\x5a\x01\x00\x01\x5a\x01", 6);

    read(buildFrame(2000, 1, {}, body));
    read(buildFrame(2000, 2, {}, {}));

    QCOMPARE(requests().size(), size_t(2));
    QCOMPARE(requests()[0].data, body);
}

void tst_TcpSocketReceive::noiseIsDroppedByteByByteWithAWarningEach()
{
    const LogCapture log("ky.", QtWarningMsg);

    read(QByteArray("\x5a\x02\x00", 3) + buildFrame(2000, 3, {}, "d"));

    QCOMPARE(requests().size(), size_t(1));
    QCOMPARE(log.lines().size(), 3);
    QCOMPARE(log.lines().at(0),
             QStringLiteral("[warning][resolveTcpReadData][Network packet loss: 19 ]"));
    QVERIFY(log.lines().at(2).contains(QStringLiteral("loss: 17 ")));
}

void tst_TcpSocketReceive::noiseIsDroppedWithoutAWordWhenWarningsAreOff()
{
    read(QByteArray("\x5a\x5a\x02\x5a", 4) + QByteArray(100000, '\x5a') +
         buildFrame(2000, 3, {}, "d"));

    QCOMPARE(requests().size(), size_t(1));
    QCOMPARE(requests()[0].data, QByteArray("d"));
}

void tst_TcpSocketReceive::loneSyncByteIsDropped()
{
    const QByteArray frame = buildFrame(2000, 1, {}, "d");

    read(frame.left(1));
    read(frame.mid(1));

    QVERIFY(requests().empty());
}

void tst_TcpSocketReceive::fragmentBehindAFrameDeliversTheLastRequestAgain_data()
{
    QTest::addColumn<int>("fragment");
    for (int size = 2; size <= 15; ++size)
        QTest::newRow(qPrintable(QString::number(size))) << size;
}

void tst_TcpSocketReceive::fragmentBehindAFrameDeliversTheLastRequestAgain()
{
    QFETCH(int, fragment);
    const QByteArray next = buildFrame(2000, 2, {}, "next");

    read(buildFrame(2000, 1, "{}", "first") + next.left(fragment));
    read(next.mid(fragment));
    read(buildFrame(2000, 3, {}, {}));

    QCOMPARE(requests().size(), size_t(3));
    QCOMPARE(requests()[1].number, quint16(1));
    QVERIFY(!requests()[1].json.isValid());
    QVERIFY(requests()[1].data.isEmpty());
    QCOMPARE(requests()[2].number, quint16(3));
}

void tst_TcpSocketReceive::fragmentAfterResynchronisationDeliversTheLastRequestAgain()
{
    read(buildFrame(2000, 4, {}, "first"));

    read(QByteArray(20, 'n') + QByteArray("\x5a\x01\x00", 3));

    QCOMPARE(requests().size(), size_t(2));
    QCOMPARE(requests()[1].number, quint16(4));
    QVERIFY(requests()[1].data.isEmpty());
}

void tst_TcpSocketReceive::frameCutAtEveryByteIsDeliveredOnce()
{
    const QByteArray frame = buildFrame(2000, 1, "{\"a\":[1,2]}", QByteArray("\x5a\x01xyz\0z", 7));
    for (int cut = 2; cut < frame.size(); ++cut) {
        init();
        read(frame.left(cut));
        QVERIFY2(requests().empty(), qPrintable(QString::number(cut)));

        read(frame.mid(cut));

        QCOMPARE(requests().size(), size_t(1));
        QCOMPARE(requests()[0].data, QByteArray("\x5a\x01xyz\0z", 7));
        QCOMPARE(requests()[0].json.toMap().value("a").toList().size(), 2);
    }
}

void tst_TcpSocketReceive::needStopKeepsBytesForTheNextRead()
{
    _socket->setIsNeedStop(true);
    read(buildFrame(2000, 1, {}, "kept"));
    QVERIFY(requests().empty());

    _socket->setIsNeedStop(false);
    read(buildFrame(2000, 2, {}, "next"));

    QCOMPARE(requests().size(), size_t(2));
    QCOMPARE(requests()[0].data, QByteArray("kept"));
}

void tst_TcpSocketReceive::missingRelayObjectIsWarnedAbout()
{
    const LogCapture log("ky.", QtWarningMsg);
    _socket->setRelayObj(nullptr);

    read(buildFrame(7, 1, {}, {}));

    QVERIFY(requests().empty());
    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.lines().at(0).endsWith(QStringLiteral("[QMetaObject::invokeMethod:other fail]")));
}

void tst_TcpSocketReceive::relayWithoutTheSlotIsWarnedAbout()
{
    const LogCapture log("ky.", QtWarningMsg);
    QObject plain;
    _socket->setRelayObj(&plain);

    read(buildFrame(7, 1, {}, {}));

    QVERIFY(log.last().endsWith(QStringLiteral("[QMetaObject::invokeMethod:other fail]")));
    _socket->setRelayObj(nullptr);
}

void tst_TcpSocketReceive::announced4GiBReserveLittle()
{
    QByteArray frame = buildFrame(2000, 1, {}, {});
    for (int i = 4; i < 8; ++i)
        frame[i] = '\xff';

    read(frame);
    for (int i = 0; i < 64; ++i)
        read(QByteArray(65536, 'x'));

    QVERIFY(requests().empty());
}

void tst_TcpSocketReceive::logShowsTheRequestWithTheDigitTrick()
{
    const LogCapture log("ky.");

    read(buildFrame(7, 16, {}, "he%1llo"));

    const QString line = log.with(QStringLiteral("[Receive")).value(0);
    QVERIFY2(line.startsWith(QStringLiteral("[debug][setResolveClientData][Receive  Local:")),
             qPrintable(line));
    QVERIFY2(line.endsWith(
                 QStringLiteral(": 函数:other 报文类型:7 (7)序号: 16 (22)数据区size:7: he%1llo]")),
             qPrintable(line));
}

void tst_TcpSocketReceive::logShowsTheJsonArea()
{
    const LogCapture log("ky.");

    read(buildFrame(7, 1, "{\"a\":1}", "x"));

    QCOMPARE(log.with(QStringLiteral("jsonSize:")).value(0),
             QStringLiteral("[debug][resolveData]>>>>>>>>>>>>>>>>>>>>>>jsonSize: 7 55543 7 "
                            "tempJsonData: [{\"a\":1}]"));
}

void tst_TcpSocketReceive::lastBytesOfTheHeaderAreIgnored()
{
    QByteArray frame = buildFrame(2000, 5, {}, "d");
    frame[10] = '\x12'; // revCommand of nothing
    frame[14] = '\xff';
    frame[15] = '\x7f';

    read(frame);

    QCOMPARE(requests().size(), size_t(1));
    QCOMPARE(requests()[0].answerType, quint16(12000));
    QCOMPARE(requests()[0].data, QByteArray("d"));
}

void tst_TcpSocketReceive::logHidesDataOver1024Bytes()
{
    const LogCapture log("ky.");

    read(buildFrame(7, 1, {}, QByteArray(1025, 'x')));
    read(buildFrame(7, 1, {}, QByteArray(1024, 'y')));

    const QStringList lines = log.with(QStringLiteral("[Receive"));
    QVERIFY(lines.at(0).endsWith(QStringLiteral("size:1025: 数据区过大不显示]")));
    QVERIFY(lines.at(1).endsWith(QStringLiteral("y]")));
}

void tst_TcpSocketReceive::logShowsDataUpToItsFirstZero()
{
    const LogCapture log("ky.");

    read(buildFrame(7, 1, {}, QByteArray("ab\0cd", 5)));

    QVERIFY(log.with(QStringLiteral("[Receive")).at(0).endsWith(QStringLiteral("size:5: ab]")));
}

QTEST_GUILESS_MAIN(tst_TcpSocketReceive)
#include "tst_TcpSocketReceive.moc"
