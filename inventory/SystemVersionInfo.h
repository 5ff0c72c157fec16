#pragma once

#include "host/BaseObject.h"

#include <QVariantMap>

/// Answers what the controller is made of.
///
/// Thread: any one thread; there is no state.
class Q_DECL_EXPORT SystemVersionInfo : public BaseObject
{
    Q_OBJECT

public:
    explicit SystemVersionInfo(QObject* parent = nullptr);

    /// Reads everything afresh from the host's tools. There is no failure: what cannot be read is
    /// empty or left out. Blocks while the tools run, up to 30 s for each of the first three and
    /// 20 s for the temperatures. A tool that takes longer is killed with all that it started, and
    /// what it had printed counts.
    ///
    /// "disk": a map for each row of `df` with "Filesystem", "Used", "Size", "Use%" (all texts;
    /// on most boards the first entry is the head of the table).
    /// "cpu": first a map with "cpuTotalNumber", then one with "model name" for each processor.
    /// "network_card": a map for each Ethernet or Wi-Fi card with "name" and "mac".
    /// "FernoVersion_info": a map with "version" and "tbxName".
    /// "temperature": a map for each thermal zone with "filePath", "name" and "temp" (degrees
    /// Celsius); the key is absent on a host without zones.
    QVariantMap getHardwareInfo();
};
