#include "Load.h"

#include "Connection.h"
#include "wire/FrameHead.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <stdexcept>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ky::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBurstFrames = 1000;
constexpr int kSilenceLimitMs = 10000;
constexpr size_t kChunk = 256 * 1024;
constexpr Duration kWarmUp{0.15};

double secondsSince(Clock::time_point start)
{
    return Duration(Clock::now() - start).count();
}

double percentile(std::vector<double>& sorted, double share)
{
    return sorted.empty() ? 0 : sorted[size_t(double(sorted.size() - 1) * share)];
}

Rate rateOf(std::vector<double>& latenciesUs, double count, double seconds)
{
    std::sort(latenciesUs.begin(), latenciesUs.end());
    return {count / seconds, count, percentile(latenciesUs, 0.5), percentile(latenciesUs, 0.99)};
}

/// One connection that keeps its requests under way.
class Asker
{
public:
    Asker(uint16_t port, int depth)
        : _connection(port)
        , _request(makeRequest(0))
    {
        ask(depth);
    }

    int fd() const { return _connection.fd(); }

    /// Takes what has come, notes its latencies and asks as many times again.
    int serve(std::vector<double>* latenciesUs)
    {
        const int count = _connection.takeAnswers();
        const Clock::time_point now = Clock::now();
        for (int i = 0; i < count; ++i) {
            latenciesUs->push_back(Duration(now - _asked.front()).count() * 1e6);
            _asked.pop_front();
        }
        ask(count);
        return count;
    }

private:
    /// All requests in one write, in whole frames.
    void ask(int count)
    {
        _out.clear();
        for (int i = 0; i < count; ++i) {
            setNumber(_request, _number++);
            _out += _request;
            _asked.push_back(Clock::now());
        }
        _connection.send(_out);
    }

    Connection _connection;
    std::string _request;
    std::string _out;
    uint16_t _number = 0;
    std::deque<Clock::time_point> _asked;
};

/// An epoll descriptor, closed with its scope.
class Poller
{
public:
    Poller()
        : _fd(epoll_create1(EPOLL_CLOEXEC))
    {}
    ~Poller() { close(_fd); }
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    void add(int fd, void* data) const
    {
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.ptr = data;
        epoll_ctl(_fd, EPOLL_CTL_ADD, fd, &event);
    }
    int wait(epoll_event* events, int size) const
    {
        const int count = epoll_wait(_fd, events, size, kSilenceLimitMs);
        if (count <= 0)
            throw std::runtime_error("no answer in time");
        return count;
    }

private:
    int _fd;
};

/// Runs for the time given; what it counted.
double runAskers(const Poller& poller, Duration time, std::vector<double>* latenciesUs)
{
    double count = 0;
    epoll_event events[256];
    const Clock::time_point start = Clock::now();
    while (secondsSince(start) < time.count()) {
        const int ready = poller.wait(events, 256);
        for (int i = 0; i < ready; ++i)
            count += static_cast<Asker*>(events[i].data.ptr)->serve(latenciesUs);
    }
    return count;
}

/// Random bytes from which no frame can begin.
std::string makeNoise(size_t size)
{
    std::string noise(size, '\0');
    uint64_t state = 88172645463325252U;
    for (char& byte : noise) {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        byte = char(state >> 32);
    }
    for (size_t i = 1; i < size; ++i) {
        if (noise[i - 1] == 0x5A && noise[i] == 0x01)
            noise[i] = 0x02;
    }
    noise.back() = 0;
    return noise;
}

void sendInChunks(Connection& connection, size_t bytes)
{
    static const std::string chunk(kChunk, 'u');
    for (size_t sent = 0; sent < bytes; sent += chunk.size())
        connection.send(chunk.data(), std::min(chunk.size(), bytes - sent));
}

} // namespace

Rate roundTrips(uint16_t port, int connections, int depth, Duration time)
{
    const Poller poller;
    std::vector<std::unique_ptr<Asker>> askers;
    for (int i = 0; i < connections; ++i) {
        askers.push_back(std::make_unique<Asker>(port, depth));
        poller.add(askers.back()->fd(), askers.back().get());
    }
    std::vector<double> latenciesUs;
    const double warmUp = runAskers(poller, kWarmUp, &latenciesUs);
    latenciesUs.clear();
    const Clock::time_point start = Clock::now();
    const double count = runAskers(poller, time, &latenciesUs);
    Rate rate = rateOf(latenciesUs, count, secondsSince(start));
    rate.count += warmUp;
    return rate;
}

Rate bursts(uint16_t port, Duration time)
{
    Connection connection(port);
    std::string burst;
    for (int i = 0; i < kBurstFrames; ++i)
        burst += makeFrame(kEcho, uint16_t(i), {}, {});
    std::vector<double> latenciesUs;
    double busy = 0;
    while (busy < time.count()) {
        connection.expect(0);
        const Clock::time_point start = Clock::now();
        connection.send(burst);
        connection.waitForAnswers(kBurstFrames);
        const double seconds = secondsSince(start);
        latenciesUs.push_back(seconds * 1e6);
        busy += seconds;
    }
    return rateOf(latenciesUs, double(latenciesUs.size()) * kBurstFrames, busy);
}

Rate churn(uint16_t port, int clients, Duration time)
{
    const std::string request = makeRequest(7);
    std::vector<std::vector<double>> latenciesUs(static_cast<size_t>(clients));
    std::vector<std::exception_ptr> failures(latenciesUs.size());
    std::vector<std::thread> threads;
    const Clock::time_point start = Clock::now();
    for (size_t id = 0; id < latenciesUs.size(); ++id)
        threads.emplace_back([&, id] {
            try {
                for (unsigned i = 0; secondsSince(start) < time.count(); ++i) {
                    const Clock::time_point begin = Clock::now();
                    Connection connection(port, i * unsigned(clients) + unsigned(id));
                    connection.expect(7);
                    connection.send(request);
                    connection.waitForAnswers(1);
                    connection.finish();
                    latenciesUs[id].push_back(secondsSince(begin) * 1e6);
                }
            } catch (...) {
                failures[id] = std::current_exception();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    const double seconds = secondsSince(start);
    for (const std::exception_ptr& failure : failures)
        if (failure)
            std::rethrow_exception(failure);
    std::vector<double> all;
    for (const auto& part : latenciesUs)
        all.insert(all.end(), part.begin(), part.end());
    return rateOf(all, double(all.size()), seconds);
}

double noiseRate(uint16_t port, size_t bytes)
{
    const std::string noise = makeNoise(bytes);
    Connection connection(port);
    const std::string request = makeRequest(0);
    connection.send(request);
    connection.waitForAnswers(1);
    // The kernel of a peer that has just answered puts off its acknowledgement by 40 ms, for which
    // drain() would wait in the middle of the measurement. Once it has done so it does no more.
    connection.send(std::string(1, '\0'));
    connection.drain();

    const Clock::time_point start = Clock::now();
    connection.send(noise);
    // A frame that a read cuts in its first 16 bytes is lost behind noise, so it goes alone.
    connection.drain();
    connection.expect(0);
    connection.send(request);
    connection.waitForAnswers(1);
    return double(bytes) / secondsSince(start);
}

double uploadRate(uint16_t port, size_t bytes)
{
    const std::string json = R"({"name":"upgrade.zip"})";
    std::string firstBytes = makeFrame(kUploadType, 3, json, {});
    FrameHead head = readFrameHead(firstBytes.data());
    head.dataSize += uint32_t(bytes);
    writeFrameHead(head, firstBytes.data());
    Connection connection(port);
    connection.expect(3);

    const Clock::time_point start = Clock::now();
    connection.send(firstBytes);
    sendInChunks(connection, bytes);
    connection.waitForAnswers(1);
    return double(bytes) / secondsSince(start);
}

double rawRate(uint16_t port, size_t bytes)
{
    Connection connection(port);
    const Clock::time_point start = Clock::now();
    sendInChunks(connection, bytes);
    connection.finish();
    return double(bytes) / secondsSince(start);
}

} // namespace ky::bench
