#include "support/JsonReading.h"

#include "RandomJson.h"

#include <QJsonDocument>
#include <QtTest>

class tst_JsonReading : public QObject
{
    Q_OBJECT

private slots:
    void ordinaryTextsAreTaken_data();
    void ordinaryTextsAreTaken();
    void textsOnWhichReadersDifferAreLeft_data();
    void textsOnWhichReadersDifferAreLeft();
    void eachTextGivesTheValueOfTheDocument_data();
    void eachTextGivesTheValueOfTheDocument();
    void randomTextsGiveTheValueOfTheDocument();
    void damagedTextsGiveNoOtherValueThanTheDocument();
    void lastOfTwoValuesOfANameCounts();
    void depthIsLimited();
    void lengthIsLimited();
    void bytesBehindTheTextAreNotRead();
};

namespace {

/// Where the text is taken at all, its value is that of the document, types included.
QString disagreement(const QByteArray& text)
{
    const auto value = ky::readPlainJson(text);
    if (!value || shown(*value) == shown(valueOfDocument(text)))
        return {};
    return QStringLiteral("%1 gives %2, not %3")
        .arg(QString::fromUtf8(text), shown(*value), shown(valueOfDocument(text)));
}

} // namespace

void tst_JsonReading::ordinaryTextsAreTaken_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* text :
         {"{}", "[]", R"({"a":1})", R"({"b":[1,2.5,-3,true,false,null,"x"],"a":{"c":{}}})",
          "[ 1 ,\t2\r\n]", R"(["é","\u00e9","\ud83d\ude00","😀","\"\\\/\b\f\n\r\t"])",
          "[9007199254740993,-9223372036854775808,9223372036854775807]",
          "[1.0,1e2,0.1e1,-0,4.35,1e-7,123456789.123456789]"})
        QTest::newRow(text) << QByteArray(text);
}

void tst_JsonReading::ordinaryTextsAreTaken()
{
    QFETCH(QByteArray, text);

    const auto value = ky::readPlainJson(text);

    QVERIFY(value);
    QCOMPARE(shown(*value), shown(valueOfDocument(text)));
}

void tst_JsonReading::textsOnWhichReadersDifferAreLeft_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("lone high surrogate") << QByteArray(R"(["\ud800"])");
    QTest::newRow("lone low surrogate") << QByteArray(R"(["\udc00"])");
    QTest::newRow("two high surrogates") << QByteArray(R"(["\ud800\ud800"])");
    QTest::newRow("over 63 bits") << QByteArray("[9223372036854775808]");
    QTest::newRow("too large a number") << QByteArray("[1e400]");
    QTest::newRow("too small a number") << QByteArray("[1e-400]");
    QTest::newRow("tabulator in a text") << QByteArray("[\"a\tb\"]");
    QTest::newRow("unknown escape") << QByteArray(R"(["\q"])");
    QTest::newRow("byte order mark in a text") << QByteArray("[\"\xEF\xBB\xBFx\"]");
    QTest::newRow("byte order mark in a name") << QByteArray("{\"\xEF\xBB\xBFx\":1}");
    QTest::newRow("byte order mark") << QByteArray("\xEF\xBB\xBF[]");
    QTest::newRow("leading blank") << QByteArray(" []");
    QTest::newRow("no digit behind the point") << QByteArray("[1.]");
    QTest::newRow("zero byte behind the end") << QByteArray("[]\0", 3);
    QTest::newRow("zero byte within") << QByteArray("[1\0]", 4);
    QTest::newRow("overlong UTF-8") << QByteArray("[\"\xC0\x80\"]");
    QTest::newRow("surrogate in UTF-8") << QByteArray("[\"\xED\xA0\x80\"]");
    QTest::newRow("cut UTF-8") << QByteArray("[\"\xE2\x82\"]");
    QTest::newRow("beyond Unicode") << QByteArray("[\"\xF4\x90\x80\x80\"]");
    QTest::newRow("bare number") << QByteArray("1");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("comma at the end") << QByteArray("[1,]");
    QTest::newRow("comment") << QByteArray("[/**/]");
    QTest::newRow("text behind the end") << QByteArray("[] x");
}

void tst_JsonReading::textsOnWhichReadersDifferAreLeft()
{
    QFETCH(QByteArray, text);

    QVERIFY(!ky::readPlainJson(text));
}

void tst_JsonReading::eachTextGivesTheValueOfTheDocument_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* number : {"0",
                               "-0",
                               "-0.0",
                               "0.0",
                               "1",
                               "-1",
                               "01",
                               "+1",
                               ".5",
                               "1.",
                               "1.0",
                               "1.5",
                               "1e2",
                               "1E+2",
                               "1e-2",
                               "-1e-2",
                               "0.1e1",
                               "1e15",
                               "1e16",
                               "1e17",
                               "1e18",
                               "9e18",
                               "1e19",
                               "1e22",
                               "1e300",
                               "1.7976931348623157e308",
                               "1.7976931348623159e308",
                               "1e309",
                               "5e-324",
                               "2e-324",
                               "2.2250738585072014e-308",
                               "2.2250738585072011e-308",
                               "9007199254740991",
                               "9007199254740992",
                               "9007199254740993",
                               "9007199254740993.0",
                               "9007199254740992.5",
                               "9223372036854775807",
                               "9223372036854775808",
                               "-9223372036854775808",
                               "-9223372036854775809",
                               "18446744073709551615",
                               "18446744073709551616",
                               "123456789012345678901234567890",
                               "4503599627370496.5",
                               "4503599627370495.5",
                               "0.1000000000000000055511151231257827",
                               "-",
                               "nan",
                               "inf",
                               "NaN",
                               "Infinity",
                               "0x10"})
        QTest::newRow(number) << QByteArray('[' + QByteArray(number) + ']');
}

void tst_JsonReading::eachTextGivesTheValueOfTheDocument()
{
    QFETCH(QByteArray, text);

    QCOMPARE(disagreement(text), QString());
}

void tst_JsonReading::randomTextsGiveTheValueOfTheDocument()
{
    RandomJson random(4711);
    int taken = 0;

    for (int i = 0; i < 20000; ++i) {
        const QByteArray text = random.text();
        taken += ky::readPlainJson(text) ? 1 : 0;
        QCOMPARE(disagreement(text), QString());
    }

    QVERIFY2(taken > 10000, qPrintable(QString::number(taken)));
}

void tst_JsonReading::damagedTextsGiveNoOtherValueThanTheDocument()
{
    RandomJson random(815);

    for (int i = 0; i < 50000; ++i)
        QCOMPARE(disagreement(random.damaged(random.text())), QString());
}

void tst_JsonReading::lastOfTwoValuesOfANameCounts()
{
    const QByteArray text = R"({"a":{"b":1},"c":2,"a":[{"b":1,"b":{}}],"\u0061":3})";

    QCOMPARE(shown(*ky::readPlainJson(text)), shown(QVariantMap{{"a", 3LL}, {"c", 2LL}}));
    QCOMPARE(disagreement(text), QString());

    QByteArray large = "{";
    for (int i = 0; i < 40; ++i)
        large += '"' + QByteArray::number(i % 30) + "\":" + QByteArray::number(i) + ',';
    large[large.size() - 1] = '}';
    const QVariantMap map = ky::readPlainJson(large)->toMap();
    QCOMPARE(map.size(), 30);
    QCOMPARE(map.value("9").toInt(), 39);
    QCOMPARE(map.value("10").toInt(), 10);
}

void tst_JsonReading::depthIsLimited()
{
    const auto nested = [](int depth) { return QByteArray(depth, '[') + QByteArray(depth, ']'); };

    QVERIFY(ky::readPlainJson(nested(256)));
    QVERIFY(!ky::readPlainJson(nested(257)));
    QVERIFY(!ky::readPlainJson(QByteArray(1024 * 1024, '[')));
}

void tst_JsonReading::lengthIsLimited()
{
    const auto ofSize = [](int size) { return "[\"" + QByteArray(size - 4, 'x') + "\"]"; };

    QVERIFY(ky::readPlainJson(ofSize(1024 * 1024)));
    QVERIFY(!ky::readPlainJson(ofSize(1024 * 1024 + 1)));
}

void tst_JsonReading::bytesBehindTheTextAreNotRead()
{
    const QByteArray bytes("[1,2]]]]");

    QCOMPARE(ky::readPlainJson(QByteArray::fromRawData(bytes.constData(), 5))->toList().size(), 2);
    QVERIFY(!ky::readPlainJson(QByteArray::fromRawData(bytes.constData(), 4)));
}

QTEST_GUILESS_MAIN(tst_JsonReading)
#include "tst_JsonReading.moc"
