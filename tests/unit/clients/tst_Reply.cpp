#include "clients/Reply.h"

#include "Peer.h"
#include "clients/Texts.h"
#include "host/SqliteClass.h"

#include <QtTest>

#include <limits>
#include <new>

namespace {

const QString kIp = QStringLiteral("10.0.0.7");

ky::Reply judged(const QByteArray& frame)
{
    ky::Reply reply = ky::splitReply(ky::readFrameHead(frame.constData()), frame.constData());
    ky::judgeReply(reply, kIp, 19208);
    return reply;
}

ky::Reply judgedData(const QByteArray& data)
{
    return judged(rawFrame(12000, 3, 2000, 0, data));
}

} // namespace

class tst_Reply : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void bodyIsPartedByTheJsonSize_data();
    void bodyIsPartedByTheJsonSize();
    void mapShowsTypeAndCommandCrosswise();
    void commandNameIsTheFirstOfItsNumber();
    void errorTextMakesTheErrorReply_data();
    void errorTextMakesTheErrorReply();
    void plainTextHasNeitherCodeNorDate();
    void jsonWithoutTheKeysHasEmptyOnes();
    void jsonListCountsAsJson();
    void emptyReplyIsJudgedByItsType();
    void peersWordsWinOverTheCatalogue_data();
    void peersWordsWinOverTheCatalogue();
    void progressStaysWithinAnInt_data();
    void progressStaysWithinAnInt();
    void placesAreFilledInOnePass_data();
    void placesAreFilledInOnePass();
    void textEndsAtTheFirstZero();
    void hexThatNoArrayHoldsIsRefused();
};

void tst_Reply::initTestCase()
{
    SqliteClass::init()->portCommands[19208] = {{QStringLiteral("zz_same"), 2000},
                                                {QStringLiteral("echo"), 2000}};
    SqliteClass::init()->errorCommands = {{12001, QStringLiteral("busy %1")}};
}

void tst_Reply::bodyIsPartedByTheJsonSize_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("jsonSize");
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("data");

    QTest::newRow("no body") << QByteArray() << 0 << QByteArray() << QByteArray();
    QTest::newRow("no body, size told") << QByteArray() << 9 << QByteArray() << QByteArray();
    QTest::newRow("data only") << QByteArray("data") << 0 << QByteArray() << QByteArray("data");
    QTest::newRow("both") << QByteArray("{}data") << 2 << QByteArray("{}") << QByteArray("data");
    QTest::newRow("JSON only") << QByteArray("{}") << 2 << QByteArray("{}") << QByteArray();
    QTest::newRow("size beyond body") << QByteArray("{}") << 3 << QByteArray("{}") << QByteArray();
}

void tst_Reply::bodyIsPartedByTheJsonSize()
{
    QFETCH(QByteArray, body);
    QFETCH(int, jsonSize);
    const QByteArray frame = rawFrame(12000, 3, 2000, quint16(jsonSize), body);

    const ky::Reply reply = ky::splitReply(ky::readFrameHead(frame.constData()), frame.constData());

    QTEST(reply.json, "json");
    QTEST(reply.data, "data");
}

void tst_Reply::mapShowsTypeAndCommandCrosswise()
{
    const QVariantMap map = judged(rawFrame(12000, 65535, 2000, 0, "x")).map;

    QCOMPARE(map.value("ip"), QVariant(kIp));
    QCOMPARE(map.value("port"), QVariant(19208));
    QCOMPARE(map.value("number"), QVariant(65535));
    QCOMPARE(map.value("sendCommand"), QVariant(2000));
    QCOMPARE(map.value("revCommand"), QVariant(12000));
    QCOMPARE(map.value("err_msg"), QVariant(QString()));
    QCOMPARE(map.size(), 7);
}

void tst_Reply::commandNameIsTheFirstOfItsNumber()
{
    QCOMPARE(judgedData("x").map.value("sendCommandStr"), QVariant("echo"));
    QCOMPARE(judged(rawFrame(12009, 3, 2009, 0, "x")).map.value("sendCommandStr"),
             QVariant(QString()));
}

void tst_Reply::errorTextMakesTheErrorReply_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("errMsg");
    QTest::addColumn<QString>("warning");

    const QString front =
        QStringLiteral("Instruction error 1:  IP:10.0.0.7 : 19208 Send: [2000]  Rev: [12000]  ");
    QTest::newRow("code and text") << QByteArray(R"({"ret_code":40013,"err_msg":"bad"})")
                                   << "[40013] bad" << front + "Error: [40013] bad [bad]";
    QTest::newRow("code 0 with a text") << QByteArray(R"({"ret_code":0,"err_msg":"odd"})")
                                        << "[0] odd" << front + "Error: [0] odd [odd]";
    QTest::newRow("no code") << QByteArray(R"({"err_msg":"odd"})") << "[0] odd"
                             << front + "Error: [0] odd [odd]";
    QTest::newRow("too many connections, in its own words")
        << QByteArray(R"({"ret_code":61001,"err_msg":"full"})") << "[61001] full"
        << front + "Error: [61001] full [full]";
    QTest::newRow("place in the text") << QByteArray(R"({"ret_code":5,"err_msg":"%1 %2"})")
                                       << "[5] %1 %2" << front + "Error: [5] %1 %2 [%1 %2]";
    QTest::newRow("code without a text") << QByteArray(R"({"ret_code":7,"err_msg":""})") << ""
                                         << "";
    QTest::newRow("text that is an object") << QByteArray(R"({"err_msg":{"a":1}})") << ""
                                            << "";
}

void tst_Reply::errorTextMakesTheErrorReply()
{
    QFETCH(QByteArray, data);

    const ky::Reply reply = judgedData(data);

    QTEST(reply.map.value("err_msg").toString(), "errMsg");
    QTEST(reply.warning, "warning");
}

void tst_Reply::plainTextHasNeitherCodeNorDate()
{
    const ky::Reply reply = judgedData("this is no JSON");

    QVERIFY(!reply.map.contains("create_on"));
    QVERIFY(!reply.map.contains("ret_code"));
    QCOMPARE(reply.map.value("err_msg"), QVariant(QString()));
    QVERIFY(reply.warning.isEmpty());
}

void tst_Reply::jsonWithoutTheKeysHasEmptyOnes()
{
    const ky::Reply reply = judgedData("{}");

    QVERIFY(reply.map.contains("ret_code"));
    QVERIFY(!reply.map.value("ret_code").isValid());
    QCOMPARE(reply.map.value("create_on"), QVariant(QString()));
}

void tst_Reply::jsonListCountsAsJson()
{
    const ky::Reply reply = judgedData(R"(["err_msg"])");

    QVERIFY(reply.map.contains("ret_code"));
    QCOMPARE(reply.map.value("err_msg"), QVariant(QString()));
}

void tst_Reply::emptyReplyIsJudgedByItsType()
{
    const ky::Reply listed = judged(rawFrame(12001, 3, 2001, 0, {}));
    const ky::Reply other = judged(rawFrame(12002, 3, 2002, 0, {}));
    const ky::Reply withJsonOnly = judged(rawFrame(12001, 3, 2001, 2, "{}"));

    QCOMPARE(listed.map.value("err_msg"), QVariant("[12001] busy %1"));
    QCOMPARE(listed.warning,
             QStringLiteral("Instruction error 2:  IP:10.0.0.7 : 19208 Send: [2001]  Rev: [12001]  "
                            "Error: [12001] busy %1"));
    QCOMPARE(other.map.value("err_msg"), QVariant(QString()));
    QVERIFY(other.warning.isEmpty());
    QCOMPARE(withJsonOnly.map.value("err_msg"), QVariant("[12001] busy %1"));
}

void tst_Reply::peersWordsWinOverTheCatalogue_data()
{
    QTest::addColumn<QString>("slot");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");

    const QString full =
        QStringLiteral("[10.0.0.7:19208]The number of connections has exceeded the "
                       "maximum, please disconnect other clients and try again");
    QTest::newRow("empty slot") << "" << 61001 << "peer";
    QTest::newRow("40013") << "slot" << 40013 << "peer";
    QTest::newRow("40014") << "slot" << 40014 << "peer";
    QTest::newRow("40015") << "slot" << 40015 << "slot";
    QTest::newRow("61001") << "slot" << 61001 << full;
}

void tst_Reply::peersWordsWinOverTheCatalogue()
{
    QFETCH(QString, slot);
    QFETCH(int, code);

    QTEST(ky::errorText(slot, code, QStringLiteral("peer"), kIp, 19208), "text");
}

void tst_Reply::progressStaysWithinAnInt_data()
{
    QTest::addColumn<double>("dividend");
    QTest::addColumn<double>("divisor");
    QTest::addColumn<int>("value");

    const int most = std::numeric_limits<int>::max();
    QTest::newRow("nothing yet") << 0.0 << 10.0 << 0;
    QTest::newRow("half, rounded") << 5.0 << 10.0 << 50;
    QTest::newRow("all") << 10.0 << 10.0 << 99;
    QTest::newRow("total over sent") << 2500.0 << 1000.0 << 248;
    QTest::newRow("of nothing") << 10.0 << 0.0 << most;
    QTest::newRow("of less than nothing") << 10.0 << -1.0 << most;
    QTest::newRow("beyond an int") << 4e9 << 1.0 << most;
}

void tst_Reply::progressStaysWithinAnInt()
{
    QFETCH(double, dividend);
    QFETCH(double, divisor);

    QTEST(ky::progressOf(dividend, divisor), "value");
}

void tst_Reply::placesAreFilledInOnePass_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<QString>("filled");

    QTest::newRow("plain") << "a%1b%2" << QStringList{"x", "y"} << "axby";
    QTest::newRow("value with a place") << "%1 %2" << QStringList{"%2", "y"} << "%2 y";
    QTest::newRow("two digits") << "%10%1" << QStringList{"a", "", "", "", "", "", "", "", "", "j"}
                                << "ja";
    QTest::newRow("no value for it") << "%3%0" << QStringList{"a"} << "%3%0";
    QTest::newRow("no place") << "100% %" << QStringList{"a"} << "100% %";
    QTest::newRow("place at the end") << "%1%" << QStringList{"a"} << "a%";
    QTest::newRow("three digits") << "%123" << QStringList{"a", "b"} << "%123";
    QTest::newRow("nothing") << "" << QStringList{"a"} << "";
}

void tst_Reply::placesAreFilledInOnePass()
{
    QFETCH(QString, text);
    QFETCH(QStringList, values);

    QTEST(ky::fillPlaces(text, values), "filled");
}

void tst_Reply::textEndsAtTheFirstZero()
{
    QCOMPARE(ky::textUpToZero(QByteArray("ab\0cd", 5)), QStringLiteral("ab"));
    QCOMPARE(ky::textUpToZero(QByteArray("\0", 1)), QString());
    QCOMPARE(ky::textUpToZero(QByteArray("\xE6\x95\xB0")), QStringLiteral("数"));
    // Not terminated: the size alone bounds it.
    QCOMPARE(ky::textUpToZero(QByteArray::fromRawData("abcdef", 3)), QStringLiteral("abc"));
}

void tst_Reply::hexThatNoArrayHoldsIsRefused()
{
    // Never read: it is its size alone that does not fit.
    const QByteArray huge = QByteArray::fromRawData("x", 1 << 30);

    QVERIFY_EXCEPTION_THROWN(ky::hexOf(huge), std::bad_alloc);
    QCOMPARE(ky::hexOf("\x5A\xff"), QByteArray("5aff"));
}

QTEST_GUILESS_MAIN(tst_Reply)
#include "tst_Reply.moc"
