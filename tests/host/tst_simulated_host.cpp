#include "SimulatedHost.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QtTest>

/// The command line of hostsim, and the fixture that other tests are built on.
class tst_SimulatedHost : public QObject
{
    Q_OBJECT

private slots:
    void commandLinesAreLoggedInOrderWithTheirStatus();
    void aHangingCallIsLogged();
    void aSettingReachesARunningProgram();
    void aWrongPathOrValueChangesNothing();
    void runReturnsTheStatusOfTheCommand();
    void sigtermReachesTheProgram();
    void aBackgroundJobEndsWithTheRun();
    void aSecondRunLeavesTheJobsOfTheFirstAlone();
    void aLaterRunContinuesWithTheState();
    void resetForgetsEverything();
    void scenesAreReadStrictly_data();
    void scenesAreReadStrictly();
    void valuesOfAnyTypeAreSet_data();
    void valuesOfAnyTypeAreSet();
    void argumentsOfAnyBytesAreLogged();
    void filesOfTheMachineStayUntouched();
    void aProgramWithoutTheShimSeesTheMountedFolders();
    void theNewestRunIsFound();
    void afterTheNewestRunTheOneBeforeIsFound();
};

void tst_SimulatedHost::commandLinesAreLoggedInOrderWithTheirStatus()
{
    SimulatedHost host;

    host.run("nmcli connection delete 'no such'; sudo wpa_cli -i wlan0 scan");

    const auto calls = host.calls();
    QCOMPARE(host.lines(),
             QStringList({"nmcli connection delete 'no such'", "sudo wpa_cli -i wlan0 scan"}));
    QCOMPARE(calls.at(0).status, 10);
    QCOMPARE(calls.at(0).arguments, QStringList({"nmcli", "connection", "delete", "no such"}));
    QCOMPARE(calls.at(1).status, 0);
}

void tst_SimulatedHost::aHangingCallIsLogged()
{
    SimulatedHost host;
    host.addFault("iw", "hang");

    host.run("timeout 0.2 iw wlan0 link");

    QCOMPARE(host.lines(), QStringList{"iw wlan0 link"});
    QCOMPARE(host.calls().at(0).status, -1);
}

void tst_SimulatedHost::aSettingReachesARunningProgram()
{
    SimulatedHost host;
    host.start("/bin/sh", {"-c", "nmcli device wifi connect RobotNet password robotpass; "
                                 "until iw wlan0 link | grep -q -- -80; do sleep 0.02; done"});
    QTRY_COMPARE(host.get("wlan0.ssid"), QString("RobotNet"));

    host.set("ap1.level", "-80");

    QVERIFY(host.process().waitForFinished(5000));
    QCOMPARE(host.process().exitCode(), 0);
}

void tst_SimulatedHost::aWrongPathOrValueChangesNothing()
{
    SimulatedHost host;
    const QString before = host.get("");

    const auto result = host.run("hostsim set ap1.levl -80; hostsim set ap1.level high");

    QCOMPARE(result.status, 1);
    QVERIFY(result.error.contains("no such place: [ap1.levl]"));
    QVERIFY(result.error.contains("\"high\" is not a number"));
    QCOMPARE(host.get(""), before);
}

void tst_SimulatedHost::runReturnsTheStatusOfTheCommand()
{
    SimulatedHost host;

    QCOMPARE(host.run("exit 7").status, 7);
    QCOMPARE(host.run("kill -9 $$").status, 128 + 9);
}

void tst_SimulatedHost::sigtermReachesTheProgram()
{
    SimulatedHost host;
    host.start("/bin/sh", {"-c", "trap 'echo ended; exit 3' TERM; echo up; "
                                 "while :; do sleep 0.02; done"});
    QTRY_VERIFY(host.process().bytesAvailable() > 0);

    QVERIFY(host.stop());

    QCOMPARE(host.process().exitCode(), 3);
    QCOMPARE(host.process().readAllStandardOutput(), QByteArray("up\nended\n"));
}

void tst_SimulatedHost::aBackgroundJobEndsWithTheRun()
{
    SimulatedHost host;
    QFile configuration(host.folder() + "/hostapd.conf");
    QVERIFY(configuration.open(QIODevice::WriteOnly));
    configuration.write("interface=wlan0\nssid=Spot\nwpa_passphrase=spotpass1\n");
    configuration.close();

    host.run("sudo hostapd " + configuration.fileName() +
             " >/dev/null & "
             "until [ \"$(hostsim get wlan0.ssid)\" = Spot ]; do sleep 0.02; done");

    QTRY_COMPARE(host.get("wlan0.ssid"), QString());
    QCOMPARE(host.calls().at(0).status, 0);
}

void tst_SimulatedHost::aSecondRunLeavesTheJobsOfTheFirstAlone()
{
    SimulatedHost host;
    host.addFault("iw", "hang");
    host.start("/bin/sh", {"-c", "iw wlan0 link; echo ended"});
    QTRY_COMPARE(host.lines().size(), 1);

    host.run("true");

    QVERIFY(!host.process().waitForFinished(400));
    QVERIFY(host.process().readAllStandardOutput().isEmpty());
}

void tst_SimulatedHost::aLaterRunContinuesWithTheState()
{
    SimulatedHost host;

    host.run("sudo sysctl -w net.ipv6.conf.all.disable_ipv6=1");

    QVERIFY(host.run("sysctl net.ipv6.conf.all.disable_ipv6").output.endsWith("= 1\n"));
}

void tst_SimulatedHost::resetForgetsEverything()
{
    SimulatedHost host;
    const QString before = host.get("cards.eth0");
    host.run("nmcli device connect eth0; echo x >/etc/netplan/x.yaml");

    host.reset();

    QCOMPARE(host.get("cards.eth0"), before);
    QVERIFY(host.lines().isEmpty());
    QVERIFY(host.run("cat /etc/netplan/x.yaml").status != 0);
    QVERIFY(!host.run("nmcli connection show").output.contains("eth0"));
}

void tst_SimulatedHost::scenesAreReadStrictly_data()
{
    QTest::addColumn<QByteArray>("scene");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("error");

    const auto taken = [](const char* name, const QByteArray& scene, const QByteArray& peers) {
        QTest::newRow(name) << scene << peers + "\n" << QByteArray();
    };
    const auto refused = [](const char* name, const QByteArray& scene, const QByteArray& error) {
        QTest::newRow(name) << scene << QByteArray() << error;
    };
    taken("empty", "{}", "[]");
    taken("comments", "{ // first\n \"peers\": /* none */ [] }", "[]");
    taken("escapes", R"({"peers":["\u673a\ud83d\ude00\/\u001b\u007f\n"]})",
          "[\n  \"机😀/\\u001b\x7f\\n\"\n]");
    taken("a key three times", R"({"peers":["a"],"peers":["b"],"peers":["c"]})", "[\n  \"c\"\n]");
    taken("keys in any order", R"({"services":[],"peers":["a"],"pace":0})", "[\n  \"a\"\n]");
    refused("unknown key", R"({"cards":[{"name":"eth0","mak":"x"}]})", "cards.0: no key [mak]");
    refused("unknown key at the top", R"({"pice":1})", "scene: no key [pice]");
    refused("text for a number", R"({"cards":[{},{"mtu":"1500"}]})",
            "cards.1.mtu: \"1500\" is not a number");
    refused("number for a text", R"({"names":{"a":1}})", "names.a: 1 is not a text");
    refused("number for a flag", R"({"clock":{"ntp":0}})", "clock.ntp: 0 is not true or false");
    refused("list for an object", R"({"clock":[]})", "clock: not an object");
    refused("object for a list", R"({"peers":{}})", "peers: not a list");
    refused("cut", R"({"peers":["a")", "not JSON");
    refused("comma at the end", R"({"pace":1,})", "not JSON");
    refused("text after the end", "{} x", "not JSON");
    refused("not UTF-8", "{\"peers\":[\"\xff\"]}", "not JSON");
    refused("surrogate in UTF-8", "{\"peers\":[\"\xed\xa0\x80\"]}", "not JSON");
    refused("no bytes", "", "cannot read scene");
}

void tst_SimulatedHost::scenesAreReadStrictly()
{
    QFETCH(QByteArray, scene);
    QTemporaryDir folder;
    QFile file(folder.filePath("scene.json"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(scene) == scene.size());
    file.close();
    QProcess process;

    process.start(KY_HOSTSIM, {"run", "--scene", file.fileName(), "hostsim", "get", "peers"});

    QVERIFY(process.waitForFinished());
    QTEST(process.readAllStandardOutput(), "output");
    QFETCH(QByteArray, error);
    const QByteArray said = process.readAllStandardError();
    QVERIFY2(error.isEmpty() ? said.isEmpty() : said.contains(error), said);
    QCOMPARE(process.exitCode(), error.isEmpty() ? 0 : 1);
}

void tst_SimulatedHost::valuesOfAnyTypeAreSet_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("shown");

    const auto row = [](const char* path, const char* value, const char* shown) {
        QTest::addRow("%s %s", path, value) << path << value << shown;
    };
    row("pace", "0.1", "0.1");
    row("pace", "2", "2.0");
    row("ap1.level", "-80", "-80");
    row("ap1.level", "-80.9", "-80"); // a whole number drops the fraction
    row("clock.offsetMs", "1e3", "1000");
    row("clock.offsetMs", "-9000000000", "-9000000000");
    row("ap1.on", "false", "false");
    row("ap1.password", "12345678", "12345678"); // a text all the same
    row("ap1.password", "{\"a\":1}", "{\"a\":1}");
    row("ap1.password", "\"quoted\"", "quoted");
    row("ap1.ssid", "a \"b\" \\ /", "a \"b\" \\ /");
    row("sysctl.net.ipv4.ip_forward", "\"1\"", "1");
    row("sound.PCH.controls.Headphone.value", "7", "7");
    row("cards.1.mtu", "1400", "1400");
}

void tst_SimulatedHost::valuesOfAnyTypeAreSet()
{
    QFETCH(QString, path);
    QFETCH(QString, value);
    SimulatedHost host;

    host.set(path, value);

    QTEST(host.get(path), "shown");
}

// A program may be called with any bytes; the log is JSON all the same.
void tst_SimulatedHost::argumentsOfAnyBytesAreLogged()
{
    SimulatedHost host;

    host.run("iw \"$(printf 'a\\377b\\342\\202c\\033\\t\"\\\\\\360\\237\\230\\200')\"");

    QCOMPARE(host.calls().at(0).arguments.at(1), QString::fromUtf8("a\xef\xbf\xbd"
                                                                   "b\xef\xbf\xbd"
                                                                   "c\x1b\t\"\\😀"));
}

void tst_SimulatedHost::filesOfTheMachineStayUntouched()
{
    SimulatedHost host;
    const auto before = QFileInfo("/etc/localtime").symLinkTarget();

    host.run("sudo rm -rf /etc/localtime; sudo ln -s /usr/share/zoneinfo/Asia/Tokyo "
             "/etc/localtime; echo x > /etc/asound.conf; mkdir -p /etc/netplan/y");

    QCOMPARE(QFileInfo("/etc/localtime").symLinkTarget(), before);
    QVERIFY(!QFileInfo::exists("/etc/netplan/y"));
    QVERIFY(QFileInfo::exists(host.privatePath("/etc/netplan/y")));
    QCOMPARE(QFile(host.privatePath("/etc/asound.conf")).size(), 2);
}

void tst_SimulatedHost::aProgramWithoutTheShimSeesTheMountedFolders()
{
    if (QProcess::execute("unshare", {"-m", "true"}) != 0)
        QSKIP("the kernel allows no mount namespace here");
    if (!QFileInfo::exists("/sys/class/thermal"))
        QSKIP("this machine has no folder to mount over");
    SimulatedHost host;
    const QString type = "cat /sys/class/thermal/thermal_zone0/type";

    QCOMPARE(host.run("env -u LD_PRELOAD " + type).output, QByteArray("cpu-thermal\n"));

    // Outside the run the folder is the machine's.
    QVERIFY(!QFile::exists("/sys/class/thermal/thermal_zone0/type") ||
            host.run(type).output == "cpu-thermal\n");
}

void tst_SimulatedHost::theNewestRunIsFound()
{
    // Runs are recorded below TMPDIR; other tests start some at the same time.
    const QTemporaryDir place;
    qputenv("TMPDIR", QFile::encodeName(place.path()));
    SimulatedHost host;
    host.start("/bin/sh", {"-c", "echo up; while :; do sleep 0.02; done"});
    QTRY_VERIFY(host.process().bytesAvailable() > 0);
    QProcess process;

    process.start(KY_HOSTSIM, {"get", "eth0.mac"});

    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardOutput(), QByteArray("52:54:00:00:00:10\n"));
    qunsetenv("TMPDIR");
}

void tst_SimulatedHost::afterTheNewestRunTheOneBeforeIsFound()
{
    const QTemporaryDir place;
    qputenv("TMPDIR", QFile::encodeName(place.path()));
    SimulatedHost first;
    first.start("/bin/sh", {"-c", "echo up; while :; do sleep 0.02; done"});
    QTRY_VERIFY(first.process().bytesAvailable() > 0);
    first.set("ap1.level", "-77");
    const auto level = [] {
        QProcess process;
        process.start(KY_HOSTSIM, {"get", "ap1.level"});
        return process.waitForFinished() ? process.readAllStandardOutput() : QByteArray();
    };
    QCOMPARE(level(), QByteArray("-77\n"));

    QProcess later;
    later.start(KY_HOSTSIM, {"run", "--", "sh", "-c", "echo up; read line"});
    QTRY_VERIFY(later.bytesAvailable() > 0);
    QCOMPARE(level(), QByteArray("-45\n")); // while it runs, it is the newest
    later.write("\n");
    QVERIFY(later.waitForFinished());

    QCOMPARE(level(), QByteArray("-77\n"));
    // Nothing is running, and the folder of the newest run is gone.
    QVERIFY(first.stop());
    QCOMPARE(level(), QByteArray());
    qunsetenv("TMPDIR");
}

QTEST_GUILESS_MAIN(tst_SimulatedHost)
#include "tst_simulated_host.moc"
