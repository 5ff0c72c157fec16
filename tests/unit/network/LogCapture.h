#pragma once

#include <QLoggingCategory>
#include <QStringList>

/// Collects the log lines of the network while it lives, all levels.
class LogCapture
{
public:
    LogCapture()
    {
        lines().clear();
        QLoggingCategory::setFilterRules(QStringLiteral("ky.network.debug=true"));
        _before = qInstallMessageHandler(keep);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(_before);
        QLoggingCategory::setFilterRules(QStringLiteral("ky.network=false"));
    }

    static QStringList& lines()
    {
        static QStringList lines;
        return lines;
    }
    static bool holds(const QString& text) { return lines().contains(text); }

private:
    static void keep(QtMsgType, const QMessageLogContext&, const QString& text) { lines() << text; }

    QtMessageHandler _before = nullptr;
};
