#include "FrameSender.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <linux/can.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kMostMadeUp(2);

can_frame frameOf(int number)
{
    can_frame frame = {};
    frame.can_id = canid_t(number & 0x7FF);
    frame.can_dlc = 8;
    for (int i = 0; i < 8; ++i)
        frame.data[i] = quint8(number >> (i % 4 * 8));
    return frame;
}

bool sendOne(int fd, int number, bool mayWait)
{
    const can_frame frame = frameOf(number);
    return send(fd, &frame, sizeof frame, MSG_NOSIGNAL | (mayWait ? 0 : MSG_DONTWAIT)) ==
           ssize_t(sizeof frame);
}

} // namespace

FrameSender::FrameSender(const BusLoad& load)
{
    QStringList arguments{"--send", QString::number(load.rate), QString::number(load.frames)};
    for (const int fd : load.peers) {
        enlargeQueue(fd);
        fcntl(fd, F_SETFD, 0); // the child takes it over
        arguments << QString::number(fd);
    }
    _process.start(QCoreApplication::applicationFilePath(), arguments);
    _process.waitForStarted();
    for (const int fd : load.peers)
        fcntl(fd, F_SETFD, FD_CLOEXEC);
}

FrameSender::~FrameSender()
{
    if (_process.state() == QProcess::NotRunning)
        return;
    _process.kill();
    _process.waitForFinished();
}

const std::optional<SendReport>& FrameSender::report()
{
    if (_report || (_process.state() != QProcess::NotRunning && !_process.waitForFinished(0)))
        return _report;
    const QList<QByteArray> words = _process.readAllStandardOutput().trimmed().split(' ');
    const bool isDone = _process.exitStatus() == QProcess::NormalExit && _process.exitCode() == 0 &&
                        words.size() == 2;
    _report = SendReport{isDone, words.value(0).toInt(), words.value(1).toDouble()};
    return _report;
}

int enlargeQueue(int fd)
{
    if (setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &kQueueBytes, sizeof kQueueBytes) != 0)
        setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &kQueueBytes, sizeof kQueueBytes);
    int size = 0;
    socklen_t length = sizeof size;
    getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, &length);
    return size;
}

int sendFrames(const QStringList& arguments)
{
    const int rate = arguments.value(0).toInt();
    const int frames = arguments.value(1).toInt();
    QVector<int> fds;
    for (const QString& fd : arguments.mid(2))
        fds << fd.toInt();
    // The usual slack of 50 us is nearly the time of a frame.
    prctl(PR_SET_TIMERSLACK, 1UL);
    const std::chrono::nanoseconds step(rate > 0 ? 1000000000LL / rate : 0);
    const auto start = Clock::now();
    auto due = start;
    int refused = 0;
    for (int number = 0; number < frames; ++number) {
        if (rate > 0)
            std::this_thread::sleep_until(due);
        if (!sendOne(fds.at(number % fds.size()), number, rate == 0)) {
            if (errno != EAGAIN)
                return 1;
            ++refused;
        }
        // A bus never bunches up what it could not send, so little of a pause is made up for.
        due = std::max(due + step, Clock::now() - kMostMadeUp);
    }
    const std::chrono::duration<double> spent = Clock::now() - start;
    std::printf("%d %.6f\n", refused, spent.count());
    return 0;
}
