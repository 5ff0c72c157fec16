#pragma once

#include "daemon/Subsystem.h"

namespace ky {

/// The frames that link supervision and the host report deliver on the two side ports: takes them
/// in, remembers them and answers `link_status`.
class LinkReports : public Subsystem
{
    Q_OBJECT

public:
    explicit LinkReports(const DaemonContext& context);

private:
    Answer takeLink(bool isGood, const Request& request);
    Answer takeReport(const Request& request);
    Answer status() const;

    QString _state = QStringLiteral("unknown");
    QString _stateSince;
    QString _lastHeard;
    QString _message;
    int _lostCount = 0;
    QVariantMap _report;
    QString _reportTime;
};

} // namespace ky
