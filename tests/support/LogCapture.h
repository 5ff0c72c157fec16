#pragma once

#include <QByteArray>
#include <QList>
#include <QLoggingCategory>
#include <QStringList>

#include <functional>

/// Keeps what is logged while it lives, by any thread, in place of printing it. There is one at a
/// time, so everything that reads it is static; the lines stay until the next one begins.
///
///     const LogCapture log("ky.network");
///     network.switchAP(card, bssid);
///     QVERIFY(log.holds("[debug][switchAP][…]"));
class LogCapture
{
public:
    struct Line
    {
        QtMsgType type = QtFatalMsg;
        QByteArray category;
        QString text;
    };

    /// Hears what the logging rules let through.
    LogCapture();
    /// Hears the categories that begin with `category` from the level `least` on, and nothing
    /// of them below it, whatever the rules say. Other categories follow the rules.
    explicit LogCapture(const char* category, QtMsgType least = QtDebugMsg);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static QList<Line> entries();
    static QStringList lines();
    /// The lines so far, which are forgotten.
    static QStringList take();
    static QString last();
    /// The lines that contain this text.
    static QStringList with(const QString& text);
    static QStringList ofType(QtMsgType type);
    /// The lines of one category.
    static QStringList of(const char* category);

    /// How often this very line was logged.
    static int count(const QString& line);
    static bool holds(const QString& line) { return count(line) > 0; }
    /// Whether a line begins with `begin` and has `part` further on.
    static bool holdsPart(const QString& begin, const QString& part);

    /// Calls `heard` with each line once it is kept, in the thread that logs; that thread goes on
    /// when `heard` returns. Ends with the capture.
    static void onLine(std::function<void(const QString&)> heard);

private:
    QtMessageHandler _previousHandler = nullptr;
    bool _hasFilter = false;
};
