#include "SimulatedHost.h"

#include <QElapsedTimer>
#include <QFile>
#include <QtTest>

/// How the simulated host changes when a tool is called or the scene is changed, beyond what the
/// captured sessions show: faults, time, roaming, loss, several callers at once, hostile values.
class tst_HostBehaviour : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void aFaultAnswersInPlaceOfTheTool_data();
    void aFaultAnswersInPlaceOfTheTool();
    void aFaultAppliesOnlyToMatchingArguments();
    void aFaultWithACountEndsByItself();
    void aSlowToolStillDoesItsWork();
    void aHangingToolRunsUntilItIsKilled();

    void theCardMovesWhenItsAccessPointIsGone();
    void losingTheLastAccessPointEndsTheConnection();
    void networkManagerReconnectsByItself();
    void aConnectionTakenDownByHandStaysDown();
    void aWeakLinkIsOnlyLeftWithSelfRoaming();
    void scanResultsStayOldWhileTheScanRuns();
    void aCallTakesAsLongAsThePaceSays();

    void anOpenNetworkNeedsNoSecret();
    void staticAddressAndGatewayReachTheKernelsFiles();
    void netplanMakesAVolatileProfile();
    void hostapdOpensTheAccessPoint_data();
    void hostapdOpensTheAccessPoint();
    void hostapdRefusesAShortPassPhrase();
    void onlyTheClockOfTheSceneIsSet();
    void thePlatformScriptBansTheCard();
    void aScanTableMayBeLong();
    void wpaCliWithoutACardBecomesInteractive();

    void simultaneousCallersLoseNothing();
    void ssidsReachTheKeyfileUnchanged_data();
    void ssidsReachTheKeyfileUnchanged();

private:
    QString keyfile(const QString& name) const;
    void connectWifi() { _host->run("nmcli device wifi connect RobotNet password robotpass"); }

    std::unique_ptr<SimulatedHost> _host;
};

void tst_HostBehaviour::init()
{
    if (!_host)
        _host.reset(new SimulatedHost);
    _host->reset();
}

QString tst_HostBehaviour::keyfile(const QString& name) const
{
    QFile file(
        _host->privatePath("/etc/NetworkManager/system-connections/" + name + ".nmconnection"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void tst_HostBehaviour::aFaultAnswersInPlaceOfTheTool_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("error");

    QTest::newRow("missing in sh") << "iw wlan0 link"
                                   << "iw"
                                   << "missing" << QStringList() << 127 << QByteArray()
                                   << QByteArray("/bin/sh: 1: iw: not found\n");
    QTest::newRow("missing in bash") << "bash -c 'iw wlan0 link; exit $?'"
                                     << "iw"
                                     << "missing" << QStringList() << 127 << QByteArray()
                                     << QByteArray("/bin/bash: line 1: iw: command not found\n");
    QTest::newRow("missing under sudo") << "sudo nmcli device"
                                        << "nmcli"
                                        << "missing" << QStringList() << 1 << QByteArray()
                                        << QByteArray("sudo: nmcli: command not found\n");
    QTest::newRow("fail") << "nmcli device"
                          << "nmcli"
                          << "fail" << QStringList{"--status", "9", "--error", "Error: no.\n"} << 9
                          << QByteArray() << QByteArray("Error: no.\n");
    QTest::newRow("wrong words, status 0")
        << "nmcli device"
        << "nmcli"
        << "fail" << QStringList{"--status", "0", "--text", "Hm.\n"} << 0 << QByteArray("Hm.\n")
        << QByteArray();
    QTest::newRow("busy") << "sudo wpa_cli -i wlan0 scan"
                          << "wpa_cli"
                          << "busy" << QStringList() << 0 << QByteArray("FAIL-BUSY\n")
                          << QByteArray();
}

void tst_HostBehaviour::aFaultAnswersInPlaceOfTheTool()
{
    QFETCH(QString, line);
    QFETCH(QString, tool);
    QFETCH(QString, kind);
    QFETCH(QStringList, options);
    QFETCH(int, status);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, error);
    _host->addFault(tool, kind, options);

    const auto result = _host->run(line);

    QCOMPARE(result.error, error);
    QCOMPARE(result.output, output);
    QCOMPARE(result.status, status);
    _host->clearFaults();
    QVERIFY(_host->run(line).output != output);
}

void tst_HostBehaviour::aFaultAppliesOnlyToMatchingArguments()
{
    _host->addFault("nmcli", "garbage", {"--match", "connection show"});

    QVERIFY(_host->run("nmcli connection show").output.contains('\0'));
    QVERIFY(_host->run("nmcli device status").output.startsWith("DEVICE"));
}

void tst_HostBehaviour::aFaultWithACountEndsByItself()
{
    _host->addFault("wpa_cli", "busy", {"--match", "scan", "--times", "2"});

    const auto result = _host->run("for i in 1 2 3; do wpa_cli -i wlan0 scan; done");

    QCOMPARE(result.output, QByteArray("FAIL-BUSY\nFAIL-BUSY\nOK\n"));
}

void tst_HostBehaviour::aSlowToolStillDoesItsWork()
{
    _host->addFault("iw", "slow", {"--ms", "300"});
    QElapsedTimer timer;
    timer.start();

    QCOMPARE(_host->run("iw wlan0 link").output, QByteArray("Not connected.\n"));

    QVERIFY(timer.elapsed() >= 300);
}

void tst_HostBehaviour::aHangingToolRunsUntilItIsKilled()
{
    _host->addFault("ping", "hang");

    QCOMPARE(_host->run("timeout 0.3 ping -c 1 10.77.0.1").status, 124);
}

void tst_HostBehaviour::theCardMovesWhenItsAccessPointIsGone()
{
    connectWifi();
    QCOMPARE(_host->get("wlan0.bssid"), QString("02:00:00:00:01:00"));

    _host->set("ap1.on", "false");

    QCOMPARE(_host->get("wlan0.bssid"), QString("02:00:00:00:02:00"));
    QCOMPARE(_host->get("wlan0.addresses.0"), QString("10.77.0.162/24"));
}

void tst_HostBehaviour::losingTheLastAccessPointEndsTheConnection()
{
    connectWifi();

    for (const char* ap : {"ap1.level", "ap2.level", "ap5.level"})
        _host->set(ap, "-95");

    QCOMPARE(_host->run("iw wlan0 link").output, QByteArray("Not connected.\n"));
    QVERIFY(!_host->run("cat /proc/net/route").output.contains("wlan0"));
    QVERIFY(_host->run("sudo wpa_cli -i wlan0 status").output.startsWith("wpa_state=SCANNING"));
    QVERIFY(!_host->run("sudo wpa_cli -i wlan0 scan_result").output.contains("RobotNet"));
}

void tst_HostBehaviour::networkManagerReconnectsByItself()
{
    connectWifi();
    _host->set("autoconnectMs", "100");
    for (const char* ap : {"ap1.on", "ap2.on", "ap5.on"})
        _host->set(ap, "false");
    QCOMPARE(_host->get("wlan0.profile"), QString());

    _host->set("ap2.on", "true");

    QTRY_COMPARE(_host->get("wlan0.bssid"), QString("02:00:00:00:02:00"));
}

void tst_HostBehaviour::aConnectionTakenDownByHandStaysDown()
{
    connectWifi();
    _host->set("autoconnectMs", "0");

    _host->run("nmcli connection down RobotNet");

    QCOMPARE(_host->get("wlan0.profile"), QString());
    QVERIFY(_host->run("nmcli connection up RobotNet").output.contains("successfully"));
}

void tst_HostBehaviour::aWeakLinkIsOnlyLeftWithSelfRoaming()
{
    connectWifi();

    _host->set("ap1.level", "-80");
    QCOMPARE(_host->get("wlan0.bssid"), QString("02:00:00:00:01:00"));
    _host->set("selfRoam", "true");

    QCOMPARE(_host->get("wlan0.bssid"), QString("02:00:00:00:02:00"));
}

void tst_HostBehaviour::scanResultsStayOldWhileTheScanRuns()
{
    connectWifi();
    _host->set("pace", "1");
    _host->set("ap2.level", "-71");
    const QString rows = "sudo wpa_cli -i wlan0 scan_result | grep 02:00:00:00:02:00";

    QCOMPARE(_host->run("sudo wpa_cli -i wlan0 scan").output, QByteArray("OK\n"));
    QVERIFY(_host->run(rows).output.contains("-55"));

    _host->set("wlan0.scanEndsMs", "1"); // its time is up
    QVERIFY(_host->run(rows).output.contains("-71"));
}

void tst_HostBehaviour::aCallTakesAsLongAsThePaceSays()
{
    connectWifi();
    _host->set("pace", "0.1");
    QElapsedTimer timer;
    timer.start();

    QCOMPARE(_host->run("ping -c 1 10.77.0.250 | grep %").output,
             QByteArray("1 packets transmitted, 0 received, +1 errors, 100% packet loss, "
                        "time 0ms\n"));

    QVERIFY(timer.elapsed() >= 300);
}

void tst_HostBehaviour::anOpenNetworkNeedsNoSecret()
{
    QVERIFY(_host->run("nmcli device wifi connect OpenNet").output.contains("successfully"));

    QVERIFY(!keyfile("OpenNet").contains("wifi-security"));
    QVERIFY(_host->run("sudo wpa_cli -i wlan0 status").output.contains("key_mgmt=NONE"));
}

void tst_HostBehaviour::staticAddressAndGatewayReachTheKernelsFiles()
{
    _host->run("nmcli connection add type ethernet con-name office ifname eth0 ipv4.addresses "
               "10.1.2.3/16  ipv4.gateway 10.1.0.1 ipv4.method manual; nmcli device connect eth0");

    QVERIFY(keyfile("office").contains("address1=10.1.2.3/16,10.1.0.1\nmethod=manual\n"));
    QVERIFY(_host->run("cat /proc/net/route").output.contains("eth0\t00000000\t0100010A\t0003"));
    QVERIFY(_host->run("ifconfig eth0")
                .output.contains("inet 10.1.2.3  netmask 255.255.0.0  broadcast 10.1.255.255"));
}

void tst_HostBehaviour::netplanMakesAVolatileProfile()
{
    _host->run("printf 'network:\\n  ethernets:\\n    eth0:\\n      addresses: [192.168.1.7/24]\\n"
               "      gateway4: 192.168.1.1\\n' >/etc/netplan/a.yaml; sudo netplan apply");

    const QByteArray shown = _host->run("nmcli device show eth0").output;
    QVERIFY(shown.contains("netplan-eth0"));
    QVERIFY(shown.contains("192.168.1.7/24"));
    QVERIFY(_host->run("ls /run/NetworkManager/system-connections")
                .output.contains("netplan-eth0.nmconnection"));
    QVERIFY(_host->run("ls /etc/NetworkManager/system-connections").output.isEmpty());
}

void tst_HostBehaviour::hostapdOpensTheAccessPoint_data()
{
    QTest::addColumn<QString>("signal");

    QTest::newRow("ended") << "TERM";
    QTest::newRow("killed") << "KILL";
}

void tst_HostBehaviour::hostapdOpensTheAccessPoint()
{
    QFETCH(QString, signal);
    const auto result = _host->run(
        "printf 'interface=wlan0\\nssid=Spot\\nwpa_passphrase=spotpass1\\n' >/etc/netplan/h.conf\n"
        "sudo hostapd /etc/netplan/h.conf >/dev/null & pid=$!\n"
        "until sudo wpa_cli -i wlan0 status | grep -q mode=AP; do sleep 0.02; done\n"
        "kill -" +
        signal + " $pid; wait $pid; sudo wpa_cli -i wlan0 status | head -1");

    QCOMPARE(result.output, QByteArray("wpa_state=INACTIVE\n"));
}

void tst_HostBehaviour::hostapdRefusesAShortPassPhrase()
{
    const auto result = _host->run("printf 'interface=wlan0\\nwpa_passphrase=abcd\\n' "
                                   ">/etc/netplan/h.conf; sudo hostapd /etc/netplan/h.conf");

    QCOMPARE(result.status, 1);
    QVERIFY(result.output.contains("invalid WPA passphrase length 4 (expected 8..63)"));
}

void tst_HostBehaviour::onlyTheClockOfTheSceneIsSet()
{
    const QDateTime before = QDateTime::currentDateTime();

    _host->run("sudo timedatectl set-timezone Asia/Shanghai; "
               "sudo timedatectl set-time '2020-02-03 04:05:06.789'");

    QVERIFY(
        _host->run("timedatectl status").output.contains("Universal time: Sun 2020-02-02 20:05:0"));
    QVERIFY(qAbs(before.msecsTo(QDateTime::currentDateTime())) < 60000);
}

void tst_HostBehaviour::thePlatformScriptBansTheCard()
{
    connectWifi();
    const QString script = _host->platformScript();

    QVERIFY(_host->run("sudo " + script + " function").output.contains("wireless\n"));
    QCOMPARE(_host->run("sudo " + script + " wireless ban wlan0").status, 0);
    QVERIFY(!_host->run("ifconfig").output.contains("wlan0"));
    _host->run("sudo " + script + " wireless on wlan0; " + script + " volume set 33%");
    QVERIFY(_host->run("ifconfig").output.contains("wlan0"));
    QCOMPARE(_host->run(script + " volume get").output, QByteArray("33%\n"));
}

void tst_HostBehaviour::aScanTableMayBeLong()
{
    QString list = "[";
    for (int i = 0; i < 500; ++i)
        list += QString("%1{\"name\":\"x%2\",\"ssid\":\"Net\",\"bssid\":\"02:11:00:00:%3:%4\"}")
                    .arg(i ? "," : "")
                    .arg(i)
                    .arg(i / 256, 2, 16, QChar('0'))
                    .arg(i % 256, 2, 16, QChar('0'));
    _host->set("accessPoints", list + "]");

    QCOMPARE(_host->run("sudo wpa_cli -i wlan0 scan_result").output.count('\n'), 501);
}

// What the library calls when the name of the card is empty, and all that the tool then says.
void tst_HostBehaviour::wpaCliWithoutACardBecomesInteractive()
{
    const auto result = _host->run("timeout 0.3 sudo wpa_cli -i  status ");

    QCOMPARE(result.status, 124);
    QVERIFY(result.output.startsWith("wpa_cli v2.10\nCopyright (c) "));
    QVERIFY(result.output.endsWith("Interactive mode\n\n"
                                   "Could not connect to wpa_supplicant: status - re-trying\n"));
}

void tst_HostBehaviour::simultaneousCallersLoseNothing()
{
    const auto result = _host->run(
        "for i in 1 2 3 4 5 6 7 8 9 10 11 12; do\n"
        "  nmcli connection add type ethernet con-name p$i ifname eth0 ipv4.method auto >/dev/null "
        "&\n"
        "done; wait; nmcli connection show | grep -c '^p[0-9]'");

    QCOMPARE(result.output, QByteArray("12\n"));
    QCOMPARE(_host->lines().size(), 13);
}

void tst_HostBehaviour::ssidsReachTheKeyfileUnchanged_data()
{
    QTest::addColumn<QString>("ssid");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("line");

    QTest::newRow("semicolon") << "semi;colon"
                               << "semi;colon"
                               << "ssid=semi\\\\;colon\n";
    QTest::newRow("backslash") << "back\\slash"
                               << "back\\slash"
                               << "ssid=back\\\\slash\n";
    QTest::newRow("comma") << "comma,net"
                           << "comma,net"
                           << "ssid=comma,net\n";
    QTest::newRow("slash") << "a/b"
                           << "a_b"
                           << "ssid=a/b\n";
    QTest::newRow("leading space") << " x y"
                                   << " x y"
                                   << "ssid=\\sx y\n";
    QTest::newRow("quotes") << "it's \"it\""
                            << "it's \"it\""
                            << "ssid=it's \"it\"\n";
    QTest::newRow("shell") << "$(reboot)`x`"
                           << "$(reboot)`x`"
                           << "ssid=$(reboot)`x`\n";
    QTest::newRow("tab") << "a\tb"
                         << "a\tb"
                         << "ssid=97;9;98;\n";
    QTest::newRow("umlaut") << "Büro"
                            << "Büro"
                            << "ssid=66;195;188;114;111;\n";
    QTest::newRow("a list of bytes") << "66;"
                                     << "66;"
                                     << "ssid=54;54;59;\n";
}

void tst_HostBehaviour::ssidsReachTheKeyfileUnchanged()
{
    QFETCH(QString, ssid);
    QFETCH(QString, file);
    QFETCH(QString, line);
    _host->set("open.ssid", ssid);
    QString quoted = ssid;
    quoted.replace("'", "'\\''");

    const auto result = _host->run("nmcli device wifi connect '" + quoted + "'");

    QCOMPARE(result.error, QByteArray());
    QVERIFY2(keyfile(file).contains(line), qPrintable(keyfile(file)));
    QCOMPARE(_host->get("wlan0.ssid"), ssid.trimmed());
    QCOMPARE(_host->calls().last().arguments.last(), ssid);
    // Read back from the file, it is still the same network.
    QVERIFY(_host->run("nmcli connection reload; nmcli device connect wlan0")
                .output.contains("successfully"));
}

QTEST_GUILESS_MAIN(tst_HostBehaviour)
#include "tst_host_behaviour.moc"
