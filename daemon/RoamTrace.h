#pragma once

#include <QMutex>
#include <QObject>

namespace ky {

/// Listens to what the network's log tells of roaming: the access point in use, the candidates,
/// the decision. The lines are the library's only word on a decision, and their texts are fixed.
/// Every line still goes on to whoever handled messages before.
///
/// Thread: made and ended in the daemon's; the signal comes from whichever thread logs.
class RoamTrace : public QObject
{
    Q_OBJECT

public:
    RoamTrace();
    ~RoamTrace() override;

signals:
    /// `kind` is "CurrentAP", "ApList" or "text"; `text` is what the brackets behind it hold.
    void sigTold(const QString& kind, const QString& text);
};

/// Parts a line such as "[info][CurrentAP][02:00|-61]" into "CurrentAP" and "02:00|-61"; false for
/// any other line.
bool readRoamLine(const QString& line, QString* kind, QString* text);

} // namespace ky
