#include "daemon/Daemon.h"
#include "daemon/DaemonHome.h"
#include "daemon/EndLimit.h"
#include "daemon/SignalPipe.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QLoggingCategory>

#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;

// Above the longest that one request is meant to take (setting up 32 CAN ports), below the patience
// of service managers.
constexpr unsigned kEndLimitS = 60;

int complain(const QString& line, int status)
{
    std::fprintf(stderr, "kyhostd: %s\n", line.toUtf8().constData());
    return status;
}

/// Fills the options from the command line; a text tells what is wrong with it.
QString readOptions(QCommandLineParser& parser, ky::DaemonOptions* options)
{
    const QCommandLineOption home(
        QStringLiteral("home"), QStringLiteral("Folder of the daemon's files."),
        QStringLiteral("DIR"),
        ky::defaultHome(geteuid() == 0, qEnvironmentVariable("XDG_STATE_HOME"), QDir::homePath()));
    const QCommandLineOption settings(
        QStringLiteral("settings"),
        QStringLiteral("Settings file (INI); appInfo/setting/kyhostd.ini of the home otherwise."),
        QStringLiteral("FILE"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("Port of the service, over the settings file."),
                                  QStringLiteral("N"));
    const QCommandLineOption verbose(QStringLiteral("verbose"),
                                     QStringLiteral("Log at debug level, too."));
    parser.addOptions({home, settings, port, verbose});
    parser.addHelpOption();
    parser.addVersionOption();
    // What process() tells of a wrong option it tells in more than a line, and ends with status 1.
    if (!parser.parse(QCoreApplication::arguments())) {
        const QString text = parser.errorText();
        return text.endsWith(QLatin1Char('.')) ? text.chopped(1) : text;
    }
    parser.process(QCoreApplication::arguments());

    if (!parser.positionalArguments().isEmpty())
        return QStringLiteral("no argument [%1] is known")
            .arg(parser.positionalArguments().first());
    const int portNumber = parser.value(port).toInt();
    if (parser.isSet(port) && (portNumber < 1 || portNumber > 32767))
        return QStringLiteral("option --port: %1 is not in 1 to 32767").arg(parser.value(port));
    options->isVerbose = parser.isSet(verbose);
    options->home = parser.value(home);
    options->settingsFile = parser.value(settings);
    options->port = quint16(portNumber);
    return {};
}

/// Each connection takes two descriptors, and the usual soft limit is a leftover of select().
void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

int main(int argc, char** argv)
{
    raiseDescriptorLimit();
    // Qt's own dispatcher is quicker here than GLib's and takes less memory for each connection.
    qputenv("QT_NO_GLIB", "1");
    // Tools that follow the log look for lines by their beginning, so nothing stands in front.
    // QT_MESSAGE_PATTERN in the environment still has its way.
    qSetMessagePattern(QStringLiteral("%{message}"));
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kyhostd"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KY_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Reference daemon of the communication and host administration library."));
    ky::DaemonOptions options;
    const QString usageError = readOptions(parser, &options);
    if (!usageError.isEmpty())
        return complain(usageError, kUsage);

    const ky::SignalPipe signalPipe;
    if (!signalPipe.isReady())
        return complain(QStringLiteral("signals cannot be handled"), kFailed);
    const QString logRules = options.isVerbose ? QString() : QStringLiteral("ky.*.debug=false\n");
    // What fails at the start is told in one line, below.
    QLoggingCategory::setFilterRules(logRules + QStringLiteral("ky.service.warning=false"));
    ky::Daemon daemon;
    const QString problem = daemon.start(options);
    QLoggingCategory::setFilterRules(logRules);
    if (!problem.isEmpty())
        return complain(problem, kFailed);

    const auto& servers = daemon.settings().servers;
    std::printf("kyhostd: ready on ports %d, %d, %d; home %s\n", servers[0].port, servers[1].port,
                servers[2].port, QDir::currentPath().toUtf8().constData());
    std::fflush(stdout);
    const int status = QCoreApplication::exec();
    ky::limitEnd(kEndLimitS);
    return status;
}
