#include "daemon/RoamStory.h"

#include <QTest>

class tst_RoamStory : public QObject
{
    Q_OBJECT

private slots:
    void decisionOutlivesItsMove();
    void stayingKeepsBothLinesUntilTheNextLook();
    void moveByHandLeavesTheDecision();
};

void tst_RoamStory::decisionOutlivesItsMove()
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

void tst_RoamStory::stayingKeepsBothLinesUntilTheNextLook()
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

void tst_RoamStory::moveByHandLeavesTheDecision()
{
    ky::RoamStory story;
    story.add("text", "Not Switch AP:CurrentRssi:-70 Max5GRssi:-69", "1");

    story.add("text", "Switch AP:02:05", "2");
    story.add("text", "Switch AP:02:06", "3");

    QCOMPARE(story.map().value("decision_time").toString(), QString("1"));
    QCOMPARE(story.map().value("move").toString(), QString("Switch AP:02:06"));
}

QTEST_GUILESS_MAIN(tst_RoamStory)
#include "tst_RoamStory.moc"
