#include "Site.h"

#include "host/PublicClass.h"
#include "inventory/SystemAudio.h"
#include "inventory/SystemVersionInfo.h"

#include <QRegularExpression>
#include <QtTest>

/// Sound and hardware, field by field against what the tools of the host say.
class tst_RealInventory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { QDir::setCurrent("/"); }

    void soundCardsAreThoseOfTheKernel();
    void volumeIsSetAndReadBack();
    void theCardNamedPchBecomesTheDefault();
    void disksAreThoseOfDf();
    void processorsAreThoseOfTheKernel();
    void cardsHaveTheirAddresses();

private:
    QTemporaryDir _home;
};

void tst_RealInventory::initTestCase()
{
    REQUIRE_SITE();
    QDir::setCurrent(_home.path());
    PublicClass::init()->hardwareType = 3;
    PublicClass::init()->version = "4.5.6";
    PublicClass::init()->tbxName = "TBX";
}

void tst_RealInventory::soundCardsAreThoseOfTheKernel()
{
    SystemAudio audio;

    const QVariantList cards = audio.getAudioOutputDeviceInfo().value("list").toList();

    const QString kernel = site::run("cat /proc/asound/cards");
    QCOMPARE(cards.size(), int(kernel.count('[')));
    QVERIFY(kernel.contains(cards.value(0).toMap().value("name").toString()));
}

void tst_RealInventory::volumeIsSetAndReadBack()
{
    SystemAudio audio;
    if (!site::run("amixer scontrols").contains("Headphone"))
        site::run("modprobe snd-dummy");

    const bool isSet = audio.setAudioOutputDevice({{"volume", 40}});

    const bool hasHeadphone = site::run("amixer scontrols").contains("'Headphone'");
    const bool hasPcm = site::run("amixer scontrols").contains("'PCM'");
    qInfo("measured: mixer has Headphone: %d, PCM: %d; set answered %d", hasHeadphone, hasPcm,
          isSet);
    if (hasHeadphone)
        QVERIFY(site::run("amixer get Headphone").contains("[40%]"));
    QCOMPARE(isSet, hasPcm);
}

void tst_RealInventory::theCardNamedPchBecomesTheDefault()
{
    site::run("printf 'defaults.pcm.card 9\\ndefaults.ctl.card 9\\n' >/etc/asound.conf");
    SystemAudio audio;

    QVERIFY2(audio.resetAsoundConf(), qPrintable(audio.getLastError()));

    QVERIFY2(site::run("cat /etc/asound.conf").contains("PCH"),
             qPrintable(site::run("cat /etc/asound.conf")));
}

void tst_RealInventory::disksAreThoseOfDf()
{
    SystemVersionInfo info;

    const QVariantList disks = info.getHardwareInfo().value("disk").toList();

    QStringList names;
    for (const QVariant& disk : disks)
        names << disk.toMap().value("Filesystem").toString();
    const QString df = site::run("df -T");
    for (const QString& name : names)
        QVERIFY2(df.contains(name), qPrintable(name));
    qInfo("measured: disks reported: %s", qPrintable(names.join(' ')));
}

void tst_RealInventory::processorsAreThoseOfTheKernel()
{
    SystemVersionInfo info;

    const QVariantList cpu = info.getHardwareInfo().value("cpu").toList();

    const int count = site::run("grep -c ^processor /proc/cpuinfo").trimmed().toInt();
    QCOMPARE(cpu.size(), count + 1);
    QCOMPARE(cpu.value(0).toMap().value("cpuTotalNumber").toInt(), count);
}

void tst_RealInventory::cardsHaveTheirAddresses()
{
    SystemVersionInfo info;

    const QVariantMap report = info.getHardwareInfo();

    for (const QVariant& card : report.value("network_card").toList()) {
        const QString name = card.toMap().value("name").toString();
        const QString address =
            site::run(QStringLiteral("cat /sys/class/net/%1/address").arg(name)).trimmed();
        QCOMPARE(card.toMap().value("mac").toString().toLower(), address);
    }
    QVERIFY(!report.value("network_card").toList().isEmpty());
    QCOMPARE(report.value("FernoVersion_info").toMap().value("version").toString(),
             QStringLiteral("4.5.6"));
}

QTEST_GUILESS_MAIN(tst_RealInventory)
#include "tst_RealInventory.moc"
