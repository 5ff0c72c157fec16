#include "commands/Catalogue.h"
#include "daemon/CommandTable.h"
#include "daemon/PeerCalls.h"
#include "host/SqliteClass.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

class tst_PeerRequest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void argumentsAreChecked_data();
    void argumentsAreChecked();
    void limitIsFiveSecondsUnlessGiven();
    void nameIsLookedUpInThePeersTableFirst();
    void answerShowsTheDataAsWhatTheyAre_data();
    void answerShowsTheDataAsWhatTheyAre();
    void jsonAreaIsShownBesideTheData();
    void silenceIsAnError_data();
    void silenceIsAnError();
    void largestReplyIsPassedOn();
    void largerReplyIsAnError();

private:
    QTemporaryDir _folder; ///< for the command database
};

void tst_PeerRequest::initTestCase()
{
    QVERIFY(QDir::setCurrent(_folder.path()));
    QVERIFY(QDir().mkpath("appInfo"));
    QCOMPARE(ky::provideCommandTable("appInfo/commands.db"), QString());
    SqliteClass::init()->portCommands[3000].insert("echo", 17);
}

/// The arguments of a call as the relay reads them, and what it or the call says is wrong.
static QString read(const QVariantMap& given, ky::PeerRequest* request)
{
    ky::Arguments arguments;
    const QString problem =
        ky::readArguments(ky::findCommand("peer_call")->arguments, given, &arguments);
    return problem.isEmpty() ? ky::readPeerRequest(arguments, request) : problem;
}

void tst_PeerRequest::argumentsAreChecked_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value"); // invalid: left out
    QTest::addColumn<QString>("problem");
    const QString noAddress("argument [ip]: not an IPv4 address");
    const QString noPort("argument [port]: not a whole number from 1 to 65535");
    const QString noCommand("argument [command]: not the number or name of a command");
    const QString noLimit("argument [timeout_ms]: not a whole number from 1 to 120000");
    QTest::newRow("good") << "ip" << QVariant("10.0.0.1") << "";
    QTest::newRow("no address") << "ip" << QVariant() << "argument [ip]: missing";
    QTest::newRow("host name") << "ip" << QVariant("robot") << noAddress;
    QTest::newRow("IPv6") << "ip" << QVariant("::1") << noAddress;
    QTest::newRow("port 0") << "port" << QVariant(0) << noPort;
    QTest::newRow("port 65535") << "port" << QVariant(65535) << "";
    QTest::newRow("port 65536") << "port" << QVariant(65536) << noPort;
    QTest::newRow("port as text") << "port" << QVariant("19208") << "";
    QTest::newRow("unknown name") << "command" << QVariant("nono")
                                  << "argument [command]: no such command";
    QTest::newRow("no command") << "command" << QVariant() << "argument [command]: missing";
    QTest::newRow("number as JSON has it") << "command" << QVariant(2000.0) << "";
    QTest::newRow("number too high") << "command" << QVariant(65536) << noCommand;
    QTest::newRow("JSON list") << "json" << QVariant(QVariantList{1})
                               << "argument [json]: not an object";
    const int around = int(qstrlen("{\"a\":\"\"}"));
    QTest::newRow("JSON of 65535 bytes")
        << "json" << QVariant(QVariantMap{{"a", QString(65535 - around, 'x')}}) << "";
    QTest::newRow("JSON of 65536 bytes")
        << "json" << QVariant(QVariantMap{{"a", QString(65536 - around, 'x')}})
        << "argument [json]: longer than a frame can tell";
    QTest::newRow("limit 0") << "timeout_ms" << QVariant(0) << noLimit;
    QTest::newRow("limit 120000") << "timeout_ms" << QVariant(120000) << "";
    QTest::newRow("limit 120001") << "timeout_ms" << QVariant(120001) << noLimit;
}

void tst_PeerRequest::argumentsAreChecked()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, problem);
    QVariantMap arguments{{"ip", "127.0.0.1"}, {"port", 19208}, {"command", "echo"}};
    arguments.remove(key);
    if (value.isValid())
        arguments.insert(key, value);
    ky::PeerRequest request;

    QCOMPARE(read(arguments, &request), problem);
}

void tst_PeerRequest::limitIsFiveSecondsUnlessGiven()
{
    ky::PeerRequest request;

    QCOMPARE(read({{"ip", "127.0.0.1"}, {"port", 19208}, {"command", 2000}}, &request), QString());
    QCOMPARE(request.limitMs, 5000);
}

void tst_PeerRequest::nameIsLookedUpInThePeersTableFirst()
{
    QVariantMap arguments{{"ip", "127.0.0.1"}, {"port", 3000}, {"command", "echo"}};
    ky::PeerRequest request;
    QCOMPARE(read(arguments, &request), QString());
    QCOMPARE(request.command, QVariant(17));

    arguments.insert("port", 3001);
    QCOMPARE(read(arguments, &request), QString());
    QCOMPARE(request.command, QVariant(2000));
}

void tst_PeerRequest::answerShowsTheDataAsWhatTheyAre_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("JSON") << QByteArray("{\"a\":1}") << "reply"
                          << QVariant(QVariantMap{{"a", 1.0}});
    QTest::newRow("text") << QByteArray("世界") << "text" << QVariant("世界");
    QTest::newRow("nothing") << QByteArray() << "text" << QVariant("");
    QTest::newRow("bytes") << QByteArray("\xff\x00", 2) << "base64" << QVariant("/wA=");
    QTest::newRow("cut character") << QByteArray("\xe4\xb8") << "base64" << QVariant("5Lg=");
}

void tst_PeerRequest::answerShowsTheDataAsWhatTheyAre()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    ky::PeerResult result;
    result.data = data;
    result.result = {{"number", 3}};

    const ky::Answer answer = ky::peerAnswer(result);

    QVERIFY(answer.isOk());
    QCOMPARE(answer.values().value(key), value);
    QCOMPARE(answer.values().value("result").toMap(), result.result);
    QCOMPARE(answer.values().size(), 2);
}

void tst_PeerRequest::jsonAreaIsShownBesideTheData()
{
    ky::PeerResult result;
    result.json = QVariantList{1.0};
    result.data = "text";

    const QVariantMap values = ky::peerAnswer(result).values();

    QCOMPARE(values.value("json"), result.json);
    QCOMPARE(values.value("text").toString(), QString("text"));
}

void tst_PeerRequest::silenceIsAnError_data()
{
    QTest::addColumn<QString>("clientError");
    QTest::addColumn<QString>("text");
    QTest::newRow("time-out") << "Tcp requst timeout"
                              << "Tcp requst timeout";
    QTest::newRow("refused") << "socketError:0"
                             << "socketError:0 (Connection refused)";
    QTest::newRow("closed") << "socketError:1"
                            << "socketError:1 (the connection was closed)";
    QTest::newRow("unreachable") << "socketError:7"
                                 << "socketError:7 (Network unreachable)";
    QTest::newRow("another number") << "socketError:19"
                                    << "socketError:19";
    QTest::newRow("no number") << "socketError:"
                               << "socketError:";
    QTest::newRow("markers") << "%1 %2"
                             << "%1 %2";
}

void tst_PeerRequest::silenceIsAnError()
{
    QFETCH(QString, clientError);
    ky::PeerResult result;
    result.error = clientError;

    const ky::Answer answer = ky::peerAnswer(result);

    QCOMPARE(answer.code(), int(ky::kPeerSilent));
    QTEST(answer.errorText(), "text");
}

void tst_PeerRequest::largestReplyIsPassedOn()
{
    ky::PeerResult result;
    result.data = QByteArray(ky::kLargestReply, 'x');

    const ky::Answer answer = ky::peerAnswer(result);

    QCOMPARE(answer.code(), 0);
    QCOMPARE(answer.values().value("text").toString().size(), ky::kLargestReply);
}

void tst_PeerRequest::largerReplyIsAnError()
{
    ky::PeerResult result;
    result.data = QByteArray(ky::kLargestReply + 1, 'x');

    const ky::Answer answer = ky::peerAnswer(result);

    QCOMPARE(answer.code(), int(ky::kReplyTooLarge));
    QCOMPARE(answer.errorText(), QString("reply [16777217 bytes]: more than 16777216"));
}

QTEST_GUILESS_MAIN(tst_PeerRequest)
#include "tst_PeerRequest.moc"
