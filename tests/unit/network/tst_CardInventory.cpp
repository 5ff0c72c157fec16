#include "LogCapture.h"
#include "NetworkFixture.h"
#include "network/decisions/InternalCard.h"

#include <QCoreApplication>
#include <QTemporaryFile>
#include <QTest>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const QString kIfconfig = QStringLiteral("ifconfig");
const QString kShow = QStringLiteral("nmcli device show wlan0");
const QString kStatus = QStringLiteral("sudo wpa_cli -i wlan0 status ");
const QString kActive = QStringLiteral("nmcli connection show --active");
const QString kCards =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kMacFile = QStringLiteral("appInfo/setting/macName.txt");

QString captured(const char* name)
{
    return NetworkFixture::capture(QLatin1String(name));
}

bool isInOwnNetwork = false;

/// Gives the loopback of this program's own network another address.
bool setLoopback(const char* address)
{
    ifreq request{};
    qstrncpy(request.ifr_name, "lo", IFNAMSIZ);
    sockaddr_in inet{};
    inet.sin_family = AF_INET;
    inet.sin_addr.s_addr = inet_addr(address);
    memcpy(&request.ifr_addr, &inet, sizeof inet);
    const int socketFd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool isSet = ioctl(socketFd, SIOCSIFADDR, &request) == 0;
    close(socketFd);
    return isSet;
}

/// Takes what this program prints on one of its channels while it lives.
class TakenOutput
{
public:
    explicit TakenOutput(std::FILE* channel)
        : _channel(channel)
    {
        std::fflush(_channel);
        _before = dup(fileno(_channel));
        if (!_file.open() || dup2(_file.handle(), fileno(_channel)) < 0)
            qFatal("the output cannot be taken");
    }
    ~TakenOutput()
    {
        std::fflush(_channel);
        dup2(_before, fileno(_channel));
        close(_before);
    }
    TakenOutput(const TakenOutput&) = delete;
    TakenOutput& operator=(const TakenOutput&) = delete;

    QByteArray text() const
    {
        std::fflush(_channel);
        QFile file(_file.fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    std::FILE* _channel;
    QTemporaryFile _file;
    int _before = -1;
};

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries)
        .size();
}

} // namespace

class tst_CardInventory : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void interfacesAreListedUnfiltered();
    void cardsAreKnownByTheirHardwareAddress();
    void namesStandInTheOrderOfTheAddresses();
    void namesAreLogged();
    void flagsOfAnInterfaceAreTested();
    void flagTestIsLogged();
    void cardHasAddressesRowsAndDhcp();
    void cardOnAFixedAddressIsNotOnDhcp();
    void commandsOfACardRunInOrderWithTheirLimits();
    void cardWithoutAProfileIsNotFound();
    void wiredCardWithoutAProfileHasNoDhcp();
    void wiredCardIsNotAskedOfWpa();
    void wirelessCardWithoutAConnectionIsFalseAndFilled();
    void wirelessCardMustExist();
    void wirelessCardHasItsProfile();
    void unknownCardHasNoAddress();
    void profileOfAnotherUuidLeavesDhcpAlone();
    void unreadableRowsAreLogged();
    void outputWithoutLineFeedIsLogged();
    void eachCardOperationLogsInItsOwnName();
    void cardWithoutAnAddressHasEmptyTexts_data();
    void cardWithoutAnAddressHasEmptyTexts();
    void fixedAddressInAProfileOnDhcpIsDhcp();
    void cardWithoutAKeyfileHasNoDhcp();
    void failedCommandsLeaveKeysOut();
    void wiredCardOfTheSettingsIsStored();
    void statusOfTheWiredCardNeedsItsName_data();
    void statusOfTheWiredCardNeedsItsName();
    void driverIsThatOfTheWiredInterface();
    void failedListOfHardwareHasNoDriver();
    void internalCardIsReported();
    void otherCardsAreNot();
    void storedMacGoesOverAnyCard();
    void cardAtTheInternalAddressIsFound();
    void cardAtAnotherAddressLeavesNothing();
    void storedMacIsThereWithoutTheCard();
    void examinedCardIsPrintedAndLogged();
    void unknownNameEndsThere();
    void noSocketIsTold();
    void gatewayIsReadFromTheRoutes();
    void gatewayFitsTheBuffer();
    void fullBufferIsReadToItsSize();
    void gatewayOfUnreadableRoutesIsEmpty();
    void noRouteLeavesTheBuffer();
    void longRouteLinesAreReadInPieces();
    void macIsStoredAndReadBack();
    void noMacIsNeitherStoredNorRead();
    void macNeedsItsFolder();
    void lastLineOfTheMacFileCounts_data();
    void lastLineOfTheMacFileCounts();

private:
    void answerConnected();
    QString macFile() const
    {
        return QCoreApplication::applicationDirPath() + QLatin1Char('/') + kMacFile;
    }

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_CardInventory::init()
{
    _fixture = std::make_unique<NetworkFixture>();
    _network = std::make_unique<OpenNetwork>(nullptr);
    QDir().mkpath(QFileInfo(macFile()).absolutePath());
    QFile::remove(macFile());
}

void tst_CardInventory::cleanup()
{
    QFile::remove(macFile());
    _network.reset();
    _fixture.reset();
}

void tst_CardInventory::answerConnected()
{
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _fixture->host().answer(kIfconfig, captured("ifconfig/all-connected.c.out"));
    _fixture->host().answer(kShow, captured("nmcli/device-show-wifi-connected.c.out"));
    _fixture->host().answer(kStatus, captured("wpa_cli/status-connected.c.out"));
    _fixture->host().answer(kActive, captured("nmcli/connection-show-active-wifi.c.out"));
    _fixture->writeProfile(QStringLiteral("RobotNet.nmconnection"),
                           captured("keyfile/wifi-connect-psk.c.out").toUtf8());
}

void tst_CardInventory::interfacesAreListedUnfiltered()
{
    const QVariantList list = _network->getAllInterfaces();

    QCOMPARE(list.size(), QNetworkInterface::allInterfaces().size());
    const QVariantMap first = list.first().toMap();
    QCOMPARE(first.keys(),
             (QStringList{QStringLiteral("flags"), QStringLiteral("hardwareAddress"),
                          QStringLiteral("humanReadableName"), QStringLiteral("index"),
                          QStringLiteral("maximumTransmissionUnit"), QStringLiteral("name"),
                          QStringLiteral("type")}));
    QCOMPARE(first.value(QStringLiteral("name")).toString(), QStringLiteral("lo"));
    QCOMPARE(first.value(QStringLiteral("type")), QVariant(1));
    QCOMPARE(first.value(QStringLiteral("index")), QVariant(1));
    QCOMPARE(first.value(QStringLiteral("maximumTransmissionUnit")), QVariant(65536));
    QCOMPARE(first.value(QStringLiteral("humanReadableName")), QVariant(QStringLiteral("lo")));
    QCOMPARE(first.value(QStringLiteral("hardwareAddress")),
             QVariant(QStringLiteral("00:00:00:00:00:00")));
    const QVariant flags(int(QNetworkInterface::interfaceFromName(QStringLiteral("lo")).flags()));
    QCOMPARE(first.value(QStringLiteral("flags")), flags);
    QVERIFY(flags.toInt() & QNetworkInterface::IsLoopBack);
}

void tst_CardInventory::cardsAreKnownByTheirHardwareAddress()
{
    _network->_networkCards.insert(QStringLiteral("gone"), {});

    _network->getAllNetworkCards();

    QVERIFY(!_network->_networkCards.contains(QStringLiteral("gone")));
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        if (!interface.hardwareAddress().isEmpty())
            QVERIFY(_network->_networkCards.contains(interface.hardwareAddress()));
    }
    const QVariantMap loopback = _network->_networkCards.value(QStringLiteral("00:00:00:00:00:00"));
    QCOMPARE(loopback.value(QStringLiteral("name")).toString(), QStringLiteral("lo"));
}

void tst_CardInventory::namesStandInTheOrderOfTheAddresses()
{
    _network->_networkCardNames = QStringList{QStringLiteral("gone")};

    const QMap<QString, QString> names = _network->getNetworkWifiMap();

    QCOMPARE(_network->_networkCardNames, names.values());
    QCOMPARE(names.value(QStringLiteral("00:00:00:00:00:00")), QStringLiteral("lo"));
}

void tst_CardInventory::namesAreLogged()
{
    const LogCapture log("ky.network");

    _network->getNetworkWifiMap();

    QCOMPARE(log.lines().size(), 1);
    QVERIFY(log.lines().first().contains("[getNetworkWifiMap]QList<QNetworkInterface>: "));
    QVERIFY(log.lines().first().contains("(00:00:00:00:00:00, lo)"));
}

void tst_CardInventory::flagsOfAnInterfaceAreTested()
{
    QVERIFY(_network->isNetworkInterfaceFlag(QStringLiteral("lo"), QNetworkInterface::IsLoopBack));
    QVERIFY(
        !_network->isNetworkInterfaceFlag(QStringLiteral("lo"), QNetworkInterface::CanBroadcast));
    QVERIFY(!_network->isNetworkInterfaceFlag(QStringLiteral("nosuch0"),
                                              QNetworkInterface::IsLoopBack));
}

void tst_CardInventory::flagTestIsLogged()
{
    const LogCapture log("ky.network");

    _network->isNetworkInterfaceFlag(QStringLiteral("lo"), QNetworkInterface::IsLoopBack);

    QStringList expected{QStringLiteral("[QNetworkInterface:1]"), QStringLiteral("[name:lo]"),
                         QStringLiteral("[humanReadableName:lo]"), QStringLiteral("IsUp,"),
                         QStringLiteral("[netInterface.type():1]")};
    for (QString& line : expected)
        line.prepend(QStringLiteral("[info][isNetworkInterfaceFlag]"));
    QCOMPARE(LogCapture::lines(), expected);
}

void tst_CardInventory::cardHasAddressesRowsAndDhcp()
{
    answerConnected();
    QVariantMap info;

    QVERIFY(_network->getNetworkCardInfo(QStringLiteral("wlan0"), info));

    QCOMPARE(info.value(QStringLiteral("name")), QVariant(QStringLiteral("wlan0")));
    QCOMPARE(info.value(QStringLiteral("ip")), QVariant(QStringLiteral("10.77.0.162")));
    QCOMPARE(info.value(QStringLiteral("mask")), QVariant(QStringLiteral("255.255.255.0")));
    QCOMPARE(info.value(QStringLiteral("gateway")), QVariant(QStringLiteral("10.77.0.1")));
    QCOMPARE(info.value(QStringLiteral("Mac")), QVariant(QStringLiteral("02:00:00:00:00:00")));
    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(true));
    QCOMPARE(info.value(QStringLiteral("IP4.DNS[1]:")), QVariant(QStringLiteral("10.77.0.1")));
    QCOMPARE(info.value(QStringLiteral("IP4.GATEWAY:")), QVariant(QStringLiteral("10.77.0.1")));
    QCOMPARE(info.value(QStringLiteral("GENERAL.DEVICE:")), QVariant(QStringLiteral("wlan0")));
}

void tst_CardInventory::cardOnAFixedAddressIsNotOnDhcp()
{
    answerConnected();
    _fixture->writeProfile(
        QStringLiteral("RobotNet.nmconnection"),
        captured("keyfile/wifi-connect-psk.c.out")
            .replace(QLatin1String("[ipv4]\nmethod=auto"), QLatin1String("[ipv4]\nmethod=manual"))
            .toUtf8());
    QVariantMap info;

    QVERIFY(_network->getNetInfo(QStringLiteral("wlan0"), info));

    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(false));
}

void tst_CardInventory::commandsOfACardRunInOrderWithTheirLimits()
{
    answerConnected();
    QVariantMap info;

    _network->getNetworkCardInfo(QStringLiteral("wlan0"), info);

    QCOMPARE(_fixture->host().lines(), (QStringList{kIfconfig, kShow, kStatus, kActive}));
    QList<int> limits;
    for (const RecordedHost::Call& call : _fixture->host().calls())
        limits << call.limitMs;
    QCOMPARE(limits, (QList<int>{6000, 10000, 20000, 6000}));
}

void tst_CardInventory::cardWithoutAProfileIsNotFound()
{
    QVariantMap info;

    QVERIFY(_network->getNetworkCardInfo(QStringLiteral("wlan0"), info));

    QCOMPARE(info, (QVariantMap{{QStringLiteral("dhcp"), QStringLiteral("Not Found")}}));
}

void tst_CardInventory::wiredCardWithoutAProfileHasNoDhcp()
{
    QVariantMap info;

    QVERIFY(_network->getNetInfo(QStringLiteral("eth1"), info));

    QVERIFY(info.isEmpty());
}

void tst_CardInventory::wiredCardIsNotAskedOfWpa()
{
    answerConnected();
    QVariantMap info;

    _network->getNetInfo(QStringLiteral("wlan0"), info);

    QCOMPARE(_fixture->host().lines(), (QStringList{kIfconfig, kShow, kActive}));
    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(true));
}

void tst_CardInventory::wirelessCardWithoutAConnectionIsFalseAndFilled()
{
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _fixture->host().answer(kIfconfig, captured("ifconfig/all-connected.c.out"));
    _fixture->host().answer(kStatus, captured("wpa_cli/status-disconnected.c.out"));
    QVariantMap info;

    QVERIFY(!_network->getWifiCardInfo(info));

    QCOMPARE(info.value(QStringLiteral("ip")), QVariant(QStringLiteral("10.77.0.162")));
    QVERIFY(!info.contains(QStringLiteral("dhcp")));
    QCOMPARE(_network->getLastError(),
             QStringLiteral("[wlan0]The network card is not connected to the network"));
}

void tst_CardInventory::wirelessCardMustExist()
{
    QVariantMap info;

    QVERIFY(!_network->getWifiCardInfo(info));

    QVERIFY(info.isEmpty());
    QCOMPARE(_fixture->host().lines(), QStringList{kCards});
    QCOMPARE(_network->getLastError(),
             QStringLiteral("Wireless card not found: It may have been disabled"));
}

void tst_CardInventory::wirelessCardHasItsProfile()
{
    answerConnected();
    QVariantMap info;

    QVERIFY(_network->getWifiCardInfo(info));

    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(true));
    QCOMPARE(_fixture->host().lines(), (QStringList{kCards, kIfconfig, kShow, kStatus, kActive}));
}

void tst_CardInventory::unknownCardHasNoAddress()
{
    answerConnected();
    QVariantMap info;

    QVERIFY(_network->getNetworkCardInfo(QStringLiteral("wlan9"), info));

    QVERIFY(!info.contains(QStringLiteral("ip")) && !info.contains(QStringLiteral("name")));
}

void tst_CardInventory::profileOfAnotherUuidLeavesDhcpAlone()
{
    answerConnected();
    _fixture->writeProfile(QStringLiteral("RobotNet.nmconnection"),
                           "[connection]\nuuid=another\n[ipv4]\nmethod=auto\n");
    QVariantMap info;

    QVERIFY(_network->getNetworkCardInfo(QStringLiteral("wlan0"), info));

    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(QStringLiteral("Not Found")));
}

void tst_CardInventory::unreadableRowsAreLogged()
{
    _fixture->host().answer(kShow, QStringLiteral("A: b\nGENERAL.DEVICE:                wlan0\n"));
    const LogCapture log("ky.network");
    QVariantMap info;

    _network->getNetInfo(QStringLiteral("wlan0"), info);

    QCOMPARE(LogCapture::lines(),
             (QStringList{QStringLiteral("[warning][getNetInfo]Not found space: A: b"),
                          QStringLiteral("[warning][getNetInfo]Not found space: ")}));
    QCOMPARE(info, (QVariantMap{{QStringLiteral("GENERAL.DEVICE:"), QStringLiteral("wlan0")}}));
}

void tst_CardInventory::outputWithoutLineFeedIsLogged()
{
    _fixture->host().fail(kShow, QStringLiteral("sh: nmcli: not found"));
    const LogCapture log("ky.network");
    QVariantMap info;

    _network->getNetInfo(QStringLiteral("wlan0"), info);

    QCOMPARE(LogCapture::lines(),
             QStringList{
                 QStringLiteral("[warning][getNetInfo]Not found line feed: sh: nmcli: not found")});
}

void tst_CardInventory::eachCardOperationLogsInItsOwnName()
{
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    _fixture->host().fail(kShow, QStringLiteral("no"));
    _network->_aLXB10NetworkCardName = QStringLiteral("wlan0");
    const LogCapture log("ky.network");
    QVariantMap info;

    _network->getNetworkCardInfo(QStringLiteral("wlan0"), info);
    _network->getWifiCardInfo(info);
    _network->getAlxCardInfo(info);

    QCOMPARE(LogCapture::lines().filter(QStringLiteral("[warning]")),
             (QStringList{QStringLiteral("[warning][getNetworkCardInfo]Not found line feed: no"),
                          QStringLiteral("[warning][getWifiCardInfo]Not found line feed: no"),
                          QStringLiteral("[warning][getNetInfo]Not found line feed: no")}));
}

void tst_CardInventory::cardWithoutAnAddressHasEmptyTexts_data()
{
    QTest::addColumn<QString>("capture");
    QTest::addColumn<QString>("card");

    QTest::newRow("ether in the second line") << "ifconfig/wifi-disconnected.c.out"
                                              << "wlan0";
    QTest::newRow("no network at all") << "ifconfig/all-connected.c.out"
                                       << "can0";
}

// The keys are there: "no address" differs from "not asked".
void tst_CardInventory::cardWithoutAnAddressHasEmptyTexts()
{
    QFETCH(QString, capture);
    QFETCH(QString, card);
    _fixture->host().answer(kIfconfig, captured(qPrintable(capture)));
    QVariantMap info;

    QVERIFY(_network->getNetInfo(card, info));

    const QVariantMap expected{{QStringLiteral("ip"), QString()},
                               {QStringLiteral("mask"), QString()},
                               {QStringLiteral("name"), card}};
    QCOMPARE(info, expected);
    QCOMPARE(info.value(QStringLiteral("ip")).type(), QVariant::String);
}

// "method=auto" decides: the address that the profile had before stays in its file.
void tst_CardInventory::fixedAddressInAProfileOnDhcpIsDhcp()
{
    const QByteArray profile = captured("keyfile/wifi-static-then-dhcp.c.out").toUtf8();
    QVERIFY(profile.contains("\naddress1=10.77.0.50/24,10.77.0.1\nmethod=auto\n"));
    _fixture->writeProfile(QStringLiteral("RobotNet.nmconnection"), profile);
    _fixture->host().answer(
        kActive, QStringLiteral("RobotNet  c094ddfb-d766-45a3-b11c-6e0e501c6ada  wifi  wlan0 \n"));
    QVariantMap info;

    QVERIFY(_network->getNetInfo(QStringLiteral("wlan0"), info));

    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(true));
}

// A connection that netplan made is active, but its keyfile is none of those under /etc.
void tst_CardInventory::cardWithoutAKeyfileHasNoDhcp()
{
    answerConnected();
    _fixture->host().answer(kCards, QStringLiteral("wlan0\n"));
    QVERIFY(QFile::remove(_fixture->profileFolder() + QStringLiteral("/RobotNet.nmconnection")));
    QVariantMap wifi;
    QVariantMap info;
    QVariantMap wired;

    QVERIFY(_network->getWifiCardInfo(wifi));
    QVERIFY(_network->getNetworkCardInfo(QStringLiteral("wlan0"), info));
    QVERIFY(_network->getNetInfo(QStringLiteral("wlan0"), wired));

    QVERIFY(!wifi.contains(QStringLiteral("dhcp")) && !wired.contains(QStringLiteral("dhcp")));
    QCOMPARE(info.value(QStringLiteral("dhcp")), QVariant(QStringLiteral("Not Found")));
}

void tst_CardInventory::failedCommandsLeaveKeysOut()
{
    _fixture->host().answerOthers({QStringLiteral("failed"), false});
    QVariantMap info;

    QVERIFY(_network->getNetInfo(QStringLiteral("wlan0"), info));

    QVERIFY(info.isEmpty());
}

void tst_CardInventory::wiredCardOfTheSettingsIsStored()
{
    _network->_aLXB10NetworkCardName = QStringLiteral("eth1");
    _fixture->host().answer(kIfconfig, captured("ifconfig/wired-dhcp.c.out"));
    _fixture->host().answer(QStringLiteral("nmcli device show eth1"),
                            captured("nmcli/device-show-wired-dhcp.c.out"));
    QVariantMap info;

    QVERIFY(_network->getAlxCardInfo(info));

    QCOMPARE(_fixture->setting(ky::settings::kWiredCardName), QVariant(QStringLiteral("eth1")));
    QCOMPARE(info.value(QStringLiteral("GENERAL.DEVICE:")), QVariant(QStringLiteral("eth1")));
}

void tst_CardInventory::statusOfTheWiredCardNeedsItsName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("stored");
    QTest::addColumn<bool>("status");

    QTest::newRow("banned") << "eth1" << true << true;
    QTest::newRow("not banned") << "eth1" << false << false;
    QTest::newRow("no name") << "" << true << false;
}

void tst_CardInventory::statusOfTheWiredCardNeedsItsName()
{
    QFETCH(QString, name);
    QFETCH(bool, stored);
    _fixture->set(ky::settings::kWiredCardName, name);
    _fixture->set(ky::settings::kWiredCardBanned, stored);

    QTEST(_network->getAlxCardStatus(), "status");
}

void tst_CardInventory::driverIsThatOfTheWiredInterface()
{
    _fixture->host().answer(
        QStringLiteral("lshw -c network"),
        QStringLiteral("description: Wired interface\nconfiguration: driver=r8169\n"));

    QCOMPARE(_network->getWiredNetworkDriver(), QStringLiteral("r8169"));

    QCOMPARE(_fixture->host().calls().first().limitMs, 20000);
}

void tst_CardInventory::failedListOfHardwareHasNoDriver()
{
    _fixture->host().fail(
        QStringLiteral("lshw -c network"),
        QStringLiteral("description: Wired interface\nconfiguration: driver=r8169\n"));

    QCOMPARE(_network->getWiredNetworkDriver(), QString());
}

void tst_CardInventory::internalCardIsReported()
{
    ky::KernelCard card;
    card.hardwareAddress = QStringLiteral("AA:BB:CC:00:00:01");
    card.address.s_addr = inet_addr("192.168.192.5");
    card.mask.s_addr = inet_addr("255.255.255.0");

    const QVariantMap report = ky::wiredReport(card, QStringLiteral("192.168.192.1"), QString());

    QCOMPARE(report, (QVariantMap{{QStringLiteral("Mac"), QStringLiteral("AA:BB:CC:00:00:01")},
                                  {QStringLiteral("ip"), QStringLiteral("192.168.192.5")},
                                  {QStringLiteral("mask"), QStringLiteral("255.255.255.0")},
                                  {QStringLiteral("gateway"), QStringLiteral("192.168.192.1")}}));
    QVERIFY(!ky::wiredReport(card, QString(), QString()).contains(QStringLiteral("gateway")));
}

void tst_CardInventory::otherCardsAreNot()
{
    ky::KernelCard card;
    card.hardwareAddress = QStringLiteral("AA:BB:CC:00:00:01");
    for (const char* address : {"10.0.0.7", "192.168.192.50", "0.0.0.0"}) {
        card.address.s_addr = inet_addr(address);
        QVERIFY(ky::wiredReport(card, QString(), QString()).isEmpty());
    }
}

void tst_CardInventory::storedMacGoesOverAnyCard()
{
    const QString stored = QStringLiteral("11:22:33:44:55:66");
    ky::KernelCard card;
    card.hardwareAddress = QStringLiteral("AA:BB:CC:00:00:01");

    QCOMPARE(ky::wiredReport(card, QString(), stored),
             (QVariantMap{{QStringLiteral("Mac"), stored}}));
    card.address.s_addr = inet_addr("192.168.192.5");
    QCOMPARE(ky::wiredReport(card, QString(), stored).value(QStringLiteral("Mac")),
             QVariant(stored));
}

void tst_CardInventory::cardAtTheInternalAddressIsFound()
{
    if (!isInOwnNetwork)
        QSKIP("no network of its own on this machine");
    QVERIFY(setLoopback("192.168.192.5"));
    _fixture->write(_fixture->path(QStringLiteral("proc/net/route")),
                    "Iface Destination\nlo 0 01C0A8C0 3 0 0 0 0 0 0 0\n");
    QVariantMap info;
    const int before = openDescriptors();

    QVERIFY(_network->getWiredNetworkCard(info));

    QCOMPARE(info.value(QStringLiteral("ip")), QVariant(QStringLiteral("192.168.192.5")));
    QCOMPARE(info.value(QStringLiteral("Mac")), QVariant(QStringLiteral("00:00:00:00:00:00")));
    QCOMPARE(info.value(QStringLiteral("gateway")), QVariant(QStringLiteral("192.168.192.1")));
    QCOMPARE(_network->getMACName(), QStringLiteral("00:00:00:00:00:00"));
    QCOMPARE(_network->_wiredNetInfo, info);
    QCOMPARE(_network->_wiredCardName, QStringLiteral("lo"));
    QCOMPARE(openDescriptors(), before);
}

void tst_CardInventory::cardAtAnotherAddressLeavesNothing()
{
    if (isInOwnNetwork)
        QVERIFY(setLoopback("10.0.0.7"));
    QVariantMap info;

    _network->dispLocalWiredNetInfo("lo", info);

    QVERIFY(info.isEmpty());
}

void tst_CardInventory::storedMacIsThereWithoutTheCard()
{
    if (isInOwnNetwork)
        QVERIFY(setLoopback("10.0.0.7"));
    _fixture->write(macFile(), "11:22:33:44:55:66\n");
    QVariantMap info;

    QVERIFY(_network->getWiredNetworkCard(info));

    QCOMPARE(info, (QVariantMap{{QStringLiteral("Mac"), QStringLiteral("11:22:33:44:55:66")}}));
}

void tst_CardInventory::examinedCardIsPrintedAndLogged()
{
    if (isInOwnNetwork)
        QVERIFY(setLoopback("127.0.0.1"));
    QVariantMap info;
    const LogCapture log("ky.network");
    QByteArray printed;
    {
        const TakenOutput output(stdout);
        _network->dispLocalWiredNetInfo("lo", info);
        printed = output.text();
    }

    QCOMPARE(printed, QByteArray("lo:\n\tIP: 127.0.0.1\n\tBroadIP: 0.0.0.0\n"
                                 "\tNetmask: 255.0.0.0\n"));
    const QString prefix = QStringLiteral("[debug][dispLocalWiredNetInfo]");
    QCOMPARE(log.lines(), (QStringList{prefix + "LocalIP 127.0.0.1", prefix + "GATEAWAY 0.0.0.0",
                                       prefix + "NETMASK 255.0.0.0"}));
}

void tst_CardInventory::unknownNameEndsThere()
{
    _fixture->write(macFile(), "11:22:33:44:55:66\n");
    QVariantMap info;
    const int before = openDescriptors();

    _network->dispLocalWiredNetInfo("nosuch0", info);

    QVERIFY(info.isEmpty());
    QCOMPARE(_network->_wiredCardName, QStringLiteral("nosuch0"));
    QCOMPARE(openDescriptors(), before + 1); // the socket of this path stays open
}

void tst_CardInventory::noSocketIsTold()
{
    const TakenOutput errors(stderr);
    rlimit before = {};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    QVariantMap info;
    const int descriptors = openDescriptors();

    QCOMPARE(setrlimit(RLIMIT_NOFILE, &none), 0);
    _network->dispLocalWiredNetInfo("lo", info);
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &before), 0);

    QVERIFY(info.isEmpty());
    QCOMPARE(errors.text(), QByteArray("Create socket failed!errno=") + QByteArray::number(EMFILE));
    QCOMPARE(_network->_wiredCardName, QString());
    QCOMPARE(openDescriptors(), descriptors);
}

void tst_CardInventory::gatewayIsReadFromTheRoutes()
{
    _fixture->write(_fixture->path(QStringLiteral("proc/net/route")),
                    captured("route/proc-net-route-wifi-static.c.out").toUtf8());
    char buffer[32] = {};

    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, sizeof buffer), QStringLiteral("10.77.0.1"));

    QCOMPARE(QByteArray(buffer), QByteArray("10.77.0.1"));
}

void tst_CardInventory::gatewayFitsTheBuffer()
{
    _fixture->write(_fixture->path(QStringLiteral("proc/net/route")),
                    captured("route/proc-net-route-wifi-static.c.out").toUtf8());
    char buffer[8] = "xxxxxxx";

    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, 5), QStringLiteral("10.7"));

    QCOMPARE(buffer[5], 'x');
    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, 0), QString());
}

void tst_CardInventory::fullBufferIsReadToItsSize()
{
    _fixture->write(_fixture->path(QStringLiteral("proc/net/route")),
                    captured("route/proc-net-route-none.c.out").toUtf8());
    char buffer[] = "full, and more";

    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, 4), QStringLiteral("full"));
}

void tst_CardInventory::gatewayOfUnreadableRoutesIsEmpty()
{
    char buffer[8] = "before";

    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, sizeof buffer), QString());

    QCOMPARE(QByteArray(buffer), QByteArray("before"));
}

void tst_CardInventory::noRouteLeavesTheBuffer()
{
    _fixture->write(_fixture->path(QStringLiteral("proc/net/route")),
                    captured("route/proc-net-route-none.c.out").toUtf8());
    char buffer[8] = "before";

    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, sizeof buffer), QStringLiteral("before"));
}

void tst_CardInventory::longRouteLinesAreReadInPieces()
{
    _fixture->write(_fixture->path(QStringLiteral("proc/net/route")),
                    QByteArray(1 << 20, 'x') + "\nwlan0 0 0100000A 3 0 0 0 0 0 0 0\n");
    char buffer[32] = {};

    QCOMPARE(_network->getIPV4Gateway("wlan0", buffer, sizeof buffer), QStringLiteral("10.0.0.1"));
}

void tst_CardInventory::macIsStoredAndReadBack()
{
    _network->_wiredNetInfo.insert(QStringLiteral("Mac"), QStringLiteral("AA:BB:CC:00:00:01"));

    QVERIFY(_network->readMACNameForTxt());

    QCOMPARE(_fixture->read(macFile()), QByteArray("AA:BB:CC:00:00:01"));
    QCOMPARE(_network->_wiredMacName, QStringLiteral("AA:BB:CC:00:00:01"));
    QCOMPARE(_network->isTxtExist(), QStringLiteral("AA:BB:CC:00:00:01"));
}

void tst_CardInventory::noMacIsNeitherStoredNorRead()
{
    _fixture->write(macFile(), "11:22:33:44:55:66");
    _network->_wiredMacName = QStringLiteral("before");

    QVERIFY(!_network->readMACNameForTxt());

    QCOMPARE(_network->_wiredMacName, QStringLiteral("before"));
    QCOMPARE(_fixture->read(macFile()), QByteArray("11:22:33:44:55:66"));
}

void tst_CardInventory::macNeedsItsFolder()
{
    QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/appInfo")).removeRecursively();
    _network->_wiredNetInfo.insert(QStringLiteral("Mac"), QStringLiteral("AA:BB:CC:00:00:01"));

    QVERIFY(!_network->writeMACNameInTxt());
    QVERIFY(!_network->readMACNameForTxt());

    QVERIFY(!QFile::exists(macFile()));
    QCOMPARE(_network->isTxtExist(), QString());
}

void tst_CardInventory::lastLineOfTheMacFileCounts_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("mac");

    QTest::newRow("one") << QByteArray("AA") << "AA";
    QTest::newRow("line feed") << QByteArray("AA\n") << "AA";
    QTest::newRow("blanks") << QByteArray("  AA \r\n") << "AA";
    QTest::newRow("two") << QByteArray("AA\nBB\n") << "BB";
    QTest::newRow("empty last line") << QByteArray("AA\n\n") << "";
    QTest::newRow("empty") << QByteArray() << "";
}

void tst_CardInventory::lastLineOfTheMacFileCounts()
{
    QFETCH(QByteArray, content);
    _fixture->write(macFile(), content);

    QTEST(_network->isTxtExist(), "mac");
}

/// The program gets a network of its own where the kernel allows it, and a folder of its own for
/// what stands beside the program.
int main(int argc, char* argv[])
{
    isInOwnNetwork = unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
    QCoreApplication app(argc, argv);
    tst_CardInventory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_CardInventory.moc"
