#include "daemon/CanRequest.h"
#include "support/JsonText.h"

#include <QTest>

class tst_CanRequest : public QObject
{
    Q_OBJECT

private slots:
    void tellsWhatIsNoFrame_data();
    void tellsWhatIsNoFrame();
};

void tst_CanRequest::tellsWhatIsNoFrame_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("problem");

    const auto row = [](const char* title, const char* keys, const char* problem) {
        QTest::newRow(title) << QByteArray(keys) << QString::fromLatin1(problem);
    };
    const char standard[] = "argument [frameId]: not a whole number from 0 to 2047";
    const char extended[] = "argument [frameId]: not a whole number from 0 to 536870911";
    const char length[] = "argument [dataLength]: not a whole number from 0 to 8";
    const char noText[] = "argument [data]: not a text in hexadecimal";
    row("identifier alone", R"({"frameId":0})", "");
    row("all keys", R"({"frameId":1,"frameType":1,"frameFormat":1,"dataLength":8,"data":"00 fF"})",
        "");
    row("no identifier", R"({"data":"00"})", "argument [frameId]: missing");
    row("identifier as text", R"({"frameId":"x"})", standard);
    row("identifier as digits", R"({"frameId":"1"})", standard);
    row("identifier true", R"({"frameId":true})", standard);
    row("identifier null", R"({"frameId":null})", standard);
    row("half an identifier", R"({"frameId":1.5})", standard);
    row("negative identifier", R"({"frameId":-1})", standard);
    row("last of 11 bits", R"({"frameId":2047})", "");
    row("above 11 bits", R"({"frameId":2048})", standard);
    row("above 11 bits, extended", R"({"frameId":2048,"frameType":1})", "");
    row("last of 29 bits", R"({"frameId":536870911,"frameType":1})", "");
    row("above 29 bits", R"({"frameId":536870912,"frameType":1})", extended);
    row("above 32 bits", R"({"frameId":4294967296,"frameType":1})", extended);
    row("beyond any number", R"({"frameId":1e300,"frameType":1})", extended);
    row("type 2", R"({"frameId":1,"frameType":2})",
        "argument [frameType]: not a whole number from 0 to 1");
    row("type as text", R"({"frameId":1,"frameType":"1"})",
        "argument [frameType]: not a whole number from 0 to 1");
    row("format as list", R"({"frameId":1,"frameFormat":[1]})",
        "argument [frameFormat]: not a whole number from 0 to 1");
    row("no length", R"({"frameId":1,"dataLength":0})", "");
    row("length 9", R"({"frameId":1,"dataLength":9})", length);
    row("length in more than a byte", R"({"frameId":1,"dataLength":260})", length);
    row("length as text", R"({"frameId":1,"dataLength":"4"})", length);
    row("data as list", R"({"frameId":1,"data":[1,2]})", noText);
    row("data as number", R"({"frameId":1,"data":12})", noText);
    row("data null", R"({"frameId":1,"data":null})", noText);
    row("half a byte", R"({"frameId":1,"data":"123"})", "argument [data]: not hexadecimal: 123");
    row("left to the port", R"({"frameId":1,"data":"000102030405060708"})", "");
}

void tst_CanRequest::tellsWhatIsNoFrame()
{
    QFETCH(QByteArray, keys);

    QTEST(ky::canRequestProblem(ky::parseJson(keys).toMap()), "problem");
}

QTEST_GUILESS_MAIN(tst_CanRequest)
#include "tst_CanRequest.moc"
