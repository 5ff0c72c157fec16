#include "cli/CommandLine.h"

#include <QTest>

#include <limits>

class tst_CommandLine : public QObject
{
    Q_OBJECT

private slots:
    void verbAndArgumentsAreTaken();
    void singleVerbHasNoNameOfItsOwn();
    void globalOptionsStandAnywhere();
    void optionOfAVerbTakesItsValue_data();
    void optionOfAVerbTakesItsValue();
    void doubleDashEndsOptions();
    void negativeNumberIsAnArgument();
    void helpNeedsNothingElse();
    void helpMayBeAWordInFront();
    void mistakesAreTold_data();
    void mistakesAreTold();
    void argumentsAreCounted_data();
    void argumentsAreCounted();
};

void tst_CommandLine::verbAndArgumentsAreTaken()
{
    const ky::CommandLine line =
        ky::parseCommandLine({"peer", "call", "10.0.0.1", "19208", "echo"});

    QCOMPARE(line.error, QString());
    QCOMPARE(QString(line.group->name), QString("peer"));
    QCOMPARE(QString(line.verb->name), QString("call"));
    QCOMPARE(line.arguments, (QStringList{"10.0.0.1", "19208", "echo"}));
}

void tst_CommandLine::singleVerbHasNoNameOfItsOwn()
{
    const ky::CommandLine line = ky::parseCommandLine({"call", "echo", "{}"});

    QCOMPARE(line.error, QString());
    QCOMPARE(line.arguments, (QStringList{"echo", "{}"}));
}

void tst_CommandLine::globalOptionsStandAnywhere()
{
    const ky::CommandLine line = ky::parseCommandLine(
        {"--host", "robot", "call", "--port=20", "echo", "--timeout", "99", "--json"});

    QCOMPARE(line.error, QString());
    QCOMPARE(line.global.host, QString("robot"));
    QCOMPARE(int(line.global.port), 20);
    QCOMPARE(line.global.timeoutMs, 99);
    QVERIFY(line.global.isTimeoutGiven);
    QVERIFY(line.global.isJson);
    QCOMPARE(line.arguments, QStringList{"echo"});
}

void tst_CommandLine::optionOfAVerbTakesItsValue_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::newRow("next word") << QStringList{"call", "echo", "--data", "a file"};
    QTest::newRow("equals") << QStringList{"call", "--data=a file", "echo"};
}

void tst_CommandLine::optionOfAVerbTakesItsValue()
{
    QFETCH(QStringList, words);

    const ky::CommandLine line = ky::parseCommandLine(words);

    QCOMPARE(line.error, QString());
    QCOMPARE(line.options.value("--data"), QString("a file"));
    QCOMPARE(line.arguments, QStringList{"echo"});
}

void tst_CommandLine::doubleDashEndsOptions()
{
    const ky::CommandLine line = ky::parseCommandLine({"call", "--", "--json", "-x"});

    QCOMPARE(line.error, QString());
    QVERIFY(!line.global.isJson);
    QCOMPARE(line.arguments, (QStringList{"--json", "-x"}));
}

void tst_CommandLine::negativeNumberIsAnArgument()
{
    const ky::CommandLine line = ky::parseCommandLine({"call", "echo", "-80"});

    QCOMPARE(line.error, QString());
    QCOMPARE(line.arguments.value(1), QString("-80"));
}

void tst_CommandLine::helpNeedsNothingElse()
{
    QVERIFY(ky::parseCommandLine({"--help"}).wantsHelp);
    QVERIFY(ky::parseCommandLine({"peer", "--help"}).error.isEmpty());
    QVERIFY(ky::parseCommandLine({"peer", "call", "-h"}).error.isEmpty());
}

void tst_CommandLine::helpMayBeAWordInFront()
{
    const ky::CommandLine general = ky::parseCommandLine({"help"});
    QVERIFY(general.wantsHelp && general.error.isEmpty() && !general.group);

    const ky::CommandLine group = ky::parseCommandLine({"help", "peer"});
    QVERIFY(group.wantsHelp && group.error.isEmpty() && group.group && !group.verb);

    const ky::CommandLine verb = ky::parseCommandLine({"--json", "help", "peer", "call"});
    QVERIFY(verb.wantsHelp && verb.error.isEmpty());
    QCOMPARE(QString(verb.verb->name), QString("call"));

    // Elsewhere it is a word like any other.
    const ky::CommandLine argument = ky::parseCommandLine({"call", "help"});
    QVERIFY(!argument.wantsHelp);
    QCOMPARE(argument.arguments, QStringList{"help"});
}

void tst_CommandLine::mistakesAreTold_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("error");
    QTest::newRow("nothing") << QStringList{} << "no command given";
    QTest::newRow("unknown group") << QStringList{"dance"} << "no command 'dance'";
    QTest::newRow("help for an unknown group")
        << QStringList{"help", "dance"} << "no command 'dance'";
    QTest::newRow("group alone") << QStringList{"peer"} << "'peer' needs a verb";
    QTest::newRow("unknown verb") << QStringList{"peer", "dance"} << "no command 'peer dance'";
    QTest::newRow("too few") << QStringList{"call"} << "too few arguments";
    QTest::newRow("too many") << QStringList{"version", "x"} << "too many arguments";
    QTest::newRow("unknown option") << QStringList{"version", "--fast"} << "no option '--fast'";
    QTest::newRow("option of another verb")
        << QStringList{"version", "--data", "x"} << "no option '--data'";
    QTest::newRow("no value") << QStringList{"call", "echo", "--data"}
                              << "option '--data' needs a value";
    QTest::newRow("port 0") << QStringList{"--port", "0", "version"}
                            << "option '--port': '0' is not in 1 to 65535";
    QTest::newRow("port 65536") << QStringList{"--port", "65536", "version"}
                                << "option '--port': '65536' is not in 1 to 65535";
    QTest::newRow("timeout is a word") << QStringList{"--timeout", "soon", "version"}
                                       << "option '--timeout': 'soon' is not in 1 to 2147483647";
    QTest::newRow("timeout below 1") << QStringList{"--timeout=-5", "version"}
                                     << "option '--timeout': '-5' is not in 1 to 2147483647";
}

void tst_CommandLine::mistakesAreTold()
{
    QFETCH(QStringList, words);
    QFETCH(QString, error);

    QCOMPARE(ky::parseCommandLine(words).error, error);
}

void tst_CommandLine::argumentsAreCounted_data()
{
    const int any = std::numeric_limits<int>::max();
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("least");
    QTest::addColumn<int>("most");
    QTest::newRow("none") << "" << 0 << 0;
    QTest::newRow("one") << "FILE" << 1 << 1;
    QTest::newRow("one or two") << "NAME [JSON]" << 1 << 2;
    QTest::newRow("any") << "[EVENT…]" << 0 << any;
    QTest::newRow("one or more") << "NAME…" << 1 << any;
}

void tst_CommandLine::argumentsAreCounted()
{
    QFETCH(QString, text);
    QFETCH(int, least);
    QFETCH(int, most);

    const ky::ArgumentCount count = ky::countArguments(text);

    QCOMPARE(count.least, least);
    QCOMPARE(count.most, most);
}

QTEST_GUILESS_MAIN(tst_CommandLine)
#include "tst_CommandLine.moc"
