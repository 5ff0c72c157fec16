#include "TestClock.h"
#include "TimeHost.h"
#include "TimeServer.h"

#include "recorded/RecordedHost.h"
#include "time/NTPPackage.h"
#include "time/SystemNTP.h"

#include <QNetworkProxy>
#include <QSignalSpy>
#include <QTimer>
#include <QUdpSocket>
#include <QtTest>

#include <limits>
#include <memory>

namespace {

constexpr qint64 kNoonMs = 1795262400000; // 2026-11-21 12:00:00 UTC
constexpr qint64 kNowMs = kNoonMs + 100;  // its timestamp holds no zero byte
constexpr qint64 kFrom1900To1970Ms = 2208988800000;
constexpr int kLimitMs = 5000;
constexpr int kQuietMs = 100;

QString setTimeLine(qint64 epochMs)
{
    return QStringLiteral("sudo timedatectl set-time '%1' ")
        .arg(QDateTime::fromMSecsSinceEpoch(epochMs).toString("yyyy-MM-dd hh:mm:ss.zzz"));
}

RecordedHost& host()
{
    return RecordedHost::instance();
}

} // namespace

/// The exchange with a server on loopback. The clock stands still, so offsets are exact: the
/// echoed time of the request lost a millisecond on the wire, which counts half and is cut.
class tst_SystemNTPClient : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void replySetsTheClock();
    void requestIsAlways48Bytes_data();
    void requestIsAlways48Bytes();
    void cutTimestampEndsAsAnInvalidReply();
    void wholeSecondSucceeds();
    void everyOffsetSetsTheClock_data();
    void everyOffsetSetsTheClock();
    void clockThatCannotBeSetStillEndsTheExchange();

    void lateReplySetsTheClock();
    void lostReplyEndsNothing();
    void tickStartsOverAfterALostReply();
    void lateReplyToAnEarlierRequestIsNotSeen();
    void lastOfTwoDatagramsCounts();
    void firstOfTwoDatagramsDoesNot();
    void repeatedReplySetsTheClockOnce();
    void shortReplyIsNone_data();
    void shortReplyIsNone();
    void replyWithoutAnOriginIsInvalid_data();
    void replyWithoutAnOriginIsInvalid();
    void replyOf32BytesPassesByItsOrigin();
    void foreignOriginIsInvalid();
    void hugeReplyIsRead();
    void kissOfDeathIsAReplyLikeAnyOther();
    void leapVersionAndModeAreNotTested();

    void slotsBeforeTheFirstExchangeDoNothing();
    void closedPortEndsTheExchange();
    void portZeroEndsTheExchange();
    void unknownServerLeavesNoTimer_data();
    void unknownServerLeavesNoTimer();
    void unknownServerLeavesTheRunningTimer();
    void nextExchangeForgetsTheError();

    void intervalStartsTheTimer_data();
    void intervalStartsTheTimer();
    void intervalZeroStopsTheTimer();
    void tickRepeatsWithTheLastArguments();
    void oneSocketServesAllExchanges();
    void settingsStartTheFirstExchange();
    void failedFirstExchangeLeavesItOff();

    void requestWaitsForTheExchange();
    void requestStoresAfterAnInvalidReply();
    void requestWithAnUnknownServerStoresNothing();
    void requestCaughtByALostReplyEndsWithTheNextExchange();
    void requestsWaitTogether();
    void exchangeThatIsOverAtOnceIsNotWaitedFor();
    void endOfTheObjectEndsTheExchange();
    void proxyOfTheApplicationIsNotUsed();

private:
    bool exchange(unsigned int interval = 10);
    QVariantMap automatic(unsigned int interval = 10) const;
    QTimer* timer() const { return _ntp->findChild<QTimer*>(); }
    bool isClockSet() const { return !host().lines().filter("set-time").isEmpty(); }

    std::unique_ptr<TimeHost> _host;
    std::unique_ptr<TimeServer> _server;
    std::unique_ptr<SystemNTP> _ntp;
    std::unique_ptr<QSignalSpy> _finished;
};

void tst_SystemNTPClient::init()
{
    TestClock::stopAt(kNowMs);
    _host = std::make_unique<TimeHost>();
    _server = std::make_unique<TimeServer>();
    _server->answerWithShift(0);
    _ntp = std::make_unique<SystemNTP>(nullptr);
    _finished = std::make_unique<QSignalSpy>(_ntp.get(), &SystemNTP::sigSetTimeFinished);
    host().reset();
}

void tst_SystemNTPClient::cleanup()
{
    _finished.reset();
    _ntp.reset();
    _server.reset();
    _host.reset();
    TestClock::runWith(0);
}

/// One exchange with the server, to its end.
bool tst_SystemNTPClient::exchange(unsigned int interval)
{
    return _ntp->ntpTime("127.0.0.1", _server->port(), interval) &&
           (_finished->count() > 0 || _finished->wait(kLimitMs));
}

QVariantMap tst_SystemNTPClient::automatic(unsigned int interval) const
{
    return {{"isAuto", true},
            {"url", "127.0.0.1"},
            {"port", _server->port()},
            {"timeSyncInterval", interval}};
}

void tst_SystemNTPClient::replySetsTheClock()
{
    _server->answerWithShift(2500);

    QVERIFY(exchange());

    QCOMPARE(host().lines(),
             QStringList({setTimeLine(kNowMs + 2500), "sudo timedatectl set-local-rtc 0 "}));
    QCOMPARE(_finished->count(), 1);
    QVERIFY(TimeHost::logLines().contains("[info][readingDataGrams][offset: 2500 ms]"));
    QCOMPARE(_ntp->getTimedatectlStatus().value("udpErrorString").toString(), QString());
}

void tst_SystemNTPClient::requestIsAlways48Bytes_data()
{
    QTest::addColumn<qint64>("nowMs");
    QTest::addColumn<QByteArray>("timestamp");

    QTest::newRow("no zero byte") << kNowMs << QByteArray("eeac064019999999");
    QTest::newRow("whole second") << kNoonMs << QByteArray("eeac064000000000");
    QTest::newRow("cut in the fraction") << kNoonMs + 1 << QByteArray("eeac064000000000");
    QTest::newRow("cut in the seconds, eeac0700")
        << kNoonMs + 192100 << QByteArray("eeac070000000000");
    QTest::newRow("cut at the first byte, 2036")
        << qint64(2085978496100 + 0x123456000) << QByteArray("0000000000000000");
}

void tst_SystemNTPClient::requestIsAlways48Bytes()
{
    QFETCH(qint64, nowMs);
    QFETCH(QByteArray, timestamp);
    TestClock::stopAt(nowMs);

    QVERIFY(exchange());

    const QByteArray request = _server->requests().first();
    QCOMPARE(request.size(), 48);
    QCOMPARE(request.left(40), QByteArray::fromHex("1b0004fa") + QByteArray(36, '\0'));
    QCOMPARE(request.mid(40).toHex(), timestamp);
}

void tst_SystemNTPClient::cutTimestampEndsAsAnInvalidReply()
{
    TestClock::stopAt(kNoonMs + 1);

    QVERIFY(exchange());

    QVERIFY(!isClockSet());
    QVERIFY(
        !TimeHost::logLine("[warning][readingDataGrams][无效的对时服务器返回: 1c0204ec").isEmpty());
}

void tst_SystemNTPClient::wholeSecondSucceeds()
{
    TestClock::stopAt(kNoonMs);

    QVERIFY(exchange());

    QVERIFY(isClockSet());
}

void tst_SystemNTPClient::everyOffsetSetsTheClock_data()
{
    QTest::addColumn<qint64>("shiftMs");
    QTest::addColumn<qint64>("offsetMs");

    const qint64 yearMs = 365LL * 86400 * 1000;
    QTest::newRow("none") << qint64(0) << qint64(0);
    QTest::newRow("a millisecond") << qint64(1) << qint64(1);
    QTest::newRow("a year ahead") << yearMs << yearMs;
    // The half millisecond that the way over the wire adds is cut towards zero.
    QTest::newRow("an hour behind") << qint64(-3600000) << qint64(-3599999);
    QTest::newRow("a year behind") << -yearMs << -yearMs + 1;
    QTest::newRow("1970") << -kNowMs << -kNowMs + 1;
}

void tst_SystemNTPClient::everyOffsetSetsTheClock()
{
    QFETCH(qint64, shiftMs);
    QFETCH(qint64, offsetMs);
    _server->answerWithShift(shiftMs);

    QVERIFY(exchange());

    QCOMPARE(host().lines().first(), setTimeLine(kNowMs + offsetMs));
}

void tst_SystemNTPClient::clockThatCannotBeSetStillEndsTheExchange()
{
    host().answerOthers({"Failed to set time", false});

    QVERIFY(exchange());

    QCOMPARE(_ntp->getLastError(), QStringLiteral("Failed to set time"));
    QCOMPARE(host().lines().size(), 1);
    QCOMPARE(_finished->count(), 1);
}

void tst_SystemNTPClient::lateReplySetsTheClock()
{
    _server->keepSilent();
    QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), 10));
    QTRY_COMPARE_WITH_TIMEOUT(_server->requests().size(), 1, kLimitMs);
    TestClock::stopAt(kNowMs + 4000);

    const QByteArray origin = TimeServer::originOf(_server->requests().first());
    _server->sendTo(0, TimeServer::reply(origin, kNowMs));

    QVERIFY(_finished->wait(kLimitMs));
    // Four seconds on the way back count as an offset of half of them.
    QCOMPARE(host().lines().first(), setTimeLine(kNowMs + 4000 - 1999));
}

void tst_SystemNTPClient::lostReplyEndsNothing()
{
    _server->keepSilent();
    QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), 10));

    QVERIFY(!_finished->wait(kQuietMs));

    QVERIFY(!isClockSet());
    QVERIFY(timer()->isActive());
}

void tst_SystemNTPClient::tickStartsOverAfterALostReply()
{
    _server->keepSilent();
    QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), 10));
    QTRY_COMPARE_WITH_TIMEOUT(_server->requests().size(), 1, kLimitMs);
    _server->answerWithShift(0);

    emit _ntp->sigNtpTimeout();

    QVERIFY(_finished->wait(kLimitMs));
    QVERIFY(isClockSet());
    QCOMPARE(_server->requests().size(), 2);
}

void tst_SystemNTPClient::lateReplyToAnEarlierRequestIsNotSeen()
{
    _server->keepSilent();
    QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), 10));
    QTRY_COMPARE_WITH_TIMEOUT(_server->requests().size(), 1, kLimitMs);
    TestClock::stopAt(kNowMs + 600000);
    emit _ntp->sigNtpTimeout();
    QTRY_COMPARE_WITH_TIMEOUT(_server->requests().size(), 2, kLimitMs);

    const QByteArray origin = TimeServer::originOf(_server->requests().first());
    _server->sendTo(0, TimeServer::reply(origin, kNowMs));

    QVERIFY(!_finished->wait(kQuietMs));
    QVERIFY(!isClockSet());
}

void tst_SystemNTPClient::lastOfTwoDatagramsCounts()
{
    _server->answer([](const QByteArray& request) {
        const QByteArray origin = TimeServer::originOf(request);
        return QList<QByteArray>{TimeServer::reply(origin, kNowMs + 1000),
                                 TimeServer::reply(origin, kNowMs + 9000)};
    });

    QVERIFY(exchange());

    QCOMPARE(host().lines().filter("set-time"), QStringList{setTimeLine(kNowMs + 9000)});
}

void tst_SystemNTPClient::firstOfTwoDatagramsDoesNot()
{
    _server->answer([](const QByteArray& request) {
        return QList<QByteArray>{TimeServer::reply(TimeServer::originOf(request), kNowMs), "no"};
    });

    QVERIFY(exchange());

    QVERIFY(!isClockSet());
    QVERIFY(TimeHost::logLines().contains("[warning][readingDataGrams][error ntp string: 6e6f ]"));
}

void tst_SystemNTPClient::repeatedReplySetsTheClockOnce()
{
    QVERIFY(exchange());

    const QByteArray origin = TimeServer::originOf(_server->requests().first());
    _server->sendTo(0, TimeServer::reply(origin, kNowMs + 9000));

    QVERIFY(!_finished->wait(kQuietMs));
    QCOMPARE(_finished->count(), 1);
    QCOMPARE(host().lines().filter("set-time").size(), 1);
}

void tst_SystemNTPClient::shortReplyIsNone_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("log");

    QTest::newRow("0") << 0 << "[warning][readingDataGrams][error ntp string:  ]";
    QTest::newRow("1") << 1 << "[warning][readingDataGrams][error ntp string: 1c ]";
    QTest::newRow("7") << 7 << "[warning][readingDataGrams][error ntp string: 1c0204ec000000 ]";
    QTest::newRow("8") << 8
                       << "[warning][readingDataGrams][无效的对时服务器返回: 1c0204ec00000000 ]";
}

void tst_SystemNTPClient::shortReplyIsNone()
{
    QFETCH(int, size);
    QFETCH(QString, log);
    _server->answer([size](const QByteArray& request) {
        return QList<QByteArray>{
            TimeServer::reply(TimeServer::originOf(request), kNowMs).left(size)};
    });

    QVERIFY(exchange());

    QVERIFY(!isClockSet());
    QCOMPARE(_finished->count(), 1);
    QCOMPARE(TimeHost::logLines().last(), log);
}

void tst_SystemNTPClient::replyWithoutAnOriginIsInvalid_data()
{
    QTest::addColumn<int>("size");

    for (int size : {8, 23, 24, 31})
        QTest::addRow("%d bytes", size) << size;
}

void tst_SystemNTPClient::replyWithoutAnOriginIsInvalid()
{
    QFETCH(int, size);
    _server->answer([size](const QByteArray& request) {
        return QList<QByteArray>{
            TimeServer::reply(TimeServer::originOf(request), kNowMs).left(size)};
    });

    QVERIFY(exchange());

    QVERIFY(!isClockSet());
    QVERIFY(!TimeHost::logLine("无效的对时服务器返回").isEmpty());
}

void tst_SystemNTPClient::replyOf32BytesPassesByItsOrigin()
{
    _server->answer([](const QByteArray& request) {
        return QList<QByteArray>{TimeServer::reply(TimeServer::originOf(request), kNowMs).left(32)};
    });

    QVERIFY(exchange());

    // Both server times are missing and read as 1900: the clock goes there.
    QCOMPARE(host().lines().first(), setTimeLine(-kFrom1900To1970Ms + 1));
}

void tst_SystemNTPClient::foreignOriginIsInvalid()
{
    _server->answer([](const QByteArray& request) {
        QByteArray origin = TimeServer::originOf(request);
        origin[7] = char(origin.at(7) ^ 1);
        return QList<QByteArray>{TimeServer::reply(origin, kNowMs + 1000)};
    });

    QVERIFY(exchange());

    QVERIFY(!isClockSet());
    QVERIFY(timer()->isActive());
    QCOMPARE(_ntp->getLastError(), QString());
    QCOMPARE(_ntp->getTimedatectlStatus().value("udpErrorString").toString(), QString());
}

void tst_SystemNTPClient::hugeReplyIsRead()
{
    _server->answer([](const QByteArray& request) {
        return QList<QByteArray>{TimeServer::reply(TimeServer::originOf(request), kNowMs) +
                                 QByteArray(60000, '\xff')};
    });

    QVERIFY(exchange());

    QCOMPARE(host().lines().first(), setTimeLine(kNowMs));
}

void tst_SystemNTPClient::kissOfDeathIsAReplyLikeAnyOther()
{
    _server->answer([](const QByteArray& request) {
        QByteArray reply = TimeServer::reply(TimeServer::originOf(request), kNowMs + 1000);
        reply[0] = char(0xDC); // leap 3: not synchronised
        reply[1] = 0;          // stratum 0: the reference identifier is a kiss code
        reply.replace(12, 4, "RATE");
        return QList<QByteArray>{reply};
    });

    QVERIFY(exchange());

    QCOMPARE(host().lines().first(), setTimeLine(kNowMs + 1000));
    QVERIFY(timer()->isActive());
}

void tst_SystemNTPClient::leapVersionAndModeAreNotTested()
{
    _server->answer([](const QByteArray& request) {
        QByteArray reply = TimeServer::reply(TimeServer::originOf(request), kNowMs);
        reply[0] = char(0xFF);
        return QList<QByteArray>{reply};
    });

    QVERIFY(exchange());

    QVERIFY(isClockSet());
}

/// They are public, so a caller may connect to them or call them at any time.
void tst_SystemNTPClient::slotsBeforeTheFirstExchangeDoNothing()
{
    _ntp->connectsucess();
    _ntp->readingDataGrams();
    _ntp->slotNtpError(QAbstractSocket::NetworkError);

    QCOMPARE(_finished->count(), 0); // no exchange, so none is over
    QVERIFY(host().lines().isEmpty());
    QCOMPARE(_ntp->getTimedatectlStatus().value("udpErrorString").toString(), QString());
    QVERIFY(exchange());
    QVERIFY(isClockSet());
}

void tst_SystemNTPClient::closedPortEndsTheExchange()
{
    const quint16 port = _server->port();
    _server.reset();

    QVERIFY(_ntp->ntpTime("127.0.0.1", port, 10));

    QVERIFY(_finished->count() > 0 || _finished->wait(kLimitMs));
    QVERIFY(!isClockSet());
    QVERIFY(timer()->isActive());
    QVERIFY(!_ntp->getTimedatectlStatus().value("udpErrorString").toString().isEmpty());
    QVERIFY(!TimeHost::logLine("[warning][slotNtpError][error:").isEmpty());

    _ntp->slotNtpError(QAbstractSocket::ConnectionRefusedError);

    QCOMPARE(TimeHost::logLine("slotNtpError"),
             QStringLiteral("[warning][slotNtpError][error: "
                            "QAbstractSocket::ConnectionRefusedError ]"));
}

void tst_SystemNTPClient::portZeroEndsTheExchange()
{
    QVERIFY(_ntp->ntpTime("127.0.0.1", 0, 10));

    QVERIFY(_finished->count() > 0 || _finished->wait(kLimitMs));
    QVERIFY(!isClockSet());
}

void tst_SystemNTPClient::unknownServerLeavesNoTimer_data()
{
    QTest::addColumn<QString>("server");

    // None of these ever reaches a resolver: they are no host names.
    QTest::newRow("empty") << "";
    QTest::newRow("code") << "; reboot";
    QTest::newRow("blank inside") << "time server";
    QTest::newRow("label of 64 characters") << QString(64, 'a');
    QTest::newRow("path") << "../../etc/passwd";
}

void tst_SystemNTPClient::unknownServerLeavesNoTimer()
{
    QFETCH(QString, server);

    QVERIFY(!_ntp->ntpTime(server, _server->port(), 10));

    QCOMPARE(_ntp->getLastError(), QStringLiteral("Connected time out"));
    const QVariantMap status = _ntp->getTimedatectlStatus();
    QCOMPARE(status.value("udpErrorString").toString(), QStringLiteral("Connected time out"));
    QCOMPARE(status.value("ntpTimeServerUrl").toString(), server);
    QCOMPARE(status.value("isAutoSync"), QVariant(false));
    QVERIFY(!timer()->isActive());
}

void tst_SystemNTPClient::unknownServerLeavesTheRunningTimer()
{
    QVERIFY(exchange(7));

    QVERIFY(!_ntp->ntpTime("no name", _server->port(), 3));

    QVERIFY(timer()->isActive());
    QCOMPARE(timer()->interval(), 420000);
    // The tick repeats with the arguments of the failed call.
    QCOMPARE(_ntp->getTimedatectlStatus().value("timeSyncInterval"), QVariant(3u));
}

void tst_SystemNTPClient::nextExchangeForgetsTheError()
{
    QVERIFY(!_ntp->ntpTime("no name", _server->port(), 10));
    _finished->clear();

    QVERIFY(exchange());

    QCOMPARE(_ntp->getTimedatectlStatus().value("udpErrorString").toString(), QString());
    QVERIFY(isClockSet());
}

void tst_SystemNTPClient::intervalStartsTheTimer_data()
{
    QTest::addColumn<uint>("minutes");
    QTest::addColumn<int>("periodMs");
    QTest::addColumn<QString>("log");

    QTest::newRow("1") << 1u << 60000 << "[debug][ntpTime][_ntpSyncTimer.start: 60 s]";
    QTest::newRow("10") << 10u << 600000 << "[debug][ntpTime][_ntpSyncTimer.start: 600 s]";
    QTest::newRow("4 000 000 000") << 4000000000u << std::numeric_limits<int>::max()
                                   << "[debug][ntpTime][_ntpSyncTimer.start: 240000000000 s]";
}

void tst_SystemNTPClient::intervalStartsTheTimer()
{
    QFETCH(uint, minutes);

    QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), minutes));

    QVERIFY(timer()->isActive());
    QTEST(timer()->interval(), "periodMs");
    QTEST(TimeHost::logLine("_ntpSyncTimer.start"), "log");
    QCOMPARE(_ntp->getTimedatectlStatus().value("isAutoSync"), QVariant(true));
}

void tst_SystemNTPClient::intervalZeroStopsTheTimer()
{
    QVERIFY(exchange(10));
    _finished->clear();

    QVERIFY(exchange(0));

    QVERIFY(!timer()->isActive());
    QCOMPARE(_server->requests().size(), 2);
}

void tst_SystemNTPClient::tickRepeatsWithTheLastArguments()
{
    QVERIFY(exchange(7));
    QSignalSpy ticks(_ntp.get(), &SystemNTP::sigNtpTimeout);
    timer()->start(1);

    QVERIFY(ticks.wait(kLimitMs));

    QTRY_COMPARE_WITH_TIMEOUT(_finished->count(), 2, kLimitMs);
    QCOMPARE(timer()->interval(), 420000);
    QCOMPARE(_server->requests().size(), 2);
}

void tst_SystemNTPClient::oneSocketServesAllExchanges()
{
    for (int i = 1; i <= 5; ++i) {
        QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), 10));
        QTRY_COMPARE_WITH_TIMEOUT(_finished->count(), i, kLimitMs);
    }

    QCOMPARE(_ntp->findChildren<QUdpSocket*>().size(), 1);
    QCOMPARE(_server->requests().size(), 5);
    QCOMPARE(host().lines().filter("set-time").size(), 5);
}

void tst_SystemNTPClient::settingsStartTheFirstExchange()
{
    _host->writeSettings({"isAutoSync=true", "timeSyncInterval=5", "ntpTimeServerUrl=127.0.0.1",
                          "ntpTimePort=" + QString::number(_server->port())});

    SystemNTP ntp(nullptr);
    QSignalSpy finished(&ntp, &SystemNTP::sigSetTimeFinished);

    QVERIFY(finished.wait(kLimitMs));
    QCOMPARE(host().lines(), QStringList({"sudo timedatectl set-ntp false", setTimeLine(kNowMs),
                                          "sudo timedatectl set-local-rtc 0 "}));
    QCOMPARE(ntp.findChild<QTimer*>()->interval(), 600000);
}

void tst_SystemNTPClient::failedFirstExchangeLeavesItOff()
{
    _host->writeSettings({"isAutoSync=true", "ntpTimeServerUrl=no name"});

    SystemNTP ntp(nullptr);

    QCOMPARE(ntp.getTimedatectlStatus().value("isAutoSync"), QVariant(false));
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("true"));
    QCOMPARE(ntp.getLastError(), QStringLiteral("Connected time out"));
}

void tst_SystemNTPClient::requestWaitsForTheExchange()
{
    QVERIFY(_ntp->setTimeConfig(automatic(0)));

    QCOMPARE(_finished->count(), 1);
    QCOMPARE(host().lines().mid(2),
             QStringList({setTimeLine(kNowMs), "sudo timedatectl set-local-rtc 0 "}));
    QVERIFY(!timer()->isActive());
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("true"));
    QCOMPARE(_host->stored("timeSyncInterval"), QStringLiteral("0"));
}

void tst_SystemNTPClient::requestStoresAfterAnInvalidReply()
{
    _server->answer([](const QByteArray&) { return QList<QByteArray>{"?"}; });

    QVERIFY(_ntp->setTimeConfig(automatic()));

    QVERIFY(!isClockSet());
    QCOMPARE(_host->stored("ntpTimePort"), QString::number(_server->port()));
}

void tst_SystemNTPClient::requestWithAnUnknownServerStoresNothing()
{
    QVariantMap request = automatic();
    request["url"] = "; reboot";

    QVERIFY(!_ntp->setTimeConfig(request));

    QCOMPARE(_ntp->getLastError(), QStringLiteral("Connected time out"));
    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("(absent)"));
    QCOMPARE(host().lines().size(), 2); // the zone, which stays
}

void tst_SystemNTPClient::requestCaughtByALostReplyEndsWithTheNextExchange()
{
    _server->keepSilent();
    QTimer::singleShot(kQuietMs, _ntp.get(), [this] {
        QCOMPARE(_finished->count(), 0);
        _server->answerWithShift(0);
        emit _ntp->sigNtpTimeout();
    });

    QVERIFY(_ntp->setTimeConfig(automatic()));

    QCOMPARE(_server->requests().size(), 2);
    QVERIFY(isClockSet());
}

void tst_SystemNTPClient::requestsWaitTogether()
{
    _server->keepSilent();
    bool isInnerDone = false;
    QTimer::singleShot(0, _ntp.get(), [this, &isInnerDone] {
        _server->answerWithShift(0);
        isInnerDone = _ntp->setTimeConfig(automatic(3));
    });

    QVERIFY(_ntp->setTimeConfig(automatic(7)));

    QVERIFY(isInnerDone);
    // The request that came first is stored last.
    QCOMPARE(_host->stored("timeSyncInterval"), QStringLiteral("7"));
    QCOMPARE(timer()->interval(), 180000);
}

void tst_SystemNTPClient::exchangeThatIsOverAtOnceIsNotWaitedFor()
{
    QVERIFY(exchange());
    _server->keepSilent();
    auto* socket = _ntp->findChild<QUdpSocket*>();
    connect(socket, &QUdpSocket::connected, _ntp.get(),
            [this] { emit _ntp->sigSetTimeFinished(); });

    QVERIFY(_ntp->setTimeConfig(automatic(0)));

    QCOMPARE(_host->stored("isAutoSync"), QStringLiteral("true"));
}

void tst_SystemNTPClient::endOfTheObjectEndsTheExchange()
{
    _server->keepSilent();
    QVERIFY(_ntp->ntpTime("127.0.0.1", _server->port(), 10));
    QTRY_COMPARE_WITH_TIMEOUT(_server->requests().size(), 1, kLimitMs);

    _ntp.reset();

    QCOMPARE(_finished->count(), 0);
    _server->sendTo(0, TimeServer::reply(TimeServer::originOf(_server->requests().first()), 0));
    QCoreApplication::processEvents();
    QVERIFY(!isClockSet());
}

void tst_SystemNTPClient::proxyOfTheApplicationIsNotUsed()
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::Socks5Proxy, "127.0.0.1", 1));

    const bool isDone = exchange();
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);

    QVERIFY(isDone);
    QVERIFY(isClockSet());
    const QNetworkProxy proxy = _ntp->findChild<QUdpSocket*>()->proxy();
    QCOMPARE(proxy.type(), QNetworkProxy::NoProxy);
}

QTEST_GUILESS_MAIN(tst_SystemNTPClient)
#include "tst_SystemNTPClient.moc"
