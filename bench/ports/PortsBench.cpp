#include "Measure.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// Both channels of a 1 Mbit/s bus, full of 8-byte frames.
constexpr int kBusRate = 16000;
constexpr int kBusSeconds = 3;
constexpr int kFloodFrames = 100000;
constexpr int kRounds = 5;
constexpr double kLeastShareOfRate = 0.98;

using Measurement = std::function<Figures(int rate, int frames)>;

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.value(values.size() / 2);
}

QString cell(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    const auto text = [](double value) {
        return QString::number(value, 'f', value < 1000 ? 1 : 0);
    };
    return QStringLiteral("%1 (%2–%3)")
        .arg(text(median(values)), text(values.first()), text(values.last()));
}

/// What the kernel makes of a queue in this process.
int queueBytes()
{
    const int probe = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const int bytes = enlargeQueue(probe);
    close(probe);
    return bytes;
}

bool printRow(const char* name, int rate, const Measurement& measure)
{
    QVector<double> perSecond;
    QVector<double> cpuShare;
    QVector<double> clientShare;
    QVector<double> sentPerSecond;
    int refused = 0;
    int missing = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int frames = rate > 0 ? rate * kBusSeconds : kFloodFrames;
        const Figures figures = measure(rate, frames);
        if (!figures.problem.isEmpty()) {
            std::fprintf(stderr, "%s: %s\n", name, qPrintable(figures.problem));
            return false;
        }
        refused += figures.refused;
        missing += figures.missing();
        sentPerSecond << frames / figures.sendSeconds;
        perSecond << figures.arrived / figures.seconds;
        cpuShare << 100 * figures.cpuSeconds / figures.seconds;
        clientShare << 100 * figures.clientCpuSeconds / figures.seconds;
    }
    std::printf("| %s | %s | %s | %s | %d | %d | %s | %s |\n", name,
                rate > 0 ? "16000 frames/s" : "as fast as taken", qPrintable(cell(sentPerSecond)),
                qPrintable(cell(perSecond)), refused, missing, qPrintable(cell(cpuShare)),
                qPrintable(cell(clientShare)));
    std::fflush(stdout);
    if (missing != 0)
        std::fprintf(stderr, "%s: %d frames got in and did not come out\n", name, missing);
    if (rate > 0 && refused != 0)
        std::fprintf(stderr, "%s: %d frames came faster than they were taken\n", name, refused);
    const bool isFullRate = rate == 0 || median(sentPerSecond) >= rate * kLeastShareOfRate;
    if (!isFullRate)
        std::fprintf(stderr, "%s: the sender fell short of %d frames/s, so the machine was busy\n",
                     name, rate);
    return missing == 0 && isFullRate && (rate == 0 || refused == 0);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_NO_GLIB", "1"); // as the daemon does
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments().mid(1);
    if (arguments.value(0) == "--send")
        return sendFrames(arguments.mid(1));
    QLoggingCategory::setFilterRules("ky.*=false");

    std::printf("CAN frames of 8 bytes on two channels, medians of %d rounds (lowest–highest).\n\n",
                kRounds);
    std::printf("Between the bus and the port lies a queue of %d KiB, where an open port has its "
                "receive queue.\nA frame that it has no room for is refused; what it took and did "
                "not come out is missing.\nBoth are sums of all rounds.\n\n",
                queueBytes() / 1024);
    std::printf("| Road | Load | sent/s | arrived/s | refused by the queue | missing behind it | "
                "CPU of one core, %% | of kyctl, %% |\n|---|---|---|---|---|---|---|---|\n");
    const bool isDone = printRow("socket pair to sigMsg", kBusRate, measureManager) &&
                        printRow("socket pair to sigMsg", 0, measureManager) &&
                        printRow("socket to kyhostd to kyctl can watch", kBusRate, measureDaemon) &&
                        printRow("socket to kyhostd to kyctl can watch", 0, measureDaemon);
    return isDone ? 0 : 1;
}
