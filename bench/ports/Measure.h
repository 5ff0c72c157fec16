#pragma once

#include <QString>

/// One measurement: 8-byte frames on two channels.
struct Figures
{
    QString problem; ///< why there are none; empty on success
    int offered = 0;
    int lost = 0;       ///< no room in the socket
    int arrived = 0;    ///< at the end of the road
    double seconds = 0; ///< from the first frame to the last that arrived
    double cpuSeconds = 0;
    double clientCpuSeconds = 0;
};

/// From socket pairs given with setSocketId() to the manager's sigMsg, within this process.
Figures measureManager(int rate, int frames);

/// From the sockets that kyhostd opened to the lines that `kyctl can watch` prints.
Figures measureDaemon(int rate, int frames);
