#include "LogCapture.h"

#include <QMutex>

#include <algorithm>
#include <utility>

namespace {

// A read loop that fails logs without end.
constexpr int kMostLines = 200000;

QMutex mutex; // over the two below
QList<LogCapture::Line> kept;
std::function<void(const QString&)> listener;

// Set before the filter is installed and unchanged until it is gone.
QByteArray filteredCategory;
QtMsgType leastType = QtDebugMsg;
QLoggingCategory::CategoryFilter ruleFilter = nullptr;

bool isCapturing = false;

/// The order of severity: in QtMsgType, info comes last.
int severity(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return 0;
    case QtInfoMsg:
        return 1;
    case QtWarningMsg:
        return 2;
    default:
        return 3;
    }
}

void filter(QLoggingCategory* category)
{
    ruleFilter(category);
    if (!QByteArray(category->categoryName()).startsWith(filteredCategory))
        return;
    for (QtMsgType type : {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg})
        category->setEnabled(type, severity(type) >= severity(leastType));
}

void keep(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    std::function<void(const QString&)> heard;
    {
        const QMutexLocker locker(&mutex);
        if (kept.size() < kMostLines)
            kept.append({type, context.category, text});
        heard = listener;
    }
    if (heard)
        heard(text);
}

template <typename Condition>
QStringList linesThat(Condition isMet)
{
    const QMutexLocker locker(&mutex);
    QStringList found;
    for (const LogCapture::Line& line : std::as_const(kept)) {
        if (isMet(line))
            found << line.text;
    }
    return found;
}

} // namespace

LogCapture::LogCapture()
{
    if (std::exchange(isCapturing, true))
        qFatal("the log is captured already");
    take();
    _previousHandler = qInstallMessageHandler(keep);
}

LogCapture::LogCapture(const char* category, QtMsgType least)
    : LogCapture()
{
    filteredCategory = category;
    leastType = least;
    // Qt applies a new filter before it returns the old one, which ours calls.
    ruleFilter = QLoggingCategory::installFilter(nullptr);
    QLoggingCategory::installFilter(filter);
    _hasFilter = true;
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(_previousHandler);
    if (_hasFilter)
        QLoggingCategory::installFilter(ruleFilter);
    onLine({});
    isCapturing = false;
}

QList<LogCapture::Line> LogCapture::entries()
{
    const QMutexLocker locker(&mutex);
    return kept;
}

QStringList LogCapture::lines()
{
    return linesThat([](const Line&) { return true; });
}

QStringList LogCapture::take()
{
    const QMutexLocker locker(&mutex);
    QStringList taken;
    for (const Line& line : std::as_const(kept))
        taken << line.text;
    kept.clear();
    return taken;
}

QString LogCapture::last()
{
    const QMutexLocker locker(&mutex);
    return kept.isEmpty() ? QString() : kept.last().text;
}

QStringList LogCapture::with(const QString& text)
{
    return linesThat([&](const Line& line) { return line.text.contains(text); });
}

QStringList LogCapture::ofType(QtMsgType type)
{
    return linesThat([&](const Line& line) { return line.type == type; });
}

QStringList LogCapture::of(const char* category)
{
    return linesThat([&](const Line& line) { return line.category == category; });
}

int LogCapture::count(const QString& text)
{
    const QMutexLocker locker(&mutex);
    return int(std::count_if(kept.cbegin(), kept.cend(),
                             [&](const Line& line) { return line.text == text; }));
}

bool LogCapture::holdsPart(const QString& begin, const QString& part)
{
    const QMutexLocker locker(&mutex);
    return std::any_of(kept.cbegin(), kept.cend(), [&](const Line& line) {
        return line.text.startsWith(begin) && line.text.indexOf(part, begin.size()) >= 0;
    });
}

void LogCapture::onLine(std::function<void(const QString&)> heard)
{
    const QMutexLocker locker(&mutex);
    listener = std::move(heard);
}
