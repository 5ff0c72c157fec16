#include "ports/CanSetup.h"

#include "support/HostLimits.h"
#include "support/ShellLine.h"

#include <algorithm>
#include <iterator>

namespace ky {

namespace {

constexpr char kDown[] = "ifconfig %1 down";
constexpr char kBitrate[] = "ip link set %1 type can bitrate %2";
constexpr char kTiming[] = "ip link set %1 type can tq %2 prop-seg %3 phase-seg1 %4 "
                           "phase-seg2 10 sjw 4 restart-ms 50";
constexpr char kQueueLength[] = "ip link set %1 txqueuelen 1000";
constexpr char kUp[] = "ifconfig %1 up";

constexpr char kBitrateModel[] = "TBX880";

struct Timing
{
    const char* baudrate;
    int quantumNs;
    int propSeg;
    int phaseSeg1;
};

// 80 quanta per bit, sampled at 87.5 %; the fastest has 40 and 75 %.
constexpr Timing kTimings[] = {
    {"20000", 625, 34, 35},  {"50000", 250, 34, 35}, {"100000", 125, 34, 35},
    {"125000", 100, 34, 35}, {"250000", 50, 34, 35}, {"500000", 25, 34, 35},
    {"1000000", 25, 14, 15},
};
constexpr Timing kOtherTiming = {"", 50, 34, 35};

const Timing& timingFor(const QString& baudrate)
{
    const auto row = std::find_if(std::begin(kTimings), std::end(kTimings), [&](const Timing& t) {
        return baudrate == QLatin1String(t.baudrate);
    });
    return row == std::end(kTimings) ? kOtherTiming : *row;
}

} // namespace

QString canTimingLine(const QString& dev, const QString& baudrate, const QString& tbxName)
{
    if (tbxName == QLatin1String(kBitrateModel))
        return shellLine(kBitrate, dev, baudrate);
    const Timing& timing = timingFor(baudrate);
    return shellLine(kTiming, dev, timing.quantumNs, timing.propSeg, timing.phaseSeg1);
}

QVector<CanSetupStep> canSetupSteps(const QString& dev, const QString& baudrate,
                                    const QString& tbxName)
{
    return {
        {shellLine(kDown, dev), limits::kCanPauseMs},
        {canTimingLine(dev, baudrate, tbxName), limits::kCanPauseMs},
        {shellLine(kQueueLength, dev), limits::kCanQueuePauseMs},
        {shellLine(kUp, dev), 0},
    };
}

} // namespace ky
