#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "support/HostRoot.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

namespace {

// A tool that leaves its own name and its arguments in a file of its own, each with a zero behind
// it, and answers as nmcli does.
constexpr char kStandIn[] = "#!/bin/sh\n"
                            "printf '%s\\0' \"${0##*/}\" \"$@\" > \"$RECORD/$$\"\n"
                            "case \"$*\" in *'type wifi'*) exit 1;; esac\n"
                            "echo successfully\n";

using Call = QStringList;

/// Has a wired card of any name.
class NetworkOfCard : public SystemNetwork
{
public:
    explicit NetworkOfCard(const QString& card)
        : SystemNetwork(nullptr)
    {
        _aLXB10NetworkCardName = card;
    }
};

} // namespace

/// Real commands, so real shells, with stand-ins for the tools: what a request holds must arrive as
/// exactly that, and nothing else may run.
class tst_HostileValues : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void valueArrivesAsItIs_data();
    void valueArrivesAsItIs();
    void otherOperationsPassItAsItIs_data() { valueArrivesAsItIs_data(); }
    void otherOperationsPassItAsItIs();
    void cardToForgetArrivesAsItIs_data();
    void cardToForgetArrivesAsItIs();
    void passPhraseOfAProfileArrivesAsItIs_data() { valueArrivesAsItIs_data(); }
    void passPhraseOfAProfileArrivesAsItIs();
    void describedProfileArrivesAsItIs_data() { valueArrivesAsItIs_data(); }
    void describedProfileArrivesAsItIs();
    void zeroIsRefusedByTheShell();

private:
    QList<Call> calls() const;
    void putStandIn(const QString& name, const QByteArray& script);

    QTemporaryDir _home;
    std::unique_ptr<ky::HostRoot> _root;
};

void tst_HostileValues::putStandIn(const QString& name, const QByteArray& script)
{
    QFile file(_home.filePath(QStringLiteral("bin/") + name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(script);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void tst_HostileValues::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.network=false"));
    QDir::setCurrent(_home.path());
    _root = std::make_unique<ky::HostRoot>(_home.path());
    QDir().mkpath(QStringLiteral("bin"));
    for (const char* name : {"nmcli", "wpa_cli", "ping", "grep", "reboot", "id", "touch", "rm"})
        putStandIn(QLatin1String(name), kStandIn);
    putStandIn(QStringLiteral("sudo"), "#!/bin/sh\nexec \"$@\"\n");
    putStandIn(QStringLiteral("awk"), "#!/bin/sh\necho wlan0\n");
    putStandIn(QStringLiteral("ifconfig"), "#!/bin/sh\n");
    qputenv("RECORD", _home.filePath(QStringLiteral("record")).toUtf8());
    qputenv("PATH", _home.filePath(QStringLiteral("bin")).toUtf8() + ":" + qgetenv("PATH"));
    PublicClass::init()->hardwareType = -2;
    PublicClass::init()->settingsFile = _home.filePath(QStringLiteral("main.ini"));
    PublicClass::init()->writeIni(PublicClass::init()->settingsFile,
                                  QStringLiteral("AppInfo/networkBackup"),
                                  _home.filePath(QStringLiteral("backup")));
}

void tst_HostileValues::init()
{
    QDir(_home.filePath(QStringLiteral("record"))).removeRecursively();
    QDir().mkpath(_home.filePath(QStringLiteral("record")));
}

QList<Call> tst_HostileValues::calls() const
{
    QList<Call> calls;
    const QDir record(_home.filePath(QStringLiteral("record")));
    for (const QString& name : record.entryList(QDir::Files)) {
        QFile file(record.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        QList<QByteArray> parts = file.readAll().split('\0');
        parts.removeLast();
        Call call;
        for (const QByteArray& part : qAsConst(parts))
            call << QString::fromUtf8(part);
        calls << call;
    }
    // Both ends of a pipe run at once: the order is no matter here.
    std::sort(calls.begin(), calls.end());
    return calls;
}

void tst_HostileValues::valueArrivesAsItIs_data()
{
    QTest::addColumn<QString>("value");

    QTest::newRow("single quotes") << "a'b''c'";
    QTest::newRow("end of the quotes and a command") << "a'; reboot; '";
    QTest::newRow("double quotes") << "a\"; reboot; \"b";
    QTest::newRow("command substitution") << "$(reboot)";
    QTest::newRow("backticks") << "`reboot`";
    QTest::newRow("variable") << "$HOME${PATH}$$";
    QTest::newRow("backslashes") << "a\\b\\\\c\\";
    QTest::newRow("backslash and quotes") << "\\'\\\"";
    QTest::newRow("operators") << "a;reboot&id|touch x>y<z";
    QTest::newRow("new lines") << "a\nreboot\nb";
    QTest::newRow("globs and blanks") << "* ? [a-z] {a,b} ~ !x #y";
    QTest::newRow("markers") << "%1%2%3%11%%";
    QTest::newRow("option") << "-x";
    QTest::newRow("Chinese") << QStringLiteral(u"机器人'网络");
    QTest::newRow("32 bytes of control codes and Latin-1")
        << QString::fromLatin1("\x01\x02\x03\x04\x05\x06\x07\x08\x0e\x0f\x10\x11\x12\x13\x14\x15"
                               "\x16\x17\x18\x19\x1a\x1b\x1e\x7f\x80\x81\xa1\xb2\xc3\xd4\xe5\xff");
    QTest::newRow("10 000 characters") << QStringLiteral("a'\"$(").repeated(2000);
}

void tst_HostileValues::valueArrivesAsItIs()
{
    QFETCH(QString, value);
    SystemNetwork network(nullptr);
    QString uuid;

    QVERIFY(network.connectWindowWifi(value, value, false));
    network.connectDeviceCard(value);
    network.getUuidBySsid(value, uuid);
    network.getConnectionActiveiUUID(value, uuid);
    network.pingIP(value);

    const QString nmcli = QStringLiteral("nmcli");
    const QString grep = QStringLiteral("grep");
    QList<Call> expected{
        {nmcli, "connection", "show"},
        {grep, "wifi"},
        {nmcli, "device", "wifi", "connect", value, "password", value},
        {nmcli, "connection", "modify", value, "connection.autoconnect", "yes"},
        {nmcli, "device", "connect", value},
        {nmcli, "connection", "show"},
        {grep, value},
        {"wpa_cli", "-i", value, "status"},
        {"ping", "-c", "1", value},
        {grep, "%"},
    };
    std::sort(expected.begin(), expected.end());
    QCOMPARE(calls(), expected);
}

void tst_HostileValues::otherOperationsPassItAsItIs()
{
    QFETCH(QString, value);
    SystemNetwork network(nullptr);
    QVariantMap info;

    QVERIFY(network.connectWindowWifi(value, value, true));
    QVERIFY(network.connectWindowWifi2(value, QString(), false));
    network.getNetInfo(value, info);

    const QString nmcli = QStringLiteral("nmcli");
    const QString grep = QStringLiteral("grep");
    QList<Call> expected{
        {nmcli, "connection", "show"},
        {grep, "wifi"},
        {nmcli, "device", "wifi", "connect", value, "password", value, "hidden", "yes"},
        {nmcli, "connection", "modify", value, "connection.autoconnect", "yes"},
        {nmcli, "d", "wifi", "connect", value},
        {nmcli, "device", "show", value},
        {nmcli, "connection", "show", "--active"},
    };
    std::sort(expected.begin(), expected.end());
    QCOMPARE(calls(), expected);
}

void tst_HostileValues::cardToForgetArrivesAsItIs_data()
{
    QTest::addColumn<QString>("value");

    QTest::newRow("single quotes") << "a'b''c'";
    QTest::newRow("double quotes") << "a\"b\"";
    QTest::newRow("command substitution") << "`reboot`";
    QTest::newRow("operators") << "a;id&b|c>d<e";
    QTest::newRow("globs") << "a?{b,c}~!#";
    QTest::newRow("markers") << "%1%2%3%11%%";
}

/// The kernel takes such names for a card, and to grep they are no expressions.
void tst_HostileValues::cardToForgetArrivesAsItIs()
{
    QFETCH(QString, value);
    NetworkOfCard network(value);

    network.deleteConnections(value);

    QCOMPARE(calls(), (QList<Call>{{"grep", value}, {"nmcli", "connection", "show"}}));
}

void tst_HostileValues::passPhraseOfAProfileArrivesAsItIs()
{
    QFETCH(QString, value);
    SystemNetwork network(nullptr);

    network.runIwconfig(
        {{QStringLiteral("interface"), QStringLiteral("connectWifi")},
         {QStringLiteral("connectWifi"), QVariantMap{{QStringLiteral("ssid"), value},
                                                     {QStringLiteral("dhcp"), true},
                                                     {QStringLiteral("password"), value}}}});

    const Call add{"nmcli",   "connection",
                   "add",     "type",
                   "wifi",    "con-name",
                   value,     "ifname",
                   "wlan0",   "ssid",
                   value,     "ipv4.method",
                   "auto",    "wifi-sec.key-mgmt",
                   "wpa-psk", "wifi-sec.psk",
                   value,     "connection.autoconnect",
                   "true"};
    QCOMPARE(calls().size(), 5);
    QVERIFY(calls().contains(add));
}

void tst_HostileValues::describedProfileArrivesAsItIs()
{
    QFETCH(QString, value);
    const QVariantMap file{{QStringLiteral("fileName"), value}};
    QVariantMap wifi{{QStringLiteral("verification"), true},
                     {QStringLiteral("nonBroadcast"), true},
                     {QStringLiteral("802-1x.ca-cert"), file},
                     {QStringLiteral("802-1x.client-cert"), file},
                     {QStringLiteral("802-1x.private-key"), file}};
    for (const char* key : {"ssid", "ipv4.gateway", "ipv4.addresses", "802-1x.eap",
                            "wifi-sec.key-mgmt", "802-1x.phase2-auth", "802-1x.identity",
                            "802-1x.password", "802-1x.private-key-password"})
        wifi.insert(QLatin1String(key), value);
    SystemNetwork network(nullptr);

    network.runIwconfig({{QStringLiteral("interface"), QStringLiteral("connectWifi")},
                         {QStringLiteral("connectWifi"), wifi}});

    const QString path = _home.filePath(QStringLiteral("backup/")) + value;
    const Call add{"nmcli",  "connection",
                   "add",    "type",
                   "wifi",   "con-name",
                   value,    "ifname",
                   "wlan0",  "ssid",
                   value,    "ipv4.method",
                   "manual", "ipv4.addresses",
                   value,    "ipv4.gateway",
                   value,    "wifi-sec.key-mgmt",
                   value,    "802-1x.eap",
                   value,    "802-1x.phase2-auth",
                   value,    "802-1x.identity",
                   value,    "802-1x.password",
                   value,    "802-1x.client-cert",
                   path,     "802-1x.ca-cert",
                   path,     "802-1x.private-key-password",
                   value,    "802-1x.private-key",
                   path,     "connection.autoconnect",
                   "true",   "wifi.hidden",
                   "yes"};
    const QList<Call> made = calls();
    if (value.size() == 10000) { // 15 of these are more than the kernel takes as one argument
        QCOMPARE(network.getLastError(),
                 QStringLiteral("start of /bin/sh: Argument list too long"));
        QCOMPARE(made.size(), 4);
        return;
    }
    QCOMPARE(made.size(), 5);
    QVERIFY(made.contains(add));
    QVERIFY(made.contains(Call({"nmcli", "connection", "show"})));
    QCOMPARE(QFile::exists(path), value.size() < 256);
    QFile::remove(path);
}

void tst_HostileValues::zeroIsRefusedByTheShell()
{
    const QString value = QStringLiteral("eth0%1; reboot").arg(QChar(QChar::Null));
    SystemNetwork network(nullptr);

    QVERIFY(!network.connectDeviceCard(value));
    QVERIFY(!network.connectWindowWifi(value, value, true));

    QCOMPARE(calls(), (QList<Call>{{"grep", "wifi"}, {"nmcli", "connection", "show"}}));
}

QTEST_GUILESS_MAIN(tst_HostileValues)
#include "tst_HostileValues.moc"
