#include "FrameSender.h"

#include <QCoreApplication>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <linux/can.h>
#include <sys/socket.h>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

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

int FrameSender::waitLost()
{
    if (_process.state() != QProcess::NotRunning && !_process.waitForFinished(60000))
        return -1;
    bool isNumber = false;
    const int lost = _process.readAllStandardOutput().trimmed().toInt(&isNumber);
    return isNumber && _process.exitCode() == 0 ? lost : -1;
}

int sendFrames(const QStringList& arguments)
{
    const int rate = arguments.value(0).toInt();
    const int frames = arguments.value(1).toInt();
    QVector<int> fds;
    for (const QString& fd : arguments.mid(2))
        fds << fd.toInt();
    const auto start = Clock::now();
    int lost = 0;
    for (int number = 0; number < frames; ++number) {
        if (rate > 0)
            std::this_thread::sleep_until(start +
                                          std::chrono::nanoseconds(1000000000LL * number / rate));
        if (sendOne(fds.at(number % fds.size()), number, rate == 0))
            continue;
        if (errno != EAGAIN)
            return 1;
        ++lost;
    }
    std::printf("%d\n", lost);
    return 0;
}
