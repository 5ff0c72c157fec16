#pragma once

#include <QLoggingCategory>
#include <QMutex>
#include <QStringList>

#include <algorithm>

/// Collects what the ports log, debug lines included, while it lives. Thread: any may log.
class LogTap
{
public:
    LogTap()
    {
        QLoggingCategory::setFilterRules(QStringLiteral("ky.ports.debug=true"));
        lines().clear();
        _previous = qInstallMessageHandler(&LogTap::take);
    }
    ~LogTap()
    {
        qInstallMessageHandler(_previous);
        QLoggingCategory::setFilterRules(QString());
    }
    LogTap(const LogTap&) = delete;
    LogTap& operator=(const LogTap&) = delete;

    int count(const QString& line) const
    {
        const QMutexLocker locker(&mutex());
        return lines().count(line);
    }
    bool has(const QString& line) const { return count(line) > 0; }
    /// Whether a line begins with `begin` and has `part` further on.
    bool hasPart(const QString& begin, const QString& part) const
    {
        const QMutexLocker locker(&mutex());
        return std::any_of(lines().cbegin(), lines().cend(), [&](const QString& line) {
            return line.startsWith(begin) && line.indexOf(part, begin.size()) >= 0;
        });
    }
    QStringList all() const
    {
        const QMutexLocker locker(&mutex());
        return lines();
    }

private:
    // At most this many lines: a read loop that fails fills any memory.
    static constexpr int kMost = 20000;

    static QMutex& mutex()
    {
        static QMutex mutex;
        return mutex;
    }
    static QStringList& lines()
    {
        static QStringList lines;
        return lines;
    }
    static void take(QtMsgType, const QMessageLogContext&, const QString& line)
    {
        const QMutexLocker locker(&mutex());
        if (lines().size() < kMost)
            lines() << line;
    }

    QtMessageHandler _previous = nullptr;
};
