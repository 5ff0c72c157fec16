#include "DaemonFixture.h"

#include <QFile>
#include <QTest>

#include <memory>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

/// Network commands over the wire, without any tool of the host: what is asked arrives, and what
/// fails is answered.
class tst_DaemonNetwork : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { _daemon.reset(); }

    void interfacesAreListed();
    void cardsAreListed();
    void cardNeedsANameOrARole();
    void switchingACardNeedsItsKind();
    void roamTakesAnAddressOnly();
    void unknownCardIsAnError();
    void settingsAreShownWithoutPassPhrases();
    void joiningNeedsAName();
    void descriptionMustBeAJsonObject();
    void filesOfAnEndlessSizeAreRefused();
    void fileNamesThatLeadOutAreRefused();
    void certificateIsReadFromItsPath();
    void unknownProfileIsAnError();
    void passwordIsReadWithoutEcho();
    void requiredArgumentsAreNamed_data();
    void requiredArgumentsAreNamed();
    void unknownRoleIsAnError_data();
    void unknownRoleIsAnError();
    void onlyACardOfTheHostIsForgotten_data();
    void onlyACardOfTheHostIsForgotten();
    void removalThatFailsIsAnError();
    void passwordMayComeFromAPipe_data();
    void passwordMayComeFromAPipe();
    void descriptionNeedsAName();

private:
    QString write(const char* name, const QByteArray& content);

    std::unique_ptr<DaemonFixture> _daemon;
};

void tst_DaemonNetwork::init()
{
    _daemon = std::make_unique<DaemonFixture>();
    QVERIFY2(_daemon->start(), qPrintable(_daemon->errorText()));
}

QString tst_DaemonNetwork::write(const char* name, const QByteArray& content)
{
    QFile file(_daemon->home() + QLatin1Char('/') + QLatin1String(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

void tst_DaemonNetwork::interfacesAreListed()
{
    const ProgramResult result = _daemon->kyctl({"net", "interfaces", "--json"});

    QCOMPARE(result.status, 0);
    QCOMPARE(result.json().value("interfaces").toList().first().toMap().value("name").toString(),
             QStringLiteral("lo"));
}

void tst_DaemonNetwork::cardsAreListed()
{
    const ProgramResult result = _daemon->kyctl({"net", "cards", "--json"});

    QCOMPARE(result.status, 0);
    for (const QVariant& card : result.json().value("cards").toList())
        QVERIFY(!card.toMap().value("hardwareAddress").toString().isEmpty());
    QVERIFY(result.json().contains("cards"));
}

void tst_DaemonNetwork::cardNeedsANameOrARole()
{
    QCOMPARE(_daemon->kyctl({"net", "card"}).status, 2);
    QCOMPARE(_daemon->kyctl({"net", "card", "eth0", "--wifi"}).status, 2);
    QCOMPARE(_daemon->kyctl({"net", "card", "off", "everything"}).status, 2);
}

void tst_DaemonNetwork::switchingACardNeedsItsKind()
{
    for (const char* state : {"on", "off"}) {
        const ProgramResult result = _daemon->kyctl({"net", "card", state});
        QCOMPARE(result.status, 2);
        QVERIFY2(result.errors.contains("wired or wireless"), result.errors);
    }
}

void tst_DaemonNetwork::roamTakesAnAddressOnly()
{
    const ProgramResult result = _daemon->kyctl({"wifi", "roam", "nonsense"});

    QCOMPARE(result.status, 2);
    QCOMPARE(result.errors, QByteArray("kyctl: 'nonsense' is not a MAC address\n"));
}

void tst_DaemonNetwork::unknownCardIsAnError()
{
    const ProgramResult result = _daemon->kyctl({"net", "card", "nosuch0"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40300: card [nosuch0]: not found"), result.errors);
}

void tst_DaemonNetwork::settingsAreShownWithoutPassPhrases()
{
    write("appInfo/setting/WirelessCard.ini",
          "[hotsport]\nssid=RobotSpot\npasswd=secret\n[WirelessCard]\nswitchingSignal=9\n");

    const ProgramResult result = _daemon->kyctl({"net", "settings", "--json"});

    QCOMPARE(result.status, 0);
    const QVariantMap settings = result.json().value("settings").toMap();
    QCOMPARE(settings.value("WirelessCard/switchingSignal").toString(), QStringLiteral("9"));
    QCOMPARE(settings.value("hotsport/ssid").toString(), QStringLiteral("RobotSpot"));
    QVERIFY(!result.output.contains("secret"));
}

void tst_DaemonNetwork::joiningNeedsAName()
{
    QCOMPARE(_daemon->kyctl({"wifi", "connect", " ", "--open"}).status, 2);
}

void tst_DaemonNetwork::descriptionMustBeAJsonObject()
{
    const ProgramResult list = _daemon->kyctl({"wifi", "enterprise", write("a.json", "[1]")});
    const ProgramResult none = _daemon->kyctl({"wifi", "enterprise", "nosuch.json"});

    QCOMPARE(list.status, 2);
    QVERIFY2(list.errors.contains("not a JSON object"), list.errors);
    QCOMPARE(none.status, 2);
    QVERIFY2(none.errors.contains("No such file"), none.errors);
}

void tst_DaemonNetwork::filesOfAnEndlessSizeAreRefused()
{
    const QString withCertificate =
        write("a.json", R"({"ssid":"a","802-1x.ca-cert":{"path":"/dev/zero"}})");

    for (const QString& file : {QStringLiteral("/dev/zero"), withCertificate}) {
        const ProgramResult result = _daemon->kyctl({"wifi", "enterprise", file});
        QCOMPARE(result.status, 2);
        QVERIFY2(result.errors.contains("file [/dev/zero]: its content is more than this client"),
                 result.errors);
    }
}

void tst_DaemonNetwork::fileNamesThatLeadOutAreRefused()
{
    const QString file =
        write("a.json", "{\"ssid\":\"a\",\"802-1x.password\":\"b\",\"802-1x.ca-cert\":"
                        "{\"fileName\":\"../../ca.pem\",\"base64\":\"YQ==\"}}");

    const ProgramResult result = _daemon->kyctl({"wifi", "enterprise", file});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40310: file name [../../ca.pem]: leads out of the backup"),
             result.errors);
}

void tst_DaemonNetwork::certificateIsReadFromItsPath()
{
    const QString file = write("a.json", "{\"ssid\":\"a\",\"802-1x.password\":\"b\","
                                         "\"802-1x.ca-cert\":{\"path\":\"nosuch.pem\"}}");

    const ProgramResult result = _daemon->kyctl({"wifi", "enterprise", file});

    QCOMPARE(result.status, 2);
    QVERIFY2(result.errors.contains("nosuch.pem]: No such file"), result.errors);
}

void tst_DaemonNetwork::unknownProfileIsAnError()
{
    const ProgramResult result = _daemon->kyctl({"net", "profile", "tst no such profile"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40312"), result.errors);
}

void tst_DaemonNetwork::passwordIsReadWithoutEcho()
{
    const QByteArray program = QFile::encodeName(programPath("kyctl"));
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        execl(program.constData(), "kyctl", "--port", "1", "wifi", "connect", "Net", nullptr);
        _exit(127);
    }
    QVERIFY(child > 0);
    QByteArray shown;
    const auto readMore = [&] {
        pollfd ready = {terminal, POLLIN, 0};
        char bytes[256];
        const ssize_t count = poll(&ready, 1, 10000) == 1 ? read(terminal, bytes, sizeof bytes) : 0;
        shown.append(bytes, int(qMax<ssize_t>(count, 0)));
        return count > 0;
    };
    while (!shown.contains("Password of Net") && readMore()) {
    }
    QCOMPARE(::write(terminal, "secret-word\n", 12), ssize_t(12));
    while (readMore()) {
    }
    int status = 0;
    QCOMPARE(waitpid(child, &status, 0), child);
    close(terminal);

    QVERIFY(shown.contains("Password of Net"));
    QVERIFY2(!shown.contains("secret-word"), shown);
    QCOMPARE(WEXITSTATUS(status), 3); // nobody answers on that port
}

void tst_DaemonNetwork::requiredArgumentsAreNamed_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("json");
    QTest::addColumn<QByteArray>("key");

    const auto row = [](const char* name, const char* command, const char* json, const char* key) {
        QTest::newRow(name) << command << json << QByteArray(key);
    };
    row("join", "wifi_connect", "{}", "ssid");
    row("join, empty", "wifi_connect", R"({"ssid":""})", "ssid");
    row("join, blank", "wifi_connect", R"({"ssid":" \t"})", "ssid");
    row("join, a list", "wifi_connect", R"({"ssid":["a","b"]})", "ssid");
    row("join short", "wifi_connect_short", "{}", "ssid");
    row("join short, blank", "wifi_connect_short", R"({"ssid":" "})", "ssid");
    row("enterprise", "wifi_enterprise", R"({"password":"a"})", "ssid");
    row("enterprise, blank", "wifi_enterprise", R"({"ssid":" ","password":"a"})", "ssid");
    row("device", "net_connect_device", "{}", "name");
    row("card", "net_card", "{}", "name");
    row("card, empty", "net_card", R"({"name":""})", "name");
    row("card, blank", "net_card", R"({"name":" "})", "name");
}

void tst_DaemonNetwork::requiredArgumentsAreNamed()
{
    QFETCH(QString, command);
    QFETCH(QString, json);
    QFETCH(QByteArray, key);

    const ProgramResult result = _daemon->kyctl({"call", command, json});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("[" + key + "]"), result.errors);
}

void tst_DaemonNetwork::unknownRoleIsAnError_data()
{
    QTest::addColumn<QString>("json");

    QTest::newRow("unknown") << R"({"role":"can"})";
    QTest::newRow("empty") << R"({"role":""})";
    QTest::newRow("beside a name") << R"({"role":"can","name":"lo"})";
}

void tst_DaemonNetwork::unknownRoleIsAnError()
{
    QFETCH(QString, json);

    const ProgramResult result = _daemon->kyctl({"call", "net_card", json});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40002: argument [role]: not one of wifi, wired, internal"),
             result.errors);
}

void tst_DaemonNetwork::onlyACardOfTheHostIsForgotten_data()
{
    QTest::addColumn<QString>("card");

    QTest::addColumn<QByteArray>("error");

    const QByteArray noName = "40002: argument [card]: not the name of a network interface";
    QTest::newRow("any character") << "." << noName;
    QTest::newRow("empty") << "" << noName;
    QTest::newRow("blank") << " " << noName;
    QTest::newRow("part of a name") << "l" << QByteArray("40313: card [l]: not found");
    QTest::newRow("unknown") << "nosuch0" << QByteArray("40313: card [nosuch0]: not found");
}

void tst_DaemonNetwork::onlyACardOfTheHostIsForgotten()
{
    QFETCH(QString, card);

    const ProgramResult result = _daemon->kyctl({"wifi", "forget", "--card", card});

    QCOMPARE(result.status, 1);
    QFETCH(QByteArray, error);
    QVERIFY2(result.errors.contains(error), result.errors);
}

// The removal has no result but its last error.
void tst_DaemonNetwork::removalThatFailsIsAnError()
{
    QTemporaryDir tools;
    for (const char* name : {"nmcli", "grep", "sudo"}) {
        QFile tool(tools.filePath(name));
        QVERIFY(tool.open(QIODevice::WriteOnly));
        tool.write("#!/bin/sh\necho out of order >&2\nexit 2\n");
        tool.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    }
    _daemon = std::make_unique<DaemonFixture>();
    _daemon->runUnder({"env", "PATH=" + tools.path() + ":" + qEnvironmentVariable("PATH")});
    QVERIFY2(_daemon->start(), qPrintable(_daemon->errorText()));

    const ProgramResult result = _daemon->kyctl({"wifi", "forget", "--card", "lo"});

    QCOMPARE(result.status, 1);
    QVERIFY2(result.errors.contains("40314: out of order"), result.errors);
}

void tst_DaemonNetwork::passwordMayComeFromAPipe_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QStringList>("verb");
    QTest::addColumn<int>("status");

    // With a password it goes on to a port where nobody answers.
    const QStringList join{"wifi", "connect", "Net"};
    QTest::newRow("one line") << QByteArray("secret\n") << join << 3;
    QTest::newRow("no line feed") << QByteArray("secret") << join << 3;
    QTest::newRow("empty line: none") << QByteArray("\n") << join << 3;
    QTest::newRow("no line") << QByteArray() << join << 2;
    const QStringList enterprise{"wifi", "enterprise", "a.json"};
    QTest::newRow("enterprise, one line") << QByteArray("secret\n") << enterprise << 3;
    QTest::newRow("enterprise, no line") << QByteArray() << enterprise << 2;
}

void tst_DaemonNetwork::passwordMayComeFromAPipe()
{
    QFETCH(QByteArray, input);
    QFETCH(QStringList, verb);

    const QString description = write("a.json", R"({"ssid":"a"})");
    const ProgramResult result = runProgram(
        "kyctl", QStringList{"--port", "1"} + verb.replaceInStrings("a.json", description), 20000,
        input);

    QTEST(result.status, "status");
    QCOMPARE(result.errors.contains("no password on standard input"), result.status == 2);
}

void tst_DaemonNetwork::descriptionNeedsAName()
{
    const ProgramResult result =
        _daemon->kyctl({"wifi", "enterprise", write("a.json", R"({"ssid":" "})")});

    QCOMPARE(result.status, 2);
    QVERIFY2(result.errors.contains("a.json]: no SSID"), result.errors);
}

QTEST_GUILESS_MAIN(tst_DaemonNetwork)
#include "tst_DaemonNetwork.moc"
