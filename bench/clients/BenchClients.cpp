// Blocking exchanges per second and uploads, each client against the same server in one run, in
// rounds that take turns. Prints medians, ranges and ratios to the first row of a table.
#include "EchoProcess.h"
#include "ThinClient.h"
#include "clients/BlockTcpObject.h"
#include "clients/BlockThreadTcp.h"
#include "wire/FrameWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>

#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

namespace {

constexpr int kRounds = 9;
constexpr int kRoundMs = 400;
constexpr int kUploadBytes = 256 * 1024 * 1024;
constexpr quint16 kCommand = 2000;

/// What one round gave.
struct Sample
{
    double perSecond = 0;
    double costUs = 0; ///< processor time of this process for one unit, which load disturbs less
};

struct Subject
{
    const char* name;
    std::function<Sample()> measure;
    std::vector<double> rates;
    std::vector<double> costs;
};

/// Leaves the values in order.
double medianOf(std::vector<double>& values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Time on the clock and on the processors since it was made.
class Meter
{
public:
    Meter()
        : _before(processorSeconds())
    {
        _clock.start();
    }
    qint64 elapsedMs() const { return _clock.elapsed(); }
    Sample sample(double units) const
    {
        return {units * 1e9 / double(_clock.nsecsElapsed()),
                (processorSeconds() - _before) * 1e6 / units};
    }

private:
    static double processorSeconds()
    {
        rusage usage = {};
        ::getrusage(RUSAGE_SELF, &usage);
        const auto seconds = [](const timeval& time) {
            return double(time.tv_sec) + double(time.tv_usec) / 1e6;
        };
        return seconds(usage.ru_utime) + seconds(usage.ru_stime);
    }

    QElapsedTimer _clock;
    double _before;
};

/// 176 bytes on the wire: header, 100 bytes of JSON, 60 of data.
QByteArray requestJson()
{
    return "{\"text\":\"" + QByteArray(89, 'x') + "\"}";
}

QByteArray requestData()
{
    return QByteArray(60, 'd');
}

/// Exchanges per second over one round. `exchange` is given the number of the request.
Sample exchangesPerSecond(const std::function<bool(int)>& exchange)
{
    const Meter meter;
    int count = 0;
    while (meter.elapsedMs() < kRoundMs) {
        for (int i = 0; i < 50; ++i) {
            if (!exchange(count & 0x7FFF))
                qFatal("an exchange failed");
            ++count;
        }
    }
    return meter.sample(count);
}

Sample megabytesPerSecond(const std::function<bool()>& upload)
{
    const Meter meter;
    if (!upload())
        qFatal("an upload failed");
    return meter.sample(kUploadBytes / 1e6);
}

/// Leaves the subjects whose name holds this text: for a profiler, and for a quick look.
QString onlySubject;

void addRound(Subject& subject)
{
    const Sample sample = subject.measure();
    subject.rates.push_back(sample.perSecond);
    subject.costs.push_back(sample.costUs);
}

/// Rounds take turns, so that whatever else the machine does falls on all alike.
void compare(const char* title, const char* unit, std::vector<Subject>& subjects, int rounds)
{
    subjects.erase(
        std::remove_if(subjects.begin(), subjects.end(),
                       [](const Subject& subject) {
                           return !QString::fromLatin1(subject.name).contains(onlySubject);
                       }),
        subjects.end());
    if (subjects.empty())
        return;
    for (int round = 0; round < rounds; ++round) {
        for (Subject& subject : subjects)
            addRound(subject);
    }
    std::printf("\n| %s, medians of %d rounds | %s | ratio | processor time, µs | ratio |\n"
                "|---|---|---|---|---|\n",
                title, rounds, unit);
    const double rate = medianOf(subjects.front().rates);
    const double cost = medianOf(subjects.front().costs);
    for (Subject& subject : subjects) {
        const double ownRate = medianOf(subject.rates);
        const double ownCost = medianOf(subject.costs);
        std::printf("| %s | %.0f (%.0f–%.0f) | %.2f | %.1f (%.1f–%.1f) | %.2f |\n", subject.name,
                    ownRate, subject.rates.front(), subject.rates.back(), ownRate / rate, ownCost,
                    subject.costs.front(), subject.costs.back(), ownCost / cost);
    }
    std::fflush(stdout);
}

void pinToOneCore()
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(0, &cores);
    if (::sched_setaffinity(0, sizeof cores, &cores) != 0)
        qFatal("cannot be pinned to one core");
}

void setLogs(bool areOn)
{
    QLoggingCategory::setFilterRules(areOn ? QString() : QStringLiteral("ky.*=false"));
}

void discard(QtMsgType, const QMessageLogContext&, const QString&) {}

void compareExchanges(quint16 port)
{
    const QByteArray json = requestJson();
    const QByteArray data = requestData();
    ThinFacade thin(port);
    BareClient bare(port);
    BlockTcpObject facade;
    facade.init(QStringLiteral("127.0.0.1"), port);
    BlockTcpObject watched;
    watched.init(QStringLiteral("127.0.0.1"), port);
    QObject::connect(&watched, &BlockTcpObject::sigWriteProgress, [](qint64, qint64) {});
    QObject::connect(&watched, &BlockTcpObject::sigReadProgress, [](quint64, quint64) {});

    const auto frame = [&](int number) {
        return ky::buildFrame(kCommand, quint16(number), json, data);
    };
    const auto ask = [&](BlockTcpObject& client, int number) {
        return client.sendData(kCommand, data, number, json) && client.receiveData() == data;
    };
    std::vector<Subject> subjects{
        {"thin worker thread and event loop",
         [&] {
             return exchangesPerSecond(
                 [&](int n) { return thin.exchange(frame(n)).size() == 176; });
         },
         {},
         {}},
        {"BlockTcpObject, nobody watches progress",
         [&] { return exchangesPerSecond([&](int n) { return ask(facade, n); }); },
         {},
         {}},
        {"BlockTcpObject, somebody watches progress",
         [&] { return exchangesPerSecond([&](int n) { return ask(watched, n); }); },
         {},
         {}},
        {"BlockTcpObject, all lines made and discarded",
         [&] {
             setLogs(true);
             const Sample value = exchangesPerSecond([&](int n) { return ask(facade, n); });
             setLogs(false);
             return value;
         },
         {},
         {}},
        {"bare QTcpSocket in the caller's thread",
         [&] {
             return exchangesPerSecond(
                 [&](int n) { return bare.exchange(frame(n)).size() == 176; });
         },
         {},
         {}},
    };
    compare("blocking exchanges of 176 bytes, 1 connection", "per second", subjects, kRounds);
}

void compareUploads(quint16 port)
{
    const QByteArray data(kUploadBytes, 'u');
    BareClient bare(port);
    BlockTcpObject facade;
    facade.init(QStringLiteral("127.0.0.1"), port);
    facade.setWaitTimeout(60000);
    const auto upload = [&](quint64 payload) {
        facade.worker()->setPayloadSize(payload);
        return megabytesPerSecond([&] { return facade.sendData(kCommand, data, 1, QVariant()); });
    };
    std::vector<Subject> subjects{
        {"bare QTcpSocket, one write",
         [&] {
             return megabytesPerSecond([&] {
                 return !bare.exchange(ky::buildFrame(kCommand, 1, QByteArray(), data)).isEmpty();
             });
         },
         {},
         {}},
        {"BlockTcpObject, one write", [&] { return upload(0); }, {}, {}},
        {"BlockTcpObject, chunks of 1 MiB", [&] { return upload(1024 * 1024); }, {}, {}},
        {"BlockTcpObject, chunks of 64 KiB", [&] { return upload(64 * 1024); }, {}, {}},
        {"BlockTcpObject, chunks of 4 KiB", [&] { return upload(4 * 1024); }, {}, {}},
    };
    compare("upload of 256 MiB in one frame", "MB/s", subjects, 5);
}

} // namespace

int main(int argc, char** argv)
{
    bool isPinned = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--pin") == 0) {
            isPinned = true;
        } else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
            onlySubject = QString::fromLocal8Bit(argv[++i]);
        } else {
            std::fprintf(stderr, "usage: bench_clients [--pin] [--only NAME]\n");
            return 2;
        }
    }
    if (isPinned)
        pinToOneCore();
    const EchoProcess server;
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(discard);
    setLogs(false);
    std::printf("Clients and server on %s.\n", isPinned ? "one core" : "all cores");
    compareExchanges(server.port());
    compareUploads(server.port());
    return 0;
}
