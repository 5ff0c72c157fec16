#include "LogCapture.h"
#include "NetworkFixture.h"

#include <QTest>

#include <memory>

namespace {

const QString kCardsLine =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
const QString kUntouched = QStringLiteral("untouched");

} // namespace

class tst_NetworkUtilities : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        _fixture = std::make_unique<NetworkFixture>();
        _network = std::make_unique<OpenNetwork>(nullptr);
    }
    void cleanup()
    {
        _network.reset();
        _fixture.reset();
    }

    void findsTheWirelessCard_data();
    void findsTheWirelessCard();
    void failedListIsTheLastError();
    void cardListIsLogged();
    void pingSucceedsByItsWords_data();
    void pingSucceedsByItsWords();
    void lostPingLeavesTheLastErrorAlone();
    void failedPingIsTheLastError();
    void emptyAddressIsNotPinged();
    void addressesAreThoseOfInetAton_data();
    void addressesAreThoseOfInetAton();
    void masksGiveTheirLength_data();
    void masksGiveTheirLength();
    void hexPairsBecomeDecimals_data();
    void hexPairsBecomeDecimals();
    void decodesSsidEscapes_data();
    void decodesSsidEscapes();
    void olderDecoderLeavesTheLastDigits_data();
    void olderDecoderLeavesTheLastDigits();
    void olderDecoderLogs();
    void decodersReadAnything();
    void reservedOperationsDoNothing();

private:
    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
};

void tst_NetworkUtilities::findsTheWirelessCard_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("isFound");
    QTest::addColumn<QString>("name");
    const auto captured = [](const char* file) {
        return NetworkFixture::capture(
            QStringLiteral("ifconfig/wireless-card-%1.c.out").arg(QLatin1String(file)));
    };

    QTest::newRow("one") << captured("one") << true << "wlan0";
    QTest::newRow("none") << captured("none") << false << kUntouched;
    QTest::newRow("down") << captured("down") << false << kUntouched;
    QTest::newRow("radio blocked") << captured("rfkill") << false << kUntouched;
    QTest::newRow("another card with a w") << captured("other-w") << true << "wlan0";
    QTest::newRow("several") << captured("several") << true << "wlan0";
    QTest::newRow("several, both known") << captured("several-wlp") << true << "wlan0";
    QTest::newRow("known one listed last") << "wwan0\nwlp1s0\n" << true << "wlp1s0";
    QTest::newRow("one of another name") << "wlan6\n" << true << "wlan6";
    QTest::newRow("two, none known") << "wwan0\nwlan6\n" << true << kUntouched;
    QTest::newRow("known name with a blank") << "wlan0 \nwlan6\n" << true << kUntouched;
    QTest::newRow("blanks alone") << " \n \n" << false << kUntouched;
    QTest::newRow("error") << "ifconfig: error fetching interface" << false << kUntouched;
    QTest::newRow("error among cards") << "wlan0\nerror\n" << false << kUntouched;
}

void tst_NetworkUtilities::findsTheWirelessCard()
{
    QFETCH(QString, output);
    QFETCH(bool, isFound);
    _fixture->host().answer(kCardsLine, output);
    QString name = kUntouched;

    QCOMPARE(_network->getWirelessCardName(name), isFound);

    QTEST(name, "name");
    QCOMPARE(_network->getLastError(),
             isFound ? QString()
                     : QStringLiteral("Wireless card not found: It may have been disabled"));
    QCOMPARE(_fixture->host().lines(), QStringList{kCardsLine});
    QCOMPARE(_fixture->host().calls().first().limitMs, 20000);
}

void tst_NetworkUtilities::failedListIsTheLastError()
{
    _fixture->host().fail(kCardsLine, QStringLiteral("sh: 1: ifconfig: not found"));
    QString name = kUntouched;

    QVERIFY(!_network->getWirelessCardName(name));

    QCOMPARE(_network->getLastError(), QStringLiteral("sh: 1: ifconfig: not found"));
    QCOMPARE(name, kUntouched);
}

void tst_NetworkUtilities::cardListIsLogged()
{
    const LogCapture log("ky.network");
    _fixture->host().answer(kCardsLine, QStringLiteral("wlan0\n"));
    QString name;

    _network->getWirelessCardName(name);

    QVERIFY(LogCapture::holds(QStringLiteral("[debug][getWirelessCardName][info: wlan0 ]")));
}

void tst_NetworkUtilities::pingSucceedsByItsWords_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<bool>("isUp");

    QTest::newRow("answered") << NetworkFixture::capture(QStringLiteral("ping/good.c.out")) << true;
    QTest::newRow("answered, Chinese")
        << NetworkFixture::capture(QStringLiteral("ping/good.zh.out")) << true;
    QTest::newRow("nobody there") << NetworkFixture::capture(
                                         QStringLiteral("ping/loss-in-net.c.out"))
                                  << false;
    QTest::newRow("lost") << "1 packets transmitted, 0 received, 100% packet loss, time 0ms"
                          << false;
    QTest::newRow("answered twice")
        << "1 packets transmitted, 1 received, +1 duplicates, 0% packet loss, time 0ms" << false;
    QTest::newRow("nothing printed") << "" << false;
}

void tst_NetworkUtilities::pingSucceedsByItsWords()
{
    QFETCH(QString, output);
    _fixture->host().answer(QStringLiteral("ping -c 1 10.77.0.1 |grep % "), output);

    QTEST(_network->pingIP(QStringLiteral("10.77.0.1")), "isUp");

    QCOMPARE(_fixture->host().calls().size(), 1);
    QCOMPARE(_fixture->host().calls().first().limitMs, 20000);
}

void tst_NetworkUtilities::lostPingLeavesTheLastErrorAlone()
{
    _network->setLastError(QStringLiteral("before"));
    _fixture->host().answer(QStringLiteral("ping -c 1 10.0.0.1 |grep % "),
                            QStringLiteral("1 packets transmitted, 0 received, 100% packet loss"));

    QVERIFY(!_network->pingIP(QStringLiteral("10.0.0.1")));

    QCOMPARE(_network->getLastError(), QStringLiteral("before"));
}

void tst_NetworkUtilities::failedPingIsTheLastError()
{
    const QString text = NetworkFixture::capture(QStringLiteral("ping/no-route.c.err"));
    _fixture->host().fail(QStringLiteral("ping -c 1 10.77.0.1 |grep % "), text);

    QVERIFY(!_network->pingIP(QStringLiteral("10.77.0.1")));

    QCOMPARE(_network->getLastError(), text);
}

void tst_NetworkUtilities::emptyAddressIsNotPinged()
{
    QVERIFY(!_network->pingIP(QString()));

    QCOMPARE(_network->getLastError(), QStringLiteral("IP is empty"));
    QVERIFY(_fixture->host().lines().isEmpty());
}

void tst_NetworkUtilities::addressesAreThoseOfInetAton_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<bool>("isValid");

    QTest::newRow("dotted") << "10.0.0.7" << true;
    QTest::newRow("two parts") << "10.5" << true;
    QTest::newRow("number") << "1" << true;
    QTest::newRow("hexadecimal") << "0x0a000007" << true;
    QTest::newRow("too large") << "10.0.0.256" << false;
    QTest::newRow("five parts") << "10.0.0.0.7" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("name") << "robot" << false;
    QTest::newRow("marker") << "%2" << false;
}

void tst_NetworkUtilities::addressesAreThoseOfInetAton()
{
    QFETCH(QString, ip);
    QFETCH(bool, isValid);

    QCOMPARE(_network->isValidIp(ip), isValid);

    QCOMPARE(_network->getLastError(), isValid ? QString() : QStringLiteral("Wrong IP:") + ip);
}

void tst_NetworkUtilities::masksGiveTheirLength_data()
{
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QString>("bits");

    QTest::newRow("24") << "255.255.255.0"
                        << "24";
    QTest::newRow("0") << "0.0.0.0"
                       << "0";
    QTest::newRow("32") << "255.255.255.255"
                        << "32";
    QTest::newRow("hole") << "255.0.255.0"
                          << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("prefix") << "24"
                            << "";
}

void tst_NetworkUtilities::masksGiveTheirLength()
{
    QFETCH(QString, mask);
    QFETCH(QString, bits);

    QCOMPARE(_network->isValidMask(mask), bits);

    QCOMPARE(_network->getLastError(),
             bits.isEmpty() ? QStringLiteral("wrong subnet mask:") + mask : QString());
}

void tst_NetworkUtilities::hexPairsBecomeDecimals_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("decimals");

    QTest::newRow("two") << "0a1f"
                         << "10 31";
    QTest::newRow("upper case") << "FF"
                                << "255";
    QTest::newRow("no number") << "0azz1f"
                               << "10 ? 31";
    QTest::newRow("odd length") << "0a1"
                                << "10 1";
    QTest::newRow("sign") << "-1"
                          << "?";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_NetworkUtilities::hexPairsBecomeDecimals()
{
    QFETCH(QString, text);

    QTEST(_network->hexToQString(text), "decimals");
}

void tst_NetworkUtilities::decodesSsidEscapes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("decoded");

    QTest::newRow("no escape") << "Robot\\Net"
                               << "Robot\\Net";
    QTest::newRow("one character of three bytes and a letter")
        << "\\xe4\\xb8\\xada" << QStringLiteral(u"中a");
    QTest::newRow("escapes apart") << "\\x41b\\x43"
                                   << "AbC";
    QTest::newRow("buffer ends at a NUL") << "\\x41\\x00\\x42c"
                                          << "Ac";
    QTest::newRow("other backslashes go") << "\\x41\\nb\\\\c"
                                          << "Anbc";
    QTest::newRow("x alone") << "x\\x41x"
                             << "xAx";
    QTest::newRow("cut behind the x") << "a\\x"
                                      << "a";
    QTest::newRow("cut inside") << "a\\x4"
                                << "a\x04";
    QTest::newRow("upper case") << "\\xE4\\xB8\\xAD" << QStringLiteral(u"中");
}

void tst_NetworkUtilities::decodesSsidEscapes()
{
    QFETCH(QString, text);

    QTEST(_network->hexStringToStr(text), "decoded");
}

void tst_NetworkUtilities::olderDecoderLeavesTheLastDigits_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("decoded");

    QTest::newRow("no escape") << "RobotNet"
                               << "RobotNet";
    QTest::newRow("last two digits stay") << "\\x41\\x42\\x43"
                                          << "AB43";
    QTest::newRow("lower case does not match") << "\\xe4\\xb8\\xad"
                                               << "\\xe4\\xb8\\xad";
    QTest::newRow("text around") << "a \\x41\\x42 b"
                                 << "a A42 b";
    QTest::newRow("one escape") << "\\x41"
                                << "41";
    QTest::newRow("bar counts as digit") << "\\x41||"
                                         << "A||";
    QTest::newRow("second run if the first has no digits") << "\\xzz \\x41\\x42"
                                                           << "zz A42";
    QTest::newRow("nothing behind") << "\\x"
                                    << "\\x";
    QTest::newRow("one digit behind") << "\\x4"
                                      << "\\x4";
}

void tst_NetworkUtilities::olderDecoderLeavesTheLastDigits()
{
    QFETCH(QString, text);

    QTEST(_network->hexStringToStr2(text), "decoded");
}

void tst_NetworkUtilities::olderDecoderLogs()
{
    const LogCapture log("ky.network");

    _network->hexStringToStr2(QStringLiteral("\\x41\\x42"));

    QCOMPARE(LogCapture::lines(),
             QStringList{QStringLiteral("[debug][hexStringToStr2]hexStringToStr2 41 A42")});
}

void tst_NetworkUtilities::decodersReadAnything()
{
    for (const QString& text : hostileTexts()) {
        _network->hexStringToStr(text);
        _network->hexStringToStr2(text);
        _network->hexToQString(text);
        QVERIFY(_network->hexStringToStr(QStringLiteral("\\x41") + text).startsWith(u'A'));
    }
    const QString escapes = QStringLiteral("\\x").repeated(1 << 18);
    QCOMPARE(_network->hexStringToStr(escapes), QString());
    QCOMPARE(_network->hexStringToStr2(escapes), escapes);
    const QString whole = QStringLiteral("a\\xe4\\xb8\\xadb");
    for (int size = 0; size <= whole.size(); ++size)
        QVERIFY(_network->hexStringToStr(whole.left(size)).size() <= size);
}

void tst_NetworkUtilities::reservedOperationsDoNothing()
{
    QVariantList list{1};

    QVERIFY(_network->getWifiList(list));
    QVERIFY(_network->setNetworkCardStatus(QStringLiteral("wlan0"), false));
    QVERIFY(_fixture->host().lines().isEmpty());
    QVERIFY(_network->setWLanProfile(QStringLiteral("a"), QStringLiteral("b"), true));

    QCOMPARE(list, QVariantList{1});
    QCOMPARE(_fixture->host().lines(), QStringList{QStringLiteral("sleep 3")});
}

QTEST_GUILESS_MAIN(tst_NetworkUtilities)
#include "tst_NetworkUtilities.moc"
