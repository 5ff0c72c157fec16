#pragma once

#include <QString>
#include <QVector>

namespace ky {

/// One command of an interface's set-up and the pause behind it.
struct CanSetupStep
{
    QString line;
    int pauseMs = 0;
};

/// The shell line that gives an interface its bit timing. Model "TBX880" takes the baud rate as it
/// is; every other one has fixed timings for seven rates, and that of 250000 for any other text.
QString canTimingLine(const QString& dev, const QString& baudrate, const QString& tbxName);

/// The four commands that set up an interface, in order.
QVector<CanSetupStep> canSetupSteps(const QString& dev, const QString& baudrate,
                                    const QString& tbxName);

} // namespace ky
