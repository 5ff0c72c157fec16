#include "NetworkFixture.h"

#include <QSignalSpy>
#include <QTest>

#include <cstdlib>

namespace {

const QString kLink = QStringLiteral("iw wlan0 link");
const QString kScan = QStringLiteral("sudo wpa_cli -i wlan0 scan");
const QString kScanResult = QStringLiteral("sudo wpa_cli -i wlan0 scan_result");
const QString kRoamStart = QStringLiteral("sudo wpa_cli -i wlan0 roam '");
const QString kConnect = QStringLiteral("sudo nmcli connection up uuid-1 ifname wlan0");
const QString kPing = QStringLiteral("ping -c 1 10.0.0.1 |grep % ");
const QString kFindCard =
    QStringLiteral("ifconfig | grep flag | grep w | awk '{print $1 t }' | cut -d: -f1");
constexpr int kSteps = 200;
constexpr int kFaintestDbm = -95;
constexpr int kThresholdDbm = -66;

/// A corridor of 200 m, driven at one metre a step. Each access point has its peak level at its
/// place and loses 1 dB a metre.
struct Beacon
{
    const char* bssid;
    int frequencyMhz;
    int placeM;
    int peakDbm;
};

constexpr Beacon kCorridor[] = {
    {"A", 5180, 0, -40},   {"B", 2412, 60, -40},  {"C", 5220, 120, -40},
    {"E", 2437, 120, -30}, {"D", 5745, 200, -40}, {"F", 5785, 190, -80},
};

bool between(int step, int first, int last)
{
    return step >= first && step <= last;
}

} // namespace

/// A whole drive: access points come and go along a path of 200 cycles of supervision, with
/// probing, faults and changed settings on the way.
class tst_Drive : public QObject
{
    Q_OBJECT

private slots:
    void corridorIsDrivenAsWorkedOutByHand();

private:
    void takeStep(int step);
    void answer(const RecordedHost::Call& call);
    int levelDbm(const Beacon& beacon) const;
    QString linkText() const;
    QString scanText() const;
    void note(const QString& what) { _events << QStringLiteral("%1 %2").arg(_step).arg(what); }

    std::unique_ptr<NetworkFixture> _fixture;
    std::unique_ptr<OpenNetwork> _network;
    int _step = 0;
    QString _current = QStringLiteral("A");
    bool _isSiteUp = true;
    QStringList _events;
    QStringList _quietStepsThatWereNot;
};

int tst_Drive::levelDbm(const Beacon& beacon) const
{
    const bool isJammed = beacon.bssid == QByteArray("D") && between(_step, 185, 189);
    return beacon.peakDbm - std::abs(_step - beacon.placeM) - (isJammed ? 31 : 0);
}

QString tst_Drive::linkText() const
{
    for (const Beacon& beacon : kCorridor) {
        if (_current == QLatin1String(beacon.bssid) && _isSiteUp)
            return QStringLiteral("Connected to %1 (on wlan0)\n\tSSID: site\n\tfreq: %2\n"
                                  "\tsignal: %3 dBm\n")
                .arg(_current)
                .arg(beacon.frequencyMhz)
                .arg(levelDbm(beacon));
    }
    return QStringLiteral("Not connected.\n");
}

QString tst_Drive::scanText() const
{
    QString text = QStringLiteral("bssid / frequency / signal level / flags / ssid\n");
    for (const Beacon& beacon : kCorridor) {
        if (levelDbm(beacon) >= kFaintestDbm)
            text += QStringLiteral("%1\t%2\t%3\t[WPA2-PSK-CCMP][ESS]\tsite\n")
                        .arg(QLatin1String(beacon.bssid))
                        .arg(beacon.frequencyMhz)
                        .arg(levelDbm(beacon));
    }
    return text;
}

/// The site answers, and moves the robot's link when it is told to.
void tst_Drive::answer(const RecordedHost::Call& call)
{
    RecordedHost& host = _fixture->host();
    if (call.line.startsWith(kRoamStart)) {
        _current = call.line.mid(kRoamStart.size(), 1);
        note(QStringLiteral("roam ") + _current);
    } else if (call.line == kConnect) {
        note(_isSiteUp ? QStringLiteral("connect") : QStringLiteral("connect fails"));
        host.answerOthers({_isSiteUp ? QStringLiteral("Connection successfully activated\n")
                                     : QStringLiteral("Error: Timeout expired (8 seconds)"),
                           _isSiteUp});
        if (_isSiteUp && _current.isEmpty())
            _current = QStringLiteral("E");
    } else if (call.line == kLink) {
        if (_step == 195) // the operator bans the card in mid-cycle
            _network->setIsDisableWirelessNetworkCard(true);
        host.answerOthers({linkText(), true});
    } else if (call.line == kScan) {
        host.answerOthers(
            {_step == 169 ? QStringLiteral("FAIL-BUSY\n") : QStringLiteral("OK\n"), true});
    } else if (call.line == kScanResult) {
        const bool hangs = _step == 89;
        host.answerOthers(
            {hangs ? QStringLiteral("no answer within 20000 ms") : scanText(), !hangs});
    } else if (call.line == kPing) {
        const bool isLost = between(_step, 130, 133) || between(_step, 160, 164);
        host.answerOthers({isLost ? QStringLiteral("0 received, 100% packet loss")
                                  : QStringLiteral("1 received, 0% packet loss"),
                           true});
    } else if (call.line == kFindCard) {
        host.answerOthers({QStringLiteral("wlan0\n"), true});
    }
}

void tst_Drive::takeStep(int step)
{
    _step = step;
    const int callsBefore = _fixture->host().calls().size();
    _network->_isSwitchOnlyTo5G = between(step, 30, 36);
    const bool isProbing = between(step, 120, 139) || between(step, 160, 164);
    _network->_disconnectionMethod = isProbing ? 1 : 0;
    _network->_isResetWirelessNetworkCard = step < 140;
    _isSiteUp = !between(step, 110, 112);
    if (step == 110)
        _current.clear();
    if (step == 198)
        _network->setIsDisableWirelessNetworkCard(false);
    const QString link = linkText();

    _network->slotAutoConnectEth1Ethernet();

    const int level =
        link.section(QStringLiteral("signal: "), 1).section(QLatin1Char(' '), 0, 0).toInt();
    const bool isQuiet =
        !isProbing && level < 0 && level > kThresholdDbm && !between(step, 196, 197);
    if (isQuiet && _fixture->host().lines().mid(callsBefore) != QStringList{kLink})
        _quietStepsThatWereNot << QString::number(step);
}

// A falls below -66 at 26 m. B is better by 2x-60, so by 7 or more from 34 m on, but is 2.4 GHz,
// which is not wanted from 30 to 36 m. B falls below at 86 m; E is better by 2x-170, so by 7 from
// 89 m, where the table cannot be read. The site is off from 110 to 112 m. E falls below at 156 m;
// D is better by 2x-330, so by 7 from 169 m, where the scan is busy. Jammed at 185 m, D is at -86,
// F at -85: at the floor one decibel is enough. D is itself again at 190 m, 30 dB above F.
void tst_Drive::corridorIsDrivenAsWorkedOutByHand()
{
    _fixture = std::make_unique<NetworkFixture>();
    _fixture->writeProfile(QStringLiteral("site.nmconnection"),
                           "[connection]\nuuid=uuid-1\ntype=wifi\n");
    _network = std::make_unique<OpenNetwork>();
    _network->_wirelessCardName = QStringLiteral("wlan0");
    _network->_isEnabledRoaming = true;
    _network->_pingIp = QStringLiteral("10.0.0.1");
    _network->_isDisconnectionSendError = true;
    connect(_network.get(), &SystemNetwork::sigWriteTcpClient, this,
            [this](const QString&, int, int type) { note(QString::number(type)); });
    _fixture->host().onCall([this](const RecordedHost::Call& call) { answer(call); });

    for (int step = 0; step < kSteps; ++step)
        takeStep(step);

    const QStringList expected{
        "37 roam B",   "90 roam E",   "110 connect fails", "111 connect fails", "112 connect fails",
        "113 connect", "120 4803",    "121 4803",          "122 4803",          "123 4803",
        "124 4803",    "125 4803",    "126 4803",          "127 4803",          "128 4803",
        "129 4803",    "130 4802",    "130 connect",       "131 4802",          "131 connect",
        "132 4802",    "132 connect", "133 4802",          "133 connect",       "134 4803",
        "135 4803",    "136 4803",    "137 4803",          "138 4803",          "139 4803",
        "160 4802",    "161 4802",    "162 4802",          "163 4802",          "164 4802",
        "170 roam D",  "185 roam F",  "190 roam D",
    };
    QCOMPARE(_events, expected);
    QCOMPARE(_quietStepsThatWereNot, QStringList());
    QCOMPARE(_current, QStringLiteral("D"));
    _network.reset();
    _fixture.reset();
}

QTEST_GUILESS_MAIN(tst_Drive)
#include "tst_Drive.moc"
