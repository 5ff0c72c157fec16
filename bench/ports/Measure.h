#pragma once

#include "FrameSender.h"

#include <QString>

/// One measurement: 8-byte frames on two channels.
struct Figures
{
    QString problem; ///< why there are none; empty on success
    int offered = 0;
    int refused = 0;        ///< no room in the socket's queue: never got into the measured road
    int arrived = 0;        ///< at the end of the road
    double sendSeconds = 0; ///< what the bus took for the frames offered
    double seconds = 0;     ///< from the first frame to the last that arrived
    double cpuSeconds = 0;
    double clientCpuSeconds = 0;

    /// What the bus says of its part.
    void take(const std::optional<SendReport>& report)
    {
        if (!report || !report->isDone)
            problem = QStringLiteral("the bus did not do its work");
        refused = report ? report->refused : 0;
        sendSeconds = report ? report->seconds : 0;
    }
    /// What got in and did not come out.
    int missing() const { return offered - refused - arrived; }
};

/// How long a road may bring nothing more, once the bus has ended, until the rest counts as
/// missing.
constexpr int kIdleMs = 3000;

/// From socket pairs given with setSocketId() to the manager's sigMsg, within this process.
Figures measureManager(int rate, int frames);

/// From the sockets that kyhostd opened to the lines that `kyctl can watch` prints.
Figures measureDaemon(int rate, int frames);
