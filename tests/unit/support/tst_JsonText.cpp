#include "support/JsonText.h"

#include <QTest>

class tst_JsonText : public QObject
{
    Q_OBJECT

private slots:
    void readsObjectsAndLists();
    void whatDoesNotParseIsInvalid_data();
    void whatDoesNotParseIsInvalid();
    void writesMapsAndLists();
    void whatIsNoDocumentGivesNoText_data();
    void whatIsNoDocumentGivesNoText();
    void textSurvivesTheRoundTrip();
};

void tst_JsonText::readsObjectsAndLists()
{
    QCOMPARE(ky::parseJson("{\"a\": 1}").toMap().value(QStringLiteral("a")).toInt(), 1);
    QCOMPARE(ky::parseJson(" [1, \"x\"] ").toList().size(), 2);
    QVERIFY(ky::parseJson("{}").isValid());
    QVERIFY(ky::parseJson("[]").isValid());
}

void tst_JsonText::whatDoesNotParseIsInvalid_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("blanks") << QByteArray("  \n");
    QTest::newRow("cut object") << QByteArray("{\"a\": 1");
    QTest::newRow("bare word") << QByteArray("hello");
    QTest::newRow("bare number") << QByteArray("17");
    QTest::newRow("text behind the end") << QByteArray("{} x");
    QTest::newRow("two documents") << QByteArray("{}{}");
    QTest::newRow("single quotes") << QByteArray("{'a': 1}");
    QTest::newRow("zero byte behind the end") << QByteArray("{}\0", 3);
    QTest::newRow("broken UTF-8") << QByteArray("{\"a\": \"\xff\xfe\"}");
    QTest::newRow("two thousand brackets") << QByteArray(2000, '[') + QByteArray(2000, ']');
}

void tst_JsonText::whatDoesNotParseIsInvalid()
{
    QFETCH(QByteArray, text);

    QVERIFY(!ky::parseJson(text).isValid());
}

void tst_JsonText::writesMapsAndLists()
{
    const QVariantMap map{{QStringLiteral("b"), true}, {QStringLiteral("a"), 2}};

    QCOMPARE(ky::jsonText(map, QJsonDocument::Compact), QByteArray("{\"a\":2,\"b\":true}"));
    QCOMPARE(ky::jsonText(map, QJsonDocument::Indented),
             QByteArray("{\n    \"a\": 2,\n    \"b\": true\n}\n"));
    QCOMPARE(ky::jsonText(QVariantList{1, QStringLiteral("x")}, QJsonDocument::Compact),
             QByteArray("[1,\"x\"]"));
    QCOMPARE(ky::jsonText(QStringList{QStringLiteral("x")}, QJsonDocument::Compact),
             QByteArray("[\"x\"]"));
    QCOMPARE(ky::jsonText(QVariantMap(), QJsonDocument::Compact), QByteArray("{}"));
}

void tst_JsonText::whatIsNoDocumentGivesNoText_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("invalid") << QVariant();
    QTest::newRow("number") << QVariant(1);
    QTest::newRow("text") << QVariant(QStringLiteral("x"));
}

void tst_JsonText::whatIsNoDocumentGivesNoText()
{
    QFETCH(QVariant, value);

    QVERIFY(ky::jsonText(value, QJsonDocument::Compact).isEmpty());
}

void tst_JsonText::textSurvivesTheRoundTrip()
{
    const QVariantMap map{{QStringLiteral("ssid"), QStringLiteral("五号 \"车间\"\n\\\u0001")}};

    QCOMPARE(ky::parseJson(ky::jsonText(map, QJsonDocument::Compact)).toMap(), map);
}

QTEST_APPLESS_MAIN(tst_JsonText)
#include "tst_JsonText.moc"
