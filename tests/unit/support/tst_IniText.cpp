#include "support/IniText.h"

#include "support/IniFormat.h"
#include "support/IniReading.h"

#include <QDateTime>
#include <QRect>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using ky::IniText;

class tst_IniText : public QObject
{
    Q_OBJECT

private slots:
    void valueIsWrittenAsQSettingsWritesIt_data();
    void valueIsWrittenAsQSettingsWritesIt();
    void keyIsWrittenAsQSettingsWritesIt_data();
    void keyIsWrittenAsQSettingsWritesIt();
    void valueOfAnyTypeIsReadBack_data();
    void valueOfAnyTypeIsReadBack();
    void onlyTheValueChanges_data();
    void onlyTheValueChanges();
    void newKeyGoesToItsGroup_data();
    void newKeyGoesToItsGroup();
    void keyThatStandsTwiceIsSetTwice();
    void brokenEndIsClosed_data();
    void brokenEndIsClosed();
    void anyTextKeepsItsOtherKeys_data();
    void anyTextKeepsItsOtherKeys();
    void changedOtherKeyIsNoticed_data();
    void changedOtherKeyIsNoticed();
};

namespace {

/// The file that QSettings makes of one value.
QByteArray fileOfQSettings(const QString& key, const QVariant& value)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("one.ini")));
    QSettings(file.fileName(), QSettings::IniFormat).setValue(key, value);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

QByteArray textWith(const QByteArray& before, const QString& key, const QVariant& value)
{
    IniText text(before);
    text.set(key, value);
    return text.content();
}

bool readsAsChanged(const QByteArray& before, const QByteArray& after, const ky::IniValues& values)
{
    const auto old = ky::readIniText(before);
    const auto now = ky::readIniText(after);
    return old && now && ky::isChangedAsWanted(*old, *now, values);
}

QVariantMap readBy(const QByteArray& text)
{
    return ky::readIniText(text).value_or(QVariantMap{{QStringLiteral("unreadable"), true}});
}

void addTexts()
{
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char* name, const QVariant& value) { QTest::newRow(name) << value; };
    row("text", QStringLiteral("wlan0"));
    row("empty", QString());
    row("Chinese", QStringLiteral("五号车间 \U0001F916"));
    row("digits behind an escape", QStringLiteral("é1 éa ég") + QChar(1) + QLatin1Char('f'));
    row("control characters", QStringLiteral("\1\a\b\t\n\v\f\r\x1b\x7f\u0080"));
    row("zero and digit", QStringLiteral("a") + QChar(0) + QLatin1Char('7'));
    row("signs of the format", QStringLiteral("a,b;c=\"d\"\\ #[e]%f"));
    row("at sign", QStringLiteral("@Invalid()"));
    row("two at signs", QStringLiteral("@@x"));
    row("blanks around", QStringLiteral("  a  "));
    row("tab around", QStringLiteral("\ta\t"));
    row("one blank", QStringLiteral(" "));
    row("true", true);
    row("false", false);
    row("int", -66);
    row("largest", quint64(-1));
    row("smallest", std::numeric_limits<qint64>::min());
    row("double", -3.5);
    row("exact double", 0.1 + 0.2);
    row("bytes", QByteArray("\0\xff;,\" )", 7));
    row("no value", QVariant());
    row("list", QStringList{QStringLiteral("a,b"), QStringLiteral(" c"), QString()});
    row("list that begins with nothing", QStringList{QString(), QStringLiteral("b")});
    row("list of one", QStringList{QStringLiteral("a")});
    row("empty list", QStringList());
    row("list of values", QVariantList{1, QStringLiteral("@"), QByteArray("b"), QVariant()});
    row("time", QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC));
    row("map", QVariantMap{{QStringLiteral("ä"), 1}, {QStringLiteral("b"), true}});
    row("list of one value", QVariantList{5});
    row("float", QVariant::fromValue(1.5F));
}

} // namespace

void tst_IniText::valueIsWrittenAsQSettingsWritesIt_data()
{
    addTexts();
}

void tst_IniText::valueIsWrittenAsQSettingsWritesIt()
{
    QFETCH(QVariant, value);

    QCOMPARE(textWith({}, QStringLiteral("g/k"), value),
             fileOfQSettings(QStringLiteral("g/k"), value));
}

void tst_IniText::keyIsWrittenAsQSettingsWritesIt_data()
{
    QTest::addColumn<QString>("key");

    for (const char* key : {"k", "g/k", "g/h/k", "General/k", "general", "a b/c=d", "%41/%U0041",
                            "grün/é", "五号/车间", "[g]/;k", "a\"b/\"c", "-_./-_."})
        QTest::newRow(key) << QString::fromUtf8(key);
}

void tst_IniText::keyIsWrittenAsQSettingsWritesIt()
{
    QFETCH(QString, key);

    const QByteArray text = textWith({}, key, 1);

    QCOMPARE(text, fileOfQSettings(key, 1));
    QCOMPARE(textWith(text, key, 2), fileOfQSettings(key, 2)); // and found again
}

void tst_IniText::valueOfAnyTypeIsReadBack_data()
{
    addTexts();
    QTest::newRow("rectangle") << QVariant(QRect(1, 2, 3, 4));
}

void tst_IniText::valueOfAnyTypeIsReadBack()
{
    QFETCH(QVariant, value);
    const QByteArray before = "[g]\nk=old\nl=2\n";

    const QByteArray after = textWith(before, QStringLiteral("g/k"), value);

    QVERIFY(readsAsChanged(before, after, {{QStringLiteral("g/k"), value}}));
    QCOMPARE(readBy(after).value(QStringLiteral("g/l")).toString(), QStringLiteral("2"));
}

void tst_IniText::onlyTheValueChanges_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    const auto row = [](const char* name, const char* before, const char* after) {
        QTest::newRow(name) << QByteArray(before) << QByteArray(after);
    };
    row("comments", "; top\n[g]\n# no comment\n k = old ; why\nl=1\n",
        "; top\n[g]\n# no comment\n k = new ; why\nl=1\n");
    row("other order", "[z]\nb=1\na=2\n[g]\nz=1\nk=old\na=3\n[a]\n",
        "[z]\nb=1\na=2\n[g]\nz=1\nk=new\na=3\n[a]\n");
    row("line ends of two", "[g]\r\nk=old\r\nl=1\r\n", "[g]\r\nk=new\r\nl=1\r\n");
    row("no line end", "[g]\nk=old", "[g]\nk=new\n");
    row("quoted over lines", "[g]\nk=\"a\n[h]\nk=1\"\nl=1\n", "[g]\nk=new\nl=1\n");
    row("carried on", "[g]\nk=a\\\nb\nl=1\n", "[g]\nk=new\nl=1\n");
    row("escaped quote", "[g]\nk=\"a\\\"b\" c\nl=1\n", "[g]\nk=new\nl=1\n");
    row("lines that say nothing", "[g]\nnothing\nk=old\n[\n]\n=\n",
        "[g]\nnothing\nk=new\n[\n]\n=\n");
    row("raw UTF-8", "[g]\nl=\xe4\xba\x94\nk=old\n", "[g]\nl=\xe4\xba\x94\nk=new\n");
    row("marked as UTF-8", "\xef\xbb\xbf[g]\nl=\xe4\xba\x94\nk=old\n",
        "\xef\xbb\xbf[g]\nl=\xe4\xba\x94\nk=new\n");
    row("same key of another group", "k=0\n[h]\nk=1\n[g]\nk=old\n", "k=0\n[h]\nk=1\n[g]\nk=new\n");
    row("same key in other letters", "[G]\nk=0\n[g]\nK=1\nk=old\n", "[G]\nk=0\n[g]\nK=1\nk=new\n");
    row("value of another type", "[g]\nl=@Rect(1 2 3 4)\nk=old\n",
        "[g]\nl=@Rect(1 2 3 4)\nk=new\n");
}

void tst_IniText::onlyTheValueChanges()
{
    QFETCH(QByteArray, before);

    const QByteArray after = textWith(before, QStringLiteral("g/k"), QStringLiteral("new"));

    QTEST(after, "after");
    QCOMPARE(readBy(after).value(QStringLiteral("g/k")).toString(), QStringLiteral("new"));
}

void tst_IniText::newKeyGoesToItsGroup_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");

    const auto row = [](const char* key, const QByteArray& before, const QByteArray& after) {
        QTest::addRow("%s into %s", key, before.toPercentEncoding("[]= ;").constData())
            << QString(key) << before << after;
    };
    row("g/k", "", "[g]\nk=1\n");
    row("k", "", "[General]\nk=1\n");
    row("g/k", "[h]\na=1\n", "[h]\na=1\n\n[g]\nk=1\n");
    row("g/k", "[g]\na=1\n\n[h]\na=1\n", "[g]\na=1\nk=1\n\n[h]\na=1\n");
    row("g/k", "[g]\na=1 ; why\n; more\n", "[g]\na=1 ; why\nk=1\n; more\n");
    row("g/k", "[g]\n[h]", "[g]\nk=1\n[h]\n");
    row("g/k", "[g]\na=1\n[h]\n[g]\nb=1\n", "[g]\na=1\n[h]\n[g]\nb=1\nk=1\n");
    row("k", "a=1\n[g]\nb=1\n", "a=1\nk=1\n[g]\nb=1\n");
    row("k", "[g]\nb=1\n", "[g]\nb=1\n\n[General]\nk=1\n");
    row("General/k", "[General]\nb=1\n", "[General]\nb=1\n\n[%General]\nk=1\n");
}

void tst_IniText::newKeyGoesToItsGroup()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, before);

    const QByteArray after = textWith(before, key, 1);

    QTEST(after, "after");
    QVERIFY(readsAsChanged(before, after, {{key, 1}}));
}

void tst_IniText::keyThatStandsTwiceIsSetTwice()
{
    const QByteArray text = "[g]\nk=1\n[h]\nk=1\n[g]\nk=2\nk=3\n";

    QCOMPARE(textWith(text, QStringLiteral("g/k"), 9),
             QByteArray("[g]\nk=9\n[h]\nk=1\n[g]\nk=9\nk=9\n"));
}

void tst_IniText::brokenEndIsClosed_data()
{
    QTest::addColumn<QByteArray>("before");

    for (const char* text :
         {"[g]\nl=\"abc", "[g]\nl=abc\\", "[g]\nl=\"abc\\", "[g]\nl=\"a\\\"", "[g]\nl=a \\",
          "[g]\nl=a\\\r", "[g]\nl=a\\\r\\", "[g]\nl=\"a\\\n", "[g]\nl=\"a\\\r", "[g]\\\r\r",
          "[g]\nl=a\n[h", "[g]\nl=a\n; no end", "[g]\nl=a\nnothing"})
        QTest::addRow("%s", QByteArray(text).toPercentEncoding("[]=\\\"; ").constData())
            << QByteArray(text);
}

void tst_IniText::brokenEndIsClosed()
{
    QFETCH(QByteArray, before);

    for (const char* key : {"g/k", "g/l", "new/k", "k"}) {
        const ky::IniValues values{{QLatin1String(key), QStringLiteral("a b")}};
        const QByteArray after = textWith(before, values.front().first, values.front().second);
        QVERIFY2(readsAsChanged(before, after, values), key);
    }
}

void tst_IniText::anyTextKeepsItsOtherKeys_data()
{
    QTest::addColumn<quint32>("seed");

    for (quint32 seed = 1; seed <= 20; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

/// Text of the signs that mean something in the format, in any order.
void tst_IniText::anyTextKeepsItsOtherKeys()
{
    QFETCH(quint32, seed);
    const QByteArrayList pieces{"[g]", "[h]", "[",   "]",     "k",  "l",  "=",        "=",
                                "\n",  "\n",  "\n",  "\r",    "\\", "\"", ";",        " ",
                                ",",   "@",   "%41", "\\x41", "/",  "a",  "[General]"};
    quint32 state = seed;
    const auto next = [&state](int below) {
        state = state * 1664525 + 1013904223;
        return int((state >> 8) % quint32(below));
    };
    for (int round = 0; round < 100; ++round) {
        QByteArray before;
        for (int i = next(40); i > 0; --i)
            before += pieces.at(next(pieces.size()));
        const ky::IniValues values{{QStringLiteral("g/k"), QStringLiteral("a;b")}};
        const QByteArray after = textWith(before, values.front().first, values.front().second);
        QVERIFY2(readsAsChanged(before, after, values),
                 "before: " + before.toPercentEncoding() + " after: " + after.toPercentEncoding());
    }
}

void tst_IniText::changedOtherKeyIsNoticed_data()
{
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<bool>("isGood");

    QTest::newRow("as wanted") << QByteArray("[g]\nk=new\nl=1\n") << true;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("old value") << QByteArray("[g]\nk=old\nl=1\n") << false;
    QTest::newRow("other key gone") << QByteArray("[g]\nk=new\n") << false;
    QTest::newRow("other key changed") << QByteArray("[g]\nk=new\nl=2\n") << false;
    QTest::newRow("key more") << QByteArray("[g]\nk=new\nl=1\nm=1\n") << false;
    QTest::newRow("cut") << QByteArray("[g]\nk=ne") << false;
}

void tst_IniText::changedOtherKeyIsNoticed()
{
    QFETCH(QByteArray, after);

    QTEST(readsAsChanged("[g]\nk=old\nl=1\n", after,
                         {{QStringLiteral("g/k"), QStringLiteral("new")}}),
          "isGood");
}

QTEST_GUILESS_MAIN(tst_IniText)
#include "tst_IniText.moc"
