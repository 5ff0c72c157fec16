#include "commands/ArgumentReading.h"
#include "support/JsonText.h"

#include <QTest>

using namespace ky;

class tst_ArgumentReading : public QObject
{
    Q_OBJECT

private slots:
    void valueIsReadOrRefused_data();
    void valueIsReadOrRefused();
    void offMeansTheSameForEveryFlag_data();
    void offMeansTheSameForEveryFlag();
    void missingIsTold_data();
    void missingIsTold();
    void firstWrongArgumentIsNamed();
    void entriesOfAListAreJudged_data();
    void entriesOfAListAreJudged();
    void keysOfAnObjectAreJudged();
    void entriesKeepWhatTheRowDoesNotName();
    void whatNoRowNamesIsLeftOut();
    void whatIsUsualStandsForTheMissing();
};

namespace {

constexpr Argument kKeys[] = {
    text("portName", "name", 1, 8).required(),
    whole("baudRate", "rate", 1, 1000),
};

constexpr Argument kOfEachKind[] = {
    flag("flag", "f"),
    whole("bit", "b", 0, 1),
    whole("volume", "v", 0, 100),
    whole("level", "l", -200, 0),
    number("hours", "h", -24, 24),
    text("name", "n", 1, 4),
    text("free", "f", 0, 4),
    choice("role", "r", "wifi wired"),
    argument(ValueKind::Word, "card", "c"),
    argument(ValueKind::Address, "ip", "i"),
    argument(ValueKind::Address, "panel", "p").orEmpty(),
    argument(ValueKind::Mask, "mask", "m"),
    argument(ValueKind::Host, "host", "h"),
    argument(ValueKind::Mac, "bssid", "b"),
    argument(ValueKind::Interface, "interface", "i"),
    argument(ValueKind::Zone, "zone", "z"),
    argument(ValueKind::Time, "time", "t"),
    argument(ValueKind::Hex, "data", "d"),
    argument(ValueKind::Command, "command", "c"),
    object("json", "j"),
    list("words", "w", 2),
    list("ports", "p", 2, kKeys),
};

QString problemOf(Rows<Argument> rows, const QByteArray& json, Arguments* arguments)
{
    return readArguments(rows, parseJson(json).toMap(), arguments);
}

} // namespace

void tst_ArgumentReading::valueIsReadOrRefused_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QVariant>("value"); // invalid: refused
    QTest::addColumn<QString>("expected");

    const auto rows = [](const char* name, const char* expected,
                         std::initializer_list<QPair<const char*, QVariant>> good,
                         std::initializer_list<const char*> bad) {
        for (const auto& [json, value] : good)
            QTest::addRow("%s %s", name, json)
                << QByteArray(name) << QByteArray(json) << value << "";
        for (const char* json : bad)
            QTest::addRow("%s %s", name, json)
                << QByteArray(name) << QByteArray(json) << QVariant() << QString(expected);
    };
    rows("flag", "true or false", {{"true", true}, {"false", false}},
         {"\"off\"", "\"on\"", "\"false\"", "0", "1", "null", "[true]", "{}", "\"\""});
    rows("bit", "0 or 1", {{"0", 0}, {"1", 1}, {"1.0", 1}, {"\"1\"", 1}},
         {"2", "-1", "0.5", "true", "null", "4294967296", "\"\"", "\" 1\"", "[1]"});
    rows("volume", "a whole number from 0 to 100",
         {{"0", 0}, {"100", 100}, {"\"40\"", 40}, {"40.0", 40}},
         {"101", "-1", "1e300", "\"loud\"", "\"40%\"", "\"40; reboot\"", "\"nan\"", "\"inf\"",
          "{}"});
    rows("level", "a whole number from -200 to 0", {{"-65", -65}, {"\"-65\"", -65}}, {"1", "-201"});
    rows("hours", "a number from -24 to 24", {{"8.5", 8.5}, {"\"-3\"", -3.0}},
         {"25", "\"x\"", "true"});
    rows("name", "a text of 1 to 4 bytes", {{"\"abcd\"", "abcd"}, {"\" ab\"", " ab"}},
         {"\"abcde\"", "\"\"", "\"网网\"", "7", "null", "[\"a\"]", "\"a\\u0000b\""});
    rows("free", "a text of at most 4 bytes", {{"\"\"", ""}, {"\"  \"", "  "}},
         {"\"abcde\"", "false"});
    rows("role", "one of wifi, wired", {{"\"wifi\"", "wifi"}},
         {"\"\"", "\"Wifi\"", "\"wifi wired\"", "1"});
    rows("card", "a word of letters, digits, _ and -",
         {{"\"PCH\"", "PCH"}, {"1", "1"}, {"\"0\"", "0"}},
         {"-1", "0.5", "\"../x\"", "\"\"", "true"});
    rows("ip", "an IPv4 address", {{"\"10.0.0.7\"", "10.0.0.7"}},
         {"\"\"", "\"...\"", "\"10.0.0.7 ; touch x\"", "7", "null"});
    rows("panel", "an IPv4 address or empty",
         {{"\"10.0.0.7\"", "10.0.0.7"}, {"\"\"", ""}, {"\"...\"", "..."}},
         {"\"x\"", "\" \"", "null"});
    rows("mask", "a subnet mask", {{"\"255.255.0.0\"", "255.255.0.0"}}, {"\"255.0.255.0\"", "16"});
    rows("host", "an address or the name of a host", {{"\"robot-7\"", "robot-7"}},
         {"\"-f\"", "\"\"", "7"});
    rows("bssid", "a MAC address", {{"\"02:00:00:00:05:00\"", "02:00:00:00:05:00"}},
         {"\"\"", "\"nonsense\"", "2", "[\"02:00:00:00:05:00\"]"});
    rows("interface", "the name of a network interface", {{"\"wlan0\"", "wlan0"}},
         {"\"\"", "\"-a\"", "\"a b\"", "7"});
    rows("zone", "the name of a time zone", {{"\"Etc/UTC\"", "Etc/UTC"}},
         {"\"../x\"", "\" \"", "[\"Etc/UTC\"]"});
    rows("time", "a time like 2026-05-01 12:00:00",
         {{"\"2026-05-01 12:00:00\"", "2026-05-01 12:00:00"}}, {"\"tomorrow\"", "1777636800"});
    rows("data", "bytes in hexadecimal",
         {{"\"\"", QByteArray("")}, {"\"00 fF\"", QByteArray("\x00\xff", 2)}},
         {"\"0\"", "\"xy\"", "12", "[1,2]", "null"});
    rows("command", "the number or name of a command",
         {{"\"echo\"", "echo"}, {"2000", 2000}, {"\"2000\"", 2000}},
         {"0", "65536", "\"65536\"", "\" \"", "true"});
    rows("json", "an object", {{"{\"a\":1}", QVariantMap{{"a", 1}}}}, {"[1]", "\"{}\"", "null"});
    rows("words", "a list of at most 2 texts",
         {{"[]", QVariantList()}, {"[\"a\",\"b\"]", QVariantList{"a", "b"}}},
         {"[\"a\",\"b\",\"c\"]", "[1]", "\"a\"", "{}", "null"});
}

void tst_ArgumentReading::valueIsReadOrRefused()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, json);
    QFETCH(QVariant, value);
    QFETCH(QString, expected);
    Arguments arguments;

    const QString problem = problemOf(kOfEachKind, "{\"" + name + "\":" + json + '}', &arguments);

    if (value.isValid()) {
        QCOMPARE(problem, QString());
        QCOMPARE(arguments.value(name), value);
        QCOMPARE(int(arguments.value(name).type()), int(value.type()));
    } else {
        QCOMPARE(problem, QStringLiteral("argument [%1]: not %2").arg(QString(name), expected));
    }
}

void tst_ArgumentReading::offMeansTheSameForEveryFlag_data()
{
    QTest::addColumn<QByteArray>("json");
    for (const char* json : {"\"off\"", "\"false\"", "\"0\"", "0", "null", "[]"})
        QTest::newRow(json) << QByteArray(json);
}

void tst_ArgumentReading::offMeansTheSameForEveryFlag()
{
    QFETCH(QByteArray, json);
    static constexpr Argument kFlags[] = {flag("a", "a").required(), flag("a", "a").orElse("true"),
                                          flag("a", "a").orElse("false"), flag("a", "a")};
    for (const Argument& row : kFlags) {
        const Argument rows[] = {row};
        Arguments arguments;
        QCOMPARE(problemOf(rows, "{\"a\":" + json + '}', &arguments),
                 QString("argument [a]: not true or false"));
    }
}

void tst_ArgumentReading::missingIsTold_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("problem");

    QTest::newRow("all there") << QByteArray(R"({"name":"a","ip":"10.0.0.1"})") << "";
    QTest::newRow("none") << QByteArray("{}") << "argument [name]: missing";
    QTest::newRow("no JSON at all") << QByteArray() << "argument [name]: missing";
    QTest::newRow("blank") << QByteArray(R"({"name":" \t"})") << "argument [name]: missing";
    QTest::newRow("null is no value")
        << QByteArray(R"({"name":null})") << "argument [name]: not a text of 1 to 4 bytes";
    QTest::newRow("needed") << QByteArray(R"({"name":"a"})") << "argument [ip]: missing";
    QTest::newRow("needed, empty")
        << QByteArray(R"({"name":"a","ip":""})") << "argument [ip]: missing";
    QTest::newRow("needed, not filled in")
        << QByteArray(R"({"name":"a","ip":"..."})") << "argument [ip]: missing";
    QTest::newRow("needed, flag off")
        << QByteArray(R"({"name":"a","dhcp":false})") << "argument [ip]: missing";
    QTest::newRow("exempted") << QByteArray(R"({"name":"a","dhcp":true})") << "";
    QTest::newRow("exempted, not filled in")
        << QByteArray(R"({"name":"a","dhcp":true,"ip":"..."})") << "";
    QTest::newRow("exempted, wrong all the same")
        << QByteArray(R"({"name":"a","dhcp":true,"ip":"x"})")
        << "argument [ip]: not an IPv4 address or empty";
}

void tst_ArgumentReading::missingIsTold()
{
    QFETCH(QByteArray, json);
    static constexpr Argument kRows[] = {
        text("name", "n", 1, 4).required(), flag("dhcp", "d"),
        argument(ValueKind::Address, "ip", "i").requiredUnless("dhcp").orEmpty()};
    Arguments arguments;

    QTEST(problemOf(kRows, json, &arguments), "problem");
}

void tst_ArgumentReading::firstWrongArgumentIsNamed()
{
    Arguments arguments;

    QCOMPARE(problemOf(kOfEachKind, R"({"volume":-1,"flag":true,"bit":7})", &arguments),
             QString("argument [bit]: not 0 or 1"));
}

void tst_ArgumentReading::entriesOfAListAreJudged_data()
{
    QTest::addColumn<QByteArray>("ports");
    QTest::addColumn<QString>("problem");

    const auto row = [](const char* ports, const char* problem) {
        QTest::newRow(ports) << QByteArray(ports) << QString(problem);
    };
    row("[]", "");
    row(R"([{"portName":"can0"}])", "");
    row(R"([{"portName":"can0"},{"baudRate":5}])", "argument [ports[1].portName]: missing");
    row(R"([{"portName":"can0","baudRate":"fast"}])",
        "argument [ports[0].baudRate]: not a whole number from 1 to 1000");
    row(R"(["can0"])", "argument [ports]: not a list of at most 2 objects");
    row(R"([{},{},{}])", "argument [ports]: not a list of at most 2 objects");
    row("7", "argument [ports]: not a list of at most 2 objects");
}

void tst_ArgumentReading::entriesOfAListAreJudged()
{
    QFETCH(QByteArray, ports);
    Arguments arguments;

    QTEST(problemOf(kOfEachKind, "{\"ports\":" + ports + '}', &arguments), "problem");
}

void tst_ArgumentReading::keysOfAnObjectAreJudged()
{
    static constexpr Argument kRows[] = {object("key", "k", kKeys)};
    Arguments arguments;

    QCOMPARE(problemOf(kRows, R"({"key":{"portName":"a"}})", &arguments), QString());
    QCOMPARE(problemOf(kRows, R"({"key":{"portName":7}})", &arguments),
             QString("argument [key.portName]: not a text of 1 to 8 bytes"));
}

void tst_ArgumentReading::entriesKeepWhatTheRowDoesNotName()
{
    const QByteArray json = R"({"ports":[{"portName":"can0","baudRate":"5","note":[1]}]})";
    Arguments arguments;

    QCOMPARE(problemOf(kOfEachKind, json, &arguments), QString());
    QCOMPARE(ky::jsonText(arguments.values(), QJsonDocument::Compact),
             QByteArray(R"({"ports":[{"baudRate":"5","note":[1],"portName":"can0"}]})"));
}

void tst_ArgumentReading::whatNoRowNamesIsLeftOut()
{
    Arguments arguments;

    QCOMPARE(problemOf(kOfEachKind, R"({"more":1,"volume":5})", &arguments), QString());
    QCOMPARE(arguments.values(), (QVariantMap{{"volume", 5}}));
}

void tst_ArgumentReading::whatIsUsualStandsForTheMissing()
{
    static constexpr Argument kRows[] = {flag("disable", "d").orElse("true"),
                                         whole("limit", "l", 1, 9000).orElse("5000"),
                                         flag("other", "o")};
    Arguments arguments;

    QCOMPARE(problemOf(kRows, "{}", &arguments), QString());
    QVERIFY(arguments.flag("disable"));
    QCOMPARE(arguments.whole("limit"), 5000);
    QVERIFY(!arguments.has("other"));
    QVERIFY(!arguments.flag("other"));
}

QTEST_GUILESS_MAIN(tst_ArgumentReading)
#include "tst_ArgumentReading.moc"
