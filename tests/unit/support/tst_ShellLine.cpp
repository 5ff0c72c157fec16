#include "support/ShellLine.h"

#include <QProcess>
#include <QTest>

using ky::shellLine;
using ky::shellPart;

class tst_ShellLine : public QObject
{
    Q_OBJECT

private slots:
    void plainValueLeavesTheLineAsItReads_data();
    void plainValueLeavesTheLineAsItReads();
    void valueIsEscapedForItsQuoting_data();
    void valueIsEscapedForItsQuoting();
    void markersAreFilledInOnePass();
    void sameMarkerMayStandTwice();
    void markerWithoutValueStays();
    void twoDigitsAreOneMarkerOnlyWithThatManyValues();
    void percentSignsThatAreNoMarkersStay();
    void backslashInTheTemplateHidesAQuote();
    void backslashInSingleQuotesHidesNothing();
    void composedPieceGoesInAsItStands();
    void defaultPieceIsEmpty();
    void numberAndLiteralFillMarkers();
    void templateIsReadAsUtf8();
    void toolReceivesExactlyTheValue_data();
    void toolReceivesExactlyTheValue();
    void hostileValueStartsNoCommand_data();
    void hostileValueStartsNoCommand();
};

namespace {

/// What a tool gets as its only argument, from a line that is really run.
QByteArray argumentSeenByTool(const QString& line)
{
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), line});
    if (!shell.waitForFinished(5000) || shell.exitCode() != 0)
        return "failed: " + shell.readAllStandardError();
    return shell.readAllStandardOutput();
}

QStringList nastyValues()
{
    return {
        QStringLiteral("plain"),
        QStringLiteral("with blank"),
        QStringLiteral("  blanks around  "),
        QStringLiteral("tab\there"),
        QStringLiteral("line\nfeed"),
        QStringLiteral("\nfirst"),
        QStringLiteral("it's"),
        QStringLiteral("''"),
        QStringLiteral("'; touch pwned; '"),
        QStringLiteral("say \"hi\""),
        QStringLiteral("\"; touch pwned; \""),
        QStringLiteral("$HOME"),
        QStringLiteral("${HOME}"),
        QStringLiteral("$(touch pwned)"),
        QStringLiteral("`touch pwned`"),
        QStringLiteral("back\\slash"),
        QStringLiteral("\\"),
        QStringLiteral("\\\\"),
        QStringLiteral("ends in \\'"),
        QStringLiteral("ends in \\\""),
        QStringLiteral("\\n stays two characters"),
        QStringLiteral("; touch pwned"),
        QStringLiteral("& touch pwned &"),
        QStringLiteral("| tee pwned"),
        QStringLiteral("> pwned"),
        QStringLiteral("< /etc/passwd"),
        QStringLiteral("*"),
        QStringLiteral("?[a-z]"),
        QStringLiteral("{a,b}"),
        QStringLiteral("~"),
        QStringLiteral("~root"),
        QStringLiteral("#comment"),
        QStringLiteral("a #comment"),
        QStringLiteral("!!"),
        QStringLiteral("(sub)"),
        QStringLiteral("%1 %2 %11"),
        QStringLiteral("100%"),
        QStringLiteral("a=b"),
        QStringLiteral("车间 五号"),
        QStringLiteral("机器人'$(id)`\"\\"),
        QStringLiteral("\u3000wide blank\u00a0"),
        QStringLiteral("\U0001F916"),
        QStringLiteral("\x01\x1b[0m\x7f"),
        QStringLiteral("\r"),
    };
}

const char* const kQuotings[] = {"printf %s %1", "printf %s '%1'", "printf %s \"%1\""};

} // namespace

void tst_ShellLine::plainValueLeavesTheLineAsItReads_data()
{
    QTest::addColumn<QString>("value");
    QTest::newRow("word") << "wlan0";
    QTest::newRow("address") << "192.168.1.20/24";
    QTest::newRow("hardware address") << "3C:7C:3F:00:01:02";
    QTest::newRow("path") << "/etc/NetworkManager/a_b-c.nmconnection";
    QTest::newRow("zone") << "Asia/Shanghai";
    QTest::newRow("signs that no shell looks at") << "a@b%c+d=e:f,g.h/i-j_k";
    QTest::newRow("Chinese") << QStringLiteral("五号车间");
    QTest::newRow("empty") << "";
}

void tst_ShellLine::plainValueLeavesTheLineAsItReads()
{
    QFETCH(QString, value);

    QCOMPARE(shellLine("tool  %1 ", value), QStringLiteral("tool  ") + value + QLatin1Char(' '));
    QCOMPARE(shellLine("tool '%1'", value), QStringLiteral("tool '") + value + QLatin1Char('\''));
    QCOMPARE(shellLine("tool \"%1\"", value), QStringLiteral("tool \"") + value + QLatin1Char('"'));
}

void tst_ShellLine::valueIsEscapedForItsQuoting_data()
{
    QTest::addColumn<QByteArray>("lineTemplate");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("line");

    QTest::newRow("bare, blank") << QByteArray("t %1") << "a b"
                                 << "t 'a b'";
    QTest::newRow("bare, single quote") << QByteArray("t %1") << "a'b"
                                        << "t 'a'\\''b'";
    QTest::newRow("single, single quote") << QByteArray("t '%1'") << "a'b"
                                          << "t 'a'\\''b'";
    QTest::newRow("single, others stand") << QByteArray("t '%1'") << "a $`\"\\"
                                          << "t 'a $`\"\\'";
    QTest::newRow("double, four signs") << QByteArray("t \"%1\"") << "\\\"$`"
                                        << R"(t "\\\"\$\`")";
    QTest::newRow("double, single quote") << QByteArray("t \"%1\"") << "a'b"
                                          << "t \"a'b\"";
    QTest::newRow("single inside double") << QByteArray("t \"'%1'\"") << "'$"
                                          << "t \"''\\$'\"";
    QTest::newRow("double inside single") << QByteArray("t '\"%1\"'") << "'\""
                                          << "t '\"'\\''\"\"'";
    QTest::newRow("bare after closed single") << QByteArray("t 'x'%1") << "a b"
                                              << "t 'x''a b'";
    QTest::newRow("bare after closed double") << QByteArray("t \"x\"%1") << "a b"
                                              << "t \"x\"'a b'";
    QTest::newRow("single after double") << QByteArray("t \"x\" '%1'") << "'"
                                         << R"(t "x" ''\''')";
}

void tst_ShellLine::valueIsEscapedForItsQuoting()
{
    QFETCH(QByteArray, lineTemplate);
    QFETCH(QString, value);
    QFETCH(QString, line);

    QCOMPARE(shellLine(lineTemplate.constData(), value), line);
}

void tst_ShellLine::markersAreFilledInOnePass()
{
    QCOMPARE(shellLine("a %1 b %2", QStringLiteral("%2"), QStringLiteral("%1")),
             QStringLiteral("a %2 b %1"));
    QCOMPARE(shellLine("a '%1%2'", QStringLiteral("%"), QStringLiteral("1")),
             QStringLiteral("a '%1'"));
}

void tst_ShellLine::sameMarkerMayStandTwice()
{
    QCOMPARE(shellLine("%1 '%1' \"%1\"", QStringLiteral("a'b")),
             QStringLiteral("'a'\\''b' 'a'\\''b' \"a'b\""));
}

void tst_ShellLine::markerWithoutValueStays()
{
    QCOMPARE(shellLine("t %1 %2 %3", QStringLiteral("x")), QStringLiteral("t x %2 %3"));
    QCOMPARE(shellLine("t %1"), QStringLiteral("t %1"));
}

void tst_ShellLine::twoDigitsAreOneMarkerOnlyWithThatManyValues()
{
    const auto letters = [](const char* lineTemplate) {
        return shellLine(lineTemplate, "a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k");
    };

    QCOMPARE(letters("%1 %9 %10 %11"), QStringLiteral("a i j k"));
    QCOMPARE(letters("%12"), QStringLiteral("a2"));
    QCOMPARE(letters("%110"), QStringLiteral("k0"));
    QCOMPARE(shellLine("%11", "a", "b", "c"), QStringLiteral("a1"));
}

void tst_ShellLine::percentSignsThatAreNoMarkersStay()
{
    QCOMPARE(shellLine("ping -c 1 %1 |grep % ", "10.0.0.1"),
             QStringLiteral("ping -c 1 10.0.0.1 |grep % "));
    QCOMPARE(shellLine("%1 volume set %2%", "/opt/hal.sh", 40),
             QStringLiteral("/opt/hal.sh volume set 40%"));
    QCOMPARE(shellLine("%0 %% %s %", "x"), QStringLiteral("%0 %% %s %"));
}

void tst_ShellLine::backslashInTheTemplateHidesAQuote()
{
    QCOMPARE(shellLine("t \\' %1", "a b"), QStringLiteral("t \\' 'a b'"));
    QCOMPARE(shellLine("t \"\\\" %1\"", "a'$"), QStringLiteral("t \"\\\" a'\\$\""));
    QCOMPARE(shellLine("t \\"), QStringLiteral("t \\"));
}

void tst_ShellLine::backslashInSingleQuotesHidesNothing()
{
    QCOMPARE(shellLine("t '\\' %1", "a b"), QStringLiteral("t '\\' 'a b'"));
}

void tst_ShellLine::composedPieceGoesInAsItStands()
{
    const ky::ShellPart part = shellPart(" key '%1'", QStringLiteral("it's %2"));

    QCOMPARE(part.text(), QStringLiteral(" key 'it'\\''s %2'"));
    QCOMPARE(shellLine("t%1 x %2", part, "y"), QStringLiteral("t key 'it'\\''s %2' x y"));
}

void tst_ShellLine::defaultPieceIsEmpty()
{
    QCOMPARE(shellLine("t%1 x", ky::ShellPart()), QStringLiteral("t x"));
}

void tst_ShellLine::numberAndLiteralFillMarkers()
{
    QCOMPARE(shellLine("t %1 %2", -7, "a b"), QStringLiteral("t -7 'a b'"));
}

void tst_ShellLine::templateIsReadAsUtf8()
{
    QCOMPARE(shellLine("grep 成功 %1", QStringLiteral("文件")), QStringLiteral("grep 成功 文件"));
}

void tst_ShellLine::toolReceivesExactlyTheValue_data()
{
    QTest::addColumn<QByteArray>("lineTemplate");
    QTest::addColumn<QString>("value");
    for (const char* lineTemplate : kQuotings) {
        for (const QString& value : nastyValues())
            QTest::addRow("%s <- %s", lineTemplate, qUtf8Printable(value))
                << QByteArray(lineTemplate) << value;
    }
    QTest::newRow("empty in single quotes") << QByteArray("printf %s '%1'") << "";
    QTest::newRow("empty in double quotes") << QByteArray("printf %s \"%1\"") << "";
    QTest::newRow("empty and bare is no argument") << QByteArray("printf $#%1") << "";
    QTest::newRow("long") << QByteArray("printf %s %1") << QString(20000, QLatin1Char('\''));
}

void tst_ShellLine::toolReceivesExactlyTheValue()
{
    QFETCH(QByteArray, lineTemplate);
    QFETCH(QString, value);

    const QByteArray expected = lineTemplate.contains('#') ? QByteArray("0") : value.toUtf8();
    QCOMPARE(argumentSeenByTool(shellLine(lineTemplate.constData(), value)), expected);
}

void tst_ShellLine::hostileValueStartsNoCommand_data()
{
    toolReceivesExactlyTheValue_data();
}

/// The value stands alone in the argument list: a line that also counts its arguments sees one.
void tst_ShellLine::hostileValueStartsNoCommand()
{
    QFETCH(QByteArray, lineTemplate);
    QFETCH(QString, value);
    if (value.isEmpty())
        return;

    lineTemplate.replace("printf %s ", "set -- ").append("; echo $#");
    QCOMPARE(argumentSeenByTool(shellLine(lineTemplate.constData(), value)), QByteArray("1\n"));
}

QTEST_GUILESS_MAIN(tst_ShellLine)
#include "tst_ShellLine.moc"
