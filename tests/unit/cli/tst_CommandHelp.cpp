#include "cli/CommandHelp.h"
#include "cli/Completion.h"
#include "commands/Catalogue.h"

#include <QTest>

/// What kyctl tells from the catalogue, without asking a peer.
class tst_CommandHelp : public QObject
{
    Q_OBJECT

private slots:
    void helpTellsAllOfACommand_data();
    void helpTellsAllOfACommand();
    void keysOfEntriesStandBelow();
    void tableIsInOrderOfNumbers();
    void listHoldsWhatScriptsNeed();
    void wordsFitWhatIsTyped_data();
    void wordsFitWhatIsTyped();
};

void tst_CommandHelp::helpTellsAllOfACommand_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("parts");

    QTest::newRow("arguments, errors, a right, a time")
        << "audio_set"
        << QStringList{"Usage: kyctl call audio_set JSON\n",
                       "Sets the output volume.\n",
                       "  volume  output volume  a whole number from 0 to 100 (%); required\n",
                       "  40501  the volume was not set\n",
                       "Command 2451; right: operate",
                       "changes the host",
                       "takes up to 40 s",
                       "Example: kyctl call audio_set '{\"volume\":40}'\n"};
    QTest::newRow("no arguments") << "version"
                                  << QStringList{"Usage: kyctl call version\n",
                                                 "Example: kyctl call version\n"};
    QTest::newRow("a secret") << "wifi_connect"
                              << QStringList{"a text of at most 128 bytes; secret"};
    QTest::newRow("what holds without it")
        << "peer_call" << QStringList{"from 1 to 120000 (ms); 5000 by default"};
    QTest::newRow("a right that an argument raises")
        << "net_hmi" << QStringList{"right: view (with hmiIP: administer)"};
    QTest::newRow("data area") << "upload" << QStringList{"\nData area: the file\n"};
    QTest::newRow("event") << "event_link"
                           << QStringList{"Usage: kyctl watch event_link\n", "Event 2900",
                                          "  state  good or lost\n"};
}

void tst_CommandHelp::helpTellsAllOfACommand()
{
    QFETCH(QString, name);
    QFETCH(QStringList, parts);

    const QString help = ky::commandHelp(*ky::findCommand(name));

    for (const QString& part : parts)
        QVERIFY2(help.contains(part), qPrintable(part + " is not in:\n" + help));
}

void tst_CommandHelp::keysOfEntriesStandBelow()
{
    const QString help = ky::commandHelp(*ky::findCommand("can_ports_save"));

    QVERIFY2(help.indexOf("\n  ports ") < help.indexOf("\n    portName "), qPrintable(help));
    QVERIFY2(help.contains("\n    portName "), qPrintable(help));
}

void tst_CommandHelp::tableIsInOrderOfNumbers()
{
    const QStringList lines = ky::commandTable().split('\n', Qt::SkipEmptyParts);

    QVERIFY(lines.first().startsWith("NUMBER  NAME "));
    QVERIFY(lines.size() > 80);
    for (int i = 2; i < lines.size(); ++i)
        QVERIFY(lines[i].section(' ', 0, 0).toInt() > lines[i - 1].section(' ', 0, 0).toInt());
    QVERIFY(!ky::commandTable().contains("link_lost")); // of another port
}

void tst_CommandHelp::listHoldsWhatScriptsNeed()
{
    QVariantMap volume;
    for (const QVariant& row : ky::commandList().value("commands").toList()) {
        if (row.toMap().value("name") == "audio_set")
            volume = row.toMap();
    }

    QCOMPARE(volume.value("number").toInt(), 2451);
    QCOMPARE(volume.value("kind").toString(), QString("command"));
    QCOMPARE(volume.value("right").toString(), QString("operate"));
    QCOMPARE(volume.value("limit_ms").toInt(), 40000);
    QCOMPARE(volume.value("example").toMap(), (QVariantMap{{"volume", 40}}));
    const QVariantMap argument = volume.value("arguments").toList().value(0).toMap();
    QCOMPARE(argument.value("name").toString(), QString("volume"));
    QCOMPARE(argument.value("value").toString(), QString("a whole number from 0 to 100"));
}

void tst_CommandHelp::wordsFitWhatIsTyped_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QStringList>("words");

    QTest::newRow("groups") << QStringList{"ho"} << QStringList{"hotspot"};
    QTest::newRow("verbs") << QStringList{"hotspot", ""}
                           << QStringList{"fix", "start", "status", "stop"};
    QTest::newRow("verbs, begun") << QStringList{"wifi", "con"}
                                  << QStringList{"connect", "connect-short"};
    QTest::newRow("commands") << QStringList{"call", "hotspot_"}
                              << QStringList{"hotspot_fix", "hotspot_start", "hotspot_status",
                                             "hotspot_stop"};
    QTest::newRow("events") << QStringList{"watch", "event_serial"}
                            << QStringList{"event_serial_data", "event_serial_error"};
    QTest::newRow("several events")
        << QStringList{"watch", "event_link", "event_r"} << QStringList{"event_roaming"};
    QTest::newRow("options of the verb")
        << QStringList{"wifi", "connect", "--p"} << QStringList{"--password", "--port"};
    QTest::newRow("options in front") << QStringList{"--json", "audio", "g"} << QStringList{"get"};
    QTest::newRow("values in front")
        << QStringList{"--host", "10.0.0.7", "--port", "19208", "audio", "g"} << QStringList{"get"};
    QTest::newRow("nothing known") << QStringList{"nosuch", ""} << QStringList();
    QTest::newRow("an argument") << QStringList{"wifi", "connect", ""} << QStringList();
}

void tst_CommandHelp::wordsFitWhatIsTyped()
{
    QFETCH(QStringList, typed);

    QTEST(ky::completionsOf(typed), "words");
}

QTEST_GUILESS_MAIN(tst_CommandHelp)
#include "tst_CommandHelp.moc"
