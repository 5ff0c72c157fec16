#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <atomic>
#include <functional>
#include <thread>

/// One accepted connection, as the script of a Peer sees it: plain blocking calls with limits.
class Connection
{
public:
    Connection(int fd, const std::atomic<bool>& isStopped)
        : _fd(fd)
        , _isStopped(isStopped)
    {}

    /// The next whole frame, or empty when the other side ended or nothing came in the limit.
    QByteArray readFrame(int limitMs = 10000);
    /// At least `count` bytes, or fewer when the other side ended or the limit passed.
    QByteArray read(int count, int limitMs = 10000);
    /// Everything until the other side ends.
    QByteArray readToEnd(int limitMs = 10000);
    /// Discards what comes until the other side ends.
    void waitForEnd(int limitMs = 20000);
    bool write(const QByteArray& bytes);
    /// Ends the connection with a reset instead of an orderly close.
    void reset();
    void pause(int ms);
    bool isStopped() const { return _isStopped; }

private:
    bool receive(int limitMs);

    int _fd;
    const std::atomic<bool>& _isStopped;
    QByteArray _pending;
};

/// A server on a free loopback port with a thread of its own, so that it answers while the test's
/// thread is blocked. Connections are served one after the other by the script.
class Peer
{
public:
    using Script = std::function<void(Connection&)>;

    explicit Peer(Script script);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    quint16 port() const { return _port; }
    int connections() const { return _connections; }

private:
    void serve(const Script& script);

    quint16 _port = 0;
    int _listener = -1;
    std::atomic<bool> _isStopped{false};
    std::atomic<int> _connections{0};
    std::thread _thread;
};

/// A loopback address that neither accepts nor refuses: its queue of connections is full.
class SilentAddress
{
public:
    SilentAddress();
    ~SilentAddress();
    SilentAddress(const SilentAddress&) = delete;
    SilentAddress& operator=(const SilentAddress&) = delete;

    quint16 port() const { return _port; }

private:
    quint16 _port = 0;
    int _listener = -1;
    int _fillers[8];
};

/// A loopback port where nobody listens.
quint16 refusedPort();

/// A frame with every header field set by hand (host byte order).
QByteArray rawFrame(quint16 type, quint16 number, quint16 revCommand, quint16 jsonSize,
                    const QByteArray& body);
/// The answer to a request frame: its number, its type plus 10000.
QByteArray answerTo(const QByteArray& request, const QByteArray& json, const QByteArray& data);
/// Fields of a frame's header, in host byte order.
quint16 typeOf(const QByteArray& frame);
quint16 numberOf(const QByteArray& frame);
