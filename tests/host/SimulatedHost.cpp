#include "SimulatedHost.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr int kLimitMs = 30000;

} // namespace

SimulatedHost::SimulatedHost(const QString& sceneFile)
    : _own(new QTemporaryDir)
    , _folder(_own->path())
    , _sceneFile(sceneFile)
{
    QStringList arguments{"run", "--state", _folder};
    if (!sceneFile.isEmpty())
        arguments << "--scene" << sceneFile;
    hostsim(arguments << "true");
}

SimulatedHost::SimulatedHost(Which)
    : _folder(QFile::decodeName(qgetenv("HOSTSIM_STATE")))
{
    if (_folder.isEmpty())
        qFatal("this test has to run on a simulated host: hostsim run -- %s",
               "TEST (as ctest does)");
}

SimulatedHost::~SimulatedHost()
{
    if (_process.state() != QProcess::NotRunning)
        stop();
}

QByteArray SimulatedHost::hostsim(const QStringList& arguments) const
{
    QProcess process;
    process.start(KY_HOSTSIM, arguments);
    const bool isDone = process.waitForFinished(kLimitMs);
    if (!isDone || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        qFatal("hostsim %s: %s", qPrintable(arguments.join(' ')),
               process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

void SimulatedHost::reset(const QString& sceneFile)
{
    QStringList arguments{"reset", "--state", _folder};
    if (!sceneFile.isEmpty())
        arguments << "--scene" << sceneFile;
    hostsim(arguments);
}

void SimulatedHost::set(const QString& path, const QString& value)
{
    hostsim({"set", "--state", _folder, path, value});
}

QString SimulatedHost::get(const QString& path) const
{
    return QString::fromUtf8(hostsim({"get", "--state", _folder, path})).trimmed();
}

void SimulatedHost::addFault(const QString& tool, const QString& kind, const QStringList& options)
{
    hostsim(QStringList{"fault", "--state", _folder, "add", tool, kind} + options);
}

void SimulatedHost::clearFaults()
{
    hostsim({"fault", "--state", _folder, "clear"});
}

QList<SimulatedHost::Line> SimulatedHost::calls() const
{
    QList<Line> calls;
    for (const QByteArray& text : hostsim({"log", "--state", _folder}).split('\n')) {
        const QJsonObject entry = QJsonDocument::fromJson(text).object();
        if (entry.isEmpty())
            continue;
        Line line{entry["line"].toString(),
                  {},
                  entry["status"].toInt(-1),
                  qint64(entry["startMs"].toDouble())};
        for (const QJsonValue& argument : entry["argv"].toArray())
            line.arguments << argument.toString();
        calls << line;
    }
    return calls;
}

QStringList SimulatedHost::lines() const
{
    QStringList lines;
    for (const Line& call : calls())
        lines << call.line;
    return lines;
}

void SimulatedHost::clearLines()
{
    QFile::remove(_folder + "/log");
}

SimulatedHost::Result SimulatedHost::run(const QString& shellLine, const QString& language) const
{
    QProcess process;
    process.start(KY_HOSTSIM, {"run", "--state", _folder, "--lang", language, "--", "/bin/sh", "-c",
                               shellLine});
    if (!process.waitForFinished(kLimitMs))
        qFatal("no end of [%s]", qPrintable(shellLine));
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

void SimulatedHost::start(const QString& program, const QStringList& arguments,
                          const QString& language)
{
    _process.start(KY_HOSTSIM,
                   QStringList{"run", "--state", _folder, "--lang", language, "--", program} +
                       arguments);
    if (!_process.waitForStarted(kLimitMs))
        qFatal("hostsim did not start: %s", qPrintable(_process.errorString()));
}

bool SimulatedHost::stop(int limitMs)
{
    _process.terminate();
    if (_process.waitForFinished(limitMs))
        return true;
    _process.kill();
    _process.waitForFinished(limitMs);
    return false;
}
