#include "FrameSender.h"
#include "Measure.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

// Both channels of a 1 Mbit/s bus, full of 8-byte frames.
constexpr int kBusRate = 16000;
constexpr int kBusSeconds = 3;
constexpr int kFloodFrames = 100000;
constexpr int kRounds = 5;

using Measurement = std::function<Figures(int rate, int frames)>;

QString cell(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    const auto text = [](double value) {
        return QString::number(value, 'f', value < 1000 ? 1 : 0);
    };
    return QStringLiteral("%1 (%2–%3)")
        .arg(text(values.value(values.size() / 2)), text(values.first()), text(values.last()));
}

bool printRow(const char* name, int rate, const Measurement& measure)
{
    QVector<double> perSecond;
    QVector<double> cpuShare;
    QVector<double> clientShare;
    int missing = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int frames = rate > 0 ? rate * kBusSeconds : kFloodFrames;
        const Figures figures = measure(rate, frames);
        if (!figures.problem.isEmpty() || figures.lost < 0) {
            std::fprintf(stderr, "%s: %s\n", name, qPrintable(figures.problem));
            return false;
        }
        missing += frames - figures.arrived;
        perSecond << figures.arrived / figures.seconds;
        cpuShare << 100 * figures.cpuSeconds / figures.seconds;
        clientShare << 100 * figures.clientCpuSeconds / figures.seconds;
    }
    std::printf("| %s | %s | %s | %d | %s | %s |\n", name,
                rate > 0 ? "16000 frames/s" : "as fast as taken", qPrintable(cell(perSecond)),
                missing, qPrintable(cell(cpuShare)), qPrintable(cell(clientShare)));
    std::fflush(stdout);
    return true;
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
    std::printf(
        "| Road | Load | frames/s | lost in all rounds | CPU of one core, %% | of kyctl, %% "
        "|\n|---|---|---|---|---|---|\n");
    const bool isDone = printRow("socket pair to sigMsg", kBusRate, measureManager) &&
                        printRow("socket pair to sigMsg", 0, measureManager) &&
                        printRow("socket to kyhostd to kyctl can watch", kBusRate, measureDaemon) &&
                        printRow("socket to kyhostd to kyctl can watch", 0, measureDaemon);
    return isDone ? 0 : 1;
}
