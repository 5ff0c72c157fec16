#include "HostFolder.h"

#include "inventory/AsoundConf.h"
#include "inventory/SoundCards.h"

#include <QtTest>

namespace {

QStringList column(const QVariantList& cards, const char* key)
{
    QStringList values;
    for (const QVariant& card : cards)
        values << card.toMap().value(key).toString();
    return values;
}

} // namespace

class tst_SoundText : public QObject
{
    Q_OBJECT

private slots:
    void readsCapturedCards();
    void nameOf15CharactersIsRead();
    void firstLineOfACard();
    void linesOfTheCardFile_data();
    void linesOfTheCardFile();
    void textEndsAtItsFirstNulByte();
    void everyCutIsRead();
    void hundredsOfCardsAreRead();
    void pchCardIsFound_data();
    void pchCardIsFound();
    void patternReadsBothLinesTogether();
    void otherDriversAreNoHdaCards();
    void noSingleLineMatchesThePattern();
    void cardIndexIsPlain_data();
    void cardIndexIsPlain();
    void threeLinesNameTheCard_data();
    void threeLinesNameTheCard();
};

void tst_SoundText::readsCapturedCards()
{
    const QVariantList cards = ky::parseSoundCards(capture("sound/cards.c.out"));

    QCOMPARE(column(cards, "index"), QStringList({"0", "1", "2", "3"}));
    QCOMPARE(column(cards, "name"), QStringList({"PCH", "Dummy", "Card2", "Loop"}));
    QCOMPARE(column(cards, "fullName"), QStringList({" HDA-Intel - HDA Intel", " Dummy - Dummy",
                                                     " Dummy - Dummy", " Loopback - Loopback"}));
}

void tst_SoundText::nameOf15CharactersIsRead()
{
    const QVariantList cards = ky::parseSoundCards(capture("sound/cards-with-board-ids.c.out"));

    QCOMPARE(column(cards, "name"), QStringList({"PCH", "Dummy", "apalisimx8qmsgt", "Loop",
                                                 "imx8qxpsgtl5000", "rockchiprk809"}));
}

void tst_SoundText::firstLineOfACard()
{
    const QVariantList cards =
        ky::parseSoundCards(" 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
                            "                      HDA Intel PCH at 0xf7110000 irq 33\n");

    QCOMPARE(cards.size(), 1);
    QCOMPARE(
        cards.first().toMap(),
        QVariantMap({{"index", "0"}, {"name", "PCH"}, {"fullName", " HDA-Intel - HDA Intel PCH"}}));
}

void tst_SoundText::linesOfTheCardFile_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("indexes");

    QTest::newRow("empty") << QByteArray() << QStringList();
    QTest::newRow("no cards") << QByteArray("--- no soundcards ---\n") << QStringList();
    QTest::newRow("no line end") << QByteArray(" 0 [PCH ]: HDA - HDA") << QStringList();
    QTest::newRow("last line without its end")
        << QByteArray("\n 0 [PCH ]: HDA") << QStringList{"0"};
    QTest::newRow("nothing behind the name") << QByteArray(" 0 [PCH ]:\n") << QStringList();
    QTest::newRow("nothing before it") << QByteArray("]: HDA - HDA\n") << QStringList();
    QTest::newRow("no index") << QByteArray("[PCH]: HDA - HDA\n") << QStringList();
    QTest::newRow("two digits") << QByteArray("31 [PCH ]: HDA - HDA\n") << QStringList{"31"};
    QTest::newRow("two names") << QByteArray("0 [a]: 1 [b]: c\n") << QStringList{"0"};
    QTest::newRow("noise") << QByteArray("\xff\xfe\x01]:\n\n\n]:]:]:\n : [ ] \n") << QStringList();
}

void tst_SoundText::linesOfTheCardFile()
{
    QFETCH(QByteArray, text);

    QTEST(column(ky::parseSoundCards(text), "index"), "indexes");
}

void tst_SoundText::textEndsAtItsFirstNulByte()
{
    const QByteArray text = QByteArray("0 [a ]: x\n") + '\0' + "1 [b ]: y\n";

    QCOMPARE(column(ky::parseSoundCards(text), "index"), QStringList{"0"});
}

void tst_SoundText::everyCutIsRead()
{
    const QByteArray text = capture("sound/cards-with-board-ids.c.out");

    for (int size = 0; size <= text.size(); ++size)
        QVERIFY(ky::parseSoundCards(text.left(size)).size() <= 6);
}

void tst_SoundText::hundredsOfCardsAreRead()
{
    QByteArray text;
    for (int i = 0; i < 500; ++i)
        text += QByteArray::number(i) + " [Card ]: D - D\n D\n";

    QCOMPARE(ky::parseSoundCards(text).size(), 500);
}

void tst_SoundText::pchCardIsFound_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("index");

    QTest::newRow("captured") << capture("sound/cards.c.out") << "0";
    QTest::newRow("second card") << QByteArray(" 0 [Dummy ]: D - D\n D 1\n 1 [PCH ]: H - H\n")
                                 << "1";
    QTest::newRow("part of the name") << QByteArray(" 3 [XPCH2 ]: H - H\n") << "3";
    QTest::newRow("first of two") << QByteArray(" 1 [PCH ]: H - H\n 2 [PCH_1 ]: H - H\n") << "1";
    QTest::newRow("in the long name only") << QByteArray(" 0 [Intel ]: HDA - HDA PCH\n") << "none";
    QTest::newRow("second line of a card")
        << QByteArray(" 0 [Intel ]: H - H\n   HDA PCH\n") << "HDA";
    QTest::newRow("name without an index") << QByteArray("[PCH ]: H - H\n") << "[PCH";
    QTest::newRow("small letters") << QByteArray(" 0 [pch ]: H - H\n") << "none";
    QTest::newRow("empty") << QByteArray() << "none";
    QTest::newRow("empty lines") << QByteArray("\n\n]:\n") << "none";
}

void tst_SoundText::pchCardIsFound()
{
    QFETCH(QByteArray, text);

    QTEST(ky::findPchCard(text).value_or("none"), "index");
}

void tst_SoundText::patternReadsBothLinesTogether()
{
    const QVariantMap card =
        ky::matchHdaCard(QString::fromUtf8(capture("sound/cards-present.c.out")));

    QCOMPARE(card, QVariantMap({{"index", "0"},
                                {"name", "PCH            "},
                                {"type", "HDA-Intel"},
                                {"tag", "HDA Intel"},
                                {"additionalInfo", QString(21, ' ') + "HDA Intel"}}));
}

void tst_SoundText::otherDriversAreNoHdaCards()
{
    QCOMPARE(ky::matchHdaCard(" 0 [X ]: hda-intel - H\n   H at 0 irq 1\n"), QVariantMap());
    QCOMPARE(ky::matchHdaCard(" 0 [X ]: Dummy - H\n   H at 0 irq 1\n"), QVariantMap());
}

void tst_SoundText::noSingleLineMatchesThePattern()
{
    QCOMPARE(ky::parseHdaCards(capture("sound/cards-present.c.out")), QVariantList());
    QCOMPARE(ky::parseHdaCards(capture("sound/cards-with-board-ids.c.out")), QVariantList());
    QCOMPARE(ky::parseHdaCards(QByteArray()), QVariantList());
}

void tst_SoundText::cardIndexIsPlain_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isIndex");

    QTest::newRow("0") << "0" << true;
    QTest::newRow("31") << "31" << true;
    QTest::newRow("name") << "apalisimx8qmsgt" << true;
    QTest::newRow("-1") << "-1" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("line end") << "0\n" << false;
    QTest::newRow("slash") << "0/1" << false;
    QTest::newRow("dot") << "pcm.default" << false;
    QTest::newRow("umlaut") << QString(QChar(0xE4)) << false;
}

void tst_SoundText::cardIndexIsPlain()
{
    QFETCH(QString, text);

    QTEST(ky::isCardIndex(text), "isIndex");
}

void tst_SoundText::threeLinesNameTheCard_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<bool>("isNamed");

    const QString ctl = "defaults.ctl.card 1";
    const QString pcm = "defaults.pcm.card 1";
    const QString timer = "defaults.timer.card 1";
    QTest::newRow("as written") << QStringList{ctl, pcm, timer} << true;
    QTest::newRow("more in a line") << QStringList{"#" + ctl, pcm + "2", timer} << true;
    QTest::newRow("other order") << QStringList{pcm, ctl, timer} << false;
    QTest::newRow("another card") << QStringList{ctl, "defaults.pcm.card 2", timer} << false;
    QTest::newRow("two lines") << QStringList{ctl, pcm} << false;
    QTest::newRow("four lines") << QStringList{ctl, pcm, timer, ""} << false;
    QTest::newRow("one word") << QStringList{"defaults.ctl.card"} << false;
    QTest::newRow("none") << QStringList() << false;
}

void tst_SoundText::threeLinesNameTheCard()
{
    QFETCH(QStringList, lines);

    QTEST(ky::namesDefaultCard(lines, "1"), "isNamed");
}

QTEST_APPLESS_MAIN(tst_SoundText)
#include "tst_SoundText.moc"
