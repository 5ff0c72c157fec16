#pragma once

#include <QString>

namespace ky {

/// "12.3 MiB", "417 B"
QString sizeText(qint64 bytes);

/// The state of a transfer in words: " 45 %   120.3 MiB/s   ETA 0:12". Rate and ETA only once
/// there is something to tell them from.
QString progressText(qint64 sent, qint64 total, qint64 elapsedMs);

/// The same behind a bar of `barWidth` characters, for a terminal.
QString progressBar(qint64 sent, qint64 total, qint64 elapsedMs, int barWidth);

/// Shows a transfer on standard error: a bar that is redrawn where that is a terminal, else one
/// line for every tenth.
class Progress
{
public:
    Progress(qint64 total, bool isTerminal);

    void show(qint64 sent, qint64 elapsedMs);
    /// Ends the line of the bar.
    void end();

private:
    qint64 _total;
    bool _isTerminal;
    qint64 _lastShownMs = -1;
    int _lastTenth = 0;
    bool _isLineOpen = false;
};

} // namespace ky
