// Measures the library against the references beside it and prints the tables.

#include "Rows.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QSysInfo>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <unistd.h>

namespace {

using namespace ky::bench;

QString processorName()
{
    QFile file(QStringLiteral("/proc/cpuinfo"));
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown processor");
    const QString text = QString::fromUtf8(file.readAll());
    return text.section(QStringLiteral("model name"), 1, 1)
        .section(QLatin1Char('\n'), 0, 0)
        .section(QLatin1Char(':'), 1)
        .trimmed();
}

QString loadAverage()
{
    double load[1] = {};
    getloadavg(load, 1);
    return QString::number(load[0], 'f', 1);
}

QString head(const Options& options)
{
    return QStringLiteral(
               "# Benchmarks of %1\n\n"
               "%2, %3 processors online, %4, kernel %5, Qt %6, g++ %7, Release build.\n"
               "Medians of %8 interleaved rounds, in brackets the lowest and the highest round. "
               "Load average at the start: %9.\n")
               .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                    processorName(), QString::number(sysconf(_SC_NPROCESSORS_ONLN)),
                    QSysInfo::prettyProductName(), QSysInfo::kernelVersion(),
                    QString::fromLatin1(qVersion()), QStringLiteral(__VERSION__),
                    QString::number(options.rounds), loadAverage()) +
           QStringLiteral("A measurement of the service lasts %1 s. Log lines are off by rule "
                          "(`*=false`) where a row does not say otherwise.\n\n")
               .arg(options.seconds);
}

struct Group
{
    const char* name;
    Table (*measure)(const Options&);
};

constexpr Group kGroups[] = {{"requests", measureRoundTrips},
                             {"connections", measureConnections},
                             {"upload", measureUpload},
                             {"noise", measureNoise},
                             {"commands", measureCommands}};

Options readOptions(const QCoreApplication& application)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Groups: requests, connections, upload, noise, commands. All of them when none is named, "
        "and with `none` only the lines on the machine."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("group"), QString(), QStringLiteral("[group …]"));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("Rounds of each row."),
                                    QStringLiteral("N"), QStringLiteral("5"));
    const QCommandLineOption seconds(QStringLiteral("seconds"),
                                     QStringLiteral("Time of one measurement."),
                                     QStringLiteral("S"), QStringLiteral("1"));
    parser.addOptions({rounds, seconds});
    parser.process(application);
    return {QCoreApplication::applicationDirPath(), parser.value(rounds).toInt(),
            parser.value(seconds).toDouble(), parser.positionalArguments()};
}

/// At once: whoever stops a run keeps what has been measured.
void print(const QString& text)
{
    fprintf(stderr, "\n");
    printf("%s", qUtf8Printable(text));
    fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    signal(SIGPIPE, SIG_IGN);
    const Options options = readOptions(application);
    print(head(options));
    int status = 0;
    for (const Group& group : kGroups) {
        if (!options.only.isEmpty() && !options.only.contains(QLatin1String(group.name)))
            continue;
        try {
            print(group.measure(options).text());
        } catch (const std::exception& failure) {
            print(QStringLiteral("## %1\n\nFailed: %2.\n\n")
                      .arg(QLatin1String(group.name), QString::fromUtf8(failure.what())));
            status = 1;
        }
    }
    return status;
}
