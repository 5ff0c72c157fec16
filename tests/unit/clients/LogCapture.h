#pragma once

#include <QMutex>
#include <QStringList>

#include <functional>
#include <utility>

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
    ~LogCapture()
    {
        qInstallMessageHandler(_previous);
        onLine({});
    }
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

    /// Hears each line once it is kept, in the thread that logs, which goes on when `heard` does.
    void onLine(std::function<void(const QString&)> heard)
    {
        const QMutexLocker locker(&mutex());
        listener() = std::move(heard);
    }

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
        std::function<void(const QString&)> heard;
        {
            const QMutexLocker locker(&mutex());
            stored() += text;
            heard = listener();
        }
        if (heard)
            heard(text);
    }
    static std::function<void(const QString&)>& listener()
    {
        static std::function<void(const QString&)> instance;
        return instance;
    }

    QtMessageHandler _previous = nullptr;
};
