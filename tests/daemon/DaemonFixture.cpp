#include "DaemonFixture.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>

#include <csignal>

namespace {

constexpr int kStartLimitMs = 20000;

} // namespace

QVariantMap ProgramResult::json() const
{
    return QJsonDocument::fromJson(output).toVariant().toMap();
}

QString programPath(const QString& name)
{
    // Tests lie in build/tests, programs in build/bin.
    return QCoreApplication::applicationDirPath() + QStringLiteral("/../bin/") + name;
}

ProgramResult runProgram(const QString& name, const QStringList& arguments, int limitMs,
                         const QByteArray& input)
{
    QProcess process;
    process.start(programPath(name), arguments);
    process.write(input);
    process.closeWriteChannel();
    ProgramResult result;
    if (!process.waitForFinished(limitMs)) {
        process.kill();
        process.waitForFinished();
    } else if (process.exitStatus() == QProcess::NormalExit) {
        result.status = process.exitCode();
    }
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    return result;
}

/// The environment of this process, with a `sudo` first on the PATH that always fails.
static QProcessEnvironment environmentWithoutSudo(const QTemporaryDir& folder)
{
    QFile sudo(folder.filePath(QStringLiteral("sudo")));
    if (sudo.open(QIODevice::WriteOnly))
        sudo.write("#!/bin/sh\necho 'not on this host' >&2\nexit 1\n");
    sudo.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"), folder.path() + QLatin1Char(':') +
                                                   environment.value(QStringLiteral("PATH")));
    return environment;
}

DaemonFixture::DaemonFixture()
    : _home(_folder.filePath(QStringLiteral("home")))
    , _settingsFile(_folder.filePath(QStringLiteral("kyhostd.ini")))
    , _ports{freePort(), freePort(), freePort()}
    , _log(_folder.filePath(QStringLiteral("log")))
{}

DaemonFixture::~DaemonFixture()
{
    if (_process.state() != QProcess::NotRunning)
        stop(SIGTERM);
}

bool DaemonFixture::start(const QString& hostGroup)
{
    QString text;
    for (int i = 0; i < 3; ++i)
        text += QStringLiteral("[Server%1]\nport=%2\nthreadCount=4\npayload=1024\n")
                    .arg(i + 1)
                    .arg(_ports[i]);
    writeSettings((text + QStringLiteral("[Host]\ndataDir=data\n") + hostGroup).toUtf8());
    launch();
    return waitReady();
}

void DaemonFixture::launch()
{
    _process.setStandardErrorFile(_log);
    if (_wrapper.isEmpty())
        _process.setProcessEnvironment(environmentWithoutSudo(_folder));
    QStringList line = _wrapper;
    line << programPath(QStringLiteral("kyhostd")) << QStringLiteral("--home") << _home
         << QStringLiteral("--settings") << _settingsFile;
    const QString program = line.takeFirst();
    _process.start(program, line);
}

bool DaemonFixture::waitReady()
{
    QElapsedTimer clock;
    clock.start();
    QByteArray output;
    while (clock.elapsed() < kStartLimitMs) {
        output += _process.readAllStandardOutput();
        if (output.contains("ready on ports"))
            return true;
        if (_process.state() == QProcess::NotRunning)
            return false;
        _process.waitForReadyRead(100);
    }
    return false;
}

int DaemonFixture::stop(int signalNumber)
{
    if (_process.state() != QProcess::NotRunning)
        ::kill(pid_t(_process.processId()), signalNumber);
    if (!waitEnd()) {
        _process.kill();
        _process.waitForFinished();
        return -1;
    }
    return _process.exitStatus() == QProcess::NormalExit ? _process.exitCode() : -1;
}

bool DaemonFixture::waitEnd(int limitMs)
{
    return _process.state() == QProcess::NotRunning || _process.waitForFinished(limitMs);
}

ProgramResult DaemonFixture::kyctl(const QStringList& arguments, int limitMs,
                                   const QByteArray& input)
{
    return runProgram(QStringLiteral("kyctl"),
                      QStringList{QStringLiteral("--port"), QString::number(port())} + arguments,
                      limitMs, input);
}

void DaemonFixture::writeSettings(const QByteArray& content)
{
    QFile file(_settingsFile);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("settings file cannot be written");
}

QString DaemonFixture::errorText()
{
    QFile file(_log);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
