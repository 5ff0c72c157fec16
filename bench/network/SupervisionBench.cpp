// The library's own share of one cycle of link supervision: the tools answer at once, from memory.
// Prints one table row for each kind of cycle: the middle of the runs, the slowest, and the goal.

#include "host/PublicClass.h"
#include "network/SystemNetwork.h"
#include "recorded/RecordedHost.h"
#include "support/HostPaths.h"
#include "support/HostRoot.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kRuns = 501;

class OpenNetwork : public SystemNetwork
{
public:
    using SystemNetwork::_disconnectionMethod;
    using SystemNetwork::_isDisconnectionSendError;
    using SystemNetwork::_isEnabledRoaming;
    using SystemNetwork::_pingIp;
    using SystemNetwork::_wirelessCardName;
    using SystemNetwork::_wirelessUUID;
};

QString scanOf(int rows)
{
    QString text = QStringLiteral("bssid / frequency / signal level / flags / ssid\n");
    for (int i = 0; i < rows; ++i)
        text += QStringLiteral("02:00:00:00:%1:%2\t%3\t-%4\t[WPA2-PSK-CCMP][ESS]\tsite\n")
                    .arg(i / 256, 2, 16, QLatin1Char('0'))
                    .arg(i % 256, 2, 16, QLatin1Char('0'))
                    .arg(i % 2 ? 5180 : 2412)
                    .arg(50 + i % 40);
    return text;
}

void answer(const QString& line, const QString& output)
{
    RecordedHost::instance().answer(line, output);
}

/// `forgetsProfile`: each cycle looks for the profile anew.
void measure(const char* what, OpenNetwork& network, bool forgetsProfile)
{
    std::vector<double> runs;
    for (int i = 0; i < kRuns; ++i) {
        if (forgetsProfile)
            network._wirelessUUID.clear();
        QElapsedTimer timer;
        timer.start();
        network.slotAutoConnectEth1Ethernet();
        runs.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(runs.begin(), runs.end());
    std::printf("| %-58s | %9.3f | %9.3f | %-7s |\n", what, runs[kRuns / 2], runs.back(), "< 5 ms");
}

void writeProfiles(int count)
{
    const QString folder = ky::hostPath(ky::paths::kNetworkManagerProfiles);
    QDir().mkpath(folder);
    for (int i = 0; i < count; ++i) {
        QFile file(folder + QStringLiteral("/profile%1.nmconnection").arg(i));
        if (file.open(QIODevice::WriteOnly))
            file.write("[connection]\nid=profile\nuuid=uuid-" + QByteArray::number(i) +
                       "\ntype=" + (i == count - 1 ? "wifi" : "ethernet") + "\n");
    }
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("ky.*=false"));
    const QTemporaryDir home;
    QDir::setCurrent(home.path());
    const ky::HostRoot root(home.path());
    PublicClass::init()->hardwareType = -2;
    writeProfiles(100);

    OpenNetwork network;
    network._wirelessCardName = QStringLiteral("wlan0");
    network._wirelessUUID = QStringLiteral("uuid-1");
    network._isEnabledRoaming = true;
    answer(QStringLiteral("iw wlan0 link"),
           QStringLiteral("Connected to 02:ff (on wlan0)\n\tSSID: site\n\tfreq: 5180\n"
                          "\tsignal: -80 dBm\n"));
    answer(QStringLiteral("sudo wpa_cli -i wlan0 scan"), QStringLiteral("OK\n"));

    std::printf("| %-58s | %9s | %9s | %-7s |\n", "one cycle, without the tools", "ms", "slowest",
                "goal");
    std::printf("|---|---|---|---|\n");
    const QString scanResult = QStringLiteral("sudo wpa_cli -i wlan0 scan_result");
    answer(scanResult, scanOf(60));
    measure("roams, 60 access points in reach", network, false);
    measure("the same, looking for its profile among 100", network, true);
    RecordedHost::instance().reset();
    answer(QStringLiteral("iw wlan0 link"),
           QStringLiteral("Connected to 02:ff (on wlan0)\n\tSSID: site\n\tfreq: 5180\n"
                          "\tsignal: -80 dBm\n"));
    answer(scanResult, scanOf(1000));
    measure("roams, 1000 access points in reach", network, false);

    network._disconnectionMethod = 1;
    network._pingIp = QStringLiteral("10.0.0.1");
    network._isDisconnectionSendError = true;
    measure("lost link: report and repair", network, false);
    network._isEnabledRoaming = false;
    measure("watches and reports", network, false);
    return 0;
}
