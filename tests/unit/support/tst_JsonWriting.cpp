#include "support/JsonWriting.h"

#include "RandomJson.h"

#include <QJsonDocument>
#include <QtTest>

class tst_JsonWriting : public QObject
{
    Q_OBJECT

private slots:
    void ordinaryValuesAreWrittenAsByTheDocument_data();
    void ordinaryValuesAreWrittenAsByTheDocument();
    void valuesOfOtherKindsAreLeft_data();
    void valuesOfOtherKindsAreLeft();
    void eachNumberIsWrittenAsByTheDocument_data();
    void eachNumberIsWrittenAsByTheDocument();
    void eachCharacterIsWrittenAsByTheDocument();
    void namesStandInTheOrderOfTheDocument();
    void randomValuesAreWrittenAsByTheDocument();
    void depthIsLimited();
    void lengthOfATextIsLimited();
    void textThatEndsWithoutAZeroIsWritten();
};

namespace {

QByteArray textOfDocument(const QVariant& value)
{
    return QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact);
}

} // namespace

void tst_JsonWriting::ordinaryValuesAreWrittenAsByTheDocument_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("empty map") << QVariant(QVariantMap());
    QTest::newRow("empty list") << QVariant(QVariantList());
    QTest::newRow("map") << QVariant(
        QVariantMap{{"b", QVariantList{1, 2.5, "x", true, QVariant()}}, {"a", QVariantMap()}});
    QTest::newRow("texts") << QVariant(QVariantList{"", QString(), "\"\\/\b\f\n\r\t", "é 中 😀"});
    QTest::newRow("bytes") << QVariant(
        QVariantList{QByteArray("ab"), QByteArray("\x80\xFF"), QByteArray(), QByteArray("")});
    QTest::newRow("bytes of a frame") << QVariant(QVariantMap{
        {"data", QByteArray("\x01\0\x10\0\xFF\0a\0", 8)}, {"other", QByteArray("\0", 1)}});
    QTest::newRow("null") << QVariant(QVariantList{QVariant::fromValue(nullptr)});
}

void tst_JsonWriting::ordinaryValuesAreWrittenAsByTheDocument()
{
    QFETCH(QVariant, value);

    QCOMPARE(ky::writePlainJson(value), textOfDocument(value));
}

void tst_JsonWriting::valuesOfOtherKindsAreLeft_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("nothing") << QVariant();
    QTest::newRow("text alone") << QVariant("x");
    QTest::newRow("list of texts alone") << QVariant(QStringList{"x"});
    QTest::newRow("list of texts") << QVariant(QVariantList{QStringList{"x"}});
    QTest::newRow("time") << QVariant(QVariantList{QDateTime::currentDateTime()});
    QTest::newRow("hash") << QVariant(QVariantList{QVariantHash{{"a", 1}}});
    QTest::newRow("64 bits") << QVariant(QVariantList{qulonglong(1)});
    QTest::newRow("lone surrogate") << QVariant(QVariantList{QString(QChar(0xD800))});
    QTest::newRow("pair the wrong way round")
        << QVariant(QVariantList{QString(QChar(0xDC00)) + QChar(0xD800)});
    QTest::newRow("control character") << QVariant(QVariantList{QString(QChar(0x1F))});
    QTest::newRow("control character in a name")
        << QVariant(QVariantMap{{QString(QChar(0x0B)), 1}});
    QMultiMap<QString, QVariant> repeated;
    repeated.insert("a", 1);
    repeated.insert("a", 2);
    QTest::newRow("a name twice") << QVariant(QVariantMap(repeated));
}

void tst_JsonWriting::valuesOfOtherKindsAreLeft()
{
    QFETCH(QVariant, value);

    QCOMPARE(ky::writePlainJson(value), QByteArray());
}

void tst_JsonWriting::eachNumberIsWrittenAsByTheDocument_data()
{
    QTest::addColumn<QVariant>("number");
    const auto row = [](const QVariant& number) {
        QTest::addRow("%s %s", number.typeName(), qPrintable(number.toString())) << number;
    };
    for (const int number : {0, 1, -1, INT_MAX, INT_MIN})
        row(number);
    row(0u);
    row(UINT_MAX);
    for (const qlonglong number :
         {qlonglong(9007199254740991), qlonglong(9007199254740992), qlonglong(9007199254740993),
          qlonglong(-9007199254740992), qlonglong(-9007199254740993), LLONG_MAX, LLONG_MIN})
        row(number);
    for (const double number : {0.0,
                                -0.0,
                                1.0,
                                1.5,
                                0.1,
                                1e-7,
                                1e15,
                                1e16,
                                9007199254740992.0,
                                9007199254740994.0,
                                1e17,
                                1e22,
                                1e300,
                                5e-324,
                                2.2250738585072014e-308,
                                1.7976931348623157e308,
                                123456789.125,
                                -4.35,
                                qInf(),
                                -qInf(),
                                qQNaN()})
        row(number);
}

void tst_JsonWriting::eachNumberIsWrittenAsByTheDocument()
{
    QFETCH(QVariant, number);
    const QVariant list = QVariantList{number};

    const QByteArray text = ky::writePlainJson(list);

    QVERIFY2(text.isEmpty() || text == textOfDocument(list), text);
}

void tst_JsonWriting::eachCharacterIsWrittenAsByTheDocument()
{
    int written = 0;
    for (uint character = 0; character <= 0xFFFF; ++character) {
        const QVariant list = QVariantList{QString(QChar(character))};
        const QByteArray text = ky::writePlainJson(list);
        written += text.isEmpty() ? 0 : 1;
        QVERIFY2(text.isEmpty() || text == textOfDocument(list), text);
    }
    QCOMPARE(written, 0x10000 - 0x800 - 9); // all but surrogates and 0B, 0E, 0F, 1A to 1F
}

void tst_JsonWriting::namesStandInTheOrderOfTheDocument()
{
    QVariantMap map;
    for (const uint character : {0x41u, 0x7Fu, 0x80u, 0xE9u, 0x4E2Du, 0xFFFDu, 0xE000u, 0x1F600u})
        for (const char* rest : {"", "a", "é"})
            map.insert(QString::fromUcs4(&character, 1) + rest, 1);

    QCOMPARE(ky::writePlainJson(map), textOfDocument(map));
}

void tst_JsonWriting::randomValuesAreWrittenAsByTheDocument()
{
    RandomJson random(4712);
    int written = 0;

    for (int i = 0; i < 20000; ++i) {
        const QVariant value =
            i % 4 ? QVariant(random.map()) : QVariant(QVariantList{random.value()});
        const QByteArray text = ky::writePlainJson(value);
        written += text.isEmpty() ? 0 : 1;
        QVERIFY2(text.isEmpty() || text == textOfDocument(value),
                 text + " is not " + textOfDocument(value));
    }

    QVERIFY2(written > 5000, qPrintable(QString::number(written)));
}

void tst_JsonWriting::depthIsLimited()
{
    const auto nested = [](int depth) {
        QVariant value = QVariantList();
        for (int i = 1; i < depth; ++i)
            value = i % 2 ? QVariant(QVariantMap{{"a", value}}) : QVariant(QVariantList{value});
        return value;
    };

    QCOMPARE(ky::writePlainJson(nested(256)), textOfDocument(nested(256)));
    QCOMPARE(ky::writePlainJson(nested(257)), QByteArray());
}

void tst_JsonWriting::lengthOfATextIsLimited()
{
    const auto ofLength = [](int length) { return QVariantList{QString(length, 'x')}; };

    QCOMPARE(ky::writePlainJson(ofLength(65536)), textOfDocument(ofLength(65536)));
    QCOMPARE(ky::writePlainJson(ofLength(65537)), QByteArray());
}

void tst_JsonWriting::textThatEndsWithoutAZeroIsWritten()
{
    const QString whole = QStringLiteral("abcdef");
    const QVariantList list{QString::fromRawData(whole.constData(), 3)};

    QCOMPARE(ky::writePlainJson(list), QByteArray("[\"abc\"]"));
}

QTEST_GUILESS_MAIN(tst_JsonWriting)
#include "tst_JsonWriting.moc"
