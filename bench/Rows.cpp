#include "Rows.h"

#include "Connection.h"
#include "Load.h"
#include "ServerProcess.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ky::bench {

namespace {

constexpr int kIdleConnections = 200;
constexpr size_t kUploadBytes = size_t(512) << 20;
constexpr size_t kNoiseBytes = size_t(64) << 20;
constexpr size_t kLoggedNoiseBytes = size_t(1) << 20;

const QString kKy = QStringLiteral("ky");
const QString kKyNoGlib = QStringLiteral("ky, QT_NO_GLIB=1");
const QString kQt = QStringLiteral("qt");
const QString kEpoll = QStringLiteral("epoll");

/// How a server is started.
struct Subject
{
    QString name;
    QString program;
    QStringList arguments;
    QStringList environment;
};

/// No log lines, since `qt` has none.
const QStringList kSilent{QStringLiteral("QT_LOGGING_RULES=*=false")};
const QStringList kWarnings{QStringLiteral("QT_LOGGING_RULES=*.debug=false")};

std::vector<Subject> servers()
{
    return {{kKy, QStringLiteral("bench_ky"), {}, kSilent},
            {kKyNoGlib, QStringLiteral("bench_ky"), {}, kSilent + QStringList{"QT_NO_GLIB=1"}},
            {kQt, QStringLiteral("bench_qt"), {}, kSilent},
            {kEpoll, QStringLiteral("bench_epoll"), {}, {}}};
}

QStringList namesOf(const std::vector<Subject>& subjects)
{
    QStringList names;
    for (const Subject& subject : subjects)
        names << subject.name;
    return names;
}

std::unique_ptr<ServerProcess> start(const Options& options, const Subject& subject,
                                     Processors processors)
{
    const QString program = QDir(options.programs).filePath(subject.program);
    return std::make_unique<ServerProcess>(QStringList{program} + subject.arguments, processors,
                                           subject.environment);
}

/// Runs a measurement in turn for every subject, again and again, each time on a fresh server.
void interleave(const Options& options, const std::vector<Subject>& subjects, Processors processors,
                const std::function<void(const QString& name, const ServerProcess&)>& measure)
{
    for (int round = 0; round < options.rounds; ++round) {
        for (const Subject& subject : subjects) {
            const auto server = start(options, subject, processors);
            pinThisProcess(processors);
            try {
                measure(subject.name, *server);
            } catch (const std::exception& failure) {
                throw std::runtime_error(subject.name.toStdString() + ": " + failure.what());
            }
            fputc('.', stderr);
        }
    }
}

void progress(const char* what)
{
    fprintf(stderr, "\n%s ", what);
}

struct Shape
{
    const char* name;
    int connections;
    int depth;
    const char* goal;
};

void addShape(const Options& options, const Shape& shape, Table* table)
{
    progress(shape.name);
    Samples rates;
    Samples costs;
    interleave(options, servers(), Processors::One,
               [&](const QString& name, const ServerProcess& server) {
                   const double before = server.processorSeconds();
                   const Rate rate = roundTrips(server.port(), shape.connections, shape.depth,
                                                Duration(options.seconds));
                   rates[name] << rate.perSecond;
                   costs[name] << (server.processorSeconds() - before) / rate.count;
               });
    table->add(QString::fromLatin1(shape.name), QStringLiteral("k/s"), 1000, rates, kKy, kQt,
               QString::fromUtf8(shape.goal));
    table->add(QStringLiteral("the same, processor time of the server"), QStringLiteral("µs"), 1e-6,
               costs, kKy, kQt, QString());
}

void addLatency(const Options& options, Table* table)
{
    progress("latency at 64 connections");
    Samples p50;
    Samples p99;
    interleave(options, servers(), Processors::One,
               [&](const QString& name, const ServerProcess& server) {
                   const Rate rate = roundTrips(server.port(), 64, 1, Duration(options.seconds));
                   p50[name] << rate.p50Us;
                   p99[name] << rate.p99Us;
               });
    table->add(QStringLiteral("p50 at 64 connections"), QStringLiteral("ms"), 1000, p50, kKy, kQt,
               QString());
    table->add(QStringLiteral("p99 at 64 connections"), QStringLiteral("ms"), 1000, p99, kKy, kQt,
               QStringLiteral("≤ 0.85 qt"));
}

void addBursts(const Options& options, Table* table)
{
    progress("bursts");
    Samples rates;
    Samples p50;
    interleave(options, servers(), Processors::One,
               [&](const QString& name, const ServerProcess& server) {
                   const Rate rate = bursts(server.port(), Duration(options.seconds));
                   rates[name] << rate.perSecond;
                   p50[name] << rate.p50Us;
               });
    table->add(QStringLiteral("burst of 1000 frames of 16 bytes"), QStringLiteral("k frames/s"),
               1000, rates, kKy, kQt, QStringLiteral("≥ 1.5 qt"));
    table->add(QStringLiteral("the same, p50 of one burst"), QStringLiteral("ms"), 1000, p50, kKy,
               kQt, QStringLiteral("< 10 ms"));
}

/// Memory that an idle connection adds, once it has asked something.
double idleBytes(const ServerProcess& server)
{
    std::vector<Connection> connections;
    const auto open = [&](int count) {
        for (int i = 0; i < count; ++i) {
            connections.emplace_back(server.port());
            connections.back().send(makeRequest(0));
            connections.back().waitForAnswers(1);
        }
    };
    open(20); // what the first ones cost the process as a whole
    const qint64 before = server.residentBytes();
    open(kIdleConnections);
    return double(server.residentBytes() - before) / kIdleConnections;
}

/// The threads of connections that have just gone may need a moment.
int settledThreads(const ServerProcess& server, int expected)
{
    for (int i = 0; i < 200 && server.threads() > expected; ++i)
        usleep(10000);
    return server.threads();
}

struct CommandCost
{
    double processCmd = 0;
    double bare = 0;
};

CommandCost commandCost(const Options& options, const QString& size)
{
    int output = -1;
    const QString program = QDir(options.programs).filePath(QStringLiteral("bench_process"));
    const pid_t pid = startProgram({program, size}, Processors::All, {}, &output);
    FILE* text = fdopen(output, "r");
    CommandCost cost;
    const bool isRead = fscanf(text, "%lf %lf", &cost.processCmd, &cost.bare) == 2;
    fclose(text);
    waitpid(pid, nullptr, 0);
    if (!isRead)
        throw std::runtime_error("bench_process gave no figure");
    return cost;
}

} // namespace

Table measureRoundTrips(const Options& options)
{
    Table table(QStringLiteral("Requests of 176 bytes (server and client on one core)"),
                namesOf(servers()));
    const Shape shapes[] = {{"round trips, 1 connection", 1, 1, "≥ 1.10 qt"},
                            {"round trips, 16 connections", 16, 1, "≥ 1.10 qt"},
                            {"round trips, 256 connections", 256, 1, "≥ 1.10 qt"},
                            {"pipelined, 64 deep", 1, 64, "≥ 1.3 qt, aim 1.6"}};
    for (const Shape& shape : shapes)
        addShape(options, shape, &table);
    addLatency(options, &table);
    addBursts(options, &table);
    return table;
}

Table measureConnections(const Options& options)
{
    Table table(QStringLiteral("Connections"), namesOf(servers()));
    progress("connections made and ended");
    Samples rates;
    Samples threads;
    interleave(options, servers(), Processors::One,
               [&](const QString& name, const ServerProcess& server) {
                   const int before = server.threads();
                   rates[name] << churn(server.port(), 8, Duration(options.seconds)).perSecond;
                   threads[name] << settledThreads(server, before) - before;
               });
    table.add(QStringLiteral("made, asked once and ended, 8 at a time"), QStringLiteral("k/s"),
              1000, rates, kKy, kQt, QStringLiteral("≥ 1.0 qt"));
    table.add(QStringLiteral("threads left over"), QStringLiteral("threads"), 1, threads, kKy, kQt,
              QStringLiteral("0"));

    progress("memory of idle connections");
    Samples bytes;
    interleave(options, servers(), Processors::All,
               [&](const QString& name, const ServerProcess& server) {
                   bytes[name] << idleBytes(server);
               });
    table.add(QStringLiteral("resident memory of an idle connection"), QStringLiteral("KiB"), 1024,
              bytes, kKy, kQt, QStringLiteral("≤ 0.75 qt"));
    return table;
}

Table measureUpload(const Options& options)
{
    const QString socat = QStringLiteral("socat");
    Table table(QStringLiteral("Upload of 512 MiB to a memory file system"), {kKy, socat});
    QTemporaryDir folder(QStringLiteral("/dev/shm/ky-bench-XXXXXX"));
    const Subject ky{
        kKy, QStringLiteral("bench_ky"), {QStringLiteral("--data-dir"), folder.path()}, kSilent};
    progress("upload");
    Samples rates;
    Samples growth;
    for (int round = 0; round < options.rounds; ++round) {
        {
            // To give back the pages of an old file takes a tenth of the time: both begin without.
            QFile::remove(folder.filePath(QStringLiteral("ferno/temp/up/upgrade.zip")));
            const auto server = start(options, ky, Processors::All);
            roundTrips(server->port(), 1, 1, Duration(0.1));
            server->resetPeak();
            const qint64 before = server->residentBytes();
            rates[kKy] << uploadRate(server->port(), kUploadBytes);
            growth[kKy] << double(server->peakBytes() - before);
        }
        const QString target = folder.filePath(QStringLiteral("socat"));
        QFile::remove(target);
        const int port = 31000 + int(getpid() % 1000) + round;
        const pid_t pid = startProgram({socat, QStringLiteral("-u"), QStringLiteral("-b"),
                                        QStringLiteral("262144"),
                                        QStringLiteral("TCP-LISTEN:%1,bind=127.0.0.1").arg(port),
                                        QStringLiteral("OPEN:%1,creat,trunc").arg(target)},
                                       Processors::All, {}, nullptr);
        double rate = 0;
        for (int attempt = 0; attempt < 100 && rate == 0; ++attempt) {
            usleep(20000);
            try {
                rate = rawRate(uint16_t(port), kUploadBytes);
            } catch (const std::runtime_error&) {
                // not listening yet
            }
        }
        endProgram(pid);
        if (QFile(target).size() != qint64(kUploadBytes))
            throw std::runtime_error("socat did not take the whole file");
        rates[socat] << rate;
        fputc('.', stderr);
    }
    table.add(QStringLiteral("rate"), QStringLiteral("MB/s"), 1e6, rates, kKy, socat,
              QStringLiteral("≥ 1.0 socat"));
    table.add(QStringLiteral("growth of resident memory"), QStringLiteral("MiB"), 1 << 20, growth,
              kKy, socat, QStringLiteral("< 16 MiB"));
    return table;
}

Table measureNoise(const Options& options)
{
    const std::vector<Subject> silent{{kKy, QStringLiteral("bench_ky"), {}, kSilent},
                                      {kQt, QStringLiteral("bench_qt"), {}, kSilent},
                                      {kEpoll, QStringLiteral("bench_epoll"), {}, {}}};
    const QStringList discard{QStringLiteral("--discard-log")};
    const std::vector<Subject> logged{{kKy, QStringLiteral("bench_ky"), discard, kWarnings},
                                      {kQt, QStringLiteral("bench_qt"), discard, kWarnings}};
    Table table(QStringLiteral("Noise skipped"), namesOf(silent));
    const auto measure = [&](const std::vector<Subject>& subjects, size_t bytes) {
        Samples rates;
        interleave(options, subjects, Processors::All,
                   [&](const QString& name, const ServerProcess& server) {
                       rates[name] << noiseRate(server.port(), bytes);
                   });
        return rates;
    };
    progress("noise");
    table.add(QStringLiteral("64 MiB, log lines off by rule"), QStringLiteral("MB/s"), 1e6,
              measure(silent, kNoiseBytes), kKy, kEpoll, QStringLiteral("≥ 0.25 epoll"));
    table.add(QStringLiteral("16 MiB, the same"), QStringLiteral("MB/s"), 1e6,
              measure(silent, kNoiseBytes / 4), kKy, kEpoll, QStringLiteral("≥ 0.25 epoll"));
    table.add(QStringLiteral("1 MiB, every line formatted and discarded"), QStringLiteral("MB/s"),
              1e6, measure(logged, kLoggedNoiseBytes), kKy, kQt, QStringLiteral("≥ 1.0 qt"));
    return table;
}

Table measureCommands(const Options& options)
{
    const QString processCmd = QStringLiteral("processCmd");
    const QString bare = QStringLiteral("posix_spawn");
    Table table(QStringLiteral("A command that does nothing (`true`)"), {processCmd, bare});
    for (const QString& size : {QStringLiteral("small"), QStringLiteral("large")}) {
        progress("commands");
        Samples times;
        for (int round = 0; round < options.rounds; ++round) {
            const CommandCost cost = commandCost(options, size);
            times[processCmd] << cost.processCmd;
            times[bare] << cost.bare;
            fputc('.', stderr);
        }
        table.add(
            size == QLatin1String("small") ? QStringLiteral("in a small process")
                                           : QStringLiteral("with 300 threads and 1 GiB resident"),
            QStringLiteral("ms"), 1000, times, processCmd, bare, QStringLiteral("≤ 1.05 bare"));
    }
    return table;
}

} // namespace ky::bench
