#include "HostFolder.h"

#include "inventory/HardwareText.h"

#include <QtTest>

#include <limits>

namespace {

QString text(const char* name)
{
    return QString::fromUtf8(capture(name));
}

QVariantMap disk(const QString& name, const QString& used, const QString& size,
                 const QString& share)
{
    return {{"Filesystem", name}, {"Used", used}, {"Size", size}, {"Use%", share}};
}

QStringList names(const QVariantList& records, const char* key)
{
    QStringList values;
    for (const QVariant& record : records)
        values << record.toMap().value(key, "(absent)").toString();
    return values;
}

} // namespace

class tst_HardwareText : public QObject
{
    Q_OBJECT

private slots:
    void sizesAreForPeople_data();
    void sizesAreForPeople();

    void readsCapturedDisks();
    void headOfTheTableIsADisk();
    void readsCapturedDisksWithoutNumbers();
    void rowsOfTheTable_data();
    void rowsOfTheTable();
    void fiveHundredDisksAreRead();
    void everyCutOfTheTableIsRead();

    void readsCapturedProcessors();
    void linesOfTheProcessor_data();
    void linesOfTheProcessor();
    void processorsByTheHundred();

    void readsCapturedCards();
    void blocksOfTheInterfaces_data();
    void blocksOfTheInterfaces();
    void everyCutOfTheInterfacesIsRead();

    void zonesAreRead_data();
    void zonesAreRead();
    void failureTextOfGrepIsAZone();
    void temperatureIsTheLastLine_data();
    void temperatureIsTheLastLine();
    void temperatureThatCannotBeOpenedIsNone();
    void temperatureOfTheKernelsOwnFilesIsRead();
};

void tst_HardwareText::sizesAreForPeople_data()
{
    QTest::addColumn<int>("blocks");
    QTest::addColumn<QString>("size");

    QTest::newRow("0") << 0 << "0";
    QTest::newRow("1") << 1 << "0MB";
    QTest::newRow("1000") << 1000 << "0MB";
    QTest::newRow("1023") << 1023 << "0MB";
    QTest::newRow("1024") << 1024 << "1MB";
    QTest::newRow("1048574") << 1048574 << "1023MB";
    QTest::newRow("1048575") << 1048575 << "1023MB";
    QTest::newRow("1048576") << 1048576 << "1GB";
    QTest::newRow("2097151") << 2097151 << "1GB";
    QTest::newRow("2097152") << 2097152 << "2GB";
    QTest::newRow("largest") << std::numeric_limits<int>::max() << "2047GB";
    QTest::newRow("-1") << -1 << "0MB";
    QTest::newRow("smallest") << std::numeric_limits<int>::min() << "-2097152MB";
}

void tst_HardwareText::sizesAreForPeople()
{
    QFETCH(int, blocks);

    QTEST(ky::sizeText(blocks), "size");
}

void tst_HardwareText::readsCapturedDisks()
{
    const QVariantList disks = ky::parseDisks(text("df/table.c.out"));

    QCOMPARE(disks.size(), 7);
    QCOMPARE(disks.at(1).toMap(), disk("dev", "0", "725MB", "0%"));
    QCOMPARE(disks.at(2).toMap(), disk("/dev/vda", "701MB", "3GB", "19%"));
    QCOMPARE(disks.at(5).toMap(), disk("tmpfs", "0MB", "5MB", "1%"));
    QCOMPARE(disks.at(6).toMap(), disk("x9p", "19GB", "95GB", "21%"));
}

void tst_HardwareText::headOfTheTableIsADisk()
{
    QCOMPARE(ky::parseDisks(text("df/table.c.out")).first().toMap(),
             disk("Filesystem", "0", "0", "Use%"));
    QCOMPARE(ky::parseDisks(text("df/table.zh.out")).first().toMap(),
             disk("文件系统", "0", "0", "已用%"));
}

void tst_HardwareText::readsCapturedDisksWithoutNumbers()
{
    const QVariantList disks = ky::parseDisks(text("df/all.c.out"));

    QCOMPARE(disks.size(), 33);
    QVERIFY(disks.contains(disk("systemd-1", "0", "0", "-")));
    QVERIFY(disks.contains(disk("proc", "0", "0", "-")));
}

void tst_HardwareText::rowsOfTheTable_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QVariantList>("disks");

    QTest::newRow("empty") << "" << QVariantList();
    QTest::newRow("line ends") << "\n\n\n" << QVariantList();
    QTest::newRow("one row without a line end")
        << "/dev/sda1 ext4 9 2097152 1048576 67% /"
        << QVariantList{disk("/dev/sda1", "2GB", "3GB", "67%")};
    QTest::newRow("used 0, available 0") << "proc proc 0 0 0 - /proc\n"
                                         << QVariantList{disk("proc", "0", "0", "-")};
    QTest::newRow("used 1000") << "a b 9 1000 0 1% /\n"
                               << QVariantList{disk("a", "0MB", "0MB", "1%")};
    QTest::newRow("six words") << "a b 1 2 3 4%\n" << QVariantList();
    QTest::newRow("seven words") << "a b 1 1024 1024 4% /\n"
                                 << QVariantList{disk("a", "1MB", "2MB", "4%")};
    QTest::newRow("blanks and tabs") << "  a \t b  1 1024\t0 4%   / \n"
                                     << QVariantList{disk("a", "1MB", "1MB", "4%")};
    QTest::newRow("more than 32 bits") << "a b 1 2147483648 1024 4% /\n"
                                       << QVariantList{disk("a", "0", "1MB", "4%")};
    QTest::newRow("sum of more than 32 bits")
        << "a b 1 2147483647 1 4% /\n"
        << QVariantList{disk("a", "2047GB", "-2097152MB", "4%")};
    QTest::newRow("words of df between the rows")
        << "df: /mnt/x: Permission denied\n/dev/sda1 ext4 1 1024 1024 50% /\n"
        << QVariantList{disk("/dev/sda1", "1MB", "2MB", "50%")};
    QTest::newRow("noise") << QString::fromUtf8("\x01\xff\x7f \xfe\n%s %n ; $(reboot)\n::::\n")
                           << QVariantList();
    QTest::newRow("noise of seven words") << "; $( ` 12x -1 %s \\\n"
                                          << QVariantList{disk(";", "0", "0MB", "%s")};
    QTest::newRow("carriage returns") << "a b 1 1024 1024 4% /\r\n"
                                      << QVariantList{disk("a", "1MB", "2MB", "4%")};
    QTest::newRow("cut within a number")
        << "a b 1 1024 1024 4% /\nb c 1 10" << QVariantList{disk("a", "1MB", "2MB", "4%")};
    QTest::newRow("a long row") << "a b 1 1024 1024 4% /" + QString(" x").repeated(100000)
                                << QVariantList{disk("a", "1MB", "2MB", "4%")};
    QTest::newRow("no numbers") << "a b c d e f g\n" << QVariantList{disk("a", "0", "0", "f")};
}

void tst_HardwareText::rowsOfTheTable()
{
    QFETCH(QString, text);

    QTEST(ky::parseDisks(text), "disks");
}

void tst_HardwareText::fiveHundredDisksAreRead()
{
    QString text;
    for (int i = 0; i < 500; ++i)
        text += QStringLiteral("/dev/sd%1 ext4 4 1024 1024 50% /mnt/%1\n").arg(i);

    const QVariantList disks = ky::parseDisks(text);

    QCOMPARE(disks.size(), 500);
    QCOMPARE(disks.last().toMap(), disk("/dev/sd499", "1MB", "2MB", "50%"));
}

void tst_HardwareText::everyCutOfTheTableIsRead()
{
    const QString whole = text("df/all.c.out");
    const QVariantList all = ky::parseDisks(whole);

    for (int size = 0; size < whole.size(); size += 7) {
        QVariantList cut = ky::parseDisks(whole.left(size));
        if (!cut.isEmpty())
            cut.removeLast(); // the row that was cut
        QCOMPARE(cut, all.mid(0, cut.size()));
    }
}

void tst_HardwareText::readsCapturedProcessors()
{
    QCOMPARE(names(ky::parseProcessors(text("cpu/model-name.c.out")), "model name"),
             QStringList({"QEMU TCG CPU version 2.5+", "QEMU TCG CPU version 2.5+"}));
}

void tst_HardwareText::linesOfTheProcessor_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("models");

    QTest::newRow("empty") << "" << QStringList();
    QTest::newRow("blank lines") << "\n  \n\t\n" << QStringList();
    QTest::newRow("second colon") << "model name : A: B\n" << QStringList{""};
    QTest::newRow("no colon") << "model name\n" << QStringList{""};
    QTest::newRow("nothing behind it") << "model name :\n" << QStringList{""};
    QTest::newRow("blanks around it") << "model name\t:  A  B \n" << QStringList{"A  B"};
    QTest::newRow("words of grep between the lines")
        << "m: A\ngrep: (standard input): binary file matches\nm: B\n"
        << QStringList({"A", "", "B"});
    QTest::newRow("noise") << QString::fromUtf8("\x01\xff\x7f\n$(reboot)\n::\n:\n")
                           << QStringList({"", "", "", ""});
    QTest::newRow("carriage return") << "m: A\r\n" << QStringList{"A"};
    QTest::newRow("cut before the colon") << "m: A\nmodel na" << QStringList({"A", ""});
    QTest::newRow("cut within the name")
        << "m: A\nmodel name\t: Cort" << QStringList({"A", "Cort"});
    QTest::newRow("last line without its end") << "m: A\nm: B" << QStringList({"A", "B"});
}

void tst_HardwareText::linesOfTheProcessor()
{
    QFETCH(QString, text);

    QTEST(names(ky::parseProcessors(text), "model name"), "models");
}

void tst_HardwareText::processorsByTheHundred()
{
    QCOMPARE(ky::parseProcessors(QString("model name\t: A\n").repeated(256)).size(), 256);
}

void tst_HardwareText::readsCapturedCards()
{
    const QVariantList cards = ky::parseNetworkCards(text("ifconfig/all-connected.c.out"));

    QVERIFY(names(cards, "name").contains("eth0"));
    QVERIFY(names(cards, "name").contains("wlan0"));
    QVERIFY(!names(cards, "name").contains("lo"));
    QVERIFY(!names(cards, "name").contains("can0"));
    QVERIFY(!names(cards, "name").contains("dummy0"));
    QVERIFY(!names(cards, "name").contains("hwsim0"));
    QVERIFY(cards.contains(QVariantMap{{"name", "eth0"}, {"mac", "52:54:00:00:00:10"}}));
    QVERIFY(cards.contains(QVariantMap{{"name", "wlan0"}, {"mac", "02:00:00:00:00:00"}}));
}

void tst_HardwareText::blocksOfTheInterfaces_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("cards");
    QTest::addColumn<QStringList>("addresses");

    const QString ether = "        ether 00:11:22:33:44:55  txqueuelen 1000  (Ethernet)\n";
    const QString mac = "00:11:22:33:44:55";
    const QString none = "(absent)";
    const auto row = [](const char* title, const QString& text, const QStringList& cards,
                        const QStringList& addresses) {
        QTest::newRow(title) << text << cards << addresses;
    };
    row("empty", "", {}, {});
    row("wlp1s0", "wlp1s0: flags=4163<UP>  mtu 1500\n" + ether, {"wlp1s0"}, {mac});
    row("bridge", "br0: flags=4163<UP>  mtu 1500\n" + ether, {}, {});
    row("loopback", "lo: flags=73<UP>  mtu 65536\n        loop  txqueuelen 1000\n", {}, {});
    row("two blocks", "eth0: x\n" + ether + "\nenp3s0: x\n" + ether, {"eth0", "enp3s0"},
        {mac, mac});
    row("no address", "eth0: x\n        inet 10.0.0.1\n", {"eth0"}, {none});
    row("alias", "eth0:1: x\n", {"eth01"}, {none});
    row("capital letters", "ETH0: x\n" + ether, {}, {});
    row("address above the name", ether + "eth0: x\n", {"eth0"}, {none});
    row("head is not the first line", "x\neth0: x\n" + ether, {"eth0"}, {mac});
    row("only inside a word, indented", "eth0: x\n  ethernet 00:11\n", {"eth0"}, {""});
    row("only inside a word", "eth0: x\nlink/ether 00:11\n", {"eth0"}, {"link/ether"});
    row("nothing behind it", "eth0: x\n        ether\n", {"eth0"}, {""});
    row("two blanks behind it", "eth0: x\n ether  00:11\n", {"eth0"}, {""});
    row("first of two", "eth0: x\n ether a\n ether b\n", {"eth0"}, {"a"});
    row("one block, two heads", "eth0: x\neth1: y\n" + ether, {"eth0"}, {mac});
    row("name alone", "eth0", {"eth0"}, {none});
    row("words of the tool before the block",
        "Warning: cannot open /proc/net/dev\neth0: x\n" + ether, {"eth0"}, {mac});
    row("noise", QString::fromUtf8("\x01\xff\x7f\n\n$(reboot)\n\n\n: :\n\n"), {}, {});
    row("noise behind the name", QString::fromUtf8("eth0: \xff\x01\n\x02 ether \x03\n"), {"eth0"},
        {QString(QChar(3))});
    row("cut within the name", "eth0: x\n" + ether + "\nwl", {"eth0", "wl"}, {mac, none});
    row("cut within the address", "eth0: x\n        ether 00:11:2", {"eth0"}, {"00:11:2"});
    row("cut within the word", "eth0: x\n        ethe", {"eth0"}, {none});
}

void tst_HardwareText::blocksOfTheInterfaces()
{
    QFETCH(QString, text);

    const QVariantList cards = ky::parseNetworkCards(text);

    QTEST(names(cards, "name"), "cards");
    QTEST(names(cards, "mac"), "addresses");
}

void tst_HardwareText::everyCutOfTheInterfacesIsRead()
{
    const QString whole = text("ifconfig/all-connected.c.out");
    const int count = ky::parseNetworkCards(whole).size();

    for (int size = 0; size < whole.size(); size += 3)
        QVERIFY(ky::parseNetworkCards(whole.left(size)).size() <= count);
}

void tst_HardwareText::zonesAreRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("zones");

    const QString path = "/sys/class/thermal/thermal_zone0/type";
    const QString zone = "/sys/class/thermal/thermal_zone0/temp=cpu-thermal";
    QTest::newRow("one") << path + ":cpu-thermal\n" << QStringList{zone};
    QTest::newRow("without a line end") << path + ":cpu-thermal" << QStringList{zone};
    QTest::newRow("empty") << "" << QStringList();
    QTest::newRow("no colon") << "acpitz\nacpitz" << QStringList();
    QTest::newRow("third part") << "a/type:b:c\n" << QStringList{"a/temp=b"};
    QTest::newRow("twice in the path") << "/type/x/type:b\n" << QStringList{"/temp/x/temp=b"};
    QTest::newRow("nothing around it") << ":\n" << QStringList{"="};
    QTest::newRow("words of grep between the lines")
        << "a/type:b\ngrep: c/type: Invalid argument\nd/type:e\n"
        << QStringList({"a/temp=b", "grep= c/type", "d/temp=e"});
    QTest::newRow("noise") << QString::fromUtf8("\x01\xff\x7f\n$(reboot)\n\n") << QStringList();
    QTest::newRow("cut within the path") << path + ":cpu-thermal\n/sys/cla" << QStringList{zone};
    QTest::newRow("cut within the name")
        << path + ":cpu-thermal\na/type:cp" << QStringList({zone, "a/temp=cp"});
    QTest::newRow("two") << "a/type:b\nc/type:d\n" << QStringList({"a/temp=b", "c/temp=d"});
}

void tst_HardwareText::zonesAreRead()
{
    QFETCH(QString, text);

    QStringList zones;
    for (const ky::ThermalZone& zone : ky::parseThermalZones(text))
        zones << zone.filePath + "=" + zone.name;

    QTEST(zones, "zones");
}

void tst_HardwareText::failureTextOfGrepIsAZone()
{
    // Only a command that ran is read; its failure text would pass for a zone without a file.
    const QList<ky::ThermalZone> zones = ky::parseThermalZones(text("thermal/none.c.err"));

    QCOMPARE(zones.size(), 1);
    QVERIFY(!ky::readTemperature(zones.first().filePath));
}

void tst_HardwareText::temperatureIsTheLastLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<double>("celsius");

    QTest::newRow("45500") << QByteArray("45500\n") << 45.5;
    QTest::newRow("no line end") << QByteArray("45500") << 45.5;
    QTest::newRow("below zero") << QByteArray("-5250\n") << -5.25;
    QTest::newRow("blanks") << QByteArray("  45500 \t\n") << 45.5;
    QTest::newRow("last of several") << QByteArray("1000\n2000\n3000\n") << 3.0;
    QTest::newRow("last one is empty") << QByteArray("1000\n\n") << 0.0;
    QTest::newRow("empty") << QByteArray() << 0.0;
    QTest::newRow("words") << QByteArray("hot\n") << 0.0;
    QTest::newRow("fraction") << QByteArray("45500.5\n") << 45.5005;
}

void tst_HardwareText::temperatureIsTheLastLine()
{
    QFETCH(QByteArray, content);
    QFETCH(double, celsius);
    const HostFolder host;
    host.write("/temp", content);

    const std::optional<double> read = ky::readTemperature(host.path("/temp"));

    QVERIFY(read.has_value());
    QCOMPARE(*read, celsius);
}

void tst_HardwareText::temperatureThatCannotBeOpenedIsNone()
{
    const HostFolder host;

    QVERIFY(!ky::readTemperature(host.path("/absent")));
    QVERIFY(!ky::readTemperature(host.path("")));
}

void tst_HardwareText::temperatureOfTheKernelsOwnFilesIsRead()
{
    // Such a file says that it is 4096 bytes long and ends after a few: reading "up to its size"
    // would never end.
    const QString path = "/sys/class/net/lo/mtu";
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const double expected = file.readAll().trimmed().toDouble() / 1000.0;
    QVERIFY(expected > 0);
    QVERIFY(file.size() > 100);

    QCOMPARE(ky::readTemperature(path).value_or(-1), expected);
}

QTEST_GUILESS_MAIN(tst_HardwareText)
#include "tst_HardwareText.moc"
