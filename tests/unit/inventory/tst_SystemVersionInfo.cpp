#include "HostFolder.h"

#include "inventory/SystemVersionInfo.h"

#include <QLoggingCategory>
#include <QThread>
#include <QtTest>

#include <memory>

namespace {

constexpr char kZones[] = "grep . /sys/class/thermal/thermal_zone*/type";

RecordedHost& host()
{
    return RecordedHost::instance();
}

} // namespace

/// The queries run through a real shell, with tools of the test's own first on the PATH.
class tst_SystemVersionInfo : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void everythingIsReported();
    void diskCommandDependsOnTheBoard_data();
    void diskCommandDependsOnTheBoard();
    void filteredDisksHaveNoHead();
    void toolsRunOneAfterTheOther();
    void missingToolsGiveEmptyLists();
    void processorWithoutModelNameLeavesTheCount();
    void textEndsAtItsFirstNulByte();
    void bigOutputsAreRead();
    void versionIsThatOfTheMoment();
    void thermalCommandHasItsLimit();
    void zonesAreReported();
    void zoneWithoutAFileIsLeftOut();
    void allZonesWithoutFilesAreAnEmptyList();
    void noZonesIsNoKey_data();
    void noZonesIsNoKey();
    void failureOfToolsIsNoLastError();
    void outputsAreLoggedBehindALine();
    void readsAfreshAtEachCall();

private:
    /// A tool that notes its call and prints that text.
    void makeTool(const QString& name, const QByteArray& output) const;
    QStringList toolCalls() const;
    QVariantMap ask() const { return SystemVersionInfo(nullptr).getHardwareInfo(); }

    std::unique_ptr<HostFolder> _host;
    QByteArray _path;
};

void tst_SystemVersionInfo::init()
{
    QLoggingCategory::setFilterRules("ky.inventory.debug=false");
    _host = std::make_unique<HostFolder>();
    PublicClass::init()->version = "1.2.3";
    PublicClass::init()->tbxName = "TBX-1";
    _path = qgetenv("PATH");
    qputenv("PATH", _host->path("/tools").toUtf8() + ':' + _path);
    makeTool("df", capture("df/table.c.out"));
    makeTool("ifconfig", capture("ifconfig/no-wifi-all.c.out"));
    makeTool("cat", "processor\t: 0\nmodel name\t: A\nprocessor\t: 1\nmodel name\t: B\n");
    host().fail(kZones, capture("thermal/none.c.err"));
}

void tst_SystemVersionInfo::cleanup()
{
    qputenv("PATH", _path);
    _host.reset();
}

void tst_SystemVersionInfo::makeTool(const QString& name, const QByteArray& output) const
{
    const QString tool = "/tools/" + name;
    _host->write(tool + ".out", output);
    _host->write(tool, "#!/bin/sh\necho " + name.toUtf8() + " \"$@\" >>" +
                           _host->path("/calls").toUtf8() + "\nexec /bin/cat " +
                           _host->path(tool).toUtf8() + ".out\n");
    QFile::setPermissions(_host->path(tool), QFile::ReadOwner | QFile::ExeOwner);
}

QStringList tst_SystemVersionInfo::toolCalls() const
{
    return QString::fromUtf8(_host->read("/calls")).split('\n', Qt::SkipEmptyParts);
}

void tst_SystemVersionInfo::everythingIsReported()
{
    const QVariantMap info = ask();

    QCOMPARE(info.keys(), QStringList({"FernoVersion_info", "cpu", "disk", "network_card"}));
    QCOMPARE(info.value("disk").toList().size(), 7);
    QCOMPARE(info.value("disk").toList().first().toMap().value("Filesystem").toString(),
             QStringLiteral("Filesystem"));
    QCOMPARE(info.value("cpu").toList(),
             QVariantList({QVariantMap{{"cpuTotalNumber", QThread::idealThreadCount()}},
                           QVariantMap{{"model name", "A"}}, QVariantMap{{"model name", "B"}}}));
    QCOMPARE(info.value("network_card").toList(),
             QVariantList({QVariantMap{{"name", "eth0"}, {"mac", "52:54:00:00:00:10"}},
                           QVariantMap{{"name", "eth1"}, {"mac", "52:54:00:00:00:11"}}}));
}

void tst_SystemVersionInfo::diskCommandDependsOnTheBoard_data()
{
    QTest::addColumn<int>("hardwareType");
    QTest::addColumn<QString>("call");

    for (int type : {-1, 0, 1, 3, 6, 7})
        QTest::addRow("%d", type) << type << "df -T";
    QTest::newRow("2") << 2 << "df -aT";
}

void tst_SystemVersionInfo::diskCommandDependsOnTheBoard()
{
    QFETCH(int, hardwareType);
    PublicClass::init()->hardwareType = hardwareType;

    ask();

    QTEST(toolCalls().first(), "call");
}

void tst_SystemVersionInfo::filteredDisksHaveNoHead()
{
    PublicClass::init()->hardwareType = 2;
    makeTool("df", "Filesystem Type 1K-blocks Used Available Use% Mounted on\n"
                   "proc proc 0 0 0 - /proc\n"
                   "/dev/mmcblk0p2 ext4 9 2097152 1048576 67% /\n"
                   "/dev/sda1 ext4 9 1024 1024 50% /mnt\n");

    const QVariantList disks = ask().value("disk").toList();

    QCOMPARE(disks.size(), 2);
    QCOMPARE(
        disks.first().toMap(),
        QVariantMap(
            {{"Filesystem", "/dev/mmcblk0p2"}, {"Used", "2GB"}, {"Size", "3GB"}, {"Use%", "67%"}}));
}

void tst_SystemVersionInfo::toolsRunOneAfterTheOther()
{
    ask();

    QCOMPARE(toolCalls(), QStringList({"df -T", "cat /proc/cpuinfo", "ifconfig -a"}));
    QCOMPARE(host().lines(), QStringList{kZones});
}

void tst_SystemVersionInfo::missingToolsGiveEmptyLists()
{
    qputenv("PATH", _host->path("/nothing").toUtf8());

    const QVariantMap info = ask();

    QCOMPARE(info.value("disk"), QVariant(QVariantList()));
    QCOMPARE(info.value("network_card"), QVariant(QVariantList()));
    QCOMPARE(info.value("cpu").toList(),
             QVariantList{QVariantMap({{"cpuTotalNumber", QThread::idealThreadCount()}})});
}

void tst_SystemVersionInfo::processorWithoutModelNameLeavesTheCount()
{
    makeTool("cat", "processor : 0\nBogoMIPS : 48.00\n");

    QCOMPARE(ask().value("cpu").toList().size(), 1);
}

void tst_SystemVersionInfo::textEndsAtItsFirstNulByte()
{
    makeTool("df", QByteArray("a b 1 1024 1024 50% /\n") + '\0' + "c d 1 1024 1024 50% /\n");

    QCOMPARE(ask().value("disk").toList().size(), 1);
}

void tst_SystemVersionInfo::bigOutputsAreRead()
{
    makeTool("df",
             QByteArray("/dev/sda ext4 4 1024 1024 50% /a/rather/long/path\n").repeated(9999));

    QCOMPARE(ask().value("disk").toList().size(), 9999);
}

void tst_SystemVersionInfo::versionIsThatOfTheMoment()
{
    const SystemVersionInfo info(nullptr);
    PublicClass::init()->version = "2.0";
    PublicClass::init()->tbxName = "TBX-2";

    QCOMPARE(ask().value("FernoVersion_info"),
             QVariant(QVariantMap({{"version", "2.0"}, {"tbxName", "TBX-2"}})));
}

void tst_SystemVersionInfo::thermalCommandHasItsLimit()
{
    ask();

    QCOMPARE(host().calls().size(), 1);
    QCOMPARE(host().calls().first().limitMs, 20000);
    QVERIFY(!host().calls().first().isScript);
}

void tst_SystemVersionInfo::zonesAreReported()
{
    host().reset();
    host().answer(kZones, _host->path("/zone0/type") + ":cpu-thermal\n" +
                              _host->path("/zone1/type") + ":gpu-thermal\n");
    _host->write("/zone0/temp", "45500\n");
    _host->write("/zone1/temp", "51000\n");

    QCOMPARE(ask().value("temperature").toList(),
             QVariantList({QVariantMap{{"filePath", _host->path("/zone0/temp")},
                                       {"name", "cpu-thermal"},
                                       {"temp", 45.5}},
                           QVariantMap{{"filePath", _host->path("/zone1/temp")},
                                       {"name", "gpu-thermal"},
                                       {"temp", 51.0}}}));
}

void tst_SystemVersionInfo::zoneWithoutAFileIsLeftOut()
{
    host().reset();
    host().answer(kZones, _host->path("/zone0/type") + ":cpu-thermal\n" +
                              _host->path("/zone1/type") + ":gpu-thermal\n");
    _host->write("/zone1/temp", "51000\n");

    const QVariantList zones = ask().value("temperature").toList();

    QCOMPARE(zones.size(), 1);
    QCOMPARE(zones.first().toMap().value("name").toString(), QStringLiteral("gpu-thermal"));
}

void tst_SystemVersionInfo::allZonesWithoutFilesAreAnEmptyList()
{
    host().reset();
    host().answer(kZones, _host->path("/zone0/type") + ":cpu-thermal\n");

    const QVariantMap info = ask();

    QVERIFY(info.contains("temperature"));
    QCOMPARE(info.value("temperature"), QVariant(QVariantList()));
}

void tst_SystemVersionInfo::noZonesIsNoKey_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("hasRun");

    QTest::newRow("grep fails") << QString(capture("thermal/none.c.err")) << false;
    QTest::newRow("grep prints nothing") << "" << true;
}

void tst_SystemVersionInfo::noZonesIsNoKey()
{
    QFETCH(QString, output);
    QFETCH(bool, hasRun);
    host().reset();
    host().answer(kZones, output, hasRun);

    QVERIFY(!ask().contains("temperature"));
}

void tst_SystemVersionInfo::failureOfToolsIsNoLastError()
{
    SystemVersionInfo info(nullptr);

    info.getHardwareInfo();

    QCOMPARE(info.getLastError(), QString());
}

void tst_SystemVersionInfo::outputsAreLoggedBehindALine()
{
    QLoggingCategory::setFilterRules("ky.inventory.debug=true");
    makeTool("df", "disks\n");
    makeTool("ifconfig", "cards\n");
    makeTool("cat", "model name : A\n");
    const QString line = "[debug][getHardwareInfo]~~~~~~~~~~~~~~~~~";
    for (const char* output : {"disks\n", "model name : A\n", "cards\n"}) {
        QTest::ignoreMessage(QtDebugMsg, qPrintable(line));
        QTest::ignoreMessage(QtDebugMsg,
                             qPrintable(QStringLiteral("[debug][getHardwareInfo]") + output));
    }

    ask();
}

void tst_SystemVersionInfo::readsAfreshAtEachCall()
{
    SystemVersionInfo info(nullptr);
    const QVariantList before = info.getHardwareInfo().value("disk").toList();
    makeTool("df", "a b 1 1024 1024 50% /\n");

    QVERIFY(info.getHardwareInfo().value("disk").toList() != before);
}

QTEST_GUILESS_MAIN(tst_SystemVersionInfo)
#include "tst_SystemVersionInfo.moc"
