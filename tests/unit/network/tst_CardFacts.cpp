#include "CaptureRows.h"
#include "NetworkFixture.h"
#include "network/decisions/InternalCard.h"
#include "network/tools/IfconfigOutput.h"
#include "network/tools/InterfaceText.h"
#include "network/tools/KernelCard.h"
#include "network/tools/LshwOutput.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/RouteTable.h"

#include <QRegularExpression>
#include <QTest>

#include <sys/socket.h>
#include <unistd.h>

namespace {

QString captured(const char* name)
{
    return NetworkFixture::capture(QLatin1String(name));
}

/// "10.0.0.7/24".
QNetworkAddressEntry entry(const QString& text)
{
    QNetworkAddressEntry entry;
    entry.setIp(QHostAddress(text.section(QLatin1Char('/'), 0, 0)));
    entry.setPrefixLength(text.section(QLatin1Char('/'), 1).toInt());
    return entry;
}

/// All but the last of the entries: a cut may leave a part of that one.
template <typename List>
List allButLast(const List& list)
{
    return list.mid(0, qMax(0, list.size() - 1));
}

QString valueOf(const ky::DeviceShow& show, const char* label)
{
    for (const auto& row : show.rows) {
        if (row.first == QLatin1String(label))
            return row.second;
    }
    return {};
}

} // namespace

/// What the tools and the kernel say of cards, read by functions alone.
class tst_CardFacts : public QObject
{
    Q_OBJECT

private slots:
    void readsIfconfig_data();
    void readsIfconfig();
    void ifconfigOfAnUnknownCardIsNothing();
    void ifconfigIsReadFromAnyText();
    void everyIfconfigIsRead_data() { captureRows("ifconfig", "*.out", 10); }
    void everyIfconfigIsRead();
    void everyDeviceShowIsRead_data() { captureRows("nmcli", "device-show*.out", 10); }
    void everyDeviceShowIsRead();
    void everyConnectionShowIsRead_data() { captureRows("nmcli", "connection-show*.out", 10); }
    void everyConnectionShowIsRead();
    void readsDeviceShow_data();
    void readsDeviceShow();
    void everyCapturedRowIsRead();
    void rowsNeedTheirGap_data();
    void rowsNeedTheirGap();
    void deviceShowIsReadFromAnyText();
    void readsTheWiredDriver_data();
    void readsTheWiredDriver();
    void lshwIsReadFromAnyText();
    void readsGateways_data();
    void readsGateways();
    void routesAreReadFromAnyText();
    void firstAddressCountsButTheInternalYields_data();
    void firstAddressCountsButTheInternalYields();
    void kernelKnowsTheLoopback();
    void kernelKnowsNoOtherName();
    void flagNamesAreThoseOfTheBits_data();
    void flagNamesAreThoseOfTheBits();
};

void tst_CardFacts::readsIfconfig_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("card");
    QTest::addColumn<QString>("ip");
    QTest::addColumn<QString>("mask");

    const QString all = captured("ifconfig/all-connected.c.out");
    QTest::newRow("connected") << all << "wlan0"
                               << "10.77.0.162"
                               << "255.255.255.0";
    QTest::newRow("Chinese") << captured("ifconfig/all-connected.zh.out") << "wlan0"
                             << "10.77.0.162"
                             << "255.255.255.0";
    QTest::newRow("loopback") << all << "lo"
                              << "127.0.0.1"
                              << "255.0.0.0";
    QTest::newRow("CAN") << all << "can0"
                         << ""
                         << "";
    QTest::newRow("IPv6 alone") << "eth0: flags\n    inet6 fe80::1  prefixlen 64\n"
                                << "eth0"
                                << ""
                                << "";
    QTest::newRow("last line") << "eth0: flags"
                               << "eth0"
                               << ""
                               << "";
    QTest::newRow("inet without a value") << "eth0: flags\n inet"
                                          << "eth0"
                                          << ""
                                          << "";
    QTest::newRow("netmask without a value") << "eth0: flags\n inet 10.0.0.7 netmask\n"
                                             << "eth0"
                                             << "10.0.0.7"
                                             << "";
    QTest::newRow("inet is its own value") << "eth0: flags\n inet inet netmask netmask\n"
                                           << "eth0"
                                           << "inet"
                                           << "netmask";
    QTest::newRow("first line that holds the name counts")
        << "veth0: flags\n inet 10.0.0.1\neth0: flags\n inet 10.0.0.2\n"
        << "eth0"
        << "10.0.0.1"
        << "";
    QTest::newRow("address of the second line alone")
        << "eth0: flags\n ether 52:54\n inet 10.0.0.2\n"
        << "eth0"
        << ""
        << "";
}

void tst_CardFacts::readsIfconfig()
{
    QFETCH(QString, text);
    QFETCH(QString, card);

    const auto read = ky::parseIfconfig(text, card);

    QVERIFY(read.has_value());
    QTEST(read->ip, "ip");
    QTEST(read->mask, "mask");
}

void tst_CardFacts::ifconfigOfAnUnknownCardIsNothing()
{
    QVERIFY(!ky::parseIfconfig(captured("ifconfig/no-wifi-all.c.out"), QStringLiteral("wlan0")));
    QVERIFY(!ky::parseIfconfig(QString(), QStringLiteral("wlan0")));
    QVERIFY(!ky::parseIfconfig(QStringLiteral("a\nb:"), QStringLiteral("a\nb")));
}

void tst_CardFacts::ifconfigIsReadFromAnyText()
{
    for (const QString& text : hostileTexts()) {
        const auto read = ky::parseIfconfig(QStringLiteral("eth0: f\n inet 10.0.0.7 ") + text,
                                            QStringLiteral("eth0"));
        QCOMPARE(read->ip, QStringLiteral("10.0.0.7"));
        ky::parseIfconfig(text, QStringLiteral("eth0"));
    }
    const QString whole = captured("ifconfig/wifi-connected.zh.out");
    const QString ip = ky::parseIfconfig(whole, QStringLiteral("wlan0"))->ip;
    QVERIFY(!ip.isEmpty());
    for (int size = 0; size <= whole.size(); ++size) {
        const auto cut = ky::parseIfconfig(whole.left(size), QStringLiteral("wlan0"));
        QVERIFY(!cut || ip.startsWith(cut->ip));
    }
}

void tst_CardFacts::everyIfconfigIsRead()
{
    QFETCH(QByteArray, bytes);
    const QString whole = QString::fromUtf8(bytes);
    const QRegularExpression block(
        QStringLiteral("^(\\S+): flags=.*\\n +(?:inet (\\S+)  netmask (\\S+))?"),
        QRegularExpression::MultilineOption);
    for (auto it = block.globalMatch(whole); it.hasNext();) {
        const QRegularExpressionMatch card = it.next();
        const auto read = ky::parseIfconfig(whole, card.captured(1));
        QVERIFY2(read, qPrintable(card.captured(1)));
        QCOMPARE(read->ip, card.captured(2));
        QCOMPARE(read->mask, card.captured(3));
    }
    for (int size = 0; size < bytes.size(); ++size) {
        const QString text = QString::fromUtf8(bytes.left(size));
        const auto full = ky::parseIfconfig(whole, QStringLiteral("wlan0"));
        const auto cut = ky::parseIfconfig(text, QStringLiteral("wlan0"));
        QVERIFY(!cut || (full && full->ip.startsWith(cut->ip) && full->mask.startsWith(cut->mask)));
    }
}

void tst_CardFacts::everyDeviceShowIsRead()
{
    QFETCH(QByteArray, bytes);
    const ky::DeviceShow whole = ky::parseDeviceShow(QString::fromUtf8(bytes));
    const QList<QByteArray> lines = bytes.split('\n');
    const QRegularExpression row(QStringLiteral("^([A-Z0-9.\\[\\]-]+:) {15,29}(\\S.*)$"));
    QVector<QPair<QString, QString>> expected;
    for (const QByteArray& line : lines) {
        const QRegularExpressionMatch match = row.match(QString::fromUtf8(line));
        if (match.hasMatch())
            expected.append({match.captured(1), match.captured(2)});
    }

    QCOMPARE(whole.rows, expected);

    for (int size = 0; size < bytes.size(); ++size) {
        const auto cut = allButLast(ky::parseDeviceShow(QString::fromUtf8(bytes.left(size))).rows);
        QVERIFY(cut == whole.rows.mid(0, cut.size()));
    }
}

void tst_CardFacts::everyConnectionShowIsRead()
{
    QFETCH(QByteArray, bytes);
    const QStringList whole = ky::uuidsIn(QString::fromUtf8(bytes));
    const QRegularExpression uuid(
        QStringLiteral("\\b[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}\\b"));
    QStringList expected;
    for (auto it = uuid.globalMatch(QString::fromUtf8(bytes)); it.hasNext();)
        expected << it.next().captured();

    QCOMPARE(whole, expected);

    for (int size = 0; size < bytes.size(); ++size) {
        const QStringList cut = ky::uuidsIn(QString::fromUtf8(bytes.left(size)));
        QCOMPARE(cut, whole.mid(0, cut.size()));
    }
}

void tst_CardFacts::readsDeviceShow_data()
{
    QTest::addColumn<QString>("capture");
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("gateway");
    QTest::addColumn<QString>("mac");

    QTest::newRow("connected") << "device-show-wifi-connected.c.out"
                               << "wlan0"
                               << "10.77.0.1"
                               << "02:00:00:00:00:00";
    QTest::newRow("Chinese") << "device-show-wifi-connected.zh.out"
                             << "wlan0"
                             << "10.77.0.1"
                             << "02:00:00:00:00:00";
    QTest::newRow("not connected") << "device-show-wifi-disconnected.zh.out"
                                   << "wlan0"
                                   << "--"
                                   << "02:00:00:00:00:00";
    QTest::newRow("CAN") << "device-show-can.c.out"
                         << "can0"
                         << "--"
                         << "(unknown)";
    QTest::newRow("wired") << "device-show-wired-static.zh.out"
                           << "eth1"
                           << "192.168.55.2"
                           << "52:54:00:00:00:11";
}

void tst_CardFacts::readsDeviceShow()
{
    QFETCH(QString, capture);

    const ky::DeviceShow show =
        ky::parseDeviceShow(NetworkFixture::capture(QStringLiteral("nmcli/") + capture));

    QTEST(valueOf(show, "GENERAL.DEVICE:"), "device");
    QTEST(valueOf(show, "IP4.GATEWAY:"), "gateway");
    QTEST(valueOf(show, "GENERAL.HWADDR:"), "mac");
}

void tst_CardFacts::everyCapturedRowIsRead()
{
    for (const char* name :
         {"nmcli/device-show-wifi-connected.c.out", "nmcli/device-show-wifi-static.c.out",
          "nmcli/device-show-wired-dhcp.c.out", "nmcli/device-show-eth-disconnected.c.out"}) {
        const QString text = captured(name);
        const ky::DeviceShow show = ky::parseDeviceShow(text);
        QCOMPARE(show.rows.size(), text.count(QLatin1Char('\n')));
        QCOMPARE(show.unreadable, QStringList{QString()}); // behind the last line feed
    }
    const ky::DeviceShow show =
        ky::parseDeviceShow(captured("nmcli/device-show-wifi-connected.c.out"));
    QCOMPARE(valueOf(show, "IP4.DNS[1]:"), QStringLiteral("10.77.0.1"));
}

void tst_CardFacts::rowsNeedTheirGap_data()
{
    QTest::addColumn<int>("blanks");
    QTest::addColumn<int>("rows");
    QTest::addColumn<int>("unreadable");

    QTest::newRow("14") << 14 << 0 << 2;
    QTest::newRow("15") << 15 << 1 << 1;
    QTest::newRow("29") << 29 << 1 << 1;
    QTest::newRow("30") << 30 << 0 << 1;
}

void tst_CardFacts::rowsNeedTheirGap()
{
    QFETCH(int, blanks);

    const ky::DeviceShow show =
        ky::parseDeviceShow(QStringLiteral("A:") + QString(blanks, u' ') + QStringLiteral("b\n"));

    QTEST(show.rows.size(), "rows");
    QTEST(show.unreadable.size(), "unreadable"); // the empty text behind the line feed is one
}

void tst_CardFacts::deviceShowIsReadFromAnyText()
{
    for (const QString& text : hostileTexts()) {
        const ky::DeviceShow show = ky::parseDeviceShow(text);
        QVERIFY(text.contains(QLatin1Char('\n')) || show.rows.isEmpty());
        QVERIFY(text.contains(QLatin1Char('\n')) || show.unreadable.isEmpty());
    }
    const QString whole = captured("nmcli/device-show-wifi-connected.c.out");
    const int rows = ky::parseDeviceShow(whole).rows.size();
    for (int size = 0; size <= whole.size(); ++size)
        QVERIFY(ky::parseDeviceShow(whole.left(size)).rows.size() <= rows);
}

void tst_CardFacts::readsTheWiredDriver_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("driver");

    const QString wired = QStringLiteral("  *-network\n       description: Wired interface\n");
    QTest::newRow("real output has no wired interface") << captured("lshw/network.c.out") << "";
    QTest::newRow("nor in Chinese") << captured("lshw/network.zh.out") << "";
    QTest::newRow("real output, worded as expected")
        << captured("lshw/network.c.out")
               .replace(QLatin1String("Ethernet interface\n       physical id: 5"),
                        QLatin1String("Wired interface\n       physical id: 5"))
        << "e1000";
    QTest::newRow("wired") << wired + "       configuration: a=b driver=r8169 c=d\n"
                           << "r8169";
    QTest::newRow("last word, carriage return") << wired + "configuration: driver=r8169\r\n"
                                                << "r8169";
    QTest::newRow("no configuration") << wired + "       size: 1Gbit/s\n"
                                      << "";
    QTest::newRow("no driver, though a later line has one")
        << wired + "configuration: a=b\nconfiguration: driver=late\n"
        << "";
    QTest::newRow("configuration of the next entry counts")
        << wired + "  *-network:1\n description: Wireless interface\n configuration: driver=w\n"
        << "w";
    QTest::newRow("first driver of two") << wired + "configuration: driver=a driver=b\n"
                                         << "a";
    QTest::newRow("driver before the description") << "configuration: driver=a\n" + wired << "";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_CardFacts::readsTheWiredDriver()
{
    QFETCH(QString, text);

    QTEST(ky::wiredDriver(text), "driver");
}

void tst_CardFacts::lshwIsReadFromAnyText()
{
    for (const QString& text : hostileTexts())
        QCOMPARE(ky::wiredDriver(text), QString());
    const QString whole =
        QStringLiteral("description: Wired interface\nconfiguration: driver=ab c");
    for (int size = 0; size <= whole.size(); ++size)
        QVERIFY(QStringLiteral("ab").startsWith(ky::wiredDriver(whole.left(size))));
}

void tst_CardFacts::readsGateways_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("gateway");

    QTest::newRow("default route") << QByteArray("eth1\t00000000\t01004D0A\t0003\t0\t0\t600\t"
                                                 "00000000\t0\t0\t0   \n")
                                   << QByteArray("10.77.0.1");
    QTest::newRow("not through a gateway") << QByteArray("eth1\t00004D0A\t00000000\t0001\t0\t0\t0\t"
                                                         "00FFFFFF\t0\t0\t0\n")
                                           << QByteArray();
    QTest::newRow("gateway bit among others")
        << QByteArray("eth1 0 FF01A8C0 0007 0 0 0 0 0 0 0") << QByteArray("192.168.1.255");
    QTest::newRow("eth10 answers for eth1")
        << QByteArray("eth10 0 0100000A 3 0 0 0 0 0 0 0") << QByteArray("10.0.0.1");
    QTest::newRow("another card") << QByteArray("eth0 0 0100000A 3 0 0 0 0 0 0 0") << QByteArray();
    QTest::newRow("head") << QByteArray("Iface\tDestination\tGateway \tFlags\teth1\n")
                          << QByteArray();
    QTest::newRow("cut before the mask") << QByteArray("eth1 0 0100000A 3 0 0 0") << QByteArray();
    QTest::newRow("empty") << QByteArray() << QByteArray();
}

void tst_CardFacts::readsGateways()
{
    QFETCH(QByteArray, line);

    QTEST(ky::gatewayInRoute(line, "eth1").value_or(QByteArray()), "gateway");
}

void tst_CardFacts::routesAreReadFromAnyText()
{
    for (const QString& text : hostileTexts())
        QVERIFY(!ky::gatewayInRoute(text.toUtf8(), "eth1"));
    const QByteArray whole = "eth1 0 0100000A 3 0 0 0 0 0 0 0";
    for (int size = 0; size <= whole.size(); ++size) {
        const auto gateway = ky::gatewayInRoute(whole.left(size), "eth1");
        QVERIFY(!gateway || *gateway == "10.0.0.1");
    }
}

void tst_CardFacts::firstAddressCountsButTheInternalYields_data()
{
    QTest::addColumn<QStringList>("addresses");
    QTest::addColumn<QString>("ip");
    QTest::addColumn<QString>("mask");

    const auto row = [](const char* name, const QStringList& addresses, const char* ip,
                        const char* mask) { QTest::newRow(name) << addresses << ip << mask; };
    const char* const a = "10.0.0.7/8";
    const char* const b = "10.0.0.8/16";
    const char* const internal = "192.168.192.5/24";
    row("one", {a}, "10.0.0.7", "255.0.0.0");
    row("two", {a, b}, "10.0.0.7", "255.0.0.0");
    row("internal first", {internal, a}, "10.0.0.7", "255.0.0.0");
    row("internal last", {a, internal}, "10.0.0.7", "255.0.0.0");
    row("internal alone", {internal}, "192.168.192.5", "255.255.255.0");
    row("internal between", {internal, b, a}, "10.0.0.8", "255.255.0.0");
    row("IPv6 is skipped", {"fe80::1/64", a}, "10.0.0.7", "255.0.0.0");
    row("IPv6 alone", {"fe80::1/64"}, "", "");
    row("none", {}, "", "");
}

void tst_CardFacts::firstAddressCountsButTheInternalYields()
{
    QFETCH(QStringList, addresses);
    QFETCH(QString, ip);
    QList<QNetworkAddressEntry> entries;
    for (const QString& address : addresses)
        entries << entry(address);

    const QVariantMap card = ky::chooseAddress(entries);

    QCOMPARE(card.value(QStringLiteral("ip")).toString(), ip);
    QCOMPARE(card.contains(QStringLiteral("ip")), !ip.isEmpty());
    QTEST(card.value(QStringLiteral("mask")).toString(), "mask");
}

void tst_CardFacts::kernelKnowsTheLoopback()
{
    const int socketFd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ky::KernelCard card;

    QVERIFY(ky::readHardwareAddress(socketFd, "lo", card));
    ky::readAddresses(socketFd, "lo", card);

    QCOMPARE(card.hardwareAddress, QStringLiteral("00:00:00:00:00:00"));
    QCOMPARE(card.address.s_addr, htonl(INADDR_LOOPBACK));
    QCOMPARE(card.mask.s_addr, htonl(0xff000000));
    close(socketFd);
}

void tst_CardFacts::kernelKnowsNoOtherName()
{
    const int socketFd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    for (const char* name : {"", "nosuch0", "a name far beyond fifteen bytes"}) {
        ky::KernelCard card;
        QVERIFY(!ky::readHardwareAddress(socketFd, name, card));
        ky::readAddresses(socketFd, name, card);
        QCOMPARE(card.address.s_addr, in_addr_t(0));
    }
    close(socketFd);
}

void tst_CardFacts::flagNamesAreThoseOfTheBits_data()
{
    QTest::addColumn<int>("bits");
    QTest::addColumn<QString>("names");

    QTest::newRow("none") << 0 << "";
    QTest::newRow("first") << 1 << "IsUp,";
    QTest::newRow("first two") << 3 << "IsUp,IsRunning,";
    QTest::newRow("last") << 32 << "CanMulticast";
    QTest::newRow("all") << 63
                         << "IsUp,IsRunning,CanBroadcast,IsLoopBack,IsPointToPoint,CanMulticast";
    QTest::newRow("beyond") << 64 << "";
}

void tst_CardFacts::flagNamesAreThoseOfTheBits()
{
    QFETCH(int, bits);

    QTEST(ky::interfaceFlagNames(bits), "names");
}

QTEST_GUILESS_MAIN(tst_CardFacts)
#include "tst_CardFacts.moc"
