#include "network/tools/NmcliWifiLines.h"

#include <QTest>

#include <utility>

namespace {

struct Block
{
    const char* key;
    QVariant value;
    const char* text;
};

QVariantMap file(const char* name)
{
    return {{QStringLiteral("fileName"), QString::fromLatin1(name)}};
}

// In the order in which the 802.1X templates have them.
QVector<Block> enterpriseBlocks()
{
    return {{"wifi-sec.key-mgmt", "wpa-eap", " wifi-sec.key-mgmt wpa-eap "},
            {"802-1x.eap", "tls", " 802-1x.eap tls "},
            {"802-1x.phase2-auth", "mschapv2", " 802-1x.phase2-auth mschapv2 "},
            {"802-1x.identity", "robot", " 802-1x.identity \"robot\" "},
            {"802-1x.password", "secret", " 802-1x.password \"secret\" "},
            {"802-1x.client-cert", file("client.pem"), " 802-1x.client-cert \"/b/client.pem\" "},
            {"802-1x.ca-cert", file("ca.pem"), " 802-1x.ca-cert \"/b/ca.pem\" "},
            {"802-1x.private-key", file("r.key"),
             " 802-1x.private-key-password \"\" 802-1x.private-key \"/b/r.key\" "}};
}

const Block kPassword{"password", "robotpass",
                      " wifi-sec.key-mgmt wpa-psk  wifi-sec.psk 'robotpass' "};
const Block kAddresses{"ipv4.addresses", "10.0.0.7/24", " ipv4.addresses \"10.0.0.7/24\" "};
const Block kGateway{"ipv4.gateway", "10.0.0.1", " ipv4.gateway \"10.0.0.1\" "};

const QString kHead = QStringLiteral(
    "sudo nmcli connection add type wifi con-name \"Robot\" ifname wlan0 ssid \"Robot\" ");
const QString kTail = QStringLiteral(" connection.autoconnect true ");

QVariantMap requestFor(bool verification, bool dhcp, bool nonBroadcast)
{
    return {{QStringLiteral("ssid"), QStringLiteral("Robot")},
            {QStringLiteral("verification"), verification},
            {QStringLiteral("dhcp"), dhcp},
            {QStringLiteral("nonBroadcast"), nonBroadcast}};
}

/// Puts a block into the request and gives its text, or neither.
QString take(const Block& block, bool isTaken, QVariantMap& request)
{
    if (!isTaken)
        return {};
    request.insert(QLatin1String(block.key), block.value);
    return QString::fromLatin1(block.text);
}

QString line(const QVariantMap& request)
{
    return ky::addWifiLine(request, QStringLiteral("wlan0"), QStringLiteral("/b"));
}

QString hidden(const QString& line, bool isHidden)
{
    return isHidden ? line + QStringLiteral(" wifi.hidden yes ") : line;
}

} // namespace

class tst_NmcliWifiLines : public QObject
{
    Q_OBJECT

private slots:
    void plainProfileHasEachCombinationOfBlocks();
    void enterpriseProfileHasEachCombinationOfBlocks();
    void enterpriseProfileHasNoPreSharedKey();
    void plainProfileHasNoEnterpriseBlocks();
    void keyPassPhraseStandsBeforeTheKey();
    void emptyRequestKeepsTheBlanksOfTheTemplate();
    void joinsByPasswordAndHiddenness_data();
    void joinsByPasswordAndHiddenness();
    void valuesStayInsideTheirQuotes_data();
    void valuesStayInsideTheirQuotes();
    void markersInValuesAreNotFilled();
    void pathsLeadIntoTheBackupFolder();
    void namesThatLeadOutAreUnsafe_data();
    void namesThatLeadOutAreUnsafe();
    void eachOfTheThreeFilesIsLookedAt();
};

void tst_NmcliWifiLines::plainProfileHasEachCombinationOfBlocks()
{
    for (int bits = 0; bits < 32; ++bits) {
        const bool dhcp = bits & 1;
        const bool isHidden = bits & 2;
        QVariantMap request = requestFor(false, dhcp, isHidden);
        const QString password = take(kPassword, bits & 4, request);
        const QString addresses = take(kAddresses, bits & 8, request);
        const QString gateway = take(kGateway, bits & 16, request);

        const QString expected =
            dhcp ? kHead + QStringLiteral("ipv4.method auto ") + password + kTail
                 : kHead + QStringLiteral("ipv4.method manual ") + addresses + QLatin1Char(' ') +
                       gateway + QLatin1Char(' ') + password + kTail;
        QCOMPARE(line(request), hidden(expected, isHidden));
    }
}

void tst_NmcliWifiLines::enterpriseProfileHasEachCombinationOfBlocks()
{
    const QVector<Block> blocks = enterpriseBlocks();
    for (int bits = 0; bits < 4096; ++bits) {
        const bool dhcp = bits & 1;
        const bool isHidden = bits & 2;
        QVariantMap request = requestFor(true, dhcp, isHidden);
        const QString addresses = take(kAddresses, bits & 4, request);
        const QString gateway = take(kGateway, bits & 8, request);
        QString options;
        for (int i = 0; i < blocks.size(); ++i)
            options += take(blocks.at(i), bits & (16 << i), request);

        const QString method = dhcp ? QStringLiteral("ipv4.method auto ")
                                    : QStringLiteral("ipv4.method manual ") + addresses +
                                          QLatin1Char(' ') + gateway + QLatin1Char(' ');
        QCOMPARE(line(request), hidden(kHead + method + options + kTail, isHidden));
    }
}

void tst_NmcliWifiLines::enterpriseProfileHasNoPreSharedKey()
{
    QVariantMap request = requestFor(true, true, false);
    take(kPassword, true, request);

    QCOMPARE(line(request), kHead + QStringLiteral("ipv4.method auto ") + kTail);
}

void tst_NmcliWifiLines::plainProfileHasNoEnterpriseBlocks()
{
    QVariantMap request = requestFor(false, true, false);
    for (const Block& block : enterpriseBlocks())
        take(block, true, request);

    QCOMPARE(line(request), kHead + QStringLiteral("ipv4.method auto ") + kTail);
}

void tst_NmcliWifiLines::keyPassPhraseStandsBeforeTheKey()
{
    QVariantMap request = requestFor(true, true, false);
    request.insert(QStringLiteral("802-1x.private-key"), file("r.key"));
    request.insert(QStringLiteral("802-1x.private-key-password"), QStringLiteral("open sesame"));

    QVERIFY(line(request).contains(QStringLiteral(
        " 802-1x.private-key-password \"open sesame\" 802-1x.private-key \"/b/r.key\" ")));
}

void tst_NmcliWifiLines::emptyRequestKeepsTheBlanksOfTheTemplate()
{
    QCOMPARE(ky::addWifiLine({}, QString(), QString()),
             QStringLiteral("sudo nmcli connection add type wifi con-name \"\" ifname  ssid \"\" "
                            "ipv4.method manual    connection.autoconnect true "));
}

void tst_NmcliWifiLines::joinsByPasswordAndHiddenness_data()
{
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("isHidden");
    QTest::addColumn<QString>("line");

    QTest::newRow("password and hidden")
        << "p1" << true << "nmcli device wifi connect 'Robot' password 'p1' hidden yes";
    QTest::newRow("password") << "p1" << false
                              << "nmcli device wifi connect 'Robot' password 'p1' ";
    QTest::newRow("hidden") << "" << true << "nmcli device wifi connect 'Robot' hidden yes";
    QTest::newRow("neither") << "" << false << "nmcli device wifi connect 'Robot' ";
}

void tst_NmcliWifiLines::joinsByPasswordAndHiddenness()
{
    QFETCH(QString, password);
    QFETCH(bool, isHidden);

    QTEST(ky::joinWifiLine(QStringLiteral("Robot"), password, isHidden), "line");
}

void tst_NmcliWifiLines::valuesStayInsideTheirQuotes_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("block");

    QTest::newRow("single quotes") << "password"
                                   << "wifi-sec.psk ''\\''$(id)`\"\\' ";
    QTest::newRow("double quotes") << "802-1x.identity"
                                   << "802-1x.identity \"'\\$(id)\\`\\\"\\\\\" ";
    QTest::newRow("bare") << "802-1x.eap"
                          << "802-1x.eap ''\\''$(id)`\"\\' ";
}

void tst_NmcliWifiLines::valuesStayInsideTheirQuotes()
{
    QFETCH(QString, key);
    QFETCH(QString, block);
    QVariantMap request = requestFor(key != QLatin1String("password"), true, false);
    request.insert(key, QStringLiteral("'$(id)`\"\\"));

    const QString made = line(request);

    QVERIFY2(made.contains(block), qPrintable(made));
}

void tst_NmcliWifiLines::markersInValuesAreNotFilled()
{
    QVariantMap request = requestFor(false, true, true);
    request.insert(QStringLiteral("ssid"), QStringLiteral("%2%4"));
    request.insert(QStringLiteral("password"), QStringLiteral("%1%3"));

    QCOMPARE(line(request),
             QStringLiteral("sudo nmcli connection add type wifi con-name \"%2%4\" ifname wlan0 "
                            "ssid \"%2%4\" ipv4.method auto  wifi-sec.key-mgmt wpa-psk  "
                            "wifi-sec.psk '%1%3'  connection.autoconnect true  wifi.hidden yes "));
}

void tst_NmcliWifiLines::pathsLeadIntoTheBackupFolder()
{
    const QVariantMap request{{QLatin1String(ky::kCaCert), file("ca.pem")}};

    QCOMPARE(ky::certificatePath(request, ky::kCaCert, QStringLiteral("/b")),
             QStringLiteral("/b/ca.pem"));
    QCOMPARE(ky::certificatePath(request, ky::kPrivateKey, QStringLiteral("/b")), QString());
}

void tst_NmcliWifiLines::namesThatLeadOutAreUnsafe_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isUnsafe");

    QTest::newRow("plain") << "ca.pem" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("blanks and quotes") << "a 'b' \"c\"" << false;
    QTest::newRow("two dots inside") << "a..b" << false;
    QTest::newRow("three dots") << "..." << false;
    QTest::newRow("folder above") << "../ca.pem" << true;
    QTest::newRow("folder inside") << "a/ca.pem" << true;
    QTest::newRow("absolute") << "/etc/passwd" << true;
    QTest::newRow("the folder") << "." << true;
    QTest::newRow("the folder above alone") << ".." << true;
    QTest::newRow("zero inside") << QStringLiteral("a%1b").arg(QChar(QChar::Null)) << true;
}

void tst_NmcliWifiLines::namesThatLeadOutAreUnsafe()
{
    QFETCH(QString, name);
    const QVariantMap request{
        {QLatin1String(ky::kClientCert), QVariantMap{{QStringLiteral("fileName"), name}}}};

    QTEST(!ky::unsafeFileName(request).isNull(), "isUnsafe");
}

void tst_NmcliWifiLines::eachOfTheThreeFilesIsLookedAt()
{
    for (const char* key : {ky::kCaCert, ky::kClientCert, ky::kPrivateKey}) {
        const QVariantMap request{{QLatin1String(key), file("../x")}};
        QCOMPARE(ky::unsafeFileName(request), QStringLiteral("../x"));
    }
}

QTEST_GUILESS_MAIN(tst_NmcliWifiLines)
#include "tst_NmcliWifiLines.moc"
