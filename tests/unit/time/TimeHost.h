#pragma once

#include "LogCapture.h"

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

/// What an object of the time service finds around it: a working directory with its settings
/// file, a platform script or none, recorded commands, and the log lines that it writes.
class TimeHost
{
public:
    TimeHost();
    ~TimeHost();
    TimeHost(const TimeHost&) = delete;
    TimeHost& operator=(const TimeHost&) = delete;

    /// Writes the group NTP of the settings file, one "key=value" for each line.
    void writeSettings(const QStringList& lines);
    /// A value of the group NTP as the file has it, "(absent)" without one.
    QString stored(const QString& key) const;

    /// Makes the platform script; it may be executed unless told otherwise.
    void makeScript(bool isExecutable = true);
    void removeScript();
    QString script() const { return _folder.filePath(QStringLiteral("hal.sh")); }

    /// The log lines of the time service so far.
    static QStringList logLines();
    /// The last log line that holds `text`, or an empty one.
    static QString logLine(const QString& text);

private:
    QTemporaryDir _folder;
    QString _before;
    LogCapture _log{"ky.time"};
};
