#include "network/tools/NmcliAddressLines.h"
#include "network/tools/ToolLines.h"
#include "support/ShellLine.h"

#include <QProcess>
#include <QTest>

namespace {

ky::Addressing addressing(const char* ip, const char* prefixLength, const char* gateway)
{
    ky::Addressing addressing;
    addressing.ip = QLatin1String(ip);
    addressing.prefixLength = QLatin1String(prefixLength);
    addressing.gateway = QLatin1String(gateway);
    return addressing;
}

/// The words that `nmcli` would be given: the shell line with another program in its place.
QStringList wordsOf(QString line)
{
    line.remove(QStringLiteral("sudo "));
    line.replace(0, 5, QStringLiteral("printf '%s\\n'"));
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), line});
    if (!shell.waitForFinished(10000))
        return {};
    QString output = QString::fromUtf8(shell.readAllStandardOutput());
    output.chop(1);
    return output.split(QLatin1Char('\n'));
}

} // namespace

class tst_NmcliAddressLines : public QObject
{
    Q_OBJECT

private slots:
    void reservedNetworkIsFoundBySubstring_data();
    void reservedNetworkIsFoundBySubstring();
    void threeDotsAreNoGateway_data();
    void threeDotsAreNoGateway();
    void modifiesWithGateway();
    void modifiesWithoutGateway();
    void modifiesToDhcp();
    void addsWiredWithGateway();
    void addsWiredWithoutGateway();
    void addsWiredOnDhcp();
    void addsInternalWithThePrefixAsGateway();
    void addsInternalWithEmptyFields();
    void markerInAValueIsNotFilled();
    void hostileValueStaysOneWord_data();
    void hostileValueStaysOneWord();
};

void tst_NmcliAddressLines::reservedNetworkIsFoundBySubstring_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<bool>("isReserved");

    QTest::newRow("the controller") << "192.168.192.5" << true;
    QTest::newRow("first") << "192.168.192.0" << true;
    QTest::newRow("cut after the network") << "192.168.192." << true;
    QTest::newRow("cut in the network") << "192.168.192" << false;
    QTest::newRow("one below") << "192.168.191.1" << false;
    QTest::newRow("one above") << "192.168.193.1" << false;
    QTest::newRow("in the middle") << "10.192.168.192.1" << true;
    QTest::newRow("another network of that name") << "10.0.192.168" << false;
    QTest::newRow("empty") << "" << false;
}

void tst_NmcliAddressLines::reservedNetworkIsFoundBySubstring()
{
    QFETCH(QString, ip);

    QTEST(ky::isReservedAddress(ip), "isReserved");
}

void tst_NmcliAddressLines::threeDotsAreNoGateway_data()
{
    QTest::addColumn<QString>("gateway");
    QTest::addColumn<QString>("used");

    QTest::newRow("dots") << "..."
                          << "";
    QTest::newRow("dots between blanks") << " \t... "
                                         << "";
    QTest::newRow("two dots") << ".."
                              << "..";
    QTest::newRow("dots apart") << ". . ."
                                << ". . .";
    QTest::newRow("address") << "10.0.0.1"
                             << "10.0.0.1";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_NmcliAddressLines::threeDotsAreNoGateway()
{
    QFETCH(QString, gateway);

    QTEST(ky::panelGateway(gateway), "used");
}

void tst_NmcliAddressLines::modifiesWithGateway()
{
    QCOMPARE(
        ky::modifyToManualLine(QStringLiteral("uuid-1"), addressing("10.0.0.7", "24", "10.0.0.1")),
        QStringLiteral("nmcli connection modify 'uuid-1' ipv4.addresses 10.0.0.7/24  "
                       "ipv4.gateway 10.0.0.1 ipv4.method manual"));
}

void tst_NmcliAddressLines::modifiesWithoutGateway()
{
    QCOMPARE(ky::modifyToManualLine(QStringLiteral("uuid-1"), addressing("10.0.0.7", "24", "")),
             QStringLiteral("nmcli connection modify 'uuid-1' ipv4.addresses 10.0.0.7/24  "
                            "ipv4.method manual"));
}

void tst_NmcliAddressLines::modifiesToDhcp()
{
    QCOMPARE(ky::modifyToDhcpLine(QStringLiteral("uuid-1")),
             QStringLiteral("nmcli connection modify 'uuid-1' ipv4.method auto"));
}

void tst_NmcliAddressLines::addsWiredWithGateway()
{
    QCOMPARE(ky::addWiredLine(QStringLiteral("static-AlxWired-IP"), QStringLiteral("eth0"),
                              addressing("10.0.0.7", "24", "10.0.0.1")),
             QStringLiteral("nmcli connection add type ethernet con-name \"static-AlxWired-IP\" "
                            "ifname eth0 ipv4.addresses 10.0.0.7/24  ipv4.gateway 10.0.0.1 "
                            "ipv4.method manual"));
}

void tst_NmcliAddressLines::addsWiredWithoutGateway()
{
    QCOMPARE(ky::addWiredLine(QStringLiteral("static-AlxWired-IP"), QStringLiteral("eth0"),
                              addressing("10.0.0.7", "24", "")),
             QStringLiteral("nmcli connection add type ethernet con-name \"static-AlxWired-IP\" "
                            "ifname eth0 ipv4.addresses 10.0.0.7/24  ipv4.method manual"));
}

void tst_NmcliAddressLines::addsWiredOnDhcp()
{
    ky::Addressing dhcp = addressing("10.0.0.7", "24", "10.0.0.1");
    dhcp.isDhcp = true;

    QCOMPARE(ky::addWiredLine(QStringLiteral("static-AlxWired-IP"), QStringLiteral("eth0"), dhcp),
             QStringLiteral("nmcli connection add type ethernet con-name \"static-AlxWired-IP\" "
                            "ifname eth0 ipv4.method auto"));
}

void tst_NmcliAddressLines::addsInternalWithThePrefixAsGateway()
{
    QCOMPARE(ky::addInternalLine(QStringLiteral("static-LocalWired-IP"), QStringLiteral("eth1"),
                                 addressing("192.168.192.5", "24", "192.168.192.1")),
             QStringLiteral("nmcli connection add type ethernet con-name 'static-LocalWired-IP' "
                            "ifname eth1 ipv4.addresses 192.168.192.5/24  ipv4.gateway 24 "
                            "ipv4.method manual"));
}

void tst_NmcliAddressLines::addsInternalWithEmptyFields()
{
    QCOMPARE(ky::addInternalLine(QStringLiteral("static-LocalWired-IP"), QString(), {}),
             QStringLiteral("nmcli connection add type ethernet con-name 'static-LocalWired-IP' "
                            "ifname  ipv4.addresses /  ipv4.gateway  ipv4.method manual"));
}

void tst_NmcliAddressLines::markerInAValueIsNotFilled()
{
    const QString line = ky::modifyToManualLine(QStringLiteral("%2"), addressing("%3", "%4", "%1"));

    QCOMPARE(line, QStringLiteral("nmcli connection modify '%2' ipv4.addresses %3/%4  "
                                  "ipv4.gateway %1 ipv4.method manual"));
}

void tst_NmcliAddressLines::hostileValueStaysOneWord_data()
{
    QTest::addColumn<QString>("value");

    QTest::newRow("second command") << "1.2.3.4 ; echo hacked";
    QTest::newRow("substitution") << "$(echo hacked)";
    QTest::newRow("backticks") << "`echo hacked`";
    QTest::newRow("quotes") << "'; echo hacked; \"";
    QTest::newRow("variable") << "$HOME";
    QTest::newRow("redirection") << "> /tmp/hacked & echo";
    QTest::newRow("very long") << QString(10000, QLatin1Char(';'));
    QTest::newRow("not ASCII") << QStringLiteral(u"机器人 网络");
}

void tst_NmcliAddressLines::hostileValueStaysOneWord()
{
    QFETCH(QString, value);
    ky::Addressing hostile;
    hostile.ip = value;
    hostile.prefixLength = QStringLiteral("24");
    hostile.gateway = value;

    const QStringList modify = wordsOf(ky::modifyToManualLine(value, hostile));
    const QStringList add = wordsOf(ky::addWiredLine(value, value, hostile));
    const QStringList internal = wordsOf(ky::addInternalLine(value, value, hostile));

    const QString address = value + QStringLiteral("/24");
    QCOMPARE(modify, (QStringList{"connection", "modify", value, "ipv4.addresses", address,
                                  "ipv4.gateway", value, "ipv4.method", "manual"}));
    QCOMPARE(add, (QStringList{"connection", "add", "type", "ethernet", "con-name", value, "ifname",
                               value, "ipv4.addresses", address, "ipv4.gateway", value,
                               "ipv4.method", "manual"}));
    QCOMPARE(internal, (QStringList{"connection", "add", "type", "ethernet", "con-name", value,
                                    "ifname", value, "ipv4.addresses", address, "ipv4.gateway",
                                    "24", "ipv4.method", "manual"}));
    QCOMPARE(wordsOf(ky::shellLine(ky::lines::kAddressedProfileUp, value, value)),
             (QStringList{"connection", "up", value, "ifname", value}));
    QCOMPARE(wordsOf(ky::shellLine(ky::lines::kConnectDevice, value)),
             (QStringList{"device", "connect", value}));
}

QTEST_APPLESS_MAIN(tst_NmcliAddressLines)
#include "tst_NmcliAddressLines.moc"
