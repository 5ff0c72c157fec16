#pragma once

#include "FreePort.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

/// What a program printed and how it ended.
struct ProgramResult
{
    int status = -1; ///< exit status; -1 if it was killed or did not end in time
    QByteArray output;
    QByteArray errors;

    /// Standard output as a JSON object.
    QVariantMap json() const;
};

/// Runs one of our programs to its end; `input` is all that its standard input has.
ProgramResult runProgram(const QString& name, const QStringList& arguments, int limitMs = 20000,
                         const QByteArray& input = {});

/// The path of one of our programs.
QString programPath(const QString& name);

/// The real daemon in a temporary home on free ports. Ends with the fixture.
class DaemonFixture
{
public:
    DaemonFixture();
    ~DaemonFixture();

    /// Writes the settings file and starts the daemon; true when it listens. `hostGroup` are lines
    /// for the group [Host].
    bool start(const QString& hostGroup = QString());
    /// Starts the daemon by this program and its arguments, for one on a simulated host. Without
    /// it `sudo` fails, so that no test changes the machine it runs on.
    void runUnder(const QStringList& wrapper) { _wrapper = wrapper; }
    /// Starts it and does not wait.
    void launch();
    /// Waits until it says that it is ready, or has ended.
    bool waitReady();

    /// Sends the signal and waits; the exit status, -1 if it was killed or did not end in 10 s.
    int stop(int signalNumber);

    /// Runs kyctl against it.
    ProgramResult kyctl(const QStringList& arguments, int limitMs = 20000,
                        const QByteArray& input = {});

    bool isRunning() const { return _process.state() == QProcess::Running; }
    qint64 pid() const { return _process.processId(); }
    QString home() const { return _home; }
    void setHome(const QString& home) { _home = home; }
    QString settingsFile() const { return _settingsFile; }
    void writeSettings(const QByteArray& content);
    quint16 port() const { return _ports[0]; }
    quint16 linkPort() const { return _ports[1]; }
    quint16 reportPort() const { return _ports[2]; }
    int exitStatus() const { return _process.exitCode(); }
    bool waitEnd(int limitMs = 10000);
    /// Standard error so far.
    QString errorText();

private:
    QTemporaryDir _folder;
    QString _home;
    QString _settingsFile;
    quint16 _ports[3];
    QProcess _process;
    QStringList _wrapper;
    QString _log; ///< a file: a pipe that nobody reads would stop the daemon once it is full
};
