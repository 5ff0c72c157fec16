#include "SimulatedHost.h"

#include "host/PublicClass.h"
#include "inventory/SystemAudio.h"
#include "inventory/SystemVersionInfo.h"

#include <QtTest>

namespace {

QStringList column(const QVariant& records, const char* key)
{
    QStringList values;
    for (const QVariant& record : records.toList())
        values << record.toMap().value(key).toString();
    return values;
}

QByteArray contentOf(const char* path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(absent)");
}

} // namespace

/// Sound and inventory on the simulated host, with private copies of its files.
class tst_HostInventory : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void volumeIsSetAndReadOnEveryBoard_data();
    void volumeIsSetAndReadOnEveryBoard();
    void headphoneAndPcmFollowTheBoard_data();
    void headphoneAndPcmFollowTheBoard();
    void volumeIsReadBack_data();
    void volumeIsReadBack();
    void scriptSetsAndReadsTheVolume();
    void missingControlFails();
    void cardsOfTheHostAreListed();
    void defaultCardIsWritten();
    void resetMakesTheBuiltInCardTheDefault();
    void noDevicesAreListed();

    void hardwareOfTheHostIsReported();
    void boardTwoLeavesOutTheTableHead();
    void hostWithoutZonesHasNoTemperature();

private:
    SimulatedHost _host{SimulatedHost::OfThisProcess};
};

void tst_HostInventory::init()
{
    _host.reset();
    PublicClass::init()->hardwareType = -1;
    PublicClass::init()->halShPath.clear();
    PublicClass::init()->version = "1.2.3";
}

void tst_HostInventory::volumeIsSetAndReadOnEveryBoard_data()
{
    QTest::addColumn<int>("hardwareType");

    for (int type : {-1, 1, 2, 6, 7, 9})
        QTest::addRow("%d", type) << type;
}

void tst_HostInventory::volumeIsSetAndReadOnEveryBoard()
{
    QFETCH(int, hardwareType);
    PublicClass::init()->hardwareType = hardwareType;
    SystemAudio audio(nullptr);

    QVERIFY(audio.setAudioOutputDevice({{"volume", 40}}));

    QCOMPARE(audio.getAudioOutputDeviceInfo().value("volume"), QVariant(40));
}

void tst_HostInventory::headphoneAndPcmFollowTheBoard_data()
{
    QTest::addColumn<int>("hardwareType");
    QTest::addColumn<QByteArray>("pcm");

    QTest::newRow("1") << 1 << QByteArray("[100%]");
    QTest::newRow("2") << 2 << QByteArray("[40%]");
}

void tst_HostInventory::headphoneAndPcmFollowTheBoard()
{
    QFETCH(int, hardwareType);
    QFETCH(QByteArray, pcm);
    PublicClass::init()->hardwareType = hardwareType;

    QVERIFY(SystemAudio(nullptr).setAudioOutputDevice({{"volume", 40}}));

    QVERIFY(_host.run("amixer get Headphone").output.contains("[40%]"));
    QVERIFY(_host.run("amixer get PCM").output.contains(pcm));
}

void tst_HostInventory::volumeIsReadBack_data()
{
    QTest::addColumn<int>("set");
    QTest::addColumn<QVariant>("read");

    QTest::newRow("two digits") << 40 << QVariant(40);
    QTest::newRow("all of it") << 100 << QVariant(100);
    QTest::newRow("one digit reads as zero") << 9 << QVariant(0);
}

void tst_HostInventory::volumeIsReadBack()
{
    QFETCH(int, set);
    SystemAudio audio(nullptr);

    QVERIFY(audio.setAudioOutputDevice({{"volume", set}}));

    QTEST(audio.getAudioOutputDeviceInfo().value("volume"), "read");
}

void tst_HostInventory::scriptSetsAndReadsTheVolume()
{
    PublicClass::init()->halShPath = _host.platformScript();
    SystemAudio audio(nullptr);

    QVERIFY2(audio.setAudioOutputDevice({{"volume", 33}}), qPrintable(audio.getLastError()));

    QCOMPARE(audio.getAudioOutputDeviceInfo().value("volume"), QVariant(33));
    QVERIFY(_host.lines().filter("amixer").isEmpty());
}

void tst_HostInventory::missingControlFails()
{
    _host.addFault("amixer", "fail", {"--status", "1"});
    SystemAudio audio(nullptr);

    QVERIFY(!audio.setAudioOutputDevice({{"volume", 40}}));

    QVERIFY(_host.lines().filter("alsactl").isEmpty());
}

void tst_HostInventory::cardsOfTheHostAreListed()
{
    const QVariantMap info = SystemAudio(nullptr).getAudioOutputDeviceInfo();

    QCOMPARE(column(info.value("list"), "name"),
             QStringList({"PCH", "apalisimx8qmsgt", "imx8qxpsgtl5000", "rockchiprk809"}));
    QCOMPARE(column(info.value("list"), "index"), QStringList({"0", "1", "2", "3"}));
}

void tst_HostInventory::defaultCardIsWritten()
{
    QVERIFY(SystemAudio(nullptr).setAudioCard("2"));

    const QByteArray wanted = "defaults.ctl.card 2\ndefaults.pcm.card 2\ndefaults.timer.card 2\n";
    QCOMPARE(contentOf("/etc/asound.conf"), wanted);
    QFile copy(_host.privatePath("/etc/asound.conf"));
    QVERIFY(copy.open(QIODevice::ReadOnly));
    QCOMPARE(copy.readAll(), wanted);
}

void tst_HostInventory::resetMakesTheBuiltInCardTheDefault()
{
    SystemAudio audio(nullptr);
    QVERIFY(audio.setAudioCard("2"));

    QVERIFY2(audio.resetAsoundConf(), qPrintable(audio.getLastError()));

    QCOMPARE(contentOf("/etc/asound.conf"),
             QByteArray("defaults.ctl.card 0\ndefaults.pcm.card 0\ndefaults.timer.card 0\n"));
}

void tst_HostInventory::noDevicesAreListed()
{
    QCOMPARE(SystemAudio(nullptr).getAllAudioDevice(), QVariantList());
}

void tst_HostInventory::hardwareOfTheHostIsReported()
{
    const QVariantMap info = SystemVersionInfo(nullptr).getHardwareInfo();

    QCOMPARE(column(info.value("disk"), "Filesystem"),
             QStringList({"Filesystem", "udev", "/dev/sda2", "tmpfs", "/dev/sda1"}));
    QCOMPARE(column(info.value("network_card"), "name"), QStringList({"eth0", "eth1", "wlan0"}));
    QCOMPARE(column(info.value("network_card"), "mac"),
             QStringList({"52:54:00:00:00:10", "52:54:00:ab:cd:11", "02:00:00:00:00:00"}));
    QCOMPARE(column(info.value("temperature"), "name"), QStringList({"cpu-thermal", "acpitz"}));
    QCOMPARE(column(info.value("temperature"), "temp"), QStringList({"45.5", "27.8"}));
    QCOMPARE(column(info.value("temperature"), "filePath").first(),
             QStringLiteral("/sys/class/thermal/thermal_zone0/temp"));
}

void tst_HostInventory::boardTwoLeavesOutTheTableHead()
{
    PublicClass::init()->hardwareType = 2;

    const QVariantMap info = SystemVersionInfo(nullptr).getHardwareInfo();

    QCOMPARE(column(info.value("disk"), "Filesystem"), QStringList({"/dev/sda2", "/dev/sda1"}));
    QCOMPARE(column(info.value("disk"), "Use%"), QStringList({"19%", "2%"}));
}

void tst_HostInventory::hostWithoutZonesHasNoTemperature()
{
    _host.set("thermal", "[]");

    QVERIFY(!SystemVersionInfo(nullptr).getHardwareInfo().contains("temperature"));
}

QTEST_GUILESS_MAIN(tst_HostInventory)
#include "tst_host_inventory.moc"
