#include "Measure.h"

#include "canbus/CanBus.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>

#include <unistd.h>

namespace {

QString program(const char* name)
{
    return QCoreApplication::applicationDirPath() + '/' + name;
}

/// User and system time of a process, threads included.
double cpuSecondsOf(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = file.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) /
           double(sysconf(_SC_CLK_TCK));
}

quint16 freePort()
{
    for (quint16 port = quint16(12000 + QCoreApplication::applicationPid() % 16000);; ++port) {
        QTcpServer probe;
        if (probe.listen(QHostAddress::LocalHost, port))
            return port;
    }
}

/// The daemon on two buses of the stand-in, both open.
class Host
{
public:
    QString start()
    {
        QByteArray settings = "[Host]\ndataDir=data\n";
        for (int i = 1; i <= 3; ++i) {
            const quint16 port = freePort();
            if (i == 1)
                _port = QString::number(port);
            settings += QStringLiteral("[Server%1]\nport=%2\nthreadCount=4\npayload=1024\n")
                            .arg(i)
                            .arg(i == 1 ? port : quint16(port + 50 * i))
                            .toUtf8();
        }
        QFile file(_home.filePath("bench.ini"));
        if (!file.open(QIODevice::WriteOnly) || file.write(settings) != settings.size())
            return "settings file cannot be written";
        file.close();
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LD_PRELOAD",
                           QCoreApplication::applicationDirPath() + "/../lib/libkycanbus.so");
        daemon.setProcessEnvironment(environment);
        daemon.start(program("kyhostd"),
                     {"--home", _home.filePath("home"), "--settings", file.fileName()});
        while (!daemon.readAllStandardOutput().contains("ready on ports")) {
            if (!daemon.waitForReadyRead(20000))
                return "kyhostd does not start: " +
                       QString::fromUtf8(daemon.readAllStandardError());
        }
        return {};
    }
    ~Host()
    {
        daemon.terminate();
        if (!daemon.waitForFinished(10000))
            daemon.kill();
    }
    bool kyctl(const QStringList& words)
    {
        QProcess process;
        process.start(program("kyctl"), arguments(words));
        return process.waitForFinished(20000) && process.exitCode() == 0;
    }
    QStringList arguments(const QStringList& words) const
    {
        return QStringList{"--port", _port} + words;
    }

    CanBusFolder folder;
    CanBus can0{folder.path(), "can0"};
    CanBus can1{folder.path(), "can1"};
    QProcess daemon;

private:
    QTemporaryDir _home;
    QString _port;
};

/// Counts lines until all that got in have come, or nothing more comes; the time is that from the
/// first to the last.
void countLines(QProcess& watcher, FrameSender& sender, Figures* figures)
{
    QElapsedTimer clock;
    QElapsedTimer idle;
    idle.start();
    const auto isOver = [&] {
        return sender.report() &&
               (figures->arrived == figures->offered - sender.report()->refused ||
                idle.elapsed() > kIdleMs);
    };
    while (!isOver() && watcher.state() == QProcess::Running) {
        if (!watcher.waitForReadyRead(50))
            continue;
        if (!clock.isValid())
            clock.start();
        figures->arrived += watcher.readAllStandardOutput().count('\n');
        figures->seconds = double(clock.nsecsElapsed()) / 1e9;
        idle.start();
    }
}

} // namespace

Figures measureDaemon(int rate, int frames)
{
    Figures figures;
    figures.offered = frames;
    Host host;
    figures.problem = host.start();
    if (!figures.problem.isEmpty())
        return figures;
    if (!host.kyctl({"can", "open", "can0"}) || !host.kyctl({"can", "open", "can1"}) ||
        host.can0.accept() < 0 || host.can1.accept() < 0) {
        figures.problem = "the ports do not open";
        return figures;
    }
    QProcess watcher;
    watcher.start(program("kyctl"), host.arguments({"can", "watch"}));
    for (int i = 0; i < 100 && !watcher.waitForReadyRead(200); ++i)
        host.can0.send(1, "first"); // until it is there
    while (watcher.waitForReadyRead(500)) {
    }
    watcher.readAllStandardOutput();

    const double before = cpuSecondsOf(host.daemon.processId());
    const double clientBefore = cpuSecondsOf(watcher.processId());
    FrameSender sender({frames, rate, {host.can0.peer(), host.can1.peer()}});
    countLines(watcher, sender, &figures);
    figures.cpuSeconds = cpuSecondsOf(host.daemon.processId()) - before;
    figures.clientCpuSeconds = cpuSecondsOf(watcher.processId()) - clientBefore;
    figures.take(sender.report());
    watcher.terminate();
    watcher.waitForFinished(5000);
    return figures;
}
