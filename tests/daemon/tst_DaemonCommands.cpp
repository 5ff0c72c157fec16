#include "DaemonFixture.h"
#include "FrameClient.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QTest>

#include <csignal>
#include <memory>
#include <vector>

/// Requests to one running daemon, over the wire.
class tst_DaemonCommands : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void echoGivesBothAreasBack();
    void echoWithoutContentIsAHeader();
    void answerStandsInTheDataArea();
    void commandsListsWhatIsServed();
    void versionTellsTheHost();
    void unknownCommandIsAnswered_data();
    void unknownCommandIsAnswered();
    void brokenJsonIsAnswered();
    void jsonSizeOverDataSizeIsAnswered();
    void requestsOfOneConnectionKeepTheirOrder();
    void noiseBeforeAFrameIsSkipped();
    void halfAFrameAndGoneHurtsNobody();
    void vanishingBeforeTheAnswerHurtsNobody();
    void answersOfAVanishedClientReachNobodyElse();
    void noiseOnManyConnectionsHurtsNobody();
    void hugeAnnouncementHurtsNobody();

    void subscriberHearsOfTheLink();
    void subscriptionToNothingEndsIt();
    void subscriptionToAnUnknownEventIsRefused();
    void othersHearNothing();
    void linkFramesAreRemembered();
    void hostReportIsRemembered();
    void sidePortsAnswerUnknownCommands_data();
    void sidePortsAnswerUnknownCommands();

private:
    DaemonFixture _daemon;
};

void tst_DaemonCommands::initTestCase()
{
    QVERIFY2(_daemon.start("tbxName=T-800\nhardwareType=-1\nversion=7.1\n"),
             qPrintable(_daemon.errorText()));
}

void tst_DaemonCommands::cleanup()
{
    // Whatever a slot did, others are served.
    QVERIFY(_daemon.isRunning());
    FrameClient other(_daemon.port());
    QCOMPARE(other.ask(2000, {}, "still there").data, QByteArray("still there"));
}

void tst_DaemonCommands::cleanupTestCase()
{
    QCOMPARE(_daemon.stop(SIGTERM), 0);
}

void tst_DaemonCommands::echoGivesBothAreasBack()
{
    FrameClient client(_daemon.port());
    client.send(2000, 77, "{\"a\":[1,2,\"世界\"]}", QByteArray("\0\xff\x5a\x01", 4));

    const WireFrame answer = client.receive();

    QVERIFY(answer.isValid);
    QCOMPARE(answer.type, 12000);
    QCOMPARE(answer.revCommand, 2000);
    QCOMPARE(answer.number, 77);
    QCOMPARE(answer.json, QByteArray("{\"a\":[1,2,\"世界\"]}"));
    QCOMPARE(answer.data, QByteArray("\0\xff\x5a\x01", 4));
}

void tst_DaemonCommands::echoWithoutContentIsAHeader()
{
    FrameClient client(_daemon.port());

    const WireFrame answer = client.ask(2000);

    QVERIFY(answer.isValid);
    QVERIFY(answer.json.isEmpty());
    QVERIFY(answer.data.isEmpty());
}

void tst_DaemonCommands::answerStandsInTheDataArea()
{
    FrameClient client(_daemon.port());

    const WireFrame answer = client.ask(2002);

    QCOMPARE(answer.type, 12002);
    QVERIFY(answer.json.isEmpty());
    QCOMPARE(answer.map().value("ret_code"), QVariant(0.0));
    QCOMPARE(answer.map().value("err_msg"), QVariant(""));
    const auto time =
        QDateTime::fromString(answer.map().value("create_on").toString(), Qt::ISODateWithMs);
    QVERIFY(qAbs(time.secsTo(QDateTime::currentDateTime())) < 60);
}

void tst_DaemonCommands::commandsListsWhatIsServed()
{
    FrameClient client(_daemon.port());

    const QVariantList rows = client.ask(2001).map().value("commands").toList();

    QMap<QString, int> numbers;
    for (const QVariant& row : rows) {
        numbers.insert(row.toMap().value("name").toString(), row.toMap().value("number").toInt());
        QVERIFY(!row.toMap().value("summary").toString().isEmpty());
    }
    QCOMPARE(numbers.value("echo"), 2000);
    QCOMPARE(numbers.value("commands"), 2001);
    QCOMPARE(numbers.value("upload"), 5104);
    QCOMPARE(numbers.value("event_link"), 2900);
    QVERIFY(!numbers.contains("link_lost"));
    // Each command of the table is known to the daemon.
    for (const QVariant& row : rows) {
        if (row.toMap().value("kind") == "command")
            QVERIFY(numbers.value(row.toMap().value("name").toString()) < 55536);
    }
}

void tst_DaemonCommands::versionTellsTheHost()
{
    FrameClient client(_daemon.port());

    const QVariantMap answer = client.ask(2002).map();

    QCOMPARE(answer.value("version").toString(), QString("7.1"));
    QCOMPARE(answer.value("tbx_name").toString(), QString("T-800"));
    QCOMPARE(answer.value("hardware_type").toInt(), -1);
}

void tst_DaemonCommands::unknownCommandIsAnswered_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("answerType");
    QTest::newRow("0") << 0 << 10000;
    QTest::newRow("4999") << 4999 << 14999;
    QTest::newRow("an event is no command") << 2900 << 12900;
    QTest::newRow("of a side port") << 4802 << 14802;
    QTest::newRow("wraps around") << 65535 << 9999;
}

void tst_DaemonCommands::unknownCommandIsAnswered()
{
    QFETCH(int, type);
    QFETCH(int, answerType);
    FrameClient client(_daemon.port());

    const WireFrame answer = client.ask(type, "{}", "x");

    QCOMPARE(answer.type, answerType);
    QCOMPARE(answer.code(), 40001);
    QCOMPARE(answer.errorText(), QString("unknown command [%1]").arg(type));
}

void tst_DaemonCommands::brokenJsonIsAnswered()
{
    FrameClient client(_daemon.port());

    // The area is not JSON, so there is none to give back.
    const WireFrame echo = client.ask(2000, "{\"a\":", "data");
    QVERIFY(echo.json.isEmpty());
    QCOMPARE(echo.data, QByteArray("data"));

    QCOMPARE(client.ask(2003, "\xff\xfe{]").code(), 0);
    QCOMPARE(client.ask(2100, "{{{{").code(), 40002);
}

void tst_DaemonCommands::jsonSizeOverDataSizeIsAnswered()
{
    FrameClient client(_daemon.port());
    client.send(FrameClient::header(2000, 5, 7, 500) + "{\"a\":1}");

    const WireFrame answer = client.receive();

    QCOMPARE(answer.number, 5);
    QCOMPARE(answer.json, QByteArray("{\"a\":1}"));
    QVERIFY(answer.data.isEmpty());
}

void tst_DaemonCommands::requestsOfOneConnectionKeepTheirOrder()
{
    FrameClient client(_daemon.port());
    QByteArray frames;
    for (int i = 1; i <= 200; ++i)
        frames += FrameClient::frame(2000, i, {}, QByteArray::number(i));
    client.send(frames);

    for (int i = 1; i <= 200; ++i) {
        const WireFrame answer = client.receive();
        QCOMPARE(answer.number, i);
        QCOMPARE(answer.data, QByteArray::number(i));
    }
}

void tst_DaemonCommands::noiseBeforeAFrameIsSkipped()
{
    FrameClient client(_daemon.port());
    client.send(QByteArray(1000, 'Z') + FrameClient::frame(2000, 9, {}, "x"));

    QCOMPARE(client.receive().number, 9);
}

void tst_DaemonCommands::halfAFrameAndGoneHurtsNobody()
{
    const QByteArray frame = FrameClient::frame(2000, 1, "{\"a\":1}", "data");
    for (int cut = 1; cut < frame.size(); ++cut) {
        FrameClient client(_daemon.port());
        client.send(frame.left(cut));
        client.vanish();
    }
}

void tst_DaemonCommands::vanishingBeforeTheAnswerHurtsNobody()
{
    for (int i = 0; i < 50; ++i) {
        FrameClient client(_daemon.port());
        client.send(2001, i);
        client.send(2100, i, "{\"ip\":\"127.0.0.1\",\"port\":1,\"command\":2000}");
        client.vanish();
    }
}

void tst_DaemonCommands::answersOfAVanishedClientReachNobodyElse()
{
    for (int i = 0; i < 100; ++i) {
        FrameClient gone(_daemon.port());
        for (int number = 1; number <= 10; ++number)
            gone.send(2001, number);
        gone.vanish();
        // The kernel gives it the descriptor of the one that has just gone.
        FrameClient next(_daemon.port());
        QCOMPARE(next.ask(2000, {}, "mine").data, QByteArray("mine"));
    }
}

void tst_DaemonCommands::noiseOnManyConnectionsHurtsNobody()
{
    QRandomGenerator random(20261121);
    for (int i = 0; i < 50; ++i) {
        QByteArray noise(2000, Qt::Uninitialized);
        for (char& byte : noise)
            byte = char(random.bounded(256));
        FrameClient client(_daemon.port());
        client.send(noise);
    }
}

void tst_DaemonCommands::hugeAnnouncementHurtsNobody()
{
    std::vector<std::unique_ptr<FrameClient>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(std::make_unique<FrameClient>(_daemon.port()));
        clients.back()->send(FrameClient::header(2000, i, 0xffffffffu, 0xffff) + "some");
    }
    FrameClient other(_daemon.port());

    QCOMPARE(other.ask(2000, {}, "x").data, QByteArray("x"));
}

void tst_DaemonCommands::subscriberHearsOfTheLink()
{
    FrameClient watcher(_daemon.port());
    const WireFrame subscribed = watcher.ask(2003, "{\"events\":[\"event_link\"]}");
    QCOMPARE(subscribed.code(), 0);
    QCOMPARE(subscribed.map().value("events").toStringList(), QStringList{"event_link"});

    FrameClient supervision(_daemon.linkPort());
    QCOMPARE(supervision.ask(4802, {}, "{\"msg\":\"gone\"}").code(), 0);

    const WireFrame event = watcher.receive();
    QCOMPARE(event.type, 2900);
    QVERIFY(event.json.isEmpty());
    QCOMPARE(event.map().value("event").toString(), QString("event_link"));
    QCOMPARE(event.map().value("state").toString(), QString("lost"));
    QCOMPARE(event.map().value("msg").toString(), QString("gone"));
}

void tst_DaemonCommands::subscriptionToNothingEndsIt()
{
    FrameClient watcher(_daemon.port());
    QCOMPARE(watcher.ask(2003).code(), 0);
    QCOMPARE(watcher.ask(2003, "{\"events\":[]}").code(), 0);

    FrameClient supervision(_daemon.linkPort());
    supervision.ask(4803);

    // The next frame is the answer to the next request, no event.
    QCOMPARE(watcher.ask(2002).type, 12002);
}

void tst_DaemonCommands::subscriptionToAnUnknownEventIsRefused()
{
    FrameClient watcher(_daemon.port());

    const WireFrame answer = watcher.ask(2003, "{\"events\":[\"event_link\",\"event_moon\"]}");

    QCOMPARE(answer.code(), 40002);
    QCOMPARE(answer.errorText(), QString("argument [events]: no event [event_moon]"));
}

void tst_DaemonCommands::othersHearNothing()
{
    FrameClient other(_daemon.port());
    QCOMPARE(other.ask(2002).code(), 0);
    FrameClient supervision(_daemon.linkPort());
    supervision.ask(4803);

    QCOMPARE(other.ask(2002).type, 12002);
}

void tst_DaemonCommands::linkFramesAreRemembered()
{
    FrameClient supervision(_daemon.linkPort());
    FrameClient client(_daemon.port());
    const int lostBefore = client.ask(2004).map().value("lost_count").toInt();

    supervision.ask(4802, {}, "{\"msg\":\"The network has been disconnected:10.0.0.1\"}");
    QVariantMap status = client.ask(2004).map();
    QCOMPARE(status.value("state").toString(), QString("lost"));
    QCOMPARE(status.value("msg").toString(), QString("The network has been disconnected:10.0.0.1"));
    QCOMPARE(status.value("lost_count").toInt(), lostBefore + 1);

    supervision.ask(4803);
    status = client.ask(2004).map();
    QCOMPARE(status.value("state").toString(), QString("good"));
    QCOMPARE(status.value("msg").toString(), QString());
    QCOMPARE(status.value("lost_count").toInt(), lostBefore + 1);
    const QVariant since = status.value("since");

    // The same once more is heard, and is no change.
    supervision.ask(4803);
    QCOMPARE(client.ask(2004).map().value("since"), since);
}

void tst_DaemonCommands::hostReportIsRemembered()
{
    FrameClient library(_daemon.reportPort());
    FrameClient client(_daemon.port());

    QCOMPARE(library.ask(6950, {}, "{\"ip\":\"10.0.0.9\",\"connection_status\":1}").code(), 0);

    const QVariantMap status = client.ask(2004).map();
    QCOMPARE(status.value("report").toMap().value("ip").toString(), QString("10.0.0.9"));
    QVERIFY(!status.value("report_time").toString().isEmpty());
}

void tst_DaemonCommands::sidePortsAnswerUnknownCommands_data()
{
    QTest::addColumn<int>("port");
    QTest::addColumn<int>("type");
    QTest::newRow("echo on the link port") << int(_daemon.linkPort()) << 2000;
    QTest::newRow("report on the link port") << int(_daemon.linkPort()) << 6950;
    QTest::newRow("link on the report port") << int(_daemon.reportPort()) << 4802;
}

void tst_DaemonCommands::sidePortsAnswerUnknownCommands()
{
    QFETCH(int, port);
    QFETCH(int, type);
    FrameClient client{quint16(port)};

    QCOMPARE(client.ask(type).code(), 40001);
}

QTEST_GUILESS_MAIN(tst_DaemonCommands)
#include "tst_DaemonCommands.moc"
