#include "cli/Peer.h"

#include <QFile>
#include <QPointer>
#include <QTest>

#include <memory>

class tst_PeerWords : public QObject
{
    Q_OBJECT

private slots:
    void keptFileLivesAsLongAsThePeer();
    void missingAnswerIsASentence_data();
    void missingAnswerIsASentence();
    void replyIsRead_data();
    void replyIsRead();
    void addressStandsForItself();
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
    QCOMPARE(ky::addressOf("10.1.2.3"), QString("10.1.2.3"));
    QCOMPARE(ky::addressOf("localhost"), QString("127.0.0.1"));
}

void tst_PeerWords::keptFileLivesAsLongAsThePeer()
{
    auto file = std::make_unique<QFile>();
    const QPointer<QFile> watched = file.get();
    {
        ky::Peer peer{ky::GlobalOptions()};

        peer.keep(std::move(file));

        QVERIFY(watched);
    }
    QVERIFY(!watched);
}

QTEST_GUILESS_MAIN(tst_PeerWords)
#include "tst_PeerWords.moc"
