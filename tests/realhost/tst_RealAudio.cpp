#include "Site.h"

#include "host/PublicClass.h"
#include "inventory/SystemAudio.h"

#include <QDir>
#include <QtTest>

/// Volume and sound cards, against the mixer and the kernel.
class tst_RealAudio : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init() { PublicClass::init()->hardwareType = 3; }

    void cardsAreThoseOfTheKernel();
    void withoutItsControlsTheMixerRefuses();
    void readsWhatTheMixerShows_data();
    void readsWhatTheMixerShows();
    void setsTheControlsOfTheBoard_data();
    void setsTheControlsOfTheBoard();
    void storingFailsWithoutTheBoardsCard();
    void storesOnTheBoardsCard();
    void theCardNamedPchBecomesTheDefault();
    void withoutAFileThereIsNoDefaultToReset();
};

namespace {

constexpr char kAsoundConf[] = "/etc/asound.conf";

/// Gives card 0 the three volume controls that boards have, of which an HDA codec has none.
void addVolumeControls()
{
    QString state = "state.PCH {\n";
    int number = 101;
    for (const char* name : {"Headphone", "PCM", "Playback"})
        state +=
            QStringLiteral("control.%1 { iface MIXER\n name '%2 Playback Volume'\n value.0 50\n"
                           " value.1 50\n comment { access 'read write user'\n type INTEGER\n"
                           " count 2\n range '0 - 100' } }\n")
                .arg(number++)
                .arg(QLatin1String(name));
    QFile file("/run/ky-mixer.state");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write((state + "}\n").toUtf8());
    file.close();
    site::run("alsactl -f /run/ky-mixer.state restore PCH"); // exit 22: it would set up all cards
}

int mixerPercent(const QString& control)
{
    const QString text = site::run("amixer get " + control);
    return QRegularExpression("\\[(\\d+)%\\]").match(text).captured(1).toInt();
}

} // namespace

void tst_RealAudio::initTestCase()
{
    REQUIRE_SITE();
    site::run("modprobe -r snd-dummy; modprobe -r snd-hda-intel; modprobe snd-hda-intel");
    QVERIFY(site::waitUntil([] { return site::run("cat /proc/asound/cards").contains("[PCH "); },
                            20000));
    QVERIFY(
        site::waitUntil([] { return site::run("amixer scontrols").contains("Master"); }, 20000));
}

void tst_RealAudio::cardsAreThoseOfTheKernel()
{
    site::run("modprobe snd-dummy");
    QVariantList expected;
    const QRegularExpression line("^ *(\\d+) \\[(\\S+) *\\]:(.*)$",
                                  QRegularExpression::MultilineOption);
    auto match = line.globalMatch(site::run("cat /proc/asound/cards"));
    while (match.hasNext()) {
        const QRegularExpressionMatch card = match.next();
        expected << QVariantMap{{"index", card.captured(1)},
                                {"name", card.captured(2)},
                                {"fullName", card.captured(3)}};
    }

    SystemAudio audio;
    QCOMPARE(audio.getAudioOutputDeviceInfo().value("list").toList(), expected);
    QCOMPARE(expected.size(), 2);
    QCOMPARE(audio.getAllAudioDevice(), QVariantList()); // its pattern spans two lines
    site::run("modprobe -r snd-dummy");
}

void tst_RealAudio::withoutItsControlsTheMixerRefuses()
{
    SystemAudio audio;

    QVERIFY(!audio.setAudioOutputDevice({{"volume", 40}}));
    QVERIFY(!audio.getAudioOutputDeviceInfo().contains("volume"));
}

void tst_RealAudio::readsWhatTheMixerShows_data()
{
    QTest::addColumn<int>("percent");
    QTest::addColumn<int>("expected");

    // One digit does not match the pattern, and of three digits the last two do.
    QTest::newRow("0") << 0 << 0;
    QTest::newRow("9 reads 0") << 9 << 0;
    QTest::newRow("10") << 10 << 10;
    QTest::newRow("57") << 57 << 57;
    QTest::newRow("100") << 100 << 100;
}

void tst_RealAudio::readsWhatTheMixerShows()
{
    QFETCH(int, percent);
    addVolumeControls();
    site::run(
        QStringLiteral("amixer set Headphone %1%; amixer set Playback %2%").arg(percent).arg(33));
    QCOMPARE(mixerPercent("Headphone"), percent);
    SystemAudio audio;

    const QVariantMap info = audio.getAudioOutputDeviceInfo();

    QVERIFY(info.contains("volume"));
    QTEST(info.value("volume").toInt(), "expected");
    PublicClass::init()->hardwareType = 6;
    QCOMPARE(audio.getAudioOutputDeviceInfo().value("volume").toInt(), 33);
}

void tst_RealAudio::setsTheControlsOfTheBoard_data()
{
    QTest::addColumn<int>("board");
    QTest::addColumn<int>("headphone");
    QTest::addColumn<int>("pcm");
    QTest::addColumn<int>("playback");

    QTest::newRow("board 1") << 1 << 40 << 100 << 50;
    QTest::newRow("board 2") << 2 << 40 << 40 << 50;
    QTest::newRow("board 6") << 6 << 50 << 50 << 40;
    QTest::newRow("board 7") << 7 << 50 << 50 << 40;
    QTest::newRow("another board") << 3 << 40 << 40 << 50;
}

void tst_RealAudio::setsTheControlsOfTheBoard()
{
    QFETCH(int, board);
    addVolumeControls();
    PublicClass::init()->hardwareType = board;
    SystemAudio audio;

    audio.setAudioOutputDevice({{"volume", 40}});

    QTEST(mixerPercent("Headphone"), "headphone");
    QTEST(mixerPercent("PCM"), "pcm");
    QTEST(mixerPercent("Playback"), "playback");
}

void tst_RealAudio::storingFailsWithoutTheBoardsCard()
{
    addVolumeControls();
    SystemAudio audio;

    QVERIFY(!audio.setAudioOutputDevice({{"volume", 41}})); // no card apalisimx8qmsgt

    QCOMPARE(mixerPercent("Headphone"), 41); // set all the same
    QCOMPARE(audio.getLastError(), QString());
}

void tst_RealAudio::storesOnTheBoardsCard()
{
    addVolumeControls();
    site::run("modprobe snd-dummy id=apalisimx8qmsgt; rm -f /var/lib/alsa/asound.state");
    SystemAudio audio;

    const bool isSet = audio.setAudioOutputDevice({{"volume", 42}});

    QVERIFY(site::run("cat /var/lib/alsa/asound.state").contains("state.apalisimx8qmsgt {"));
    site::run("modprobe -r snd-dummy");
    QVERIFY(isSet);
    QCOMPARE(mixerPercent("Headphone"), 42);
}

void tst_RealAudio::theCardNamedPchBecomesTheDefault()
{
    site::run("printf 'defaults.pcm.card 9\\ndefaults.ctl.card 9\\n' >/etc/asound.conf");
    SystemAudio audio;

    QVERIFY2(audio.resetAsoundConf(), qPrintable(audio.getLastError()));

    QCOMPARE(site::run("cat /etc/asound.conf"),
             QString("defaults.ctl.card 0\ndefaults.pcm.card 0\ndefaults.timer.card 0\n"));
    QVERIFY(site::run("amixer scontrols").contains("Master")); // a file that ALSA reads
}

void tst_RealAudio::withoutAFileThereIsNoDefaultToReset()
{
    QFile::remove(kAsoundConf);
    SystemAudio audio;

    QVERIFY(!audio.resetAsoundConf());

    QVERIFY2(audio.getLastError().contains("No such file"), qPrintable(audio.getLastError()));
    QVERIFY(!QFile::exists(kAsoundConf));
}

QTEST_GUILESS_MAIN(tst_RealAudio)
#include "tst_RealAudio.moc"
