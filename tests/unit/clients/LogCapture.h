#pragma once

#include <QMutex>
#include <QStringList>

/// Collects the log lines of all threads, as a host's message handler would get them, while it
/// lives.
class LogCapture
{
public:
    LogCapture()
    {
        take();
        _previous = qInstallMessageHandler(handle);
    }
    ~LogCapture() { qInstallMessageHandler(_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList lines() const
    {
        const QMutexLocker locker(&mutex());
        return stored();
    }
    QStringList take()
    {
        const QMutexLocker locker(&mutex());
        const QStringList lines = stored();
        stored().clear();
        return lines;
    }
    /// The lines that hold this text.
    QStringList with(const QString& text) const { return lines().filter(text); }

private:
    static QMutex& mutex()
    {
        static QMutex instance;
        return instance;
    }
    static QStringList& stored()
    {
        static QStringList instance;
        return instance;
    }
    static void handle(QtMsgType, const QMessageLogContext&, const QString& text)
    {
        const QMutexLocker locker(&mutex());
        stored() += text;
    }

    QtMessageHandler _previous = nullptr;
};
