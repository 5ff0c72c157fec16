#include "cli/Invocation.h"
#include "cli/Peer.h"

#include <QSemaphore>
#include <QTest>

#include <memory>

class tst_PeerWords : public QObject
{
    Q_OBJECT

private slots:
    void missingAnswerIsASentence_data();
    void missingAnswerIsASentence();
    void replyIsRead_data();
    void replyIsRead();
    void addressStandsForItself();
    void unknownNameIsNoSuchHost();
    void resolverThatHangsIsLeftAfterTheLimit();
    void commandIsWaitedForAsLongAsItsWorkTakes_data();
    void commandIsWaitedForAsLongAsItsWorkTakes();
    void jsonAreaOf65535BytesFits();
    void bodyForATerminalSteersNothing();
};

void tst_PeerWords::missingAnswerIsASentence_data()
{
    QTest::addColumn<QString>("clientError");
    QTest::addColumn<QString>("sentence");
    QTest::newRow("time-out") << "Tcp requst timeout"
                              << "no answer from h:5 within 70 ms";
    QTest::newRow("no words") << ""
                              << "no answer from h:5 within 70 ms";
    QTest::newRow("refused, in words") << "TcpSocket.waitForConnected error:Connection refused"
                                       << "no answer from h:5: Connection refused";
    QTest::newRow("refused, as a number") << "socketError:0"
                                          << "no answer from h:5: Connection refused";
    QTest::newRow("closed") << "socketError:1"
                            << "no answer from h:5: the connection was closed";
    QTest::newRow("unreachable") << "socketError:7"
                                 << "no answer from h:5: Network unreachable";
    QTest::newRow("another number") << "socketError:19"
                                    << "no answer from h:5: socketError:19";
    QTest::newRow("other words") << "%1 odd"
                                 << "no answer from h:5: %1 odd";
}

void tst_PeerWords::missingAnswerIsASentence()
{
    QFETCH(QString, clientError);
    QFETCH(QString, sentence);
    ky::GlobalOptions options;
    options.host = "h";
    options.port = 5;
    options.timeoutMs = 70;

    QCOMPARE(ky::noAnswerSentence(clientError, options), sentence);
}

void tst_PeerWords::replyIsRead_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariantMap>("result");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("errorText");
    QTest::newRow("success") << QByteArray("{\"ret_code\":0,\"err_msg\":\"\"}") << QVariantMap()
                             << 0 << "";
    QTest::newRow("error") << QByteArray("{\"ret_code\":40300,\"err_msg\":\"why\"}")
                           << QVariantMap() << 40300 << "why";
    QTest::newRow("no JSON") << QByteArray("text") << QVariantMap() << 0 << "";
    QTest::newRow("error by type alone")
        << QByteArray() << QVariantMap{{"err_msg", "[1] x"}} << 0 << "[1] x";
    QTest::newRow("a JSON list") << QByteArray("[1]") << QVariantMap() << 0 << "";
}

void tst_PeerWords::replyIsRead()
{
    QFETCH(QByteArray, data);
    QFETCH(QVariantMap, result);
    QFETCH(int, code);
    QFETCH(QString, errorText);

    const ky::PeerReply reply = ky::readReply(data, result);

    QVERIFY(reply.isAnswered);
    QCOMPARE(reply.data, data);
    QCOMPARE(reply.code, code);
    QCOMPARE(reply.errorText, errorText);
}

void tst_PeerWords::addressStandsForItself()
{
    ky::GlobalOptions options;
    QString address;
    options.host = "10.1.2.3";
    QCOMPARE(ky::resolvePeer(options, &address), QString());
    QCOMPARE(address, QString("10.1.2.3"));

    options.host = "localhost";
    QCOMPARE(ky::resolvePeer(options, &address), QString());
    QCOMPARE(address, QString("127.0.0.1"));
}

void tst_PeerWords::unknownNameIsNoSuchHost()
{
    ky::GlobalOptions options;
    options.host = "h";
    options.port = 5;
    QString address;

    QCOMPARE(ky::resolvePeer(options, &address, [](const QString&) { return QString(); }),
             QString("no answer from h:5: no such host"));
}

void tst_PeerWords::resolverThatHangsIsLeftAfterTheLimit()
{
    ky::GlobalOptions options;
    options.host = "h";
    options.port = 5;
    options.timeoutMs = 50;
    QString address;
    const auto resolved = std::make_shared<QSemaphore>();
    const auto left = std::make_shared<QSemaphore>();

    const QString problem = ky::resolvePeer(options, &address, [=](const QString&) {
        resolved->tryAcquire(1, 10000);
        left->release();
        return QString("10.0.0.1");
    });

    QCOMPARE(problem, QString("no answer from h:5 within 50 ms"));
    QCOMPARE(address, QString());
    QCOMPARE(left->available(), 0);
    resolved->release();
    QVERIFY(left->tryAcquire(1, 10000));
}

void tst_PeerWords::jsonAreaOf65535BytesFits()
{
    const QString text(65535 - int(qstrlen("{\"a\":\"\"}")), QLatin1Char('x'));

    QVERIFY(ky::fitsJsonArea(QVariantMap{{"a", text}}));
    QVERIFY(!ky::fitsJsonArea(QVariantMap{{"a", text + QLatin1Char('x')}}));
}

void tst_PeerWords::commandIsWaitedForAsLongAsItsWorkTakes_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("leastMs");
    QTest::addColumn<int>("mostMs");
    QTest::newRow("done in a moment") << 2000 << 5000 << 5000;
    QTest::newRow("no number of the catalogue") << 4999 << 5000 << 5000;
    // Two tools of 20 s each.
    QTest::newRow("sets the volume") << 2451 << 40000 + 1000 << 60000;
    // A Wi-Fi: the list of profiles, the removal of some, two more calls, all of 20 s.
    QTest::newRow("joins a Wi-Fi") << 2310 << 140000 << 300000;
}

void tst_PeerWords::commandIsWaitedForAsLongAsItsWorkTakes()
{
    QFETCH(int, number);
    QFETCH(int, leastMs);
    QFETCH(int, mostMs);
    ky::GlobalOptions options;
    const ky::Peer usual(options);
    options.timeoutMs = 700;
    options.isTimeoutGiven = true;
    const ky::Peer limited(options);

    QVERIFY2(usual.limitMs(number) >= leastMs, qPrintable(QString::number(usual.limitMs(number))));
    QVERIFY2(usual.limitMs(number) <= mostMs, qPrintable(QString::number(usual.limitMs(number))));
    QCOMPARE(limited.limitMs(number), 700);
}

void tst_PeerWords::bodyForATerminalSteersNothing()
{
    ky::PeerReply reply;
    reply.data = "a\x1b]0;owned\x07\nb\x9b";

    QCOMPARE(ky::shownText(ky::bodyText(reply), true), QByteArray("a?]0;owned?\nb\xef\xbf\xbd\n"));
    QCOMPARE(ky::shownText(ky::bodyText(reply), false), reply.data + '\n');
}

QTEST_GUILESS_MAIN(tst_PeerWords)
#include "tst_PeerWords.moc"
