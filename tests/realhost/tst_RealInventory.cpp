#include "Site.h"

#include "host/PublicClass.h"
#include "inventory/SystemVersionInfo.h"

#include <QDir>
#include <QThread>
#include <QtTest>

/// The hardware report, field by field against what the tools of the host say.
class tst_RealInventory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void disksAreTheRowsOfDf_data();
    void disksAreTheRowsOfDf();
    void boardTwoListsItsOwnDisksOnly();
    void processorsAreThoseOfTheKernel();
    void networkCardsAreThoseOfTheKernel();
    void versionIsThatOfTheDaemon();
    void temperatureIsThereWhereTheHostHasAZone();

private:
    static QVariantMap report() { return SystemVersionInfo().getHardwareInfo(); }
};

namespace {

QStringList lines(const QString& shellLine)
{
    return site::run(shellLine).split('\n', Qt::SkipEmptyParts);
}

QString sizeText(qint64 blocks)
{
    if (blocks == 0)
        return "0";
    return blocks > 0xFFFFF ? QString::number(blocks >> 20) + "GB"
                            : QString::number(blocks / 1024) + "MB";
}

/// "name used size use%" of each row of a table with the columns of `df -T`.
QStringList expectedDisks(const QStringList& rows)
{
    QStringList disks;
    for (const QString& row : rows) {
        const QStringList columns = row.simplified().split(' ');
        const qint64 used = columns.value(3).toLongLong();
        disks << QStringList{columns.value(0), sizeText(used),
                             sizeText(used + columns.value(4).toLongLong()), columns.value(5)}
                     .join(' ');
    }
    return disks;
}

QStringList reportedDisks(const QVariantMap& report)
{
    QStringList disks;
    for (const QVariant& entry : report.value("disk").toList()) {
        const QVariantMap disk = entry.toMap();
        disks << QStringList{disk.value("Filesystem").toString(), disk.value("Used").toString(),
                             disk.value("Size").toString(), disk.value("Use%").toString()}
                     .join(' ');
    }
    return disks;
}

} // namespace

void tst_RealInventory::initTestCase()
{
    REQUIRE_SITE();
    PublicClass::init()->hardwareType = 3;
    PublicClass::init()->version = "4.5.6";
    PublicClass::init()->tbxName = "TBX";
}

void tst_RealInventory::disksAreTheRowsOfDf_data()
{
    QTest::addColumn<QString>("language");
    QTest::newRow("English") << "en_US.UTF-8";
    QTest::newRow("Chinese") << "zh_CN.UTF-8";
}

void tst_RealInventory::disksAreTheRowsOfDf()
{
    QFETCH(QString, language);
    const site::Language inForce(language);

    // Files are written meanwhile, so the table is read until it stays the same over the report.
    QStringList rows;
    QStringList seen;
    do {
        rows = lines("df -T");
        seen = reportedDisks(report());
    } while (rows != lines("df -T"));

    QCOMPARE(seen, expectedDisks(rows)); // the table's head is the first "disk"
}

void tst_RealInventory::boardTwoListsItsOwnDisksOnly()
{
    PublicClass::init()->hardwareType = 2;

    const QStringList seen = reportedDisks(report());

    PublicClass::init()->hardwareType = 3;
    QCOMPARE(seen, expectedDisks(lines("df -aT | grep -E 'sda|mmcblk'")));
}

void tst_RealInventory::processorsAreThoseOfTheKernel()
{
    QVariantList expected{QVariantMap{{"cpuTotalNumber", QThread::idealThreadCount()}}};
    for (const QString& model : lines("sed -n 's/^model name[^:]*: //p' /proc/cpuinfo"))
        expected << QVariantMap{{"model name", model}};

    QCOMPARE(report().value("cpu").toList(), expected);
    QVERIFY(expected.size() > 1);
}

void tst_RealInventory::networkCardsAreThoseOfTheKernel()
{
    QStringList expected;
    for (const QString& name : lines("ls /sys/class/net | grep -E '^(en|eth|wl)'"))
        expected
            << name + ' ' +
                   site::run(QStringLiteral("cat /sys/class/net/%1/address").arg(name)).trimmed();

    QStringList seen;
    for (const QVariant& card : report().value("network_card").toList())
        seen << card.toMap().value("name").toString() + ' ' +
                    card.toMap().value("mac").toString().toLower();

    seen.sort();
    QCOMPARE(seen, expected);
    QVERIFY(expected.size() >= 3);
}

void tst_RealInventory::versionIsThatOfTheDaemon()
{
    const QVariantMap expected{{"version", "4.5.6"}, {"tbxName", "TBX"}};

    QCOMPARE(report().value("FernoVersion_info").toMap(), expected);
}

void tst_RealInventory::temperatureIsThereWhereTheHostHasAZone()
{
    const QStringList zones = lines("ls -d /sys/class/thermal/thermal_zone* 2>/dev/null");

    const QVariantMap whole = report();

    QCOMPARE(whole.contains("temperature"), !zones.isEmpty());
    QCOMPARE(whole.value("temperature").toList().size(), zones.size());
}

QTEST_GUILESS_MAIN(tst_RealInventory)
#include "tst_RealInventory.moc"
