#pragma once

#include "network/SystemNetwork.h"

namespace ky {

/// The network administration with a look at what link supervision goes by.
///
/// Thread: that of the object, as for all of it.
class DaemonNetwork : public SystemNetwork
{
public:
    /// What is in force now: the settings file may hold newer values that nobody has read yet, and
    /// a period too short to be taken.
    QVariantMap supervision() const;
};

} // namespace ky
