#include "host/LastCommand.h"

#include <QTest>

class tst_LastCommand : public QObject
{
    Q_OBJECT

private slots:
    void findsTheWordThatDecidesTheStatus_data();
    void findsTheWordThatDecidesTheStatus();
};

void tst_LastCommand::findsTheWordThatDecidesTheStatus_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("word");

    QTest::newRow("alone") << "grep x file"
                           << "grep";
    QTest::newRow("leading blanks") << "   grep x"
                                    << "grep";
    QTest::newRow("word only") << "grep"
                               << "grep";
    QTest::newRow("nothing") << ""
                             << "";
    QTest::newRow("blanks") << "  "
                            << "";
    QTest::newRow("piped") << "ifconfig | grep w"
                           << "grep";
    QTest::newRow("piped without blanks") << "ping -c 1 10.0.0.1 |grep % "
                                          << "grep";
    QTest::newRow("grep in the middle") << "ifconfig | grep w | awk '{print $1 t }'"
                                        << "awk";
    QTest::newRow("grep first") << "grep x file; true"
                                << "true";
    QTest::newRow("list") << "true; grep x file"
                          << "grep";
    QTest::newRow("and") << "true && grep x file"
                         << "grep";
    QTest::newRow("or") << "false || grep x file"
                        << "grep";
    QTest::newRow("line feed") << "true\ngrep x file"
                               << "grep";
    QTest::newRow("trailing separator") << "true; grep x file;"
                                        << "grep";
    QTest::newRow("trailing separator and blank") << "true; grep x file ; "
                                                  << "grep";
    QTest::newRow("pipe in single quotes") << "grep 'a|b' file"
                                           << "grep";
    QTest::newRow("pipe in double quotes") << "grep \"a|b\" file"
                                           << "grep";
    QTest::newRow("quote in the other quotes") << "grep \"it's | x\" file"
                                               << "grep";
    QTest::newRow("escaped pipe") << "grep a\\|b file"
                                  << "grep";
    QTest::newRow("escaped quote") << "echo \\' | grep x"
                                   << "grep";
    QTest::newRow("backslash in single quotes") << "echo '\\' | grep x"
                                                << "grep";
    QTest::newRow("separator right behind the word") << "a|grep|"
                                                     << "grep";
    QTest::newRow("standard error joined") << "nmcli c | grep x 2>&1"
                                           << "grep";
    QTest::newRow("both streams to a file") << "grep x file >& out"
                                            << "grep";
    QTest::newRow("descriptor closed") << "grep x 2>&- "
                                       << "grep";
    QTest::newRow("other word with grep in it") << "a | zgrep x"
                                                << "zgrep";
}

void tst_LastCommand::findsTheWordThatDecidesTheStatus()
{
    QFETCH(QString, line);
    QFETCH(QString, word);

    QCOMPARE(ky::lastCommandWord(line), word);
}

QTEST_APPLESS_MAIN(tst_LastCommand)
#include "tst_LastCommand.moc"
