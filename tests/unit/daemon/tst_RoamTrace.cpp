#include "daemon/RoamStory.h"
#include "daemon/RoamTrace.h"

#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTest>

Q_LOGGING_CATEGORY(networkLog, "ky.network")
Q_LOGGING_CATEGORY(otherLog, "ky.other")

namespace {

int passedOn = 0;

void count(QtMsgType, const QMessageLogContext&, const QString&)
{
    ++passedOn;
}

} // namespace

class tst_RoamTrace : public QObject
{
    Q_OBJECT

private slots:
    void linesArePartedIntoKindAndText_data();
    void linesArePartedIntoKindAndText();
    void onlyTheNetworksLinesAreHeardAndAllGoOn();
    void decisionOutlivesItsMove();
    void stayingKeepsBothLinesUntilTheNextLook();
    void moveByHandLeavesTheDecision();
};

void tst_RoamTrace::linesArePartedIntoKindAndText_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");

    QTest::newRow("link") << "[info][CurrentAP][02:00|-61]"
                          << "CurrentAP"
                          << "02:00|-61";
    QTest::newRow("list") << "[info][ApList][02:00|-61|02:01|-70|]"
                          << "ApList"
                          << "02:00|-61|02:01|-70|";
    QTest::newRow("decision") << "[info][text][Switch AP(5G):-80->-60(7)]"
                              << "text"
                              << "Switch AP(5G):-80->-60(7)";
    QTest::newRow("empty text") << "[info][text][]"
                                << "text"
                                << "";
    QTest::newRow("brackets within") << "[info][text][a][b]"
                                     << "text"
                                     << "a][b";
    QTest::newRow("another kind") << "[info][SystemNetwork][name:lo]"
                                  << ""
                                  << "";
    QTest::newRow("another level") << "[debug][text][x]"
                                   << ""
                                   << "";
    QTest::newRow("cut") << "[info][text][x"
                         << ""
                         << "";
    QTest::newRow("nothing") << ""
                             << ""
                             << "";
}

void tst_RoamTrace::linesArePartedIntoKindAndText()
{
    QFETCH(QString, line);
    QFETCH(QString, kind);
    QString readKind;
    QString readText;

    QCOMPARE(ky::readRoamLine(line, &readKind, &readText), !kind.isEmpty());

    QCOMPARE(readKind, kind);
    QTEST(readText, "text");
}

void tst_RoamTrace::onlyTheNetworksLinesAreHeardAndAllGoOn()
{
    const QtMessageHandler before = qInstallMessageHandler(count);
    {
        ky::RoamTrace trace;
        QSignalSpy told(&trace, &ky::RoamTrace::sigTold);
        qCInfo(networkLog).noquote().nospace() << "[info][text][a]";
        qCInfo(otherLog).noquote().nospace() << "[info][text][b]";
        qCInfo(networkLog) << "something else";

        QCOMPARE(told.count(), 1);
        QCOMPARE(told.at(0).at(1).toString(), QStringLiteral("a"));
    }
    qCInfo(networkLog).noquote().nospace() << "[info][text][after]";
    qInstallMessageHandler(before);

    QCOMPARE(passedOn, 4);
}

void tst_RoamTrace::decisionOutlivesItsMove()
{
    ky::RoamStory story;

    story.add("CurrentAP", "02:01|-80", "1");
    story.add("ApList", "02:01|-80|02:05|-65|", "2");
    story.add("text", "Switch AP(5G):-80->-65(7)", "3");
    story.add("text", "Switch AP:02:05", "4");

    QCOMPARE(story.map(), (QVariantMap{{"CurrentAP", "02:01|-80"},
                                       {"CurrentAP_time", "1"},
                                       {"ApList", "02:01|-80|02:05|-65|"},
                                       {"ApList_time", "2"},
                                       {"decision", QStringList("Switch AP(5G):-80->-65(7)")},
                                       {"decision_time", "3"},
                                       {"move", "Switch AP:02:05"},
                                       {"move_time", "4"}}));
}

void tst_RoamTrace::stayingKeepsBothLinesUntilTheNextLook()
{
    const QStringList both{"Not Switch AP:CurrentRssi:-70 Max5GRssi:-69",
                           "Not Switch AP:CurrentRssi:-70 Max2.4GRssi:-68"};
    ky::RoamStory story;
    story.add("text", "Auto Switch AP(2.4G):-86->-84(-85)", "1");

    story.add("ApList", "02:01|-70|", "2");
    for (const QString& line : both)
        story.add("text", line, "3");
    QCOMPARE(story.map().value("decision").toStringList(), both);
    QVERIFY(!story.map().contains("move"));

    story.add("ApList", "02:01|-70|", "4");
    QCOMPARE(story.map().value("decision").toStringList(), both); // nothing new was decided
    story.add("text", both.first(), "5");
    QCOMPARE(story.map().value("decision").toStringList(), QStringList(both.first()));
}

void tst_RoamTrace::moveByHandLeavesTheDecision()
{
    ky::RoamStory story;
    story.add("text", "Not Switch AP:CurrentRssi:-70 Max5GRssi:-69", "1");

    story.add("text", "Switch AP:02:05", "2");
    story.add("text", "Switch AP:02:06", "3");

    QCOMPARE(story.map().value("decision_time").toString(), QString("1"));
    QCOMPARE(story.map().value("move").toString(), QString("Switch AP:02:06"));
}

QTEST_GUILESS_MAIN(tst_RoamTrace)
#include "tst_RoamTrace.moc"
