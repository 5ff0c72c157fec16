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

QString head(const Options& options)
{
    return QStringLiteral("# Benchmarks of %1\n\n"
                          "%2, %3 processors in use of the machine, %4, kernel %5, Qt %6.\n"
                          "Medians of %7 interleaved rounds of %8 s (lowest–highest round in "
                          "brackets); load average at the start %9.\n\n")
        .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm")),
             processorName(), QString::number(sysconf(_SC_NPROCESSORS_ONLN)),
             QSysInfo::prettyProductName(), QSysInfo::kernelVersion(),
             QString::fromLatin1(qVersion()), QString::number(options.rounds),
             QString::number(options.seconds));
}

QString loadAverage()
{
    double load[1] = {};
    getloadavg(load, 1);
    return QString::number(load[0], 'f', 1);
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

Options readOptions(const QCoreApplication& application, QString* outputFile)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Groups: requests, connections, upload, noise, commands. All of them when none is named."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("group"), QString(), QStringLiteral("[group …]"));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("Rounds of each row."),
                                    QStringLiteral("N"), QStringLiteral("5"));
    const QCommandLineOption seconds(QStringLiteral("seconds"),
                                     QStringLiteral("Time of one measurement."),
                                     QStringLiteral("S"), QStringLiteral("1"));
    const QCommandLineOption output(QStringLiteral("output"),
                                    QStringLiteral("File that gets the tables, too."),
                                    QStringLiteral("FILE"));
    parser.addOptions({rounds, seconds, output});
    parser.process(application);
    *outputFile = parser.value(output);
    return {QCoreApplication::applicationDirPath(), parser.value(rounds).toInt(),
            parser.value(seconds).toDouble(), parser.positionalArguments()};
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    signal(SIGPIPE, SIG_IGN);
    QString outputFile;
    const Options options = readOptions(application, &outputFile);
    QString text = head(options).arg(loadAverage());
    int status = 0;
    for (const Group& group : kGroups) {
        if (!options.only.isEmpty() && !options.only.contains(QLatin1String(group.name)))
            continue;
        try {
            text += group.measure(options).text();
        } catch (const std::exception& failure) {
            text += QStringLiteral("## %1\n\nFailed: %2.\n\n")
                        .arg(QLatin1String(group.name), QString::fromUtf8(failure.what()));
            status = 1;
        }
    }
    fprintf(stderr, "\n\n");
    printf("%s", qUtf8Printable(text));
    QFile file(outputFile);
    if (!outputFile.isEmpty() &&
        (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)) {
        fprintf(stderr, "cannot write %s\n", qPrintable(outputFile));
        return 1;
    }
    return status;
}
