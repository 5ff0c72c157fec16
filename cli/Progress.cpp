#include "cli/Progress.h"

#include <cstdio>

namespace ky {

namespace {

constexpr int kBarWidth = 30;
constexpr int kRedrawMs = 100;

int percentOf(qint64 sent, qint64 total)
{
    return total > 0 ? int(double(sent) / double(total) * 100.0) : 100;
}

QString etaText(qint64 seconds)
{
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

QString sizeText(qint64 bytes)
{
    constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024)
        return QStringLiteral("%1 B").arg(bytes);
    double value = double(bytes);
    int unit = -1;
    while (value >= 1023.95 && unit < 3) {
        value /= 1024.0;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(value, 0, 'f', 1).arg(QLatin1String(kUnits[unit]));
}

QString progressText(qint64 sent, qint64 total, qint64 elapsedMs)
{
    const QString percent = QStringLiteral("%1 %").arg(percentOf(sent, total), 3);
    if (sent <= 0 || elapsedMs <= 0)
        return percent;
    const double bytesPerSecond = double(sent) * 1000.0 / double(elapsedMs);
    const QString rate = QStringLiteral("%1   %2/s").arg(percent, sizeText(qint64(bytesPerSecond)));
    if (sent >= total)
        return rate;
    const qint64 seconds = qint64(double(total - sent) / bytesPerSecond + 0.5);
    return QStringLiteral("%1   ETA %2").arg(rate, etaText(seconds));
}

QString progressBar(qint64 sent, qint64 total, qint64 elapsedMs, int barWidth)
{
    const int filled = qBound(0, percentOf(sent, total) * barWidth / 100, barWidth);
    return QStringLiteral("[%1%2] %3")
        .arg(QString(filled, QLatin1Char('#')), QString(barWidth - filled, QLatin1Char('.')),
             progressText(sent, total, elapsedMs));
}

Progress::Progress(qint64 total, bool isTerminal)
    : _total(total)
    , _isTerminal(isTerminal)
{}

void Progress::show(qint64 sent, qint64 elapsedMs)
{
    const int tenth = percentOf(sent, _total) / 10;
    const bool isDue =
        _isTerminal ? sent >= _total || _lastShownMs < 0 || elapsedMs - _lastShownMs >= kRedrawMs
                    : tenth > _lastTenth;
    if (!isDue)
        return;
    _lastShownMs = elapsedMs;
    _lastTenth = tenth;
    if (_isTerminal)
        std::fprintf(stderr, "\r%s\x1b[K",
                     qPrintable(progressBar(sent, _total, elapsedMs, kBarWidth)));
    else
        std::fprintf(stderr, "%s\n", qPrintable(progressText(sent, _total, elapsedMs)));
    std::fflush(stderr);
    _isLineOpen = _isTerminal;
}

void Progress::end()
{
    if (_isLineOpen)
        std::fputc('\n', stderr);
    _isLineOpen = false;
}

} // namespace ky
