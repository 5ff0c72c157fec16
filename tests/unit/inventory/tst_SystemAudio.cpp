#include "ClosedFolder.h"
#include "HostFolder.h"
#include "LogCapture.h"

#include "inventory/SystemAudio.h"

#include <QtTest>

#include <memory>

namespace {

constexpr char kCards[] = "/proc/asound/cards";
constexpr char kConf[] = "/etc/asound.conf";
constexpr char kReadHeadphone[] = "amixer get Headphone | grep -Po '[0-9][0-9]%'";
constexpr char kReadPlayback[] = "amixer get Playback | grep -Po '[0-9][0-9]%'";

RecordedHost& host()
{
    return RecordedHost::instance();
}

QByteArray confOf(const QByteArray& index)
{
    return "defaults.ctl.card " + index + "\ndefaults.pcm.card " + index +
           "\ndefaults.timer.card " + index + "\n";
}

} // namespace

class tst_SystemAudio : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void everyBoardHasItsLines_data();
    void everyBoardHasItsLines();
    void commandsHaveTheirLimit();
    void volumeOutOfRangeIsRefused_data();
    void volumeOutOfRangeIsRefused();
    void limitsOfTheRangeAreAccepted_data();
    void limitsOfTheRangeAreAccepted();
    void missingVolumeIsZero();
    void mixerThatFailsLeavesTheLastErrorAlone();
    void storeThatFailsLeavesTheLastErrorAlone();
    void scriptSetsTheVolumeAndStoresNothing();
    void scriptThatFailsToSetTellsWhy();
    void scriptIsLookedForAtEachCall();

    void everyBoardIsReadByItsLine_data();
    void everyBoardIsReadByItsLine();
    void mixerOutputBecomesTheVolume_data();
    void mixerOutputBecomesTheVolume();
    void mixerThatFailsGivesNoVolume();
    void scriptOutputBecomesTheVolume_data();
    void scriptOutputBecomesTheVolume();
    void scriptThatFailsToReadIsZero();
    void cardsAreListed();
    void cardsThatCannotBeReadAreNone();

    void cardBecomesTheDefault();
    void cardByNameBecomesTheDefault();
    void cardThatIsNoIndexIsRefused_data();
    void cardThatIsNoIndexIsRefused();
    void confThatCannotBeWrittenIsTheKernelsReason();
    void confInAClosedFolderIsWritten();
    void confThatTakesNothingIsTheKernelsReason();
    void confIsReplacedAsAWhole();

    void resetWritesThePchCard();
    void resetRewritesTheSameContent();
    void resetWithoutWhatItNeedsFails_data();
    void resetWithoutWhatItNeedsFails();
    void resetSucceedsThoughNothingIsWritten();
    void allDevicesAreNone();
    void allDevicesAreReadByCat();
    void cardIsNotedInTheLog();

private:
    std::unique_ptr<HostFolder> _host;
    std::unique_ptr<SystemAudio> _audio;
};

void tst_SystemAudio::init()
{
    _host = std::make_unique<HostFolder>();
    _audio = std::make_unique<SystemAudio>(nullptr);
}

void tst_SystemAudio::cleanup()
{
    _audio.reset();
    _host.reset();
}

void tst_SystemAudio::everyBoardHasItsLines_data()
{
    QTest::addColumn<int>("hardwareType");
    QTest::addColumn<QString>("set");
    QTest::addColumn<QString>("store");

    const QString both = "amixer set Headphone 40%; amixer set PCM 40%;";
    const QString headphone = "amixer set Headphone 40%; amixer set PCM 100%;";
    const QString playback = "amixer set Playback 40%;";
    QTest::newRow("none") << -1 << both << "alsactl store apalisimx8qmsgt";
    QTest::newRow("0") << 0 << both << "alsactl store apalisimx8qmsgt";
    QTest::newRow("1") << 1 << headphone << "alsactl store apalisimx8qmsgt";
    QTest::newRow("2") << 2 << both << "alsactl store imx8qxpsgtl5000";
    QTest::newRow("3") << 3 << both << "alsactl store apalisimx8qmsgt";
    QTest::newRow("5") << 5 << both << "alsactl store apalisimx8qmsgt";
    QTest::newRow("6") << 6 << playback << "alsactl store rockchiprk809";
    QTest::newRow("7") << 7 << playback << "alsactl store rockchiprk809";
    QTest::newRow("8") << 8 << both << "alsactl store apalisimx8qmsgt";
}

void tst_SystemAudio::everyBoardHasItsLines()
{
    QFETCH(int, hardwareType);
    QFETCH(QString, set);
    QFETCH(QString, store);
    PublicClass::init()->hardwareType = hardwareType;

    QVERIFY(_audio->setAudioOutputDevice({{"volume", 40}}));

    QCOMPARE(host().lines(), QStringList({set, store}));
}

void tst_SystemAudio::commandsHaveTheirLimit()
{
    _audio->setAudioOutputDevice({{"volume", 40}});
    _audio->getAudioOutputDeviceInfo();
    _host->makeScript();
    _audio->setAudioOutputDevice({{"volume", 40}});
    _audio->getAudioOutputDeviceInfo();

    QCOMPARE(host().calls().size(), 5);
    for (const RecordedHost::Call& call : host().calls()) {
        QCOMPARE(call.limitMs, 20000);
        QVERIFY(call.wait);
        QCOMPARE(call.isScript, call.line.contains("hal.sh"));
    }
}

void tst_SystemAudio::volumeOutOfRangeIsRefused_data()
{
    QTest::addColumn<QVariant>("volume");
    QTest::addColumn<QString>("shown");

    QTest::newRow("101") << QVariant(101) << "101";
    QTest::newRow("-1") << QVariant(-1) << "-1";
    QTest::newRow("-1 as JSON brings it") << QVariant(-1.0) << "-1";
    QTest::newRow("text") << QVariant("101") << "101";
    QTest::newRow("40 and 2^32") << QVariant(4294967336.0) << "4294967336";
    QTest::newRow("words") << QVariant("loud") << "loud";
    QTest::newRow("empty") << QVariant("") << "";
    QTest::newRow("code") << QVariant("40%; reboot") << "40%; reboot";
    QTest::newRow("list") << QVariant(QVariantList{40}) << "";
}

void tst_SystemAudio::volumeOutOfRangeIsRefused()
{
    QFETCH(QVariant, volume);
    QFETCH(QString, shown);

    QVERIFY(!_audio->setAudioOutputDevice({{"volume", volume}}));

    QCOMPARE(_audio->getLastError(),
             QStringLiteral("Volume setting failed: [%1] is not in the range [0~100].").arg(shown));
    QCOMPARE(host().lines(), QStringList());
}

void tst_SystemAudio::limitsOfTheRangeAreAccepted_data()
{
    QTest::addColumn<QVariant>("volume");
    QTest::addColumn<QString>("set");

    QTest::newRow("0") << QVariant(0) << "0%";
    QTest::newRow("100") << QVariant(100) << "100%";
    QTest::newRow("text") << QVariant("57") << "57%";
    QTest::newRow("as JSON brings it") << QVariant(57.0) << "57%";
}

void tst_SystemAudio::limitsOfTheRangeAreAccepted()
{
    QFETCH(QVariant, volume);
    QFETCH(QString, set);
    PublicClass::init()->hardwareType = 6;

    QVERIFY(_audio->setAudioOutputDevice({{"volume", volume}}));

    QCOMPARE(host().lines().first(), "amixer set Playback " + set + ";");
}

void tst_SystemAudio::missingVolumeIsZero()
{
    PublicClass::init()->hardwareType = 7;

    QVERIFY(_audio->setAudioOutputDevice({{"loudness", 40}}));

    QCOMPARE(host().lines().first(), QStringLiteral("amixer set Playback 0%;"));
}

void tst_SystemAudio::mixerThatFailsLeavesTheLastErrorAlone()
{
    PublicClass::init()->hardwareType = 6;
    _audio->setLastError("earlier");
    host().fail("amixer set Playback 40%;", capture("amixer/set-playback-no-control.c.err"));

    QVERIFY(!_audio->setAudioOutputDevice({{"volume", 40}}));

    QCOMPARE(_audio->getLastError(), QStringLiteral("earlier"));
    QCOMPARE(host().lines().size(), 1);
}

void tst_SystemAudio::storeThatFailsLeavesTheLastErrorAlone()
{
    _audio->setLastError("earlier");
    host().fail("alsactl store apalisimx8qmsgt", "Cannot find soundcard");

    QVERIFY(!_audio->setAudioOutputDevice({{"volume", 40}}));

    QCOMPARE(_audio->getLastError(), QStringLiteral("earlier"));
    QCOMPARE(host().lines().size(), 2);
}

void tst_SystemAudio::scriptSetsTheVolumeAndStoresNothing()
{
    _host->makeScript();

    QVERIFY(_audio->setAudioOutputDevice({{"volume", 40}}));

    QCOMPARE(host().lines(), QStringList{_host->path("/hal.sh") + " volume set 40%"});
}

void tst_SystemAudio::scriptThatFailsToSetTellsWhy()
{
    _host->makeScript();
    host().fail(_host->path("/hal.sh") + " volume set 40%", "no codec");

    QVERIFY(!_audio->setAudioOutputDevice({{"volume", 40}}));

    QCOMPARE(_audio->getLastError(), QStringLiteral("Set volume failed:no codec"));
}

void tst_SystemAudio::scriptIsLookedForAtEachCall()
{
    _host->makeScript();
    QVERIFY(_audio->setAudioOutputDevice({{"volume", 1}}));
    QVERIFY(QFile::remove(_host->path("/hal.sh")));
    QVERIFY(_audio->setAudioOutputDevice({{"volume", 2}}));
    _host->makeScript(false);
    QVERIFY(_audio->setAudioOutputDevice({{"volume", 3}}));

    QCOMPARE(host().lines().filter("hal.sh").size(), 1);
    QCOMPARE(host().lines().filter("alsactl").size(), 2);
}

void tst_SystemAudio::everyBoardIsReadByItsLine_data()
{
    QTest::addColumn<int>("hardwareType");
    QTest::addColumn<QString>("line");

    for (int type : {-1, 0, 1, 2, 3, 5, 8})
        QTest::addRow("%d", type) << type << kReadHeadphone;
    for (int type : {6, 7})
        QTest::addRow("%d", type) << type << kReadPlayback;
}

void tst_SystemAudio::everyBoardIsReadByItsLine()
{
    QFETCH(int, hardwareType);
    QFETCH(QString, line);
    PublicClass::init()->hardwareType = hardwareType;

    _audio->getAudioOutputDeviceInfo();

    QCOMPARE(host().lines(), QStringList{line});
}

void tst_SystemAudio::mixerOutputBecomesTheVolume_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<int>("volume");

    QTest::newRow("00%") << "00%" << 100;
    QTest::newRow("57%") << "57%" << 57;
    QTest::newRow("nothing") << "" << 0;
    QTest::newRow("one digit prints nothing")
        << QString(capture("amixer/get-headphone-9.c.out")) << 0;
    QTest::newRow("10, captured") << QString(capture("amixer/get-headphone-10.c.out")) << 10;
    QTest::newRow("100, captured") << QString(capture("amixer/get-headphone-100.c.out")) << 100;
    QTest::newRow("99, captured") << QString(capture("amixer/get-headphone-99.c.out")) << 99;
    QTest::newRow("first of two channels") << "40%\n99%\n" << 40;
    QTest::newRow("empty first line") << "\n40%\n" << 0;
    QTest::newRow("000%") << "000%" << 0;
    QTest::newRow("no number") << "loud%" << 0;
    QTest::newRow("no percent sign") << "00" << 100;
}

void tst_SystemAudio::mixerOutputBecomesTheVolume()
{
    QFETCH(QString, output);
    QFETCH(int, volume);
    host().answer(kReadHeadphone, output);

    QCOMPARE(_audio->getAudioOutputDeviceInfo().value("volume"), QVariant(volume));
}

void tst_SystemAudio::mixerThatFailsGivesNoVolume()
{
    host().fail(kReadHeadphone, capture("amixer/get-headphone-no-control.c.err"));
    _host->write(kCards, "");

    const QVariantMap info = _audio->getAudioOutputDeviceInfo();

    QCOMPARE(info, QVariantMap({{"list", QVariantList()}}));
    QCOMPARE(_audio->getLastError(), QString());
}

void tst_SystemAudio::scriptOutputBecomesTheVolume_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<int>("volume");

    QTest::newRow("57%") << "57%\n" << 57;
    QTest::newRow("00% is no special case") << "00%" << 0;
    QTest::newRow("100%") << "100%" << 100;
    QTest::newRow("no percent sign") << "5" << 5;
    QTest::newRow("two lines") << "40%\n40%\n" << 0;
    QTest::newRow("words") << "volume: 40%" << 0;
    QTest::newRow("nothing") << "" << 0;
}

void tst_SystemAudio::scriptOutputBecomesTheVolume()
{
    QFETCH(QString, output);
    QFETCH(int, volume);
    _host->makeScript();
    host().answer(_host->path("/hal.sh") + " volume get", output);

    QCOMPARE(_audio->getAudioOutputDeviceInfo().value("volume"), QVariant(volume));
    QVERIFY(host().calls().first().isScript);
}

void tst_SystemAudio::scriptThatFailsToReadIsZero()
{
    _host->makeScript();
    host().fail(_host->path("/hal.sh") + " volume get", "57%");

    QCOMPARE(_audio->getAudioOutputDeviceInfo().value("volume"), QVariant(0));
}

void tst_SystemAudio::cardsAreListed()
{
    _host->write(kCards, capture("sound/cards.c.out"));

    const QVariantList cards = _audio->getAudioOutputDeviceInfo().value("list").toList();

    QCOMPARE(cards.size(), 4);
    QCOMPARE(
        cards.first().toMap(),
        QVariantMap({{"index", "0"}, {"name", "PCH"}, {"fullName", " HDA-Intel - HDA Intel"}}));
}

void tst_SystemAudio::cardsThatCannotBeReadAreNone()
{
    const QVariantMap info = _audio->getAudioOutputDeviceInfo();

    QCOMPARE(info.value("list"), QVariant(QVariantList()));
    QCOMPARE(_audio->getLastError(), QStringLiteral("Open failed:No such file or directory"));
}

void tst_SystemAudio::cardBecomesTheDefault()
{
    _host->write(kConf, "old content\n");

    QVERIFY(_audio->setAudioCard("2"));

    QCOMPARE(_host->read(kConf), confOf("2"));
    QCOMPARE(host().lines(), QStringList());
}

void tst_SystemAudio::cardByNameBecomesTheDefault()
{
    QVERIFY(QDir().mkpath(_host->path("/etc")));

    QVERIFY(_audio->setAudioCard("imx8qxp-sgtl_5000"));

    QCOMPARE(_host->read(kConf), confOf("imx8qxp-sgtl_5000"));
}

void tst_SystemAudio::cardThatIsNoIndexIsRefused_data()
{
    QTest::addColumn<QString>("index");

    QTest::newRow("empty") << "";
    QTest::newRow("line end") << "0\ndefaults.pcm.card 9";
    QTest::newRow("line end behind it") << "0\n";
    QTest::newRow("carriage return") << "0\rx";
    QTest::newRow("path") << "../../etc/passwd";
    QTest::newRow("blank") << "0 1";
    QTest::newRow("configuration") << "0;pcm.!default{type.hw}";
    QTest::newRow("digit of another script") << QString(QChar(0x0663));
    QTest::newRow("NUL") << QString(QChar(0));
}

void tst_SystemAudio::cardThatIsNoIndexIsRefused()
{
    QFETCH(QString, index);
    _host->write(kConf, "old content\n");

    QVERIFY(!_audio->setAudioCard(index));

    QCOMPARE(_audio->getLastError(), QStringLiteral("sound card [%1]: not an index").arg(index));
    QCOMPARE(_host->read(kConf), QByteArray("old content\n"));
}

void tst_SystemAudio::confThatCannotBeWrittenIsTheKernelsReason()
{
    QVERIFY(QDir().mkpath(_host->path(kConf)));

    QVERIFY(!_audio->setAudioCard("0"));

    QCOMPARE(_audio->getLastError(), QStringLiteral("Is a directory"));
}

void tst_SystemAudio::confInAClosedFolderIsWritten()
{
    _host->write(kConf, "old content\n");
    {
        const ClosedFolder closed(_host->path("/etc"));
        QVERIFY(_audio->setAudioCard("2"));
    }

    QCOMPARE(_host->read(kConf), confOf("2"));
}

void tst_SystemAudio::confThatTakesNothingIsTheKernelsReason()
{
    _host->write(kConf, "old content\n");
    QVERIFY(QFile::setPermissions(_host->path(kConf), QFile::ReadOwner));
    {
        const ClosedFolder closed(_host->path("/etc"));
        QVERIFY(!_audio->setAudioCard("2"));
    }

    QCOMPARE(_audio->getLastError(), QStringLiteral("Permission denied"));
    QCOMPARE(_host->read(kConf), QByteArray("old content\n"));
}

void tst_SystemAudio::confIsReplacedAsAWhole()
{
    _host->write(kConf, "old content\n");
    QFile reader(_host->path(kConf));
    QVERIFY(reader.open(QIODevice::ReadOnly));

    QVERIFY(_audio->setAudioCard("0"));

    // Who had it open reads on in the old file: nothing was emptied or written over.
    QCOMPARE(reader.readAll(), QByteArray("old content\n"));
    QCOMPARE(QDir(_host->path("/etc")).entryList(QDir::Files), QStringList{"asound.conf"});
}

void tst_SystemAudio::resetWritesThePchCard()
{
    _host->write(kCards, " 0 [Dummy          ]: Dummy - Dummy\n"
                         "                      Dummy 1\n"
                         " 1 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
                         "                      HDA Intel PCH at 0xfebe0000 irq 36\n");
    _host->write(kConf, "");

    QVERIFY(_audio->resetAsoundConf());

    QCOMPARE(_host->read(kConf), confOf("1"));
}

void tst_SystemAudio::resetRewritesTheSameContent()
{
    _host->write(kCards, capture("sound/cards.c.out"));
    _host->write(kConf, confOf("0"));
    QFile before(_host->path(kConf));
    QVERIFY(before.open(QIODevice::ReadWrite));

    QVERIFY(_audio->resetAsoundConf());

    // A new file stands under the name, so what is changed in the old one is not seen.
    QVERIFY(before.write("changed") > 0 && before.flush());
    QCOMPARE(_host->read(kConf), confOf("0"));
}

void tst_SystemAudio::resetWithoutWhatItNeedsFails_data()
{
    QTest::addColumn<QByteArray>("cards");
    QTest::addColumn<QByteArray>("conf");
    QTest::addColumn<QString>("error");
    const QByteArray absent;
    const QByteArray noPch = " 0 [Dummy          ]: Dummy - Dummy\n                      Dummy 1\n";

    QTest::newRow("no configuration")
        << capture("sound/cards.c.out") << absent << "Open failed:No such file or directory";
    QTest::newRow("no PCH") << noPch << QByteArray("old content\n") << "Not found PCH";
    QTest::newRow("no cards") << absent << QByteArray("old content\n")
                              << "Open failed:No such file or directory";
}

void tst_SystemAudio::resetWithoutWhatItNeedsFails()
{
    QFETCH(QByteArray, cards);
    QFETCH(QByteArray, conf);
    if (!cards.isNull())
        _host->write(kCards, cards);
    if (!conf.isNull())
        _host->write(kConf, conf);

    QVERIFY(!_audio->resetAsoundConf());

    QTEST(_audio->getLastError(), "error");
    QCOMPARE(_host->read(kConf), conf.isNull() ? QByteArray("(absent)") : conf);
}

void tst_SystemAudio::resetSucceedsThoughNothingIsWritten()
{
    // The name takes in the path of a card that is no index.
    _host->write(kCards, " ../0 [PCH            ]: HDA-Intel - HDA Intel PCH\n");
    _host->write(kConf, "old content\n");

    QVERIFY(_audio->resetAsoundConf());

    QCOMPARE(_host->read(kConf), QByteArray("old content\n"));
}

void tst_SystemAudio::allDevicesAreNone()
{
    _host->write(kCards, capture("sound/cards.c.out"));

    QCOMPARE(_audio->getAllAudioDevice(), QVariantList());
}

/// A `cat` of its own, first on the PATH, notes that it was called.
void tst_SystemAudio::allDevicesAreReadByCat()
{
    _host->write(kCards, capture("sound/cards.c.out"));
    _host->write("/bin/cat", "#!/bin/sh\necho \"$@\" >>'" +
                                 QFile::encodeName(_host->path("/called")) +
                                 "'\nexec /bin/cat \"$@\"\n");
    QVERIFY(QFile::setPermissions(_host->path("/bin/cat"), QFile::ReadOwner | QFile::ExeOwner));
    const QByteArray before = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(_host->path("/bin")) + ':' + before);

    const QVariantList devices = _audio->getAllAudioDevice();

    qputenv("PATH", before);
    QCOMPARE(devices, QVariantList());
    QCOMPARE(_host->read("/called"), QFile::encodeName(_host->path(kCards)) + '\n');
}

void tst_SystemAudio::cardIsNotedInTheLog()
{
    QVERIFY(QDir().mkpath(_host->path("/etc")));
    const LogCapture log("ky.inventory");

    QVERIFY(_audio->setAudioCard("2"));

    const QString line = log.of("ky.inventory").value(log.of("ky.inventory").size() - 1);
    QVERIFY2(line.endsWith("/etc/asound.conf cardIndex: 2"), qPrintable(line));
}

QTEST_GUILESS_MAIN(tst_SystemAudio)
#include "tst_SystemAudio.moc"
