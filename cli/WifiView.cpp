#include "cli/WifiView.h"

#include "cli/Invocation.h"
#include "cli/Table.h"

#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <unistd.h>

namespace ky {

namespace {

constexpr double kDefaultEveryS = 2;
/// Each look at the candidates is a scan, which costs the robot air time.
constexpr qint64 kScanEveryMs = 10000;
constexpr int kLowest5GHzMhz = 5000;

QVariantList candidates(const QVariantList& accessPoints, bool is5GHz)
{
    QVariantList band;
    for (const QVariant& entry : accessPoints) {
        const QVariantMap accessPoint = entry.toMap();
        const int mhz = accessPoint.value(QStringLiteral("frequency")).toInt();
        const bool isInUse = accessPoint.value(QStringLiteral("status")).toInt() == 1;
        if (!isInUse && (mhz >= kLowest5GHzMhz) == is5GHz)
            band << accessPoint;
    }
    std::stable_sort(band.begin(), band.end(), [](const QVariant& a, const QVariant& b) {
        return a.toMap().value(QStringLiteral("signal")).toInt() >
               b.toMap().value(QStringLiteral("signal")).toInt();
    });
    return band;
}

QString bandText(const char* title, const QVariantList& accessPoints)
{
    if (accessPoints.isEmpty())
        return QStringLiteral("%1: no candidates\n").arg(QLatin1String(title));
    return QStringLiteral("%1:\n").arg(QLatin1String(title)) +
           tableText(accessPoints, {{"signal", "dBm"}, {"mac", "BSSID"}, {"frequency", "MHz"}});
}

/// What was told under the key, lines parted by "; ", and when.
QString toldText(const QVariantMap& trace, const char* key)
{
    const QString name = QLatin1String(key);
    const QString text = trace.value(name).toStringList().join(QStringLiteral("; "));
    if (text.isEmpty())
        return QStringLiteral("none yet");
    return QStringLiteral("%1 (%2)").arg(text,
                                         valueText(trace.value(name + QStringLiteral("_time"))));
}

/// Text that replaces the one shown before it, line by line.
QString inPlace(const QString& text, int linesBefore)
{
    const QString up = linesBefore > 0 ? QStringLiteral("\x1b[%1A\r").arg(linesBefore) : QString();
    return up + QStringLiteral("\x1b[J") + text;
}

} // namespace

QString linkText(const QVariantMap& answer)
{
    const QVariantMap link = answer.value(QStringLiteral("link")).toMap();
    if (!answer.value(QStringLiteral("is_associated")).toBool())
        return QStringLiteral("no access point");
    const auto text = [&](const char* key) { return valueText(link.value(QLatin1String(key))); };
    return QStringLiteral("%1 on %2, %3 MHz, %4 dBm")
        .arg(text("ssid"), text("bssid"), text("frequenc"), text("signalLevel"));
}

QString wifiViewText(const QVariantMap& link, const QVariantList& accessPoints,
                     const QVariantMap& trace)
{
    return QStringLiteral("link: %1\n").arg(linkText(link)) +
           bandText("5 GHz", candidates(accessPoints, true)) +
           bandText("2.4 GHz", candidates(accessPoints, false)) +
           QStringLiteral("last decision: %1\n").arg(toldText(trace, "decision")) +
           QStringLiteral("last roam: %1\n").arg(toldText(trace, "move"));
}

int runWifiWatch(Invocation& call)
{
    const double everyS = call.has("--every") ? call.option("--every").toDouble() : kDefaultEveryS;
    int left = call.has("--count") ? call.option("--count").toInt() : -1;
    if (everyS <= 0 || left == 0 || (call.has("--count") && left < 0))
        return call.wrong(QStringLiteral("--every and --count take a number above 0"));

    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    QVariantList accessPoints;
    QElapsedTimer sinceScan;
    int linesBefore = 0;
    for (; left != 0; --left) {
        const PeerReply link = call.peer().ask(QStringLiteral("wifi_link"));
        if (!link.isAnswered || link.code != 0)
            return call.show(link);
        if (!sinceScan.isValid() || sinceScan.elapsed() >= kScanEveryMs) {
            accessPoints = call.peer()
                               .ask(QStringLiteral("wifi_aps"))
                               .map.value(QStringLiteral("aps"))
                               .toList();
            sinceScan.start();
        }
        const PeerReply trace = call.peer().ask(QStringLiteral("wifi_trace"));
        const QString text = wifiViewText(link.map, accessPoints, trace.map);
        call.print(isTerminal ? inPlace(text, linesBefore) : text);
        linesBefore = text.count(QLatin1Char('\n'));
        if (left != 1)
            QThread::msleep(static_cast<unsigned long>(everyS * 1000));
    }
    return kDone;
}

} // namespace ky
