#include "CaptureRows.h"
#include "NetworkFixture.h"
#include "network/tools/IfconfigOutput.h"
#include "network/tools/LshwOutput.h"
#include "network/tools/NmcliOutput.h"
#include "network/tools/RouteTable.h"
#include "network/tools/WpaCliScan.h"
#include "network/tools/WpaCliStatus.h"
#include "support/KeyFile.h"

#include <QRegularExpression>

namespace {

/// Calls `check` with the capture cut at each of its bytes, the whole one included.
template <typename Check>
bool holdsForEachCut(const QByteArray& bytes, Check check)
{
    for (int size = 0; size <= bytes.size(); ++size) {
        if (check(bytes.left(size)))
            continue;
        qWarning("fails when cut at byte %d", size);
        return false;
    }
    return true;
}

/// One "key=value" of a keyfile capture, by its own line.
struct Entry
{
    QByteArray group;
    QByteArray key;
    QByteArray value;
};

QVector<Entry> entriesOf(const QByteArray& content)
{
    QVector<Entry> entries;
    QByteArray group;
    for (const QByteArray& line : content.split('\n')) {
        const int sign = line.indexOf('=');
        if (line.startsWith('['))
            group = line.mid(1, line.indexOf(']') - 1);
        else if (sign > 0 && !group.isEmpty())
            entries.append({group, line.left(sign), line.mid(sign + 1)});
    }
    return entries;
}

bool isCardChosenFrom(const QString& list)
{
    const QStringList names = list.trimmed().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const ky::WirelessCardChoice choice = ky::chooseWirelessCard(list);
    if (names.isEmpty() || list.contains(QLatin1String("error")))
        return !choice.isFound && choice.name.isEmpty();
    if (names.size() == 1)
        return choice.isFound && choice.name == names.first();
    for (const QString& name : names) {
        if (name == QLatin1String("wlan0") || name == QLatin1String("wlp1s0"))
            return choice.isFound && choice.name == name;
    }
    return choice.isFound && choice.name.isEmpty();
}

/// Exit status and command of a capture without its ending.
QPair<int, QString> indexed(const QString& name)
{
    const QStringList lines =
        NetworkFixture::capture(QStringLiteral("INDEX.tsv")).split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const QStringList fields = line.split(QLatin1Char('\t'));
        if (fields.size() > 4 && fields.at(0) == name)
            return {fields.at(1).toInt(), fields.at(4)};
    }
    return {-1, QString()};
}

} // namespace

/// Each reader on every captured output that fits it, whole and cut at each byte.
class tst_CaptureSweeps : public QObject
{
    Q_OBJECT

private slots:
    void everyCardListIsChosenFrom_data() { captureRows("ifconfig", "wireless-card-*.out", 7); }
    void everyCardListIsChosenFrom();
    void cardIsChosenFromAnyText();
    void wordsOfSuccessGoWithTheExitStatus_data() { captureRows("nmcli", "*", 300); }
    void wordsOfSuccessGoWithTheExitStatus();
    void everyWpaStatusIsRead_data() { captureRows("wpa_cli", "status*.out", 10); }
    void everyWpaStatusIsRead();
    void everyKeyfileIsRead_data() { captureRows("keyfile", "*.out", 20); }
    void everyKeyfileIsRead();
    void everyHardwareListIsRead_data() { captureRows("lshw", "*.out", 4); }
    void everyHardwareListIsRead();
    void everyRouteTableIsRead_data() { captureRows("route", "*.out", 6); }
    void everyRouteTableIsRead();
};

void tst_CaptureSweeps::everyCardListIsChosenFrom()
{
    QFETCH(QByteArray, bytes);

    QVERIFY(holdsForEachCut(
        bytes, [](const QByteArray& cut) { return isCardChosenFrom(QString::fromUtf8(cut)); }));
}

void tst_CaptureSweeps::cardIsChosenFromAnyText()
{
    for (const QString& text : hostileTexts()) {
        const ky::WirelessCardChoice choice = ky::chooseWirelessCard(text);
        QCOMPARE(choice.isFound, !text.trimmed().isEmpty());
        QVERIFY(text.contains(choice.name) && !choice.name.contains(QLatin1Char('\n')));
        const QString known = text + QStringLiteral("\nwlp1s0\n");
        QCOMPARE(ky::chooseWirelessCard(known).name, QStringLiteral("wlp1s0"));
    }
}

// No command that failed says so, in no language; each command that reports success and had it
// does.
void tst_CaptureSweeps::wordsOfSuccessGoWithTheExitStatus()
{
    QFETCH(QByteArray, bytes);
    const QString file = QString::fromUtf8(QTest::currentDataTag());
    const auto [status, command] =
        indexed(QStringLiteral("nmcli/") + file.left(file.lastIndexOf(QLatin1Char('.'))));
    QVERIFY(status >= 0);
    static const QRegularExpression reporting(QStringLiteral(
        "nmcli (connection (add|up|down|delete)|d(evice)? (wifi )?(connect|hotspot)) "));
    // Under plain C the words of the tools are English.
    const bool isReport = file.endsWith(QLatin1String(".out")) &&
                          reporting.match(command + QLatin1Char(' ')).hasMatch();

    QCOMPARE(ky::saysSuccess(QString::fromUtf8(bytes)), isReport && status == 0);

    bool hasSaid = false;
    QVERIFY(holdsForEachCut(bytes, [&hasSaid](const QByteArray& cut) {
        const bool says = ky::saysSuccess(QString::fromUtf8(cut));
        const bool isSteady = says || !hasSaid;
        hasSaid = says;
        return isSteady;
    }));
}

void tst_CaptureSweeps::everyWpaStatusIsRead()
{
    QFETCH(QByteArray, bytes);
    const QString whole = QString::fromUtf8(bytes);
    QMap<QString, QString> expected;
    for (const QString& line : whole.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        expected.insert(line.section(QLatin1Char('='), 0, 0), line.section(QLatin1Char('='), 1));

    for (auto entry = expected.constBegin(); entry != expected.constEnd(); ++entry)
        QCOMPARE(ky::wpaStatusValue(whole, entry.key()), entry.value());
    QCOMPARE(ky::isWpaCompleted(whole), whole.contains(QLatin1String("\nwpa_state=COMPLETED\n")));

    const QVariantMap read = ky::parseWpaStatus(whole);
    const QString state = expected.value(QStringLiteral("wpa_state"));
    QVERIFY(holdsForEachCut(bytes, [&](const QByteArray& cut) {
        const QString text = QString::fromUtf8(cut);
        return state.startsWith(ky::wpaStatusValue(text, QStringLiteral("wpa_state"))) &&
               ky::parseWpaStatus(text).size() <= read.size();
    }));
}

void tst_CaptureSweeps::everyKeyfileIsRead()
{
    QFETCH(QByteArray, bytes);
    const ky::KeyFile whole(bytes);
    const QVector<Entry> entries = entriesOf(bytes);

    for (const Entry& entry : entries) {
        if (entry.value.contains('\\'))
            continue; // escapes have their own test
        QCOMPARE(whole.value(entry.group, entry.key), QString::fromUtf8(entry.value));
        QVERIFY(whole.holds(entry.group, entry.key, QString::fromUtf8(entry.value)));
        ky::KeyFile shortened = whole;
        QVERIFY(shortened.remove(entry.group, entry.key));
        const QByteArray line = entry.key + '=' + entry.value + '\n';
        QCOMPARE(shortened.content().size(), bytes.size() - line.size());
        QVERIFY(!shortened.holds(entry.group, entry.key, QString::fromUtf8(entry.value)));
    }

    const QString method = whole.value("ipv4", "method");
    QVERIFY(holdsForEachCut(bytes, [&method](const QByteArray& cut) {
        ky::KeyFile part(cut);
        const bool isPart = method.startsWith(part.value("ipv4", "method"));
        part.ssid("wifi", "ssid");
        part.remove("ipv4", "method");
        return isPart && part.content().size() <= cut.size();
    }));
}

void tst_CaptureSweeps::everyHardwareListIsRead()
{
    QFETCH(QByteArray, bytes);
    QCOMPARE(ky::wiredDriver(QString::fromUtf8(bytes)), QString());

    // Worded as it is sought, the first card counts, whose driver is in its own entry.
    QVERIFY(bytes.contains("description: Ethernet interface"));
    bytes.replace("description: Ethernet interface", "description: Wired interface");
    const QString whole = QString::fromUtf8(bytes);
    static const QRegularExpression first(
        QStringLiteral("description: Wired interface\n(?:.*\n)*?.*configuration:.* driver=(\\S+)"));
    const QString driver = first.match(whole).captured(1);
    QVERIFY(!driver.isEmpty());
    QCOMPARE(ky::wiredDriver(whole), driver);
    QVERIFY(holdsForEachCut(bytes, [&driver](const QByteArray& cut) {
        return driver.startsWith(ky::wiredDriver(QString::fromUtf8(cut)));
    }));
}

void tst_CaptureSweeps::everyRouteTableIsRead()
{
    QFETCH(QByteArray, bytes);
    const QMap<QByteArray, QByteArray> gateways{
        {"proc-net-route-none.c.out", ""},
        {"proc-net-route-wifi-dhcp.c.out", "10.77.0.1"},
        {"proc-net-route-wifi-static.c.out", "10.77.0.1"},
        {"proc-net-route-wifi-static.zh.out", "10.77.0.1"},
        {"proc-net-route-wired-static.c.out", "192.168.55.2"},
        {"proc-net-route-wired-static.zh.out", "192.168.55.2"}};
    const QByteArray file = QTest::currentDataTag();
    QVERIFY(gateways.contains(file));
    const char* const device = file.contains("wired") ? "eth1" : "wlan0";
    QList<QByteArray> found;
    for (const QByteArray& line : bytes.split('\n')) {
        const auto whole = ky::gatewayInRoute(line, device);
        if (whole)
            found << *whole;
        QVERIFY(!ky::gatewayInRoute(line, "can0"));
        QVERIFY(holdsForEachCut(line, [&](const QByteArray& cut) {
            const auto part = ky::gatewayInRoute(cut, device);
            return !part || part == whole;
        }));
    }

    QCOMPARE(found.join(' '), gateways.value(file));
}

QTEST_GUILESS_MAIN(tst_CaptureSweeps)
#include "tst_CaptureSweeps.moc"
