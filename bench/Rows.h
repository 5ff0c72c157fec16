#pragma once

#include "Table.h"

#include <QString>

namespace ky::bench {

struct Options
{
    QString programs;   ///< folder of the servers
    int rounds = 5;     ///< interleaved rounds of each row
    double seconds = 1; ///< time of one measurement
    QStringList only;   ///< names of the groups to run; all when empty
};

/// Each measures one group and returns its table.
Table measureRoundTrips(const Options& options);
Table measureConnections(const Options& options);
Table measureUpload(const Options& options);
Table measureNoise(const Options& options);
Table measureCommands(const Options& options);

} // namespace ky::bench
