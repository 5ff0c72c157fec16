// The library's own share of network operations: everything but the tools. Prints one table row
// for each measure: the middle of the runs, the slowest, and the goal.

#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "network/tools/IfconfigOutput.h"
#include "network/tools/Profiles.h"
#include "network/tools/WpaCliScan.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr int kRuns = 101;

struct Times
{
    double middleMs = 0;
    double slowestMs = 0;
};

Times measure(const std::function<void()>& work)
{
    work(); // warm
    std::vector<double> runs;
    for (int i = 0; i < kRuns; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        runs.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(runs.begin(), runs.end());
    return {runs[kRuns / 2], runs.back()};
}

void print(const char* what, const Times& times, const char* goal)
{
    std::printf("| %-58s | %9.3f | %9.3f | %-7s |\n", what, times.middleMs, times.slowestMs, goal);
}

QString scanOf(int rows)
{
    QString text = QStringLiteral("bssid / frequency / signal level / flags / ssid\n");
    for (int i = 0; i < rows; ++i)
        text += QStringLiteral("02:00:00:00:%1:%2\t%3\t-%4\t[WPA2-PSK-CCMP][ESS]\t%5\n")
                    .arg(i / 256, 2, 16, QLatin1Char('0'))
                    .arg(i % 256, 2, 16, QLatin1Char('0'))
                    .arg(i % 2 ? 5180 : 2412)
                    .arg(40 + i % 50)
                    .arg(i % 4 ? "RobotNet" : "\\xe6\\x9c\\xba\\xe5\\x99\\xa8");
    return text;
}

QString ifconfigOf(int cards)
{
    QString text;
    for (int i = 0; i < cards; ++i)
        text += QStringLiteral("eth%1: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500\n"
                               "        inet 10.0.%1.7  netmask 255.255.255.0  broadcast 10.0.0.9\n"
                               "        ether 52:54:00:00:00:11  txqueuelen 1000  (Ethernet)\n"
                               "        RX packets 12  bytes 4200 (4.1 KiB)\n\n")
                    .arg(i);
    return text;
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qUtf8Printable(path));
}

void writeProfiles(const QString& folder, int count)
{
    for (int i = 0; i < count; ++i) {
        const QByteArray number = QByteArray::number(i);
        writeFile(folder + QStringLiteral("/p%1.nmconnection").arg(i),
                  "[connection]\nid=Robot " + number + "\nuuid=34710274-0dd6-4cbe-a64e-" + number +
                      "\ntype=wifi\ninterface-name=wlan0\ntimestamp=1795250125\n\n[wifi]\nmode="
                      "infrastructure\nssid=82;111;98;\n\n[wifi-security]\nkey-mgmt=wpa-psk\npsk="
                      "pass,w;ord\n\n[ipv4]\naddress1=10.77.0.50/24,10.77.0.1\nmethod=manual\n\n"
                      "[ipv6]\naddr-gen-mode=default\nmethod=auto\n\n[proxy]\n");
    }
}

/// The operation and the same command run by the C library, one after the other.
void measureOperation(const QString& folder)
{
    writeFile(folder + QStringLiteral("/nmcli"), "#!/bin/sh\necho successfully\n");
    QFile::setPermissions(folder + QStringLiteral("/nmcli"), QFile::ReadOwner | QFile::ExeOwner);
    qputenv("PATH", folder.toUtf8() + ":" + qgetenv("PATH"));
    PublicClass::init()->hardwareType = -2;
    SystemNetwork network;
    const Times bare = measure([] {
        FILE* pipe = popen("nmcli device connect eth1", "r");
        char line[64];
        while (fgets(line, sizeof line, pipe)) {
        }
        pclose(pipe);
    });
    const Times operation = measure([&] {
        if (!network.connectDeviceCard(QStringLiteral("eth1")))
            qFatal("the stand-in did not answer: %s", qUtf8Printable(network.getLastError()));
    });
    print("bare command, ms, `nmcli device connect` stand-in", bare, "");
    print("operation, ms, the same command", operation, "");
    print("operation over the bare command, ms",
          {operation.middleMs - bare.middleMs, operation.slowestMs - bare.slowestMs}, "2");
}

} // namespace

int main()
{
    QLoggingCategory::setFilterRules(QStringLiteral("ky.network=false"));
    QTemporaryDir home;
    QDir::setCurrent(home.path());
    std::printf("| %-58s | %9s | %9s | %-7s |\n", "network, middle of 101 runs", "middle",
                "slowest", "goal");
    std::printf("|%s|%s:|%s:|%s|\n", QByteArray(60, '-').constData(),
                QByteArray(10, '-').constData(), QByteArray(10, '-').constData(),
                QByteArray(9, '-').constData());

    const QString scan = scanOf(500);
    print("scan table, ms, 500 rows", measure([&] {
              if (ky::parseScanTable(scan).rows.size() != 500)
                  qFatal("rows were lost");
          }),
          "1");
    const QString ifconfig = ifconfigOf(200);
    print("ifconfig, ms, last of 200 interfaces", measure([&] {
              if (ky::parseIfconfig(ifconfig, QStringLiteral("eth199"))->ip.isEmpty())
                  qFatal("no address");
          }),
          "");
    const QString profiles = home.filePath(QStringLiteral("profiles"));
    QDir().mkpath(profiles);
    writeProfiles(profiles, 1000);
    print("profile search without a hit, ms, 1000 keyfiles", measure([&] {
              if (ky::findProfile(profiles, "connection", "uuid", QStringLiteral("none")).isFound())
                  qFatal("found what is not there");
          }),
          "30");
    measureOperation(home.path());
    return 0;
}
